// The camera's capture pipeline: its own source element linked straight to an appsink.
#include <gst/app/gstappsink.h>

#include "uni/assertion_report.h"
#include "zelt/sample_sink.h"
#include "zelt_camera_channel.h"
#include "zeltpu/log.h"

namespace zelt_camera {
namespace {

constexpr const char* kSource = "lib/zelt_camera/src/zelt_camera_channel";
constexpr const char* kSetupFailed = "Could not set up camera %1";
constexpr const char* kStartFailed = "Could not start camera %1";
constexpr const char* kStopFailed = "Could not stop camera %1";
constexpr const char* kBusError = "Camera bus received an error: %1";

}  // namespace

void CameraChannel::setupPipeline() {
    if (m_pipeline) return;

    m_pipeline = gst_support::sinkObject(gst_pipeline_new("camerapipeline"));
    if (!uni::check(m_pipeline != nullptr, "m_pipeline", kSource, __LINE__)) return;

    // Both elements are owned here until the end of set-up; the bin takes references of its
    // own, so m_appsink keeps one after the source's is dropped.
    gst_support::ElementPtr source =
        gst_support::sinkObject(gst_device_create_element(m_device.get(), nullptr));
    m_appsink = gst_support::sinkObject(gst_element_factory_make("appsink", "asink"));
    if (!source || !m_appsink) {
        reportError(kSetupFailed, m_name);
        return;
    }
    gst_bin_add_many(GST_BIN(m_pipeline.get()), source.get(), m_appsink.get(), nullptr);

    if (!gst_element_link_many(source.get(), m_appsink.get(), nullptr)) {
        reportError(kSetupFailed, m_name);
        return;
    }

    GstAppSinkCallbacks callbacks{};
    callbacks.eos = nullptr;
    callbacks.new_preroll = &CameraChannel::onNewPreroll;
    callbacks.new_sample = &CameraChannel::onNewSample;
    gst_app_sink_set_callbacks(GST_APP_SINK(m_appsink.get()), &callbacks, this, nullptr);

    m_clock.reset(gst_pipeline_get_pipeline_clock(GST_PIPELINE(m_pipeline.get())));
    clearError();

    gst_support::BusPtr bus(gst_pipeline_get_bus(GST_PIPELINE(m_pipeline.get())));
    m_bus_watch = gst_bus_add_watch(bus.get(), &CameraChannel::onBusMessage, this);
}

gst_support::CapsPtr CameraChannel::buildCaps() const {
    gst_support::CapsPtr caps(gst_caps_new_empty());
    const auto selected = m_caps_controller->current();
    if (selected) {
        GstCaps* mode = gst_caps_new_simple(
            "video/x-raw", "format", G_TYPE_STRING, selected->format.c_str(), "width", G_TYPE_INT,
            selected->width, "height", G_TYPE_INT, selected->height, "framerate", GST_TYPE_FRACTION,
            selected->framerate.numerator(), selected->framerate.denominator(), nullptr);
        if (uni::check(mode != nullptr, "caps", kSource, __LINE__))
            gst_caps_append(caps.get(), mode);
    }
    return caps;
}

bool CameraChannel::startPipeline() {
    if (!m_pipeline) return false;
    if (pipelineRunning()) return true;

    const uni::log::ScopedCamera camera(m_name, m_path);
    UNI_LOG(unilogger_zelt_plugin_camera, ULS_INFO) << "Starting camera " << m_name;
    m_pipeline_running.store(false, std::memory_order_relaxed);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_acquisition_active = false;
        m_frame_counter = 0;
    }

    gst_support::CapsPtr caps = buildCaps();
    gst_app_sink_set_caps(GST_APP_SINK(m_appsink.get()), caps.get());

    // No time limit: the start blocks until the camera has settled.
    GstState current = GST_STATE_VOID_PENDING;
    if (gst_element_set_state(m_pipeline.get(), GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE ||
        gst_element_get_state(m_pipeline.get(), &current, nullptr, GST_CLOCK_TIME_NONE) ==
            GST_STATE_CHANGE_FAILURE) {
        gst_element_set_state(m_pipeline.get(), GST_STATE_NULL);
        reportError(kStartFailed, m_name);
        return false;
    }
    if (current != GST_STATE_PLAYING) {
        uni::reportAssertion("current_state == GST_STATE_PLAYING", kSource, __LINE__,
                             "current_state != GST_STATE_PLAYING (%d != 4)",
                             static_cast<int>(current));
    }

    m_pipeline_started.store(true, std::memory_order_relaxed);
    m_restart_required = false;
    clearError();
    return true;
}

void CameraChannel::stopPipeline() {
    if (!m_pipeline) return;
    if (!pipelineStarted()) {
        uni::check(!pipelineRunning(), "!m_pipeline_running.load_relaxed()", kSource, __LINE__);
        clearError();
        return;
    }

    const uni::log::ScopedCamera camera(m_name, m_path);
    UNI_LOG(unilogger_zelt_plugin_camera, ULS_INFO) << "Stopping camera " << m_name;
    m_pipeline_started.store(false, std::memory_order_relaxed);

    if (!pipelineRunning()) {
        // No frame ever arrived: the pipeline is deliberately left in its current state.
        m_image_buffer.release();
        clearError();
        return;
    }

    switch (gst_element_set_state(m_pipeline.get(), GST_STATE_NULL)) {
        case GST_STATE_CHANGE_ASYNC:
            gst_element_get_state(m_pipeline.get(), nullptr, nullptr, GST_CLOCK_TIME_NONE);
            break;
        case GST_STATE_CHANGE_FAILURE:
            reportError(kStopFailed, m_name);
            break;
        default:
            break;
    }
    // After a failure too: the stop message is posted and at once withdrawn again, so that
    // "Valid" ends true.
    m_pipeline_running.store(false, std::memory_order_relaxed);
    m_image_buffer.release();
    clearError();
}

void CameraChannel::teardownPipeline() {
    if (!m_pipeline) return;
    stopPipeline();
    if (m_bus_watch != 0) {
        g_source_remove(m_bus_watch);
        m_bus_watch = 0;
    }
    // A pipeline left waiting for its first frame is still PLAYING; it must reach NULL before
    // its last reference goes.
    gst_element_set_state(m_pipeline.get(), GST_STATE_NULL);
    m_clock.reset();
    m_appsink.reset();
    m_pipeline.reset();
    m_width = 0;
    m_height = 0;
    m_framerate = 0.0;
    m_pixel_aspect_ratio = 0.0;
    m_format.clear();
}

bool CameraChannel::prepareAcquisition() {
    if (!isUsed()) return true;
    if (m_restart_required && pipelineStarted()) stopPipeline();
    if (!pipelineStarted()) return startPipeline();
    return true;
}

void CameraChannel::releaseUnusedPipeline() {
    if (!isUsed()) stopPipeline();
}

gboolean CameraChannel::onBusMessage(GstBus* /*bus*/, GstMessage* message, gpointer channel) {
    return static_cast<CameraChannel*>(channel)->handleBusMessage(message);
}

gboolean CameraChannel::handleBusMessage(GstMessage* message) {
    if (GST_MESSAGE_TYPE(message) != GST_MESSAGE_ERROR) return TRUE;

    GError* raw_error = nullptr;
    gst_message_parse_error(message, &raw_error, nullptr);
    gst_support::GErrorPtr error(raw_error);
    const std::string text = error && error->message ? error->message : "";
    error.reset();
    reportError(kBusError, text);

    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_time_source && pipelineRunning()) {
        // Stamped with the pipeline's running time, deliberately not converted to host ticks.
        // A host time source implies a used channel with a sink; the check only keeps a
        // misbehaving host from crashing here.
        if (zelt::IfSampleSink* sink = usage().sampleSink())
            sink->addStreamEvent(zelt::kStreamEventError,
                                 static_cast<std::uint64_t>(runningTime()));
    }
    return TRUE;
}

}  // namespace zelt_camera
