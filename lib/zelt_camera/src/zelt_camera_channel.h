// One camera as the host sees it: a channel whose samples are whole images.
#pragma once

#include <gst/app/gstappsink.h>
#include <gst/gst.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "channel_config/channel_config.h"
#include "gst_support/gst_ptr.h"
#include "zelt/daq_plugin.h"
#include "zelt/exception_manager.h"
#include "zelt/time_base.h"
#include "zelt_camera_caps.h"
#include "zelt_camera_caps_controller.h"
#include "zelt_camera_frame_copy.h"
#include "zelt_camera_image_buffer.h"
#include "zeltpu/event_counter_channel.h"
#include "zeltpu/simple_channel_config.h"

namespace zelt_camera {

/// A camera channel: identity and options, the camera's capture pipeline (its own source
/// element straight into an appsink), and the delivery of every frame to the host's sink,
/// stamped on the host's time base. Also offers the pipeline's running time as a time base.
///
/// Threads: configuration and pipeline control come from the host's thread (serialised by the
/// plug-in); the appsink callbacks run on GStreamer's streaming thread; the bus watch on the
/// thread that dispatches GLib's default main context. m_mutex guards the host time base, the
/// delivery flag and the whole hand-over of a frame.
class CameraChannel final : public zelt::plugin_util::SimpleChannelConfig,
                            public zelt::IfTimeBaseProvider {
public:
    CameraChannel(channel_config::ChannelID id, GstDevice* device,
                  zelt::IfExceptionManager* exception_manager);
    ~CameraChannel() override;
    CameraChannel(const CameraChannel&) = delete;
    CameraChannel& operator=(const CameraChannel&) = delete;

    // IfChannelConfig additions
    void addOptionChangeListener(channel_config::OptionChangeListener listener) override;
    void setSampleSink(std::shared_ptr<zelt::IfSampleSink> sink) override;

    // IfTimeBaseProvider: the pipeline's running time in nanoseconds.
    void synchronize() override;
    double getFrequency() override;
    std::int64_t getCurrentTicks() override;
    zelt::DateTime getAbsoluteStart() override;

    // Identity
    std::uint32_t index() const noexcept { return m_channel_id.low; }
    const std::string& name() const noexcept { return m_name; }
    const std::string& path() const noexcept { return m_path; }
    /// A new reference to the camera's device, or null. (transfer full)
    gst_support::DevicePtr device() const;
    /// Whether the channel built its pipeline; a channel that did not is not offered.
    bool isValid() const noexcept { return m_pipeline != nullptr; }
    void setOwnerId(std::uint32_t owner_id);
    /// This channel's id when `record` identifies it or its frame counter, else kNoChannel.
    std::uint32_t identify(const zelt::ChannelIdentification& record) const;

    // Used state
    bool isUsed() const;
    void setUsed(bool used);

    // Frame counter
    void createCounterChannel();
    const std::shared_ptr<zelt::plugin_util::EventCounterChannel>& counterChannel() const noexcept {
        return m_counter_channel;
    }
    /// The ids of the sub-channels (the frame counter's, when there is one).
    std::set<std::uint32_t> subChannelIds() const;
    void updateCounterState(bool flag);

    // Pipeline (host thread)
    void setupPipeline();
    bool startPipeline();
    void stopPipeline();
    void teardownPipeline();
    bool prepareAcquisition();
    void releaseUnusedPipeline();
    /// New caps from the selected frame setting; empty when none is selected. (transfer full)
    gst_support::CapsPtr buildCaps() const;

    // Delivery (host thread)
    void setTimeSource(std::shared_ptr<zelt::IfTimeSource> time_source);
    void beginDelivery();
    void endDelivery();
    void onAcquisitionStarted();

    bool restartRequired() const noexcept { return m_restart_required; }
    bool pipelineStarted() const noexcept {
        return m_pipeline_started.load(std::memory_order_relaxed);
    }
    bool pipelineRunning() const noexcept {
        return m_pipeline_running.load(std::memory_order_relaxed);
    }
    /// Whether an error is posted for this channel right now.
    bool hasError() const;
    const CapsController& capsController() const noexcept { return *m_caps_controller; }
    /// The capture pipeline, or null; for diagnostics. (transfer none)
    GstElement* pipeline() const noexcept { return m_pipeline.get(); }
    /// The image buffer's size in bytes: header and pixels; 0 while empty.
    std::size_t imageBufferSize() const noexcept { return m_image_buffer.size(); }

    // GStreamer callbacks
    static GstFlowReturn onNewPreroll(GstAppSink* sink, gpointer channel);
    static GstFlowReturn onNewSample(GstAppSink* sink, gpointer channel);
    static gboolean onBusMessage(GstBus* bus, GstMessage* message, gpointer channel);

private:
    void initializeFromDevice(GstDevice* device);
    void initialize(const std::string& name, const std::string& path,
                    const std::string& device_type_name);
    bool onFrameSettingChanged(const Caps& caps);
    GstFlowReturn handlePreroll(GstAppSink* sink);
    GstFlowReturn handleSample(GstAppSink* sink);
    gboolean handleBusMessage(GstMessage* message);

    /// Sets an option the channel changes by itself and tells the listeners.
    void publishOption(const std::string& key, const config_items::ConfigItem& item);
    void notifyListeners(const std::string& key, const config_items::ConfigItem& item);
    /// The pipeline's running time in nanoseconds; 0 without clock or pipeline.
    std::int64_t runningTime() const;
    void reportError(const char* message_template, const std::string& argument);
    void clearError();

    gst_support::DevicePtr m_device;
    gst_support::PipelinePtr m_pipeline;
    gst_support::ClockPtr m_clock;
    gst_support::ElementPtr m_appsink;
    guint m_bus_watch = 0;
    channel_config::ChannelID m_channel_id;
    std::shared_ptr<zelt::IfTimeSource> m_time_source;
    std::vector<channel_config::OptionChangeListener> m_option_listeners;
    std::unique_ptr<CapsController> m_caps_controller;
    std::string m_name;
    std::string m_path;

    // Geometry of the negotiated video, learnt at preroll.
    double m_framerate = 0.0;
    std::uint32_t m_width = 0;
    std::uint32_t m_height = 0;
    double m_pixel_aspect_ratio = 0.0;
    std::string m_format;

    std::uint32_t m_frame_subsampling = 1;
    bool m_restart_required = true;
    bool m_acquisition_active = false;
    std::atomic<bool> m_pipeline_started{false};
    std::atomic<bool> m_pipeline_running{false};
    zelt::IfExceptionManager* m_exception_manager;
    // The posted error. Guarded by its own mutex: the bus watch reports errors on the main
    // context's thread while the host thread starts and stops, and the frame path's m_mutex
    // stays free of calls into the host's exception manager.
    std::unique_ptr<zelt::ErrorMessage> m_error;
    mutable std::mutex m_error_mutex;
    mutable std::mutex m_mutex;
    std::shared_ptr<zelt::plugin_util::EventCounterChannel> m_counter_channel;
    std::uint64_t m_frame_counter = 0;
    PageBuffer m_image_buffer;
    FrameLayout m_frame_layout;  // rows of the negotiated frames, learnt at preroll
};

}  // namespace zelt_camera
