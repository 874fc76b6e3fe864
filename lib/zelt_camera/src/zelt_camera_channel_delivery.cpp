// Frame delivery: the appsink callbacks that turn GStreamer frames into host samples.
#include <gst/app/gstappsink.h>
#include <gst/video/video.h>

#include <cmath>
#include <exception>
#include <memory>
#include <thread>

#include "uni/assertion_report.h"
#include "zelt/sample_sink.h"
#include "zelt_camera_channel.h"
#include "zelt_camera_frame_copy.h"
#include "zelt_camera_timestamp.h"
#include "zeltpu/keys.h"
#include "zeltpu/log.h"

namespace zelt_camera {
namespace {

namespace keys = zelt::plugin_util::keys;
using config_items::ScalarConfigItem;
using config_items::StringConfigItem;

constexpr const char* kSource = "lib/zelt_camera/src/zelt_camera_channel";
constexpr std::size_t kHeaderSize = sizeof(image::ImageDataHeader);
constexpr const char* kPrerollFailed = "CameraChannel::onNewPreroll cannot start processing: ";

void write_le32(std::uint8_t* out, std::uint32_t value) {
    out[0] = static_cast<std::uint8_t>(value);
    out[1] = static_cast<std::uint8_t>(value >> 8);
    out[2] = static_cast<std::uint8_t>(value >> 16);
    out[3] = static_cast<std::uint8_t>(value >> 24);
}

}  // namespace

// Nothing may leave through GStreamer's frames: an exception of a host callback that was not
// caught nearer to it ends the callback here. A preroll that throws (a host listener, a format
// without a FourCC) ends the stream with an error.
GstFlowReturn CameraChannel::onNewPreroll(GstAppSink* sink, gpointer channel) {
    auto* camera = static_cast<CameraChannel*>(channel);
    const uni::log::ScopedCamera scope(camera->m_name, camera->m_path);
    try {
        return camera->handlePreroll(sink);
    } catch (const std::exception& error) {
        UNI_LOG(unilogger_zelt_plugin_camera, ULS_ERROR) << kPrerollFailed << error.what();
    } catch (...) {
        UNI_LOG(unilogger_zelt_plugin_camera, ULS_ERROR) << kPrerollFailed << "unknown exception";
    }
    return GST_FLOW_ERROR;
}

GstFlowReturn CameraChannel::onNewSample(GstAppSink* sink, gpointer channel) {
    auto* camera = static_cast<CameraChannel*>(channel);
    try {
        return camera->handleSample(sink);
    } catch (const std::exception& error) {
        camera->noteFailedHandOver(error.what());
    } catch (...) {
        camera->noteFailedHandOver("unknown exception");
    }
    return GST_FLOW_OK;
}

GstFlowReturn CameraChannel::handlePreroll(GstAppSink* sink) {
    gst_support::SamplePtr sample(gst_app_sink_pull_preroll(sink));
    if (!uni::check(sample != nullptr, "sample", kSource, __LINE__)) return GST_FLOW_ERROR;
    GstCaps* caps = gst_sample_get_caps(sample.get());
    if (!uni::check(caps != nullptr, "caps", kSource, __LINE__)) return GST_FLOW_ERROR;

    GstVideoInfo info;
    if (!gst_video_info_from_caps(&info, caps)) {
        uni::reportAssertion("false", kSource, __LINE__);
        return GST_FLOW_OK;
    }

    m_width = static_cast<std::uint32_t>(GST_VIDEO_INFO_WIDTH(&info));
    m_height = static_cast<std::uint32_t>(GST_VIDEO_INFO_HEIGHT(&info));
    gst_util_fraction_to_double(GST_VIDEO_INFO_FPS_N(&info), GST_VIDEO_INFO_FPS_D(&info),
                                &m_framerate);
    m_format = to_fourcc_name(gst_video_format_to_string(GST_VIDEO_INFO_FORMAT(&info)));
    gst_util_fraction_to_double(GST_VIDEO_INFO_PAR_N(&info), GST_VIDEO_INFO_PAR_D(&info),
                                &m_pixel_aspect_ratio);

    const std::uint32_t subsampling = m_frame_subsampling.load();
    publishOption(keys::kSampleRate, ScalarConfigItem(m_framerate / subsampling, "fps"));
    publishOption(keys::kFrameWidth, ScalarConfigItem(m_width, "pixel"));
    publishOption(keys::kFrameHeight, ScalarConfigItem(m_height, "pixel"));
    publishOption(keys::kPixelAspectRatio, ScalarConfigItem(m_pixel_aspect_ratio, ""));
    publishOption(keys::kFrameFormat, StringConfigItem(m_format));

    const std::uint32_t fourcc = fourcc_from_string(m_format);  // throws for an unknown format
    const PixelFormatInfo& format_info = pixel_format_info(fourcc);

    UNI_LOG(unilogger_zelt_plugin_camera, ULS_INFO)
        << "Preroll image received with size " << m_width << " x " << m_height << " and format "
        << m_format;

    // Whole bytes only: a trailing partial byte is dropped.
    const std::int32_t payload =
        image_payload_bytes(format_info, static_cast<int>(m_width), static_cast<int>(m_height));
    const std::size_t buffer_size = static_cast<std::size_t>(payload) + kHeaderSize;

    // The buffer is sized and the camera marked running under the delivery lock: a stop on the
    // host thread that finds no frame delivered yet frees the buffer under the same lock, so
    // the two never work on the buffer at once. The assertion goes to its handler after the
    // lock is given back.
    bool was_empty = false;
    {
        DeliveryLock lock(*this);
        was_empty = m_image_buffer.empty();
        m_image_buffer.resize(buffer_size);
        if (!m_image_buffer.empty()) {
            write_le32(m_image_buffer.data(), fourcc);
            write_le32(m_image_buffer.data() + 4, m_width);
            write_le32(m_image_buffer.data() + 8, m_height);
        }
        m_frame_layout = FrameLayout(info);
        m_pipeline_running.store(true, std::memory_order_release);
    }
    uni::check(was_empty, "m_image_buffer.empty()", kSource, __LINE__);
    return GST_FLOW_OK;
}

GstFlowReturn CameraChannel::handleSample(GstAppSink* sink) {
    gst_support::SamplePtr sample(gst_app_sink_pull_sample(sink));
    // One lock per frame, held from reading the flags to the end of the hand-over. While it is
    // held, this thread is known as the delivering one: a sink calling back into the channel
    // from inside addSample does not wait for the lock it is called under.
    std::lock_guard<std::mutex> lock(m_mutex);
    const HandOver hand_over(*this);
    if (!m_acquisition_active) return sample ? GST_FLOW_OK : GST_FLOW_ERROR;
    if (!sample) return GST_FLOW_ERROR;

    GstBuffer* buffer = gst_sample_get_buffer(sample.get());
    if (!uni::check(buffer != nullptr, "buffer", kSource, __LINE__)) return GST_FLOW_OK;
    const GstClockTime pts = GST_BUFFER_PTS(buffer);
    if (!m_pipeline_running.load(std::memory_order_acquire)) return GST_FLOW_OK;

    double stamp = 0.0;
    if (m_time_source) {
        const std::uint64_t host_now = m_time_source->getCurrentTicks();
        const std::int64_t camera_now = runningTime();
        const double dst_freq = m_time_source->getFrequency();
        uni::check(dst_freq > 0, "dst_freq > 0", kSource, __LINE__);
        stamp = host_timestamp(host_now, dst_freq, camera_now, pts);
    } else {
        stamp = static_cast<double>(pts);
    }
    if (stamp < 0.0) return GST_FLOW_OK;

    ++m_frame_counter;
    if (m_frame_counter % m_frame_subsampling.load(std::memory_order_relaxed) != 0)
        return GST_FLOW_OK;

    const std::uint64_t timestamp = to_unsigned_ticks(stamp);
    // The frame's pixel bytes once its rows are packed (padded strides taken out).
    const FrameRows frame(buffer, m_frame_layout);
    const std::size_t frame_size = frame.size();
    if (m_image_buffer.size() != frame_size + kHeaderSize) {
        uni::reportAssertion(
            "m_image_buffer.size() == buffer_size + sizeof(image::ImageDataHeader)", kSource,
            __LINE__,
            "m_image_buffer.size() != buffer_size + sizeof(image::ImageDataHeader) (%zu != %zu)",
            m_image_buffer.size(), frame_size + kHeaderSize);
    }

    // A sink that replaces itself from inside addSample stays alive until the hand-over ends
    // (setSampleSink parks it in m_replaced_sink), so the plain pointer is enough here.
    if (zelt::IfSampleSink* const sample_sink = m_sample_sink.get()) {
        // The one copy of the frame: straight behind the header, rows packed. Never past the
        // buffer: a frame larger than the image size (odd sizes of subsampled chroma) is cut.
        const std::size_t room =
            m_image_buffer.size() > kHeaderSize ? m_image_buffer.size() - kHeaderSize : 0;
        frame.copyTo(m_image_buffer.data() + kHeaderSize, room);
        // A sink that throws loses this frame and nothing else: the frame is still counted.
        try {
            sample_sink->addSample(timestamp, 0, m_image_buffer.data(),
                                   static_cast<std::uint32_t>(m_image_buffer.size()));
        } catch (const std::exception& error) {
            noteFailedHandOver(error.what());
        } catch (...) {
            noteFailedHandOver("unknown exception");
        }
    }
    if (m_counter_channel) m_counter_channel->countEvent(timestamp);
    return GST_FLOW_OK;
}

// Rare (a sink replaced from inside its own call), so kept out of the frame path's code.
__attribute__((noinline, cold)) void CameraChannel::releaseReplacedSinks() noexcept {
    while (std::shared_ptr<zelt::IfSampleSink> replaced = std::move(m_replaced_sink)) {
        replaced.reset();
    }
}

void CameraChannel::beginDelivery() {
    if (!isUsed()) return;
    DeliveryLock lock(*this);
    m_acquisition_active = true;
}

void CameraChannel::endDelivery() {
    DeliveryLock lock(*this);
    m_acquisition_active = false;
}

void CameraChannel::onAcquisitionStarted() {
    if (!isUsed()) return;
    uni::check(pipelineStarted(), "m_pipeline_started.load_relaxed()", kSource, __LINE__);
    if (m_counter_channel) m_counter_channel->resetCount(0);
}

}  // namespace zelt_camera
