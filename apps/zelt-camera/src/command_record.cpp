// zelt-camera record: one whole acquisition written to disk.
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <memory>
#include <thread>

#include "commands.h"
#include "manifest.h"
#include "output_folder.h"
#include "plugin_session.h"
#include "progress.h"
#include "record_plan.h"
#include "stop_signals.h"
#include "zelt_host/acquisition.h"

#ifndef ZELT_CLI_VERSION
#error "ZELT_CLI_VERSION must be the project's version"
#endif

namespace zelt::cli {
namespace {

using Clock = std::chrono::steady_clock;

// How often the control thread looks at the recording and redraws the progress lines.
constexpr std::chrono::milliseconds kPollInterval{100};
constexpr int kRedrawEvery = 2;  // polls
// A recording by frame count ends when no camera delivered anything for this long.
constexpr std::chrono::seconds kStallTimeout{10};

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

std::string plural(std::uint64_t count, const char* word) {
    return std::to_string(count) + " " + word + (count == 1 ? "" : "s");
}

// Owns the recorders and the sinks given to the channels, and takes the sinks back.
class Recording {
public:
    Recording(PluginSession& session, const std::vector<CameraPlan>& plans,
              const std::string& folder)
        : m_session(session) {
        for (const CameraPlan& plan : plans) {
            try {
                m_recorders.push_back(std::make_unique<CameraRecorder>(plan, folder));
            } catch (const std::exception& error) {
                throw CliError(ExitCode::kOutputNotWritable, error.what());
            }
        }
        zelt::host::Host& host = m_session.host();
        for (const auto& recorder : m_recorders) {
            host.setSampleSink(recorder->plan().id, recorder->frameSink());
            if (recorder->plan().counter_id) {
                host.setSampleSink(*recorder->plan().counter_id, recorder->counterSink());
            }
        }
    }

    ~Recording() { finish(); }

    std::vector<std::uint32_t> channelIds() const {
        std::vector<std::uint32_t> ids;
        for (const auto& recorder : m_recorders) {
            ids.push_back(recorder->plan().id);
            if (recorder->plan().counter_id) ids.push_back(*recorder->plan().counter_id);
        }
        return ids;
    }

    void start() {
        for (const auto& recorder : m_recorders) recorder->start();
    }

    /// Takes the sinks back (the acquisition has stopped) and finishes every file.
    void finish() noexcept {
        if (m_finished) return;
        m_finished = true;
        zelt::host::Host& host = m_session.host();
        for (const auto& recorder : m_recorders) {
            try {
                host.setSampleSink(recorder->plan().id, nullptr);
                if (recorder->plan().counter_id) {
                    host.setSampleSink(*recorder->plan().counter_id, nullptr);
                }
            } catch (...) {
                // A channel that went away has no sink to take back.
            }
        }
        for (const auto& recorder : m_recorders) recorder->finish();
    }

    const std::vector<std::unique_ptr<CameraRecorder>>& recorders() const { return m_recorders; }

    bool allReachedLimit() const {
        for (const auto& recorder : m_recorders) {
            if (!recorder->reachedLimit() && recorder->streamEvents() == 0) return false;
        }
        return true;
    }
    bool anyWriterFailed() const {
        for (const auto& recorder : m_recorders) {
            if (recorder->hasFailed()) return true;
        }
        return false;
    }
    bool allCamerasFailed() const {
        for (const auto& recorder : m_recorders) {
            if (recorder->streamEvents() == 0) return false;
        }
        return true;
    }
    std::uint64_t totalDelivered() const {
        std::uint64_t total = 0;
        for (const auto& recorder : m_recorders) total += recorder->deliveredFrames();
        return total;
    }

    std::vector<CameraProgress> progress() const {
        std::vector<CameraProgress> lines;
        for (const auto& recorder : m_recorders) {
            CameraProgress line;
            line.label = recorder->plan().base_name + " " + recorder->plan().name;
            line.frames = recorder->recordedFrames();
            line.dropped = recorder->droppedFrames();
            line.fps = recorder->currentFps();
            lines.push_back(line);
        }
        return lines;
    }

private:
    PluginSession& m_session;
    std::vector<std::unique_ptr<CameraRecorder>> m_recorders;
    bool m_finished = false;
};

// Seconds left for --duration, or for --frames at the slowest camera's rate.
std::optional<double> remainingSeconds(const RecordOptions& options, const Recording& recording,
                                       double elapsed) {
    if (options.duration_seconds) return std::max(0.0, *options.duration_seconds - elapsed);
    double longest = 0.0;
    for (const auto& recorder : recording.recorders()) {
        const std::uint64_t done = recorder->recordedFrames();
        if (done >= *options.frames) continue;
        const double fps = recorder->currentFps();
        if (fps <= 0.0) return std::nullopt;
        longest = std::max(longest, static_cast<double>(*options.frames - done) / fps);
    }
    return longest;
}

void printPluginErrors(PluginSession& session, ProgressDisplay& display) {
    for (const std::string& text : session.newErrors()) {
        display.message("zelt-camera: plug-in error: " + text);
    }
}

std::string summaryLine(const RecordingManifest& manifest) {
    std::uint64_t written = 0;
    std::uint64_t dropped = 0;
    for (const CameraReport& camera : manifest.cameras) {
        written += camera.written;
        dropped += camera.dropped;
    }
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.1f", manifest.duration_seconds);
    std::string line = "zelt-camera: ";
    if (manifest.interrupted) line += "interrupted (" + manifest.signal.value_or("") + "); ";
    line += "recorded " + plural(written, "frame") + " from " +
            plural(manifest.cameras.size(), "camera") + " in " + seconds + " s, " +
            std::to_string(dropped) + " dropped";
    std::size_t errors = 0;
    for (const CameraReport& camera : manifest.cameras) errors += camera.errors.size();
    if (!manifest.errors.empty()) {
        line += ", " + plural(manifest.errors.size(), "plug-in error");
    }
    if (errors > 0) line += ", " + plural(errors, "writer error");
    return line + ": " + manifest.folder;
}

// The manifest's facts known before the acquisition starts.
RecordingManifest startManifest(const PluginSession& session, const RecordOptions& options,
                                const std::vector<CameraPlan>& plans, const std::string& folder) {
    const zelt::host::Host& host = session.host();
    RecordingManifest manifest;
    manifest.tool_version = ZELT_CLI_VERSION;
    manifest.plugin_path = session.pluginPath();
    manifest.plugin_kind = host.library().kind();
    manifest.plugin_name = host.plugin().getPluginName();
    manifest.virtual_cameras = session.usesVirtualCameras();
    manifest.virtual_camera_source = session.virtualCameras();
    manifest.folder = folder;
    manifest.requested_frames = options.frames;
    manifest.requested_duration_seconds = options.duration_seconds;
    manifest.requested_setting = options.setting;
    manifest.requested_subsampling = options.subsampling;
    manifest.time_frequency = host.timeSource()->getFrequency();
    manifest.time_absolute_start = host.timeSource()->getAbsoluteStart();
    for (const CameraPlan& plan : plans) {
        CameraReport report;
        report.plan = plan;
        manifest.cameras.push_back(report);
    }
    manifest.started_at = std::chrono::system_clock::now();
    return manifest;
}

// Watches the running acquisition, draws the progress lines and prints the plug-in's errors
// until something ends the recording; returns what did.
StopReason watchRecording(PluginSession& session, const RecordOptions& options,
                          const Recording& recording, const StopSignals& signals,
                          ProgressDisplay& display, Clock::time_point delivery_start) {
    std::uint64_t last_delivered = 0;
    Clock::time_point last_progress = delivery_start;
    for (int poll = 0;; ++poll) {
        std::this_thread::sleep_for(kPollInterval);
        const double elapsed = secondsSince(delivery_start);
        printPluginErrors(session, display);
        if (signals.received() != 0) {
            return signals.received() == SIGTERM ? StopReason::kTerminated
                                                 : StopReason::kInterrupted;
        }
        if (recording.anyWriterFailed()) return StopReason::kWriterFailed;
        if (options.frames && recording.allReachedLimit()) {
            return recording.allCamerasFailed() ? StopReason::kCameraError : StopReason::kFrames;
        }
        if (options.duration_seconds && elapsed >= *options.duration_seconds) {
            return StopReason::kDuration;
        }
        if (recording.allCamerasFailed()) return StopReason::kCameraError;
        const std::uint64_t delivered = recording.totalDelivered();
        if (delivered != last_delivered) {
            last_delivered = delivered;
            last_progress = Clock::now();
        } else if (options.frames && Clock::now() - last_progress > kStallTimeout) {
            return StopReason::kNoFrames;
        }
        if (poll % kRedrawEvery == 0) {
            display.update(recording.progress(), elapsed,
                           remainingSeconds(options, recording, elapsed));
        }
    }
}

struct Outcome {
    ExitCode code = ExitCode::kOk;
    std::string failure;  ///< the error message; empty on success and after a signal
};

// The exit code of a finished recording. `errors_before`: posts seen before it started.
Outcome judge(const RecordingManifest& manifest, const std::string& start_failure,
              std::size_t errors_before) {
    Outcome outcome;
    const auto& posts = manifest.errors;
    switch (manifest.stop_reason) {
        case StopReason::kInterrupted:
            return {ExitCode::kInterrupted, ""};
        case StopReason::kTerminated:
            return {ExitCode::kTerminated, ""};
        case StopReason::kError:
            return {ExitCode::kPluginError, start_failure};
        case StopReason::kNoFrames:
            outcome = {ExitCode::kPluginError,
                       "no frame arrived for " + std::to_string(kStallTimeout.count()) + " s"};
            break;
        default:
            break;
    }
    if (posts.size() > errors_before || manifest.stop_reason == StopReason::kCameraError) {
        outcome = {ExitCode::kPluginError,
                   "the plug-in posted an error while recording" +
                       (posts.size() > errors_before ? ": " + posts[errors_before].text : "")};
    }
    // A writer that failed (while recording, or finishing its file) fails the run first: the
    // files are what the user came for.
    for (const CameraReport& camera : manifest.cameras) {
        if (!camera.errors.empty()) outcome = {ExitCode::kFailure, camera.errors.front()};
    }
    return outcome;
}

void writeManifestOrThrow(const RecordingManifest& manifest) {
    try {
        writeManifest(manifest);
    } catch (const std::exception& error) {
        throw CliError(ExitCode::kOutputNotWritable, error.what());
    }
}

}  // namespace

ExitCode runRecord(const CommandLine& command_line) {
    const RecordOptions& options = command_line.record;
    const std::string folder = prepareOutputFolder(options.out);
    PluginSession session(command_line.global);
    ProgressDisplay display(std::cerr, isatty(STDERR_FILENO) != 0);
    printPluginErrors(session, display);
    const std::vector<CameraPlan> plans = planCameras(session, options);
    zelt::host::Host& host = session.host();

    RecordingManifest manifest = startManifest(session, options, plans, folder);
    const std::size_t errors_before = host.exceptions().postCount();
    Recording recording(session, plans, folder);
    writeManifestOrThrow(manifest);  // "running": what a crash would leave behind

    StopSignals signals;
    recording.start();
    zelt::host::Acquisition acquisition(host);
    std::string start_failure;
    try {
        acquisition.start(recording.channelIds());
    } catch (const zelt::host::HostError& error) {
        start_failure = error.what();
    }
    const Clock::time_point delivery_start = Clock::now();
    manifest.stop_reason = start_failure.empty() ? watchRecording(session, options, recording,
                                                                  signals, display, delivery_start)
                                                 : StopReason::kError;
    acquisition.stop();
    manifest.duration_seconds = start_failure.empty() ? secondsSince(delivery_start) : 0.0;
    recording.finish();
    display.clear();
    printPluginErrors(session, display);

    manifest.ended_at = std::chrono::system_clock::now();
    manifest.complete = true;
    manifest.interrupted = manifest.stop_reason == StopReason::kInterrupted ||
                           manifest.stop_reason == StopReason::kTerminated;
    if (manifest.interrupted) manifest.signal = StopSignals::name(signals.received());
    manifest.cameras.clear();
    for (const auto& recorder : recording.recorders()) {
        manifest.cameras.push_back(recorder->report());
    }
    manifest.errors = host.exceptions().posts();
    const Outcome outcome = judge(manifest, start_failure, errors_before);
    manifest.exit_code = static_cast<int>(outcome.code);
    writeManifestOrThrow(manifest);
    std::cerr << summaryLine(manifest) << std::endl;
    if (!outcome.failure.empty()) throw CliError(outcome.code, outcome.failure);
    return outcome.code;
}

}  // namespace zelt::cli
