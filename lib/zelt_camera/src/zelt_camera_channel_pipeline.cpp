// The camera's capture pipeline: its own source element linked straight to an appsink.
#include <gst/app/gstappsink.h>

#include <exception>
#include <utility>

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
constexpr const char* kBusWatchFailed = "The bus watch of camera '";

}  // namespace

// How the bus watch reaches its channel. GLib holds one reference for as long as the watch is
// installed, and g_source_remove does not wait for a dispatch that is running on the main
// context's thread: the teardown therefore closes the gate and waits for such a dispatch
// itself. A dispatch also keeps the channel alive by reference, so a host that lets go of the
// channel from inside the dispatch (a "Valid" listener calling deinit) frees it only when the
// dispatch is over.
struct CameraChannel::BusWatchGate {
    std::mutex mutex;
    std::condition_variable idle;
    CameraChannel* channel = nullptr;  // null once closed
    // The channel's owner, set by the first start on the host's thread (once the channel's
    // shared owner exists; before a start the pipeline posts no error); empty when the
    // channel is not shared-owned.
    std::weak_ptr<CameraChannel> owner;
    int dispatching = 0;
    std::thread::id dispatch_thread;
};

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
    m_bus_gate = std::make_shared<BusWatchGate>();
    m_bus_gate->channel = this;
    m_bus_watch = gst_bus_add_watch_full(
        bus.get(), G_PRIORITY_DEFAULT, &CameraChannel::onGatedBusMessage,
        new std::shared_ptr<BusWatchGate>(m_bus_gate),
        [](gpointer gate) { delete static_cast<std::shared_ptr<BusWatchGate>*>(gate); });
}

gst_support::CapsPtr CameraChannel::buildCaps() const {
    std::lock_guard<std::mutex> lock(m_config_mutex);
    return buildCapsLocked();
}

gst_support::CapsPtr CameraChannel::buildCapsLocked() const {
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
    if (m_bus_gate) {
        std::lock_guard<std::mutex> lock(m_bus_gate->mutex);
        if (m_bus_gate->owner.expired()) m_bus_gate->owner = weak_from_this();
    }
    UNI_LOG(unilogger_zelt_plugin_camera, ULS_INFO) << "Starting camera " << m_name;
    m_pipeline_running.store(false, std::memory_order_relaxed);
    {
        DeliveryLock lock(*this);
        m_acquisition_active = false;
        m_frame_counter = 0;
    }

    // The caps and the count of frame-setting changes are taken together: a change that comes
    // in while the camera starts (from another host thread) is kept for the next preparation
    // instead of being cleared with the flag.
    gst_support::CapsPtr caps;
    std::uint64_t setting_changes = 0;
    {
        std::lock_guard<std::mutex> lock(m_config_mutex);
        caps = buildCapsLocked();
        setting_changes = m_setting_changes;
    }
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
    {
        std::lock_guard<std::mutex> lock(m_config_mutex);
        m_restart_required = m_setting_changes != setting_changes;
    }
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

    bool running = false;
    {
        // A first frame's preroll marks the camera running under this lock (see handlePreroll):
        // either it came first and the stop below brings the pipeline down, or the buffer is
        // freed before it and the preroll sizes it anew.
        DeliveryLock lock(*this);
        running = pipelineRunning();
        if (!running) m_image_buffer.release();
    }
    if (!running) {
        // No frame ever arrived: the pipeline is deliberately left in its current state.
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
    {
        DeliveryLock lock(*this);
        m_image_buffer.release();
    }
    clearError();
}

void CameraChannel::teardownPipeline() {
    if (!m_pipeline) return;
    // From here on no frame reaches a sink, whoever still holds the channel.
    {
        DeliveryLock lock(*this);
        m_acquisition_active = false;
    }
    stopPipeline();
    closeBusWatch();
    // A pipeline left waiting for its first frame is still PLAYING; it must reach NULL before
    // its last reference goes. Reaching NULL also waits for the streaming thread to leave the
    // appsink callbacks.
    gst_element_set_state(m_pipeline.get(), GST_STATE_NULL);
    gst_support::ClockPtr clock;
    gst_support::ElementPtr appsink;
    gst_support::PipelinePtr pipeline;
    {
        // The time base reads clock and pipeline under the delivery mutex.
        DeliveryLock lock(*this);
        clock = std::move(m_clock);
        appsink = std::move(m_appsink);
        pipeline = std::move(m_pipeline);
    }
    clock.reset();
    appsink.reset();
    pipeline.reset();
    m_width = 0;
    m_height = 0;
    m_framerate = 0.0;
    m_pixel_aspect_ratio = 0.0;
    m_format.clear();
}

void CameraChannel::closeBusWatch() {
    if (m_bus_gate) {
        std::unique_lock<std::mutex> lock(m_bus_gate->mutex);
        m_bus_gate->channel = nullptr;
        // A dispatch on this very thread is the caller's own (a host call from inside a
        // listener the dispatch called): it holds its reference to the channel and finds the
        // pipeline gone when it goes on.
        if (m_bus_gate->dispatch_thread != std::this_thread::get_id())
            m_bus_gate->idle.wait(lock, [this] { return m_bus_gate->dispatching == 0; });
    }
    if (m_bus_watch != 0) {
        g_source_remove(m_bus_watch);
        m_bus_watch = 0;
    }
}

bool CameraChannel::prepareAcquisition() {
    if (!isUsed()) return true;
    if (restartRequired() && pipelineStarted()) stopPipeline();
    if (!pipelineStarted()) return startPipeline();
    return true;
}

void CameraChannel::releaseUnusedPipeline() {
    if (!isUsed()) stopPipeline();
}

gboolean CameraChannel::onGatedBusMessage(GstBus* bus, GstMessage* message, gpointer gate_data) {
    BusWatchGate& gate = **static_cast<std::shared_ptr<BusWatchGate>*>(gate_data);
    CameraChannel* channel = nullptr;
    std::shared_ptr<CameraChannel> keep_alive;
    {
        std::lock_guard<std::mutex> lock(gate.mutex);
        if (gate.channel == nullptr) return TRUE;
        channel = gate.channel;
        ++gate.dispatching;
        gate.dispatch_thread = std::this_thread::get_id();
        keep_alive = gate.owner.lock();
    }
    const gboolean keep_watch = onBusMessage(bus, message, channel);
    {
        std::lock_guard<std::mutex> lock(gate.mutex);
        if (--gate.dispatching == 0) gate.dispatch_thread = std::thread::id();
    }
    gate.idle.notify_all();
    // When keep_alive is the last reference, the channel is destroyed here, on this thread,
    // once the dispatch is over.
    return keep_watch;
}

gboolean CameraChannel::onBusMessage(GstBus* /*bus*/, GstMessage* message, gpointer channel) {
    auto* camera = static_cast<CameraChannel*>(channel);
    // Nothing may leave through GLib's frames: a host callback that throws costs that report.
    try {
        return camera->handleBusMessage(message);
    } catch (const std::exception& error) {
        UNI_LOG(unilogger_zelt_plugin_camera, ULS_ERROR)
            << kBusWatchFailed << camera->name() << "' failed: " << error.what();
    } catch (...) {
        UNI_LOG(unilogger_zelt_plugin_camera, ULS_ERROR)
            << kBusWatchFailed << camera->name() << "' failed";
    }
    return TRUE;
}

gboolean CameraChannel::handleBusMessage(GstMessage* message) {
    if (GST_MESSAGE_TYPE(message) != GST_MESSAGE_ERROR) return TRUE;

    GError* raw_error = nullptr;
    gst_message_parse_error(message, &raw_error, nullptr);
    gst_support::GErrorPtr error(raw_error);
    const std::string text = error && error->message ? error->message : "";
    error.reset();
    reportError(kBusError, text);

    std::shared_ptr<zelt::IfSampleSink> sink;
    std::uint64_t stamp = 0;
    {
        DeliveryLock lock(*this);
        if (m_time_source && pipelineRunning() && m_sample_sink) {
            // Stamped with the pipeline's running time, deliberately not converted to host
            // ticks. A host time source implies a used channel with a sink; the check only
            // keeps a misbehaving host from crashing here.
            sink = m_sample_sink;
            stamp = static_cast<std::uint64_t>(runningTime());
        }
    }
    // Called outside the delivery mutex, which the sink may need to call back into the
    // channel; the reference keeps the sink alive if the host replaces it meanwhile.
    if (sink) sink->addStreamEvent(zelt::kStreamEventError, stamp);
    return TRUE;
}

}  // namespace zelt_camera
