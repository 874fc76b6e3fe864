// The camera plug-in loaded by the reference host, with the environment the global options ask
// for (virtual cameras, log level).
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "cli_options.h"
#include "zelt_host/host.h"

namespace zelt::cli {

/// Prepares the process (the variables below must be set before GStreamer initialises),
/// initialises GStreamer and opens the plug-in through zelt::host::Host:
///   --log-level      ZELT_LOG_LEVEL, which the plug-in's logging reads;
///   --virtual[=...]  ZELT_VIRTUAL_CAMERAS (a count or an absolute file path), the virtual
///                    camera plug-in's folder on GST_PLUGIN_PATH (installed beside the tool,
///                    else in the build tree), and every other device provider ranked out in
///                    this process, so that only virtual cameras are seen whatever is attached.
/// Throws CliError: kUsage for a bad level or camera file, kPluginNotLoaded when the plug-in
/// (or, with --virtual, the virtual camera plug-in) cannot be loaded.
class PluginSession {
public:
    explicit PluginSession(const GlobalOptions& options);
    ~PluginSession();

    PluginSession(const PluginSession&) = delete;
    PluginSession& operator=(const PluginSession&) = delete;

    zelt::host::Host& host() noexcept { return *m_host; }
    const zelt::host::Host& host() const noexcept { return *m_host; }
    /// The plug-in library that was loaded.
    const std::string& pluginPath() const noexcept { return m_plugin_path; }
    /// Whether --virtual was given, and what it said ("1", "3" or the camera file's path).
    bool usesVirtualCameras() const noexcept { return !m_virtual_cameras.empty(); }
    const std::string& virtualCameras() const noexcept { return m_virtual_cameras; }

    /// The errors the plug-in posted since the last call of this or newErrors().
    std::vector<zelt::host::ExceptionRecord> newPosts();
    /// Texts ("[ZELT_CAMERA] Could not start camera X") of newPosts().
    std::vector<std::string> newErrors();

private:
    std::unique_ptr<zelt::host::Host> m_host;
    std::string m_plugin_path;
    std::string m_virtual_cameras;
    std::size_t m_errors_seen = 0;
};

/// The folder holding libgstzeltvcam.so that --virtual puts on GST_PLUGIN_PATH: installed
/// beside the tool when that file exists, else the build tree's; empty when neither exists.
std::string virtualCameraPluginFolder();

}  // namespace zelt::cli
