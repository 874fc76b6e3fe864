// One camera's share of a recording: its sample sinks, its frame queue and its writer thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "csv_writer.h"
#include "frame_queue.h"
#include "png_writer.h"
#include "time_axis.h"
#include "video_writer.h"
#include "zelt/sample_sink.h"
#include "zelt_host/image_data_header.h"

namespace zelt::cli {

/// What to record of one camera.
struct CameraPlan {
    std::uint32_t id = 0;
    /// The camera's frame counter channel, recorded beside it when present.
    std::optional<std::uint32_t> counter_id;
    std::string name;
    std::string device_path;
    std::string setting;  ///< the frame setting in force ("640 x 480 @ 30 fps")
    std::uint32_t subsampling = 1;
    /// The nominal rate of the recorded frames (the setting's rate over the subsampling);
    /// 0/1 when unknown.
    int rate_numerator = 0;
    int rate_denominator = 1;
    /// Files are named <base_name>.mkv, .csv and .png ("camera0").
    std::string base_name;
    /// Stop taking frames after this many (--frames); nothing: no limit.
    std::optional<std::uint64_t> frame_limit;
    /// The host time base's ticks per second.
    double frequency = 1e7;
    /// How the video file stores the frames.
    VideoCodec codec = VideoCodec::kRaw;
};

/// What the camera negotiated, read from its channel ("SampleRate", "FrameFormat") once it
/// delivered its first frame.
struct Negotiated {
    double rate = 0.0;  ///< frames per second delivered (the subsampling taken into account)
    std::string format;
};

/// Counts and facts of one camera's recording, for the manifest and the summary.
struct CameraReport {
    CameraPlan plan;
    std::uint64_t delivered = 0;      ///< samples the plug-in delivered while recording
    std::uint64_t dropped = 0;        ///< of those, lost because the writer fell behind
    std::uint64_t written = 0;        ///< frames in the video file and rows in the table
    std::uint64_t stream_events = 0;  ///< stream events (2: the camera reported an error)
    std::uint64_t first_ticks = 0;    ///< host stamp of the first written frame (0: none)
    std::uint64_t last_ticks = 0;
    std::optional<zelt::host::ImageDataHeader> header;  ///< of the first frame
    std::string stored_format;                          ///< raw format in the video file
    std::size_t queue_slots = 0;
    std::string video_file, csv_file, png_file;  ///< names in the folder; empty: not written
    std::vector<std::string> errors;             ///< what went wrong while writing
    std::string failure;  ///< why the camera itself failed (it did not start...); empty: it did not
    std::uint64_t origin_ticks = 0;  ///< the recording's common start the file counts from
    std::optional<Negotiated> negotiated;
    /// Frames per second between the first and the last written frame; 0 with fewer than 2.
    double measuredFps() const;
};

/// Records one camera. The sinks are given to the camera's channels before the acquisition
/// starts; they run on the camera's streaming thread, copy each sample into a free slot of the
/// FrameQueue (or count it as dropped) and return at once. The writer thread, started by
/// start(), takes the slots in order and writes the video frame, the table row and, once, the
/// picture. finish() is called after the acquisition has stopped: it drains the queue, ends
/// the video file and closes the table.
///
/// Frame counter values reach the writer with their frame: the camera hands over a frame and
/// then, on the same thread, its count with the same stamp, so the frame's slot is published
/// only when its count arrived (or when the next frame comes without one).
class CameraRecorder {
public:
    /// Creates the table file at once, so that an unwritable folder shows before recording.
    /// Throws std::runtime_error when it cannot.
    /// `axis`: the recording's common start (null: the camera's own first frame).
    CameraRecorder(CameraPlan plan, std::string folder, FrameQueueLimits limits = {},
                   std::shared_ptr<TimeAxis> axis = nullptr);
    /// finish() if it did not run.
    ~CameraRecorder();

    CameraRecorder(const CameraRecorder&) = delete;
    CameraRecorder& operator=(const CameraRecorder&) = delete;

    const CameraPlan& plan() const noexcept { return m_plan; }
    /// The sink for the camera channel and the one for its frame counter channel.
    std::shared_ptr<zelt::IfSampleSink> frameSink() const { return m_frame_sink; }
    std::shared_ptr<zelt::IfSampleSink> counterSink() const { return m_counter_sink; }

    /// Starts the writer thread.
    void start();
    /// Drains and closes everything; call once no sample can arrive any more. Idempotent.
    void finish();

    // Live counts, readable from any thread while recording.
    std::uint64_t deliveredFrames() const noexcept { return m_delivered.load(); }
    std::uint64_t recordedFrames() const noexcept { return m_recorded.load(); }
    std::uint64_t droppedFrames() const noexcept { return m_dropped.load(); }
    std::uint64_t writtenFrames() const noexcept { return m_written.load(); }
    std::uint64_t streamEvents() const noexcept { return m_stream_events.load(); }
    /// Frames per second of the frames taken so far.
    double currentFps() const noexcept;
    /// --frames reached: every further sample is ignored.
    bool reachedLimit() const noexcept;
    /// The writer failed (the recording should stop); the reason is in report().errors.
    bool hasFailed() const noexcept { return m_failed.load(); }

    /// The camera failed on its own (it did not start, it posted an error): recorded in the
    /// report; a camera that never delivered leaves the common start. Any thread.
    void cameraFailed(const std::string& reason);
    bool hasCameraFailed() const noexcept { return m_camera_failed.load(); }
    /// What the camera negotiated; call before delivery is switched on: the video file's
    /// header takes its rate.
    void setNegotiated(const Negotiated& negotiated);

    /// The counts and facts; call it after finish() (or while recording, for a snapshot).
    CameraReport report() const;

    // The sinks' functions (streaming thread).
    void onFrame(std::uint64_t timestamp, const void* data, std::uint32_t size) noexcept;
    void onCounter(std::uint64_t timestamp, const void* data, std::uint32_t size) noexcept;
    void onStreamEvent(std::uint32_t kind) noexcept;

private:
    void writerLoop() noexcept;
    void writeFrame(const FrameSlot& slot);
    void openVideo(const zelt::host::ImageDataHeader& header);
    void closeFiles() noexcept;
    void fail(const std::string& reason) noexcept;
    std::string path(const std::string& file) const { return m_folder + "/" + file; }

    const CameraPlan m_plan;
    const std::string m_folder;
    FrameQueue m_queue;
    std::shared_ptr<zelt::IfSampleSink> m_frame_sink;
    std::shared_ptr<zelt::IfSampleSink> m_counter_sink;

    // Streaming thread only (and finish(), once the acquisition stopped).
    FrameSlot* m_pending = nullptr;  ///< written, waiting for its count

    std::atomic<std::uint64_t> m_delivered{0};
    std::atomic<std::uint64_t> m_recorded{0};
    std::atomic<std::uint64_t> m_dropped{0};
    std::atomic<std::uint64_t> m_written{0};
    std::atomic<std::uint64_t> m_stream_events{0};
    std::atomic<std::uint64_t> m_first_recorded_ticks{0};
    std::atomic<std::uint64_t> m_last_recorded_ticks{0};
    std::atomic<bool> m_failed{false};
    std::atomic<bool> m_camera_failed{false};
    std::atomic<std::size_t> m_queue_slots{0};  ///< for reports while recording
    std::shared_ptr<TimeAxis> m_axis;
    std::optional<Negotiated> m_negotiated;  ///< set before delivery, read by the writer

    // Writer thread only (until it is joined).
    std::unique_ptr<VideoWriter> m_video;
    std::unique_ptr<CsvWriter> m_csv;
    std::optional<zelt::host::ImageDataHeader> m_header;
    VideoFormat m_video_format;
    std::uint64_t m_first_ticks = 0;
    std::uint64_t m_origin_ticks = 0;
    std::uint64_t m_last_ticks = 0;
    bool m_png_written = false;
    std::vector<std::uint8_t> m_first_frame;  ///< the picture's fallback

    std::thread m_writer;
    bool m_finished = false;
    mutable std::mutex m_report_mutex;  ///< guards the members below
    std::vector<std::string> m_errors;
    std::string m_failure;
    std::optional<zelt::host::ImageDataHeader> m_shared_header;
    std::uint64_t m_shared_origin = 0;
    std::string m_video_format_name;
    std::string m_video_file, m_csv_file, m_png_file;
};

}  // namespace zelt::cli
