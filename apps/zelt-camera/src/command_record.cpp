// zelt-camera record: one whole acquisition written to disk.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "camera_catalog.h"
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
// A recording by frame count ends when no camera delivered anything for this long, plus the
// longest time between two frames a camera's subsampling asks for.
constexpr std::chrono::seconds kStallTimeout{10};
// The manifest is rewritten this often while recording, so a killed process leaves counts.
constexpr std::chrono::seconds kManifestInterval{2};
// The control thread says "waiting for camera ..." once a start took this long.
constexpr std::chrono::milliseconds kWaitingNotice{500};

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

std::string plural(std::uint64_t count, const char* word) {
    return std::to_string(count) + " " + word + (count == 1 ? "" : "s");
}

std::string cameraLabel(const CameraPlan& plan) { return zelt::cli::cameraLabel(plan.id, plan.name); }

// Owns the recorders and the sinks given to the channels, and takes the sinks back.
class Recording {
public:
    Recording(PluginSession& session, const std::vector<CameraPlan>& plans,
              const std::string& folder, std::uint64_t memory_mib)
        : m_session(session), m_axis(std::make_shared<TimeAxis>(plans.size())) {
        // The budget is shared out evenly: every camera's queue gets its part (the video
        // pipelines hold a few frames more each, see VideoWriter).
        FrameQueueLimits limits;
        limits.byte_budget =
            static_cast<std::size_t>((memory_mib << 20) / std::max<std::size_t>(1, plans.size()));
        for (const CameraPlan& plan : plans) {
            try {
                m_recorders.push_back(
                    std::make_unique<CameraRecorder>(plan, folder, limits, m_axis));
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

    /// One prepare step per camera: its channel and its frame counter channel.
    std::vector<std::vector<std::uint32_t>> prepareSteps() const {
        std::vector<std::vector<std::uint32_t>> steps;
        for (const auto& recorder : m_recorders) {
            std::vector<std::uint32_t> ids{recorder->plan().id};
            if (recorder->plan().counter_id) ids.push_back(*recorder->plan().counter_id);
            steps.push_back(ids);
        }
        return steps;
    }
    std::vector<std::uint32_t> channelIds() const {
        std::vector<std::uint32_t> ids;
        for (const auto& step : prepareSteps()) ids.insert(ids.end(), step.begin(), step.end());
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
        finishFiles();
    }

    /// Finishes every file without a call to the plug-in (which may be blocked in a start).
    void finishFiles() noexcept {
        m_axis->close();
        for (const auto& recorder : m_recorders) recorder->finish();
    }

    const std::vector<std::unique_ptr<CameraRecorder>>& recorders() const { return m_recorders; }
    const TimeAxis& axis() const { return *m_axis; }
    PluginSession& session() const { return m_session; }

    bool cameraDone(const CameraRecorder& recorder) const {
        return recorder.reachedLimit() || recorder.streamEvents() > 0 || recorder.hasCameraFailed();
    }
    bool allReachedLimit() const {
        for (const auto& recorder : m_recorders) {
            if (!cameraDone(*recorder)) return false;
        }
        return true;
    }
    bool anyWriterFailed() const {
        for (const auto& recorder : m_recorders) {
            if (recorder->hasFailed()) return true;
        }
        return false;
    }
    bool anyCameraFailed() const {
        for (const auto& recorder : m_recorders) {
            if (recorder->streamEvents() > 0 || recorder->hasCameraFailed()) return true;
        }
        return false;
    }
    bool allCamerasFailed() const {
        for (const auto& recorder : m_recorders) {
            if (recorder->streamEvents() == 0 && !recorder->hasCameraFailed()) return false;
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
    std::shared_ptr<TimeAxis> m_axis;
    std::vector<std::unique_ptr<CameraRecorder>> m_recorders;
    bool m_finished = false;
};

// Seconds left for --duration, or for --frames at the slowest camera's rate; nothing when
// open-ended or unknown.
std::optional<double> remainingSeconds(const RecordOptions& options, const Recording& recording,
                                       double elapsed) {
    if (options.duration_seconds) return std::max(0.0, *options.duration_seconds - elapsed);
    if (!options.frames) return std::nullopt;
    double longest = 0.0;
    for (const auto& recorder : recording.recorders()) {
        const std::uint64_t done = recorder->recordedFrames();
        if (done >= *options.frames || recording.cameraDone(*recorder)) continue;
        const double fps = recorder->currentFps();
        if (fps <= 0.0) return std::nullopt;
        longest = std::max(longest, static_cast<double>(*options.frames - done) / fps);
    }
    return longest;
}

// Prints the errors the plug-in posted, each naming its camera once: a text that names no
// camera gets "camera N ('Name'): " in front when its camera is known (the one whose name or
// device path the post's argument is, else the one camera that reported a stream error
// meanwhile). Remembers the first error of each camera as the reason it failed.
class ErrorPrinter {
public:
    ErrorPrinter(PluginSession& session, ProgressDisplay& display)
        : m_session(session), m_display(display) {}

    void print(const Recording* recording) {
        std::vector<const CameraPlan*> erring;
        std::vector<const CameraPlan*> plans;
        if (recording != nullptr) {
            for (const auto& recorder : recording->recorders()) {
                plans.push_back(&recorder->plan());
                const std::uint64_t events = recorder->streamEvents();
                std::uint64_t& seen = m_events[recorder->plan().id];
                if (events > seen) erring.push_back(&recorder->plan());
                seen = events;
            }
        }
        for (const auto& post : m_session.newPosts()) {
            const CameraPlan* camera = nullptr;
            for (const CameraPlan* plan : plans) {
                if (!post.argument.empty() &&
                    (post.argument == plan->name || post.argument == plan->device_path)) {
                    camera = plan;
                }
            }
            if (camera == nullptr && erring.size() == 1) camera = erring.front();
            std::string prefix;
            if (camera != nullptr) {
                if (post.text.find(camera->name) == std::string::npos) {
                    prefix = cameraLabel(*camera) + ": ";
                }
                m_first_error.emplace(camera->id, post.text);
            }
            m_display.message("zelt-camera: plug-in error: " + prefix + "[" + post.source_tag +
                              "] " + post.text);
        }
    }

    /// The first error posted about camera `id`, or "".
    std::string firstError(std::uint32_t id) const {
        const auto found = m_first_error.find(id);
        return found == m_first_error.end() ? "" : found->second;
    }

private:
    PluginSession& m_session;
    ProgressDisplay& m_display;
    std::map<std::uint32_t, std::uint64_t> m_events;
    std::map<std::uint32_t, std::string> m_first_error;
};

std::string summaryLine(const RecordingManifest& manifest) {
    std::uint64_t written = 0;
    std::uint64_t dropped = 0;
    std::size_t failed = 0;
    for (const CameraReport& camera : manifest.cameras) {
        written += camera.written;
        dropped += camera.dropped;
        if (!camera.failure.empty()) ++failed;
    }
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.1f", manifest.duration_seconds);
    std::string line = "zelt-camera: ";
    if (manifest.interrupted) line += "interrupted (" + manifest.signal.value_or("") + "); ";
    line += "recorded " + plural(written, "frame") + " in total from " +
            plural(manifest.cameras.size(), "camera") + " in " + seconds + " s, " +
            std::to_string(dropped) + " dropped";
    if (failed > 0) line += ", " + plural(failed, "camera") + " failed";
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
    for (const SettingRequest& setting : options.settings) {
        manifest.requested_settings.push_back(
            setting.channel ? *setting.channel + "=" + setting.text : setting.text);
    }
    manifest.requested_subsampling = options.subsampling;
    manifest.codec = options.codec;
    manifest.start_timeout_seconds = options.start_timeout_seconds;
    manifest.memory_mib = options.memory_mib;
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

// The manifest's counts as they are now.
void takeCounts(RecordingManifest& manifest, const Recording& recording) {
    manifest.cameras.clear();
    for (const auto& recorder : recording.recorders()) {
        manifest.cameras.push_back(recorder->report());
    }
    manifest.common_start_ticks = recording.axis().fixedStart();
}

// Writes the manifest; a manifest that cannot be written is said on stderr (once per reason)
// and the recording goes on: the video and table files are what matter.
class ManifestWriter {
public:
    explicit ManifestWriter(ProgressDisplay& display) : m_display(display) {}

    bool write(const RecordingManifest& manifest) {
        try {
            writeManifest(manifest);
            m_last_error.clear();
            return true;
        } catch (const std::exception& error) {
            if (m_last_error != error.what()) {
                m_last_error = error.what();
                m_display.message(std::string("zelt-camera: the manifest was not written: ") +
                                  error.what());
            }
            return false;
        }
    }
    bool failed() const { return !m_last_error.empty(); }

private:
    ProgressDisplay& m_display;
    std::string m_last_error;
};

StopReason signalReason(int signal) {
    switch (signal) {
        case SIGTERM:
            return StopReason::kTerminated;
        case SIGHUP:
            return StopReason::kHangup;
        default:
            return StopReason::kInterrupted;
    }
}

// The exit code of a stop that a signal asked for.
ExitCode signalExitCode(StopReason reason) {
    switch (reason) {
        case StopReason::kTerminated:
            return ExitCode::kTerminated;
        case StopReason::kHangup:
            return ExitCode::kHangup;
        default:
            return ExitCode::kInterrupted;
    }
}

// The no-frame watchdog's time: kStallTimeout plus the longest frame interval a camera's
// rate and subsampling ask for.
std::chrono::milliseconds stallTimeout(const Recording& recording) {
    double longest = 0.0;
    for (const auto& recorder : recording.recorders()) {
        const CameraPlan& plan = recorder->plan();
        if (plan.rate_numerator > 0) {
            longest = std::max(longest, static_cast<double>(plan.rate_denominator) /
                                            static_cast<double>(plan.rate_numerator));
        }
    }
    return kStallTimeout + std::chrono::milliseconds(static_cast<long long>(longest * 1000.0));
}

// Watches the running acquisition, draws the progress lines, prints the plug-in's errors and
// rewrites the manifest until something ends the recording; returns what did.
StopReason watchRecording(const RecordOptions& options, Recording& recording,
                          const StopSignals& signals, ProgressDisplay& display,
                          ErrorPrinter& errors, ManifestWriter& manifest_writer,
                          RecordingManifest& manifest, Clock::time_point delivery_start) {
    std::uint64_t last_delivered = 0;
    Clock::time_point last_progress = delivery_start;
    Clock::time_point last_manifest = delivery_start;
    const auto stall_timeout = stallTimeout(recording);
    for (int poll = 0;; ++poll) {
        std::this_thread::sleep_for(kPollInterval);
        const double elapsed = secondsSince(delivery_start);
        errors.print(&recording);
        if (signals.received() != 0) return signalReason(signals.received());
        if (recording.anyWriterFailed()) return StopReason::kWriterFailed;
        for (const auto& recorder : recording.recorders()) {
            if (recorder->streamEvents() > 0 && !recorder->hasCameraFailed()) {
                const std::string posted = errors.firstError(recorder->plan().id);
                recorder->cameraFailed("the plug-in posted an error while recording" +
                                       (posted.empty() ? std::string() : ": " + posted));
            }
        }
        if (options.fail_fast && recording.anyCameraFailed()) return StopReason::kCameraError;
        if (recording.allCamerasFailed()) return StopReason::kCameraError;
        if (options.frames && recording.allReachedLimit()) return StopReason::kFrames;
        if (options.duration_seconds && elapsed >= *options.duration_seconds) {
            return StopReason::kDuration;
        }
        const std::uint64_t delivered = recording.totalDelivered();
        if (delivered != last_delivered) {
            last_delivered = delivered;
            last_progress = Clock::now();
        } else if (options.frames && Clock::now() - last_progress > stall_timeout) {
            return StopReason::kNoFrames;
        }
        if (Clock::now() - last_manifest >= kManifestInterval) {
            last_manifest = Clock::now();
            takeCounts(manifest, recording);
            manifest.duration_seconds = elapsed;
            manifest_writer.write(manifest);
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

// The exit code of a finished recording.
Outcome judge(const RecordingManifest& manifest, const std::string& start_failure) {
    Outcome outcome;
    switch (manifest.stop_reason) {
        case StopReason::kError:
            return {ExitCode::kPluginError, start_failure};
        case StopReason::kNoFrames:
            outcome = {ExitCode::kPluginError, "no frame arrived for " +
                                                   std::to_string(kStallTimeout.count()) +
                                                   " s (plus the subsampling's frame interval)"};
            break;
        default:
            break;
    }
    for (const CameraReport& camera : manifest.cameras) {
        if (!camera.failure.empty() && outcome.code == ExitCode::kOk) {
            outcome = {ExitCode::kPluginError,
                       cameraLabel(camera.plan) + " failed: " + camera.failure};
        }
    }
    // A writer that failed (while recording, or finishing its file) fails the run first: the
    // files are what the user came for.
    for (const CameraReport& camera : manifest.cameras) {
        if (!camera.errors.empty()) {
            outcome = {manifest.stop_reason == StopReason::kWriterFailed ? ExitCode::kWriterFailed
                                                                         : ExitCode::kFailure,
                       cameraLabel(camera.plan) + ": " + camera.errors.front()};
            break;
        }
    }
    // A requested stop: the files are complete, the code says how it was asked.
    switch (manifest.stop_reason) {
        case StopReason::kInterrupted:
        case StopReason::kTerminated:
        case StopReason::kHangup:
            if (outcome.code == ExitCode::kOk || outcome.code == ExitCode::kPluginError) {
                // An open-ended recording is meant to be ended by Ctrl-C or SIGTERM.
                const bool open_ended =
                    !manifest.requested_frames && !manifest.requested_duration_seconds;
                const bool ended_as_meant =
                    open_ended && manifest.stop_reason != StopReason::kHangup;
                return {ended_as_meant ? ExitCode::kOk : signalExitCode(manifest.stop_reason), ""};
            }
            break;
        default:
            break;
    }
    return outcome;
}

// The texts of posts from `from` on.
std::string postsFrom(const zelt::host::Host& host, std::size_t from) {
    const auto posts = host.exceptions().posts();
    std::string text;
    for (std::size_t i = from; i < posts.size(); ++i) {
        text += (text.empty() ? "" : "; ") + posts[i].text;
    }
    return text;
}

// What the starting thread shares with the control thread.
struct StartState {
    std::atomic<bool> done{false};
    std::atomic<int> step{-1};  ///< the camera being started
    std::mutex mutex;           ///< guards the members below
    std::vector<std::size_t> posts_before_step;
    std::string failure;               ///< the start threw
    std::vector<std::string> notices;  ///< negotiated-rate notices to print
};

// Reads what each camera negotiated ("SampleRate", "FrameFormat"), hands it to its recorder
// and notes where it differs from the chosen setting.
void readNegotiated(zelt::host::Host& host, const Recording& recording,
                    const std::vector<std::size_t>& failed_steps, StartState& state) {
    for (std::size_t i = 0; i < recording.recorders().size(); ++i) {
        if (std::find(failed_steps.begin(), failed_steps.end(), i) != failed_steps.end()) {
            continue;
        }
        CameraRecorder& recorder = *recording.recorders()[i];
        const CameraPlan& plan = recorder.plan();
        Negotiated negotiated;
        const auto rate = host.item(plan.id, keys::kSampleRate);
        if (const auto* scalar = boost::get<config_items::ScalarConfigItem>(&rate)) {
            negotiated.rate = scalar->m_value;
        }
        const auto format = host.item(plan.id, keys::kFrameFormat);
        if (const auto* text = boost::get<config_items::StringConfigItem>(&format)) {
            negotiated.format = text->m_value;
        }
        if (negotiated.rate <= 0.0) continue;
        recorder.setNegotiated(negotiated);
        const double nominal = plan.rate_numerator > 0 ? static_cast<double>(plan.rate_numerator) /
                                                             plan.rate_denominator
                                                       : 0.0;
        if (nominal > 0.0 && std::abs(nominal - negotiated.rate) > 1e-3 * nominal) {
            char rates[96];
            std::snprintf(rates, sizeof rates, "%g fps", negotiated.rate);
            std::lock_guard<std::mutex> lock(state.mutex);
            state.notices.push_back(
                "zelt-camera: warning: " + cameraLabel(plan) + " delivers " + rates + " " +
                negotiated.format + ", not the rate of '" + plan.setting +
                "' (the camera picks its mode by size; the files and the manifest say " + rates +
                ")");
        }
    }
}

// Ends the process at once while the plug-in is stuck in a camera's start: the files are
// finished without the plug-in, the manifest says why, and nothing waits for the plug-in.
[[noreturn]] void abandon(Recording& recording, RecordingManifest& manifest, StopReason reason,
                          ExitCode code, const std::string& message, ProgressDisplay& display,
                          ManifestWriter& manifest_writer, int signal) {
    recording.finishFiles();
    display.clear();
    takeCounts(manifest, recording);
    manifest.stop_reason = reason;
    manifest.ended_at = std::chrono::system_clock::now();
    manifest.complete = true;
    manifest.interrupted = signal != 0;
    if (signal != 0) manifest.signal = StopSignals::name(signal);
    manifest.exit_code = static_cast<int>(code);
    // The exception manager is the host's own: it answers while the plug-in is stuck.
    manifest.errors = recording.session().host().exceptions().posts();
    manifest_writer.write(manifest);
    std::cerr << summaryLine(manifest) << std::endl;
    if (!message.empty()) std::cerr << "zelt-camera: error: " << message << std::endl;
    std::cerr.flush();
    std::fflush(nullptr);
    std::_Exit(static_cast<int>(code));
}

}  // namespace

ExitCode runRecord(const CommandLine& command_line) {
    const RecordOptions& options = command_line.record;
    OutputFolder out(options.out, options.overwrite);
    const VideoCodec codec = *videoCodecFromName(options.codec);  // checked when parsed
    PluginSession session(command_line.global);
    ProgressDisplay display(std::cerr, isatty(STDERR_FILENO) != 0);
    ErrorPrinter errors(session, display);
    errors.print(nullptr);
    std::vector<CameraPlan> plans = planCameras(session, options);
    for (CameraPlan& plan : plans) plan.codec = codec;
    zelt::host::Host& host = session.host();

    out.create();
    const std::string& folder = out.path();
    RecordingManifest manifest = startManifest(session, options, plans, folder);
    Recording recording(session, plans, folder, options.memory_mib);
    ManifestWriter manifest_writer(display);
    if (!manifest_writer.write(manifest)) {  // "running": what a crash would leave behind
        throw CliError(ExitCode::kOutputNotWritable,
                       "cannot write the manifest in '" + folder + "'");
    }

    StopSignals signals;
    recording.start();

    // The plug-in's start waits for each camera without a limit; it runs on a thread of its
    // own, one camera after the other, and this thread watches the clock and the signals.
    auto state = std::make_shared<StartState>();
    zelt::host::AcquisitionOptions start_options;
    start_options.require_prepared = options.fail_fast;
    start_options.prepare_steps = recording.prepareSteps();
    const auto start_timeout =
        std::chrono::milliseconds(static_cast<long long>(options.start_timeout_seconds * 1000.0));
    start_options.ready_timeout = start_timeout;
    start_options.on_prepare_step = [state, &host](std::size_t step) {
        std::lock_guard<std::mutex> lock(state->mutex);
        state->posts_before_step.push_back(host.exceptions().postCount());
        state->step.store(static_cast<int>(step));
    };
    start_options.cancelled = [&signals] { return signals.received() != 0; };
    zelt::host::Acquisition* running = nullptr;
    start_options.on_ready = [&host, &recording, &running, state] {
        readNegotiated(host, recording, running->report().failed_steps, *state);
    };
    zelt::host::Acquisition acquisition(host, start_options);
    running = &acquisition;

    const Clock::time_point start_began = Clock::now();
    std::thread starter([&acquisition, &recording, state] {
        try {
            acquisition.start(recording.channelIds());
        } catch (const zelt::host::HostError& error) {
            std::lock_guard<std::mutex> lock(state->mutex);
            state->failure = error.what();
        }
        state->done.store(true);
    });
    // Each camera's start has the start timeout of its own.
    int shown_step = -2;
    int timed_step = -2;
    Clock::time_point step_began = start_began;
    while (!state->done.load()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        const int step = state->step.load();
        if (step != timed_step) {
            timed_step = step;
            step_began = Clock::now();
        }
        const auto camera = [&] {
            return step >= 0
                       ? cameraLabel(recording.recorders()[static_cast<std::size_t>(step)]->plan())
                       : std::string("the cameras");
        };
        if (signals.received() != 0) {
            // Ctrl-C while a camera starts: stop at once, whatever the plug-in does.
            starter.detach();
            const StopReason reason = signalReason(signals.received());
            abandon(recording, manifest, reason, signalExitCode(reason), "", display,
                    manifest_writer, signals.received());
        }
        // The wait for the channels after the last start has its own limit (the same time);
        // a start that blocks beyond the timeout plus a little is given up here.
        if (Clock::now() - step_began > start_timeout + std::chrono::milliseconds(500) &&
            !state->done.load()) {
            starter.detach();
            char seconds[32];
            std::snprintf(seconds, sizeof seconds, "%g", options.start_timeout_seconds);
            const std::string message = camera() + " did not deliver its first frame within " +
                                        seconds + " s (the start timeout, --start-timeout)";
            if (step >= 0) {
                recording.recorders()[static_cast<std::size_t>(step)]->cameraFailed(
                    "no first frame within the start timeout");
            }
            abandon(recording, manifest, StopReason::kStartTimeout, ExitCode::kStartTimeout,
                    message, display, manifest_writer, 0);
        }
        if (step != shown_step && Clock::now() - step_began > kWaitingNotice) {
            shown_step = step;
            display.status("waiting for " + camera() + " ...");
        }
    }
    starter.join();
    display.clear();

    std::string start_failure;
    const bool start_timed_out = acquisition.report().timed_out;
    std::vector<std::string> notices;
    {
        std::lock_guard<std::mutex> lock(state->mutex);
        start_failure = state->failure;
        notices = state->notices;
        for (const std::size_t step : acquisition.report().failed_steps) {
            const std::size_t from = state->posts_before_step[step];
            const std::string posted = postsFrom(host, from);
            recording.recorders()[step]->cameraFailed(posted.empty() ? "the camera did not start"
                                                                     : posted);
        }
    }
    for (const std::string& notice : notices) display.message(notice);

    const Clock::time_point delivery_start = Clock::now();
    if (start_failure.empty()) {
        manifest.stop_reason = watchRecording(options, recording, signals, display, errors,
                                              manifest_writer, manifest, delivery_start);
    } else if (signals.received() != 0) {
        manifest.stop_reason = signalReason(signals.received());
    } else {
        manifest.stop_reason = start_timed_out ? StopReason::kStartTimeout : StopReason::kError;
    }
    acquisition.stop();
    manifest.duration_seconds = start_failure.empty() ? secondsSince(delivery_start) : 0.0;
    recording.finish();
    display.clear();
    errors.print(&recording);

    manifest.ended_at = std::chrono::system_clock::now();
    manifest.complete = true;
    manifest.interrupted = manifest.stop_reason == StopReason::kInterrupted ||
                           manifest.stop_reason == StopReason::kTerminated ||
                           manifest.stop_reason == StopReason::kHangup;
    if (manifest.interrupted) manifest.signal = StopSignals::name(signals.received());
    takeCounts(manifest, recording);
    manifest.errors = host.exceptions().posts();
    Outcome outcome = judge(manifest, start_failure);
    if (manifest.stop_reason == StopReason::kStartTimeout) {
        outcome = {ExitCode::kStartTimeout, start_failure};
    }
    manifest.exit_code = static_cast<int>(outcome.code);
    if (!manifest_writer.write(manifest) && outcome.code == ExitCode::kOk) {
        outcome = {ExitCode::kOutputNotWritable, "the manifest could not be written"};
    }
    std::cerr << summaryLine(manifest) << std::endl;
    if (!outcome.failure.empty()) throw CliError(outcome.code, outcome.failure);
    return outcome.code;
}

}  // namespace zelt::cli
