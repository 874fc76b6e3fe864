// recording.json: what a recording holds and how it went.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "camera_recorder.h"
#include "zelt/time_base.h"
#include "zelt_host/recording_exception_manager.h"

namespace zelt::cli {

/// File name of the manifest in the recording's folder.
inline constexpr const char* kManifestFile = "recording.json";

/// Why a recording ended (the manifest's "stop_reason"; kRunning while it runs).
enum class StopReason {
    kRunning,       ///< "running"
    kFrames,        ///< "frames": every camera has --frames frames
    kDuration,      ///< "duration": --duration passed
    kInterrupted,   ///< "interrupted": SIGINT
    kTerminated,    ///< "terminated": SIGTERM
    kHangup,        ///< "hangup": SIGHUP (the terminal was closed)
    kCameraError,   ///< "camera-error": every camera reported an error
    kWriterFailed,  ///< "writer-failed": a file could not be written
    kNoFrames,      ///< "no-frames": nothing arrived for a long time (--frames)
    kError,         ///< "error": the acquisition did not start
    kStartTimeout,  ///< "start-timeout": a camera did not deliver its first frame in time
};

/// The manifest's text of `reason`.
const char* stopReasonText(StopReason reason) noexcept;

/// Everything the manifest says. docs/zelt-camera.md describes each field.
struct RecordingManifest {
    std::string tool_version;
    /// What a host can know of the plug-in: the library it loaded, the kind the library
    /// answers and the plug-in's own name.
    std::string plugin_path;
    std::string plugin_kind;
    std::string plugin_name;
    bool virtual_cameras = false;
    std::string virtual_camera_source;  ///< "1", "3" or the camera file
    std::string folder;                 ///< the recording's folder, absolute

    std::chrono::system_clock::time_point started_at;
    std::optional<std::chrono::system_clock::time_point> ended_at;  ///< nothing while running
    double duration_seconds = 0.0;  ///< from delivery on to delivery off

    StopReason stop_reason = StopReason::kRunning;
    bool interrupted = false;           ///< stopped by SIGINT, SIGTERM or SIGHUP
    std::optional<std::string> signal;  ///< "SIGINT", "SIGTERM", "SIGHUP"
    bool complete = false;              ///< the files are finished (false while running)
    int exit_code = 0;

    std::optional<std::uint64_t> requested_frames;
    std::optional<double> requested_duration_seconds;
    std::vector<std::string> requested_settings;  ///< each --setting as given
    std::string codec = "raw";
    double start_timeout_seconds = 0.0;
    std::uint64_t memory_mib = 0;
    std::optional<std::uint32_t> requested_subsampling;

    double time_frequency = 0.0;         ///< host ticks per second
    zelt::DateTime time_absolute_start;  ///< wall-clock time (UTC) of host tick 0
    /// The recording's common start: the host tick of the first frame of any camera, where
    /// every video and table counts from (nothing before a frame arrived).
    std::optional<std::uint64_t> common_start_ticks;

    std::vector<CameraReport> cameras;
    /// Every error the plug-in posted while the tool ran, withdrawn ones included.
    std::vector<zelt::host::ExceptionRecord> errors;
};

/// The manifest as JSON text.
std::string manifestJson(const RecordingManifest& manifest);

/// Writes the manifest into its folder as a whole (a temporary file renamed over the old one,
/// so a reader never sees half a manifest). Throws std::runtime_error when it cannot.
void writeManifest(const RecordingManifest& manifest);

/// "2024-05-01T12:00:00.123Z"
std::string isoTime(std::chrono::system_clock::time_point time);
std::string isoTime(const zelt::DateTime& time);
/// The UTC time of host tick `ticks`: `start` (tick 0) plus ticks / frequency, in nanoseconds.
std::string isoTimeOfTicks(const zelt::DateTime& start, double frequency, std::uint64_t ticks);

}  // namespace zelt::cli
