#include "zelt_host/plugin_library.h"

#include <dlfcn.h>

#include <utility>

namespace zelt::host {
namespace {

// dlerror() answers the last failure of the calling thread once, then null.
std::string loaderError() {
    const char* text = dlerror();
    return text != nullptr ? text : "unknown loader error";
}

}  // namespace

PluginLibrary::PluginLibrary(std::string path) : m_path(std::move(path)) {
    dlerror();
    m_handle = dlopen(m_path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (m_handle == nullptr) {
        throw HostError("cannot load plug-in library '" + m_path + "': " + loaderError());
    }
    try {
        dlerror();
        m_get_dll_name =
            reinterpret_cast<GetPluginDllNameFunction>(dlsym(m_handle, kGetPluginDllNameSymbol));
        if (m_get_dll_name == nullptr) {
            throw HostError("plug-in library '" + m_path + "' does not export " +
                            kGetPluginDllNameSymbol + ": " + loaderError());
        }
        const auto get_factory =
            reinterpret_cast<GetPluginFactoryFunction>(dlsym(m_handle, kGetPluginFactorySymbol));
        if (get_factory == nullptr) {
            throw HostError("plug-in library '" + m_path + "' does not export " +
                            kGetPluginFactorySymbol + ": " + loaderError());
        }
        m_creator = get_factory();
        if (m_creator == nullptr) {
            throw HostError(std::string(kGetPluginFactorySymbol) + " of plug-in library '" +
                            m_path + "' returned no plug-in creator");
        }
    } catch (...) {
        unload();
        throw;
    }
}

PluginLibrary::~PluginLibrary() { unload(); }

PluginLibrary::PluginLibrary(PluginLibrary&& other) noexcept
    : m_path(std::move(other.m_path)),
      m_handle(std::exchange(other.m_handle, nullptr)),
      m_get_dll_name(std::exchange(other.m_get_dll_name, nullptr)),
      m_creator(std::exchange(other.m_creator, nullptr)) {}

PluginLibrary& PluginLibrary::operator=(PluginLibrary&& other) noexcept {
    if (this != &other) {
        unload();
        m_path = std::move(other.m_path);
        m_handle = std::exchange(other.m_handle, nullptr);
        m_get_dll_name = std::exchange(other.m_get_dll_name, nullptr);
        m_creator = std::exchange(other.m_creator, nullptr);
    }
    return *this;
}

std::string PluginLibrary::kind() const {
    const char* name = m_get_dll_name != nullptr ? m_get_dll_name() : nullptr;
    return name != nullptr ? name : "";
}

void* PluginLibrary::symbol(const char* name) const noexcept {
    return m_handle != nullptr ? dlsym(m_handle, name) : nullptr;
}

void PluginLibrary::unload() noexcept {
    if (m_handle != nullptr) dlclose(m_handle);
    m_handle = nullptr;
    m_get_dll_name = nullptr;
    m_creator = nullptr;
}

}  // namespace zelt::host
