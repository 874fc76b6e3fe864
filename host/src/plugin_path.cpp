#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "zelt_host/plugin_library.h"

// Both are set by the build: the installed location relative to the executable's directory,
// and the plug-in's file in the build tree.
#ifndef ZELT_HOST_INSTALLED_PLUGIN
#error "ZELT_HOST_INSTALLED_PLUGIN must name the installed plug-in relative to bin/"
#endif
#ifndef ZELT_HOST_BUILD_TREE_PLUGIN
#error "ZELT_HOST_BUILD_TREE_PLUGIN must name the plug-in in the build tree"
#endif

namespace zelt::host {
namespace {

bool isRegularFile(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

}  // namespace

std::string executableDirectory() {
    std::string buffer(4096, '\0');
    const ssize_t length = readlink("/proc/self/exe", buffer.data(), buffer.size());
    if (length <= 0 || static_cast<std::size_t>(length) >= buffer.size()) return {};
    buffer.resize(static_cast<std::size_t>(length));
    const auto slash = buffer.rfind('/');
    if (slash == std::string::npos) return {};
    return slash == 0 ? std::string("/") : buffer.substr(0, slash);
}

std::string installedCameraPluginPath() {
    const std::string directory = executableDirectory();
    if (directory.empty()) return {};
    return directory + "/" + ZELT_HOST_INSTALLED_PLUGIN;
}

std::string buildTreeCameraPluginPath() { return ZELT_HOST_BUILD_TREE_PLUGIN; }

std::string defaultCameraPluginPath() {
    if (const char* value = std::getenv(kCameraPluginEnvironment);
        value != nullptr && *value != '\0') {
        return value;
    }
    if (std::string installed = installedCameraPluginPath();
        !installed.empty() && isRegularFile(installed)) {
        return installed;
    }
    return buildTreeCameraPluginPath();
}

}  // namespace zelt::host
