#include "plugin_session.h"

#include <gst/gst.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>

#include "cli_error.h"
#include "gst_support/gst_ptr.h"
#include "uni/log.h"
#include "vcam/vcam.h"
#include "vcam/vcam_seal.h"
#include "zelt_host/plugin_library.h"

// Set by the build: the installed virtual camera plug-in folder relative to the tool's folder,
// and the build tree's.
#ifndef ZELT_CLI_INSTALLED_VCAM_DIR
#error \
    "ZELT_CLI_INSTALLED_VCAM_DIR must name the installed GStreamer plug-in folder relative to bin/"
#endif
#ifndef ZELT_CLI_BUILD_TREE_VCAM_DIR
#error "ZELT_CLI_BUILD_TREE_VCAM_DIR must name the virtual camera plug-in folder of the build tree"
#endif

namespace zelt::cli {
namespace {

constexpr const char* kVirtualCameraLibrary = "libgstzeltvcam.so";
constexpr const char* kLogLevelVariable = "ZELT_LOG_LEVEL";
constexpr const char* kPluginPathVariable = "GST_PLUGIN_PATH";

bool isRegularFile(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

bool holdsVirtualCameraPlugin(const std::string& folder) {
    return !folder.empty() && isRegularFile(folder + "/" + kVirtualCameraLibrary);
}

std::string absolutePath(const std::string& path) {
    if (!path.empty() && path[0] == '/') return path;
    std::string buffer(4096, '\0');
    if (getcwd(buffer.data(), buffer.size()) == nullptr) return path;
    return std::string(buffer.c_str()) + "/" + path;
}

void applyLogLevel(const std::string& text) {
    const auto level = uni::log::parseSeverity(text);
    if (!level) {
        throw CliError(ExitCode::kUsage,
                       "unknown log level '" + text +
                           "' (trace, debug, detail, info, notice, warning, error, fatal or 0-7)");
    }
    // The plug-in reads the variable when it first logs; the tool's own records follow the
    // same process-wide filter.
    setenv(kLogLevelVariable, uni::log::severityName(*level), 1);
    uni::log::setLevel(*level);
}

// ZELT_VIRTUAL_CAMERAS for `value`: a count from 0 to 64 as it is, anything else a JSON file.
std::string virtualCameraValue(const std::string& value) {
    if (value.find_first_not_of("0123456789") == std::string::npos) {
        if (value.size() > 2 || std::stoi(value) > 64) {
            throw CliError(ExitCode::kUsage, "--virtual=N takes 0 to 64 cameras, not " + value);
        }
        return value;
    }
    if (access(value.c_str(), R_OK) != 0 || !isRegularFile(value)) {
        throw CliError(ExitCode::kUsage,
                       "cannot read the virtual camera file '" + value + "' (--virtual=FILE)");
    }
    return absolutePath(value);
}

// Puts the virtual camera plug-in's folder in front of GST_PLUGIN_PATH unless a folder there
// already holds it (two copies of one plug-in on the path would compete in the registry).
void addVirtualCameraPluginPath() {
    const char* current = std::getenv(kPluginPathVariable);
    const std::string path = current != nullptr ? current : "";
    std::istringstream entries(path);
    for (std::string entry; std::getline(entries, entry, ':');) {
        if (holdsVirtualCameraPlugin(entry)) return;
    }
    const std::string folder = virtualCameraPluginFolder();
    if (folder.empty()) return;  // perhaps in GStreamer's system folder; checked after init
    setenv(kPluginPathVariable, path.empty() ? folder.c_str() : (folder + ":" + path).c_str(), 1);
}

// A camera file the virtual cameras refused (not JSON, an unknown member) leaves no camera; the
// provider keeps the reason, which is a mistake on the command line, not "no camera found".
void checkVirtualCameraFile(const std::string& source) {
    gst_support::ObjectPtr<GstDeviceProvider> provider(
        gst_device_provider_factory_get_by_name(ZELT_VCAM_PROVIDER_NAME));
    if (!provider) return;
    gchar* raw_error = nullptr;
    g_object_get(provider.get(), "last-error", &raw_error, nullptr);
    const gst_support::GCharPtr error(raw_error);
    if (error != nullptr && error.get()[0] != '\0') {
        throw CliError(ExitCode::kUsage,
                       "the virtual cameras refused '" + source + "': " + error.get());
    }
}

void checkVirtualCameraPlugin() {
    gst_support::ObjectPtr<GstPlugin> plugin(
        gst_registry_find_plugin(gst_registry_get(), ZELT_VCAM_PLUGIN_NAME));
    if (!plugin) {
        throw CliError(ExitCode::kPluginNotLoaded,
                       std::string("the virtual camera plug-in (") + kVirtualCameraLibrary +
                           ") was not found beside the tool, in the build tree or on "
                           "GST_PLUGIN_PATH");
    }
}

}  // namespace

std::string virtualCameraPluginFolder() {
    const std::string tool_folder = zelt::host::executableDirectory();
    if (!tool_folder.empty()) {
        const std::string installed = tool_folder + "/" + ZELT_CLI_INSTALLED_VCAM_DIR;
        if (holdsVirtualCameraPlugin(installed)) return installed;
    }
    if (holdsVirtualCameraPlugin(ZELT_CLI_BUILD_TREE_VCAM_DIR)) return ZELT_CLI_BUILD_TREE_VCAM_DIR;
    return {};
}

PluginSession::PluginSession(const GlobalOptions& options) {
    if (options.log_level) applyLogLevel(*options.log_level);
    if (options.virtual_cameras) {
        m_virtual_cameras = virtualCameraValue(*options.virtual_cameras);
        setenv(ZELT_VCAM_ENVIRONMENT_VARIABLE, m_virtual_cameras.c_str(), 1);
        addVirtualCameraPluginPath();
    }
    try {
        zelt::host::ensureGStreamerInitialized();
    } catch (const zelt::host::HostError& error) {
        throw CliError(ExitCode::kPluginNotLoaded, error.what());
    }
    if (options.virtual_cameras) {
        checkVirtualCameraPlugin();
        zelt::vcam::rankOutOtherDeviceProviders();
    }
    m_plugin_path = options.plugin_path.value_or(zelt::host::defaultCameraPluginPath());
    m_host = std::make_unique<zelt::host::Host>();
    try {
        m_host->open(m_plugin_path);
    } catch (const zelt::host::HostError& error) {
        throw CliError(ExitCode::kPluginNotLoaded,
                       std::string("cannot load the camera plug-in: ") + error.what());
    }
    if (options.virtual_cameras) checkVirtualCameraFile(m_virtual_cameras);
}

PluginSession::~PluginSession() = default;

std::vector<zelt::host::ExceptionRecord> PluginSession::newPosts() {
    const auto& exceptions = m_host->exceptions();
    if (exceptions.postCount() == m_errors_seen) return {};
    auto posts = exceptions.posts();
    posts.erase(posts.begin(), posts.begin() + static_cast<std::ptrdiff_t>(m_errors_seen));
    m_errors_seen += posts.size();
    return posts;
}

std::vector<std::string> PluginSession::newErrors() {
    std::vector<std::string> texts;
    for (const auto& post : newPosts()) texts.push_back("[" + post.source_tag + "] " + post.text);
    return texts;
}

}  // namespace zelt::cli
