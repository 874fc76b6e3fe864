// Video files: frames in Matroska, raw or encoded, each with its own time stamp.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "gst_support/gst_ptr.h"
#include "pixel_formats.h"

namespace zelt::cli {

/// How frames are stored in the video file.
enum class VideoCodec {
    kRaw,   ///< "raw": the samples as they are (V_UNCOMPRESSED)
    kFfv1,  ///< "ffv1": lossless FFV1 (avenc_ffv1)
    kH264,  ///< "h264": H.264 (x264enc), lossy, a small fraction of the size
};

/// The codec of a --codec text ("raw", "ffv1", "h264"), or nothing.
std::optional<VideoCodec> videoCodecFromName(const std::string& name);
const char* videoCodecName(VideoCodec codec) noexcept;

/// What the frames of one video file are.
struct VideoFormat {
    StoredFormat format;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    /// The nominal frame rate for the file's header (0/1: variable). Each frame carries its
    /// own time stamp whatever this says.
    int rate_numerator = 0;
    int rate_denominator = 1;
    VideoCodec codec = VideoCodec::kRaw;
};

/// Writes one Matroska file through a GStreamer pipeline of its own:
///   appsrc ! [videoconvert !] [encoder !] matroskamux ! filesink
/// (videoconvert only where the sample layout is rearranged for Matroska or the encoder, see
/// StoredFormat). The file survives the process being killed: the muxer writes each cluster
/// (at most 0.3 s of frames) as it closes it, with sizes marked unknown until the end, and the
/// file sink writes without a buffer of its own, so a cut file holds every frame up to its
/// last whole cluster and players read it; finish() adds the index and the duration.
/// Frames are pushed from one thread (the writer thread); push() holds that thread while 8
/// frames wait in appsrc (the muxer and the disk fall behind), never the camera's, and
/// returns with an error as soon as the pipeline reports one. finish() sends end-of-stream and
/// waits until the muxer has written its index and the file is closed: only then is the file
/// complete. Destroying an unfinished writer stops the pipeline without finishing the file.
class VideoWriter {
public:
    /// Builds and starts the pipeline. Throws std::runtime_error when an element is missing
    /// or the pipeline does not start (the file cannot be created, say).
    VideoWriter(const std::string& path, const VideoFormat& format);
    ~VideoWriter();

    VideoWriter(const VideoWriter&) = delete;
    VideoWriter& operator=(const VideoWriter&) = delete;

    /// Appends one frame of `size` pixel bytes with presentation time `pts_ns` (nanoseconds
    /// from the start of the file; must increase). A frame shorter than the layout's size is
    /// padded with zeros, a longer one cut. Throws std::runtime_error when the pipeline
    /// reported an error.
    void push(const std::uint8_t* pixels, std::size_t size, std::uint64_t pts_ns);
    /// Ends the stream and waits (up to `timeout`) until the file is complete. Throws
    /// std::runtime_error on a pipeline error or a timeout.
    void finish(std::chrono::milliseconds timeout = std::chrono::seconds(30));

    /// Bytes of one frame in GStreamer's layout.
    std::size_t frameBytes() const noexcept { return m_frame_bytes; }

private:
    void checkBus();
    void failWith(const std::string& reason);
    void stop() noexcept;

    std::string m_path;
    gst_support::PipelinePtr m_pipeline;
    gst_support::ElementPtr m_appsrc;
    gst_support::BusPtr m_bus;
    std::size_t m_frame_bytes = 0;
    std::uint64_t m_max_queued_bytes = 0;  ///< appsrc holds at most this much
    bool m_finished = false;
    bool m_failed = false;  ///< the pipeline reported an error: no end of stream will come
};

/// The text of a GStreamer error message: "text (debug details)".
std::string gstErrorText(GstMessage* message);

}  // namespace zelt::cli
