// Exit codes of zelt-camera and the one exception type that carries them to main().
#pragma once

#include <stdexcept>
#include <string>

namespace zelt::cli {

/// What the process answers. Documented in docs/zelt-camera.md; scripts rely on the numbers.
enum class ExitCode : int {
    kOk = 0,
    kFailure = 1,            ///< anything else: a file could not be written, GStreamer failed
    kUsage = 2,              ///< the command line is wrong
    kNoCamera = 3,           ///< no camera found (real ones; --virtual for a virtual one)
    kUnknownChannel = 4,     ///< CHANNEL names no channel of the plug-in
    kSettingNotOffered = 5,  ///< --setting names a frame setting the camera does not offer
    kOutputNotWritable = 6,  ///< --out cannot be created or written
    kPluginNotLoaded = 7,    ///< the camera plug-in library cannot be loaded or brought up
    kPluginError = 8,        ///< the plug-in posted an error: a camera failed (the others recorded)
    kWriterFailed = 9,       ///< a file could not be written while recording (disk full, limit)
    kStartTimeout = 10,      ///< a camera did not deliver its first frame within the start timeout
    kHangup = 129,           ///< stopped by SIGHUP (128 + 1); the files are complete
    kInterrupted = 130,      ///< stopped by SIGINT (128 + 2); the files are complete
    kTerminated = 143,       ///< stopped by SIGTERM (128 + 15); the files are complete
};

/// A failure to report to the user: the message (without the "zelt-camera: error: " prefix)
/// and the exit code it stands for.
class CliError : public std::runtime_error {
public:
    CliError(ExitCode code, const std::string& message)
        : std::runtime_error(message), m_code(code) {}
    ExitCode code() const noexcept { return m_code; }

private:
    ExitCode m_code;
};

}  // namespace zelt::cli
