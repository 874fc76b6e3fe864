#include "video_writer.h"

#include <gst/app/gstappsrc.h>
#include <gst/video/video.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace zelt::cli {
namespace {

// appsrc holds at most this many frames before push() blocks the writer thread.
constexpr std::uint64_t kQueuedFrames = 8;
// How often a writer waiting for room in that queue looks for a pipeline error, in ms.
constexpr GstClockTime kRoomPollInterval = 10;
// Matroska stores times in units of the file's timecode scale (1 ms unless told otherwise).
// 10 us keeps each frame's host stamp to within 5 us. A block's time is a signed 16-bit
// offset from its cluster's, so a cluster may span at most 32767 units (327 ms): clusters are
// closed well before that.
constexpr gint64 kTimecodeScaleNs = 10'000;
constexpr gint64 kMaxClusterNs = 300'000'000;
constexpr gint64 kMinClusterNs = 250'000'000;
// The muxer keeps its index (the file's cues) in memory until the file is finished, by default
// one entry per key frame, which for raw video is every frame (about 30 bytes each: a 30 minute
// recording of four 30 fps cameras grew by 5 MiB). One entry a second keeps memory flat.
constexpr gint64 kMinIndexIntervalNs = 1'000'000'000;

gst_support::ElementPtr makeElement(const char* factory, const char* name) {
    auto element = gst_support::sinkObject(gst_element_factory_make(factory, name));
    if (!element) {
        throw std::runtime_error(std::string("GStreamer element '") + factory +
                                 "' is missing (GStreamer's base and good plug-ins are needed)");
    }
    return element;
}

gst_support::CapsPtr rawCaps(const std::string& format, const VideoFormat& video) {
    return gst_support::CapsPtr(gst_caps_new_simple(
        "video/x-raw", "format", G_TYPE_STRING, format.c_str(), "width", G_TYPE_INT,
        static_cast<int>(video.width), "height", G_TYPE_INT, static_cast<int>(video.height),
        "framerate", GST_TYPE_FRACTION, video.rate_numerator, video.rate_denominator,
        "pixel-aspect-ratio", GST_TYPE_FRACTION, 1, 1, nullptr));
}

// The raw layout each encoder is given for a stored format; the same samples, rearranged.
std::string encoderInput(VideoCodec codec, const std::string& stored) {
    if (codec == VideoCodec::kH264) return "I420";  // the layout every H.264 decoder takes
    if (stored == "YUY2" || stored == "UYVY") return "Y42B";
    if (stored == "RGB" || stored == "BGR") return "BGRx";
    return stored;  // I420, GRAY8
}

gst_support::ElementPtr makeEncoder(VideoCodec codec, const VideoFormat& format) {
    if (codec == VideoCodec::kFfv1) {
        auto encoder = gst_support::sinkObject(gst_element_factory_make("avenc_ffv1", "encoder"));
        if (!encoder) {
            throw std::runtime_error(
                "GStreamer element 'avenc_ffv1' is missing (Debian package gstreamer1.0-libav)");
        }
        return encoder;
    }
    auto encoder = gst_support::sinkObject(gst_element_factory_make("x264enc", "encoder"));
    if (!encoder) {
        throw std::runtime_error(
            "GStreamer element 'x264enc' is missing (Debian package gstreamer1.0-plugins-ugly)");
    }
    // Fast enough for several cameras on a small machine; no frames held back for look-ahead
    // or B-frames, so a killed file lacks at most the last cluster; a key frame every 2 s.
    const int rate =
        format.rate_denominator > 0 && format.rate_numerator > 0
            ? (format.rate_numerator + format.rate_denominator - 1) / format.rate_denominator
            : 30;
    gst_util_set_object_arg(G_OBJECT(encoder.get()), "speed-preset", "veryfast");
    gst_util_set_object_arg(G_OBJECT(encoder.get()), "tune", "zerolatency");
    gst_util_set_object_arg(G_OBJECT(encoder.get()), "pass", "qual");
    g_object_set(encoder.get(), "quantizer", 23u, "key-int-max", static_cast<guint>(2 * rate),
                 "threads", 1u, nullptr);
    return encoder;
}

}  // namespace

std::optional<VideoCodec> videoCodecFromName(const std::string& name) {
    if (name == "raw") return VideoCodec::kRaw;
    if (name == "ffv1") return VideoCodec::kFfv1;
    if (name == "h264") return VideoCodec::kH264;
    return std::nullopt;
}

const char* videoCodecName(VideoCodec codec) noexcept {
    switch (codec) {
        case VideoCodec::kRaw:
            return "raw";
        case VideoCodec::kFfv1:
            return "ffv1";
        case VideoCodec::kH264:
            return "h264";
    }
    return "raw";
}

std::string gstErrorText(GstMessage* message) {
    GError* raw_error = nullptr;
    gchar* raw_debug = nullptr;
    gst_message_parse_error(message, &raw_error, &raw_debug);
    const gst_support::GErrorPtr error(raw_error);
    const gst_support::GCharPtr debug(raw_debug);
    std::string text = error != nullptr ? error->message : "unknown GStreamer error";
    if (debug != nullptr) text += std::string(" (") + debug.get() + ")";
    return text;
}

VideoWriter::VideoWriter(const std::string& path, const VideoFormat& format) : m_path(path) {
    const auto source_caps = rawCaps(format.format.gst_format, format);
    GstVideoInfo info;
    if (!gst_video_info_from_caps(&info, source_caps.get())) {
        throw std::runtime_error("GStreamer has no layout for " + format.format.gst_format + " " +
                                 std::to_string(format.width) + "x" +
                                 std::to_string(format.height));
    }
    m_frame_bytes = GST_VIDEO_INFO_SIZE(&info);

    m_pipeline = gst_support::sinkObject(gst_pipeline_new("zelt-camera-video"));
    m_appsrc = makeElement("appsrc", "frames");
    auto muxer = makeElement("matroskamux", "muxer");
    auto file = makeElement("filesink", "file");

    // push() waits for room itself (see there): appsrc's own blocking would wait forever once
    // an error stopped the pipeline with the queue full.
    m_max_queued_bytes = m_frame_bytes * kQueuedFrames;
    g_object_set(m_appsrc.get(), "caps", source_caps.get(), "format", GST_FORMAT_TIME, "block",
                 FALSE, "max-bytes", static_cast<guint64>(m_max_queued_bytes), "is-live", FALSE,
                 nullptr);
    g_object_set(muxer.get(), "timecodescale", kTimecodeScaleNs, "max-cluster-duration",
                 kMaxClusterNs, "min-cluster-duration", kMinClusterNs, "min-index-interval",
                 kMinIndexIntervalNs, nullptr);
    g_object_set(file.get(), "location", path.c_str(), nullptr);
    // The time stamps are what matter; muxing them into the file without waiting on a clock.
    g_object_set(file.get(), "sync", FALSE, "async", FALSE, nullptr);

    // Unbuffered: what the muxer hands over is in the file at once, so a killed process
    // loses no more than the muxer itself holds.
    gst_util_set_object_arg(G_OBJECT(file.get()), "buffer-mode", "unbuffered");

    // Our owners hold full (sunk) references, so the bin takes a reference of its own.
    gst_bin_add_many(GST_BIN(m_pipeline.get()), m_appsrc.get(), muxer.get(), file.get(), nullptr);
    const std::string wanted = format.codec == VideoCodec::kRaw
                                   ? format.format.stored_format
                                   : encoderInput(format.codec, format.format.stored_format);
    GstElement* upstream = m_appsrc.get();
    bool linked = true;
    if (wanted != format.format.gst_format) {
        auto convert = makeElement("videoconvert", "rearrange");
        // Same size on both sides: the conversion moves samples (and for H.264 halves the
        // chroma of 4:2:2 and RGB frames, which the encoder rounds anyway).
        auto converted_caps = rawCaps(wanted, format);
        gst_bin_add(GST_BIN(m_pipeline.get()), convert.get());
        linked = gst_element_link(upstream, convert.get());
        auto capsfilter = makeElement("capsfilter", "layout");
        g_object_set(capsfilter.get(), "caps", converted_caps.get(), nullptr);
        gst_bin_add(GST_BIN(m_pipeline.get()), capsfilter.get());
        linked = linked && gst_element_link(convert.get(), capsfilter.get());
        upstream = capsfilter.get();
    }
    if (format.codec != VideoCodec::kRaw) {
        auto encoder = makeEncoder(format.codec, format);
        gst_bin_add(GST_BIN(m_pipeline.get()), encoder.get());
        linked = linked && gst_element_link(upstream, encoder.get());
        upstream = encoder.get();
    }
    linked = linked && gst_element_link(upstream, muxer.get());
    linked = linked && gst_element_link(muxer.get(), file.get());
    if (!linked) {
        throw std::runtime_error("cannot link the video pipeline for " + format.format.gst_format +
                                 " into Matroska (" + videoCodecName(format.codec) + ")");
    }
    m_bus.reset(gst_element_get_bus(m_pipeline.get()));
    if (gst_element_set_state(m_pipeline.get(), GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE) {
        std::string reason = "cannot start writing '" + path + "'";
        if (gst_support::MessagePtr message{gst_bus_pop_filtered(m_bus.get(), GST_MESSAGE_ERROR)}) {
            reason += ": " + gstErrorText(message.get());
        }
        stop();
        throw std::runtime_error(reason);
    }
}

VideoWriter::~VideoWriter() { stop(); }

void VideoWriter::stop() noexcept {
    if (m_pipeline) gst_element_set_state(m_pipeline.get(), GST_STATE_NULL);
}

void VideoWriter::failWith(const std::string& reason) {
    m_failed = true;
    throw std::runtime_error(reason);
}

void VideoWriter::checkBus() {
    gst_support::MessagePtr message{gst_bus_pop_filtered(m_bus.get(), GST_MESSAGE_ERROR)};
    if (message) failWith("writing '" + m_path + "' failed: " + gstErrorText(message.get()));
}

void VideoWriter::push(const std::uint8_t* pixels, std::size_t size, std::uint64_t pts_ns) {
    if (m_finished) throw std::runtime_error("the video file is already finished");
    checkBus();
    // Wait for room in appsrc's queue while watching for the pipeline's errors: the muxer or
    // the disk falling behind holds the writer thread here, never the camera's.
    while (gst_app_src_get_current_level_bytes(GST_APP_SRC(m_appsrc.get())) >= m_max_queued_bytes) {
        gst_support::MessagePtr message{gst_bus_timed_pop_filtered(
            m_bus.get(), kRoomPollInterval * GST_MSECOND, GST_MESSAGE_ERROR)};
        if (message) {
            failWith("writing '" + m_path + "' failed: " + gstErrorText(message.get()));
        }
    }
    GstBuffer* buffer = gst_buffer_new_allocate(nullptr, m_frame_bytes, nullptr);
    if (buffer == nullptr) throw std::runtime_error("out of memory for a video frame");
    GstMapInfo map;
    if (gst_buffer_map(buffer, &map, GST_MAP_WRITE)) {
        const std::size_t copied = std::min(size, m_frame_bytes);
        std::memcpy(map.data, pixels, copied);
        if (copied < m_frame_bytes) std::memset(map.data + copied, 0, m_frame_bytes - copied);
        gst_buffer_unmap(buffer, &map);
    }
    GST_BUFFER_PTS(buffer) = pts_ns;
    GST_BUFFER_DTS(buffer) = pts_ns;
    // Takes the buffer.
    const GstFlowReturn flow = gst_app_src_push_buffer(GST_APP_SRC(m_appsrc.get()), buffer);
    if (flow != GST_FLOW_OK) {
        checkBus();
        failWith("writing '" + m_path + "' stopped: " + gst_flow_get_name(flow));
    }
}

void VideoWriter::finish(std::chrono::milliseconds timeout) {
    if (m_finished) return;
    m_finished = true;
    if (m_failed) {
        // The pipeline stopped at its error: no end of stream can arrive. The file holds
        // what reached the disk, up to the muxer's last whole cluster.
        stop();
        return;
    }
    gst_app_src_end_of_stream(GST_APP_SRC(m_appsrc.get()));
    gst_support::MessagePtr message{gst_bus_timed_pop_filtered(
        m_bus.get(), static_cast<GstClockTime>(timeout.count()) * GST_MSECOND,
        static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR))};
    std::string failure;
    if (!message) {
        failure = "writing '" + m_path + "' did not finish in time";
    } else if (GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_ERROR) {
        failure = "writing '" + m_path + "' failed: " + gstErrorText(message.get());
    }
    stop();
    if (!failure.empty()) throw std::runtime_error(failure);
}

}  // namespace zelt::cli
