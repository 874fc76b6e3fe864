// Loading a plug-in library the way a data-acquisition host does: dlopen the file, then
// resolve the two exported C functions and take the library's static plug-in creator.
#pragma once

#include <string>

#include "zelt/plugin_exports.h"
#include "zelt_host/host_error.h"

namespace zelt::host {

/// One loaded plug-in library (RAII over dlopen/dlclose).
///
/// The constructor loads the file with RTLD_NOW (every symbol bound now, so a broken library
/// fails here and not in the middle of an acquisition) and RTLD_LOCAL (the plug-in's own
/// copies of shared code stay private to it), and resolves ZELT_getPluginDllName and
/// ZELT_getPluginFactory. Any failure throws HostError with the path and the loader's own
/// text (dlerror).
///
/// The library is also opened with RTLD_NODELETE: the destructor drops the handle, but the
/// code stays mapped for the rest of the process. A camera plug-in leaves code of its own in
/// process-wide registries (its logger and log sink in the Boost.Log core, callbacks that GLib
/// may still hold), and unmapping that code would crash the process at a later log record or
/// at exit. Loading the same path again returns the same, still initialised, library.
///
/// Not copyable; movable. Every object created through the creator must be destroyed through
/// it before the library object goes away.
class PluginLibrary {
public:
    /// Loads `path`. Throws HostError when the file cannot be loaded, when an export is
    /// missing, or when ZELT_getPluginFactory returns null.
    explicit PluginLibrary(std::string path);
    ~PluginLibrary();

    PluginLibrary(PluginLibrary&& other) noexcept;
    PluginLibrary& operator=(PluginLibrary&& other) noexcept;
    PluginLibrary(const PluginLibrary&) = delete;
    PluginLibrary& operator=(const PluginLibrary&) = delete;

    /// The path the library was loaded from.
    const std::string& path() const noexcept { return m_path; }
    /// What ZELT_getPluginDllName answers: the kind of the library's plug-ins ("CAMERA"); an
    /// empty text when it answers null.
    std::string kind() const;
    /// The library's static plug-in creator (ZELT_getPluginFactory); it lives as long as the
    /// library and is never freed by the host.
    plugin_api::IfPluginCreator& creator() const noexcept { return *m_creator; }
    /// Any other exported symbol of the library, or null when there is none. A host may probe
    /// optional exports with it; the tests reach their fake plug-in's hooks through it.
    void* symbol(const char* name) const noexcept;

private:
    void unload() noexcept;

    std::string m_path;
    void* m_handle = nullptr;
    GetPluginDllNameFunction m_get_dll_name = nullptr;
    plugin_api::IfPluginCreator* m_creator = nullptr;
};

/// Environment variable that names the camera plug-in library to load.
inline constexpr const char* kCameraPluginEnvironment = "ZELT_CAMERA_PLUGIN";

/// The camera plug-in library a host loads when nothing else is said, first match wins:
///   1. the value of ZELT_CAMERA_PLUGIN when it is set and not empty;
///   2. installedCameraPluginPath() when that file exists (an installed tool);
///   3. buildTreeCameraPluginPath() (tests and tools run from the build tree).
/// The result of step 3 is returned whether or not the file exists; loading it then reports
/// the missing file.
std::string defaultCameraPluginPath();

/// The plug-in next to the running executable in an installed layout:
/// <directory of the executable>/../lib/<multiarch>/zelt/plugins/libzelt_camera.so (the
/// library directory as configured at build time). Empty when the executable's directory is
/// unknown.
std::string installedCameraPluginPath();

/// The plug-in in the build tree this runtime was built in (an absolute path).
std::string buildTreeCameraPluginPath();

/// The directory of the running executable (/proc/self/exe resolved), without a trailing
/// slash; empty when it cannot be determined.
std::string executableDirectory();

}  // namespace zelt::host
