// One camera as the host sees it: a channel whose samples are whole images.
#pragma once

#include <gst/app/gstappsink.h>
#include <gst/gst.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
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
/// Threads: pipeline control comes from the host's thread (serialised by the plug-in); items
/// may be read and written from any host thread; the appsink callbacks run on GStreamer's
/// streaming thread; the bus watch on the thread that dispatches GLib's default main context.
///
/// Locks, always taken in this order and never held while waiting for another of the
/// channel's threads:
///   m_mutex          the delivery: host time base, sink, delivery flag and the whole hand-over
///                    of a frame. The host's sink is called under it (the hand-over demands
///                    it); a sink that calls back into its own channel (items, setSampleSink,
///                    getCurrentTicks) is recognised by its thread and does not wait for it.
///   m_config_mutex   the options, the caps controller, the used flag and m_restart_required:
///                    the configuration classes do not lock, so the channel serialises them.
///   m_report_mutex   the order of posts and withdrawals at the host's exception manager.
///   m_error_mutex    the posted message itself ("Valid" reads only this one).
/// No other host callback (listeners, exception manager, stream events) is called under a
/// lock that a host call into the channel needs.
class CameraChannel final : public zelt::plugin_util::SimpleChannelConfig,
                            public zelt::IfTimeBaseProvider,
                            public std::enable_shared_from_this<CameraChannel> {
public:
    CameraChannel(channel_config::ChannelID id, GstDevice* device,
                  zelt::IfExceptionManager* exception_manager);
    ~CameraChannel() override;
    CameraChannel(const CameraChannel&) = delete;
    CameraChannel& operator=(const CameraChannel&) = delete;

    // IfChannelConfig, serialised by m_config_mutex: any host thread may call them while the
    // camera streams. getKeys() hands out the list itself, valid until the next change.
    const std::vector<std::string>& getKeys() const override;
    bool hasKey(const std::string& key) const override;
    config_items::ConfigItem getConfigItem(const std::string& key) const override;
    config_items::ConstraintList getConstraints(const std::string& key) const override;
    bool setConfigItem(const std::string& key, const config_items::ConfigItem& item) override;
    void addChannelConstraint(config_items::ConstraintPtr constraint) override;
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
    /// Where the channel posts its errors from now on. A message posted right now is
    /// withdrawn from the previous manager and posted to the new one, so that the host's
    /// display keeps matching "Valid" and the previous manager may be freed afterwards.
    void setExceptionManager(zelt::IfExceptionManager* manager);
    void beginDelivery();
    void endDelivery();
    void onAcquisitionStarted();

    bool restartRequired() const;
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
    std::size_t imageBufferSize() const {
        DeliveryLock lock(*this);
        return m_image_buffer.size();
    }

    // GStreamer callbacks
    static GstFlowReturn onNewPreroll(GstAppSink* sink, gpointer channel);
    static GstFlowReturn onNewSample(GstAppSink* sink, gpointer channel);
    static gboolean onBusMessage(GstBus* bus, GstMessage* message, gpointer channel);

private:
    // The channel's own tests put it into states that its camera alone cannot reach on cue.
    friend struct CameraChannelTestAccess;

    /// Holds m_mutex, unless the calling thread holds it already for a frame's hand-over: a
    /// host sink that calls back into its own channel from inside addSample must not wait for
    /// itself.
    /// Relaxed loads and stores of m_delivering_thread are enough: a thread only ever compares
    /// it with its own id, and it always sees its own last store.
    class DeliveryLock {
    public:
        explicit DeliveryLock(const CameraChannel& channel) {
            if (channel.m_delivering_thread.load(std::memory_order_relaxed) !=
                std::this_thread::get_id())
                m_lock = std::unique_lock<std::mutex>(channel.m_mutex);
        }

    private:
        std::unique_lock<std::mutex> m_lock;
    };
    /// A frame's hand-over on the streaming thread, under m_mutex: marks the thread as the
    /// delivering one, and at the end releases a sink that was replaced from inside its own
    /// call (while the thread is still known, so that the sink's destructor may call back).
    class HandOver {
    public:
        explicit HandOver(CameraChannel& channel) : m_channel(channel) {
            m_channel.m_delivering_thread.store(std::this_thread::get_id(),
                                                std::memory_order_relaxed);
        }
        ~HandOver() {
            if (m_channel.m_replaced_sink) m_channel.releaseReplacedSinks();
            m_channel.m_delivering_thread.store(std::thread::id(), std::memory_order_relaxed);
        }
        HandOver(const HandOver&) = delete;
        HandOver& operator=(const HandOver&) = delete;

    private:
        CameraChannel& m_channel;
    };
    struct BusWatchGate;
    /// The installed bus watch: enters the gate of `gate` (a BusWatchGate reference held by
    /// GLib) and passes the message on to onBusMessage.
    static gboolean onGatedBusMessage(GstBus* bus, GstMessage* message, gpointer gate);
    /// Stops the bus watch from reaching the channel and waits for a dispatch that runs on
    /// another thread.
    void closeBusWatch();

    void initializeFromDevice(GstDevice* device);
    void initialize(const std::string& name, const std::string& path,
                    const std::string& device_type_name);
    bool onFrameSettingChanged(const Caps& caps);
    GstFlowReturn handlePreroll(GstAppSink* sink);
    GstFlowReturn handleSample(GstAppSink* sink);
    /// Releases the sinks parked in m_replaced_sink during a hand-over (a released sink's
    /// destructor may set the sink again and park another one).
    void releaseReplacedSinks() noexcept;
    /// buildCaps() for a caller that holds m_config_mutex.
    gst_support::CapsPtr buildCapsLocked() const;
    gboolean handleBusMessage(GstMessage* message);

    /// Sets an option the channel changes by itself and tells the listeners.
    void publishOption(const std::string& key, const config_items::ConfigItem& item);
    /// Calls every listener registered so far; one that throws is logged and skipped.
    void notifyListeners(const std::string& key, const config_items::ConfigItem& item);
    /// Notes a frame lost to a throwing host callback; logs the first one only.
    void noteFailedHandOver(const char* what);
    /// The pipeline's running time in nanoseconds; 0 without clock or pipeline.
    std::int64_t runningTime() const;
    void reportError(const char* message_template, const std::string& argument);
    void clearError();
    /// Posts `message` to the host's exception manager; under m_report_mutex.
    void postToHost(const zelt::ErrorMessage* message);
    /// Withdraws `message` from the host's exception manager; under m_report_mutex.
    void withdrawFromHost(const zelt::ErrorMessage* message);
    void logExceptionManagerFailure(const char* what) const;

    gst_support::DevicePtr m_device;
    gst_support::PipelinePtr m_pipeline;
    gst_support::ClockPtr m_clock;
    gst_support::ElementPtr m_appsink;

    // The frame path: everything the streaming thread reads or writes for every frame, side
    // by side behind the pipeline and its clock. Each frame's copy pushes the previous
    // frame's lines out of the caches, so every line the frame path touches is loaded again
    // for every frame: kept together, these members take a few lines instead of one each.
    alignas(64) mutable std::mutex m_mutex;
    // The thread that holds m_mutex for a frame's hand-over, while it does.
    std::atomic<std::thread::id> m_delivering_thread{};
    bool m_acquisition_active = false;  // under m_mutex
    std::atomic<bool> m_pipeline_running{false};
    // Atomic: the streaming thread reads it per frame, and a sink may read the option from
    // inside addSample.
    std::atomic<std::uint32_t> m_frame_subsampling{1};
    std::uint64_t m_frame_counter = 0;                  // under m_mutex
    std::shared_ptr<zelt::IfTimeSource> m_time_source;  // under m_mutex
    std::shared_ptr<zelt::IfSampleSink> m_sample_sink;  // under m_mutex
    // The sink a frame is being handed to, when it was replaced from inside its own call: kept
    // alive until the hand-over ends. Under m_mutex, on the delivering thread only.
    std::shared_ptr<zelt::IfSampleSink> m_replaced_sink;
    std::shared_ptr<zelt::plugin_util::EventCounterChannel> m_counter_channel;
    PageBuffer m_image_buffer;
    FrameLayout m_frame_layout;  // rows of the negotiated frames, learnt at preroll

    guint m_bus_watch = 0;
    std::shared_ptr<BusWatchGate> m_bus_gate;
    channel_config::ChannelID m_channel_id;
    // The listeners, in the order they were added: a list that only grows, linked through
    // atomic pointers, so that a notification on the streaming thread or the main context's
    // thread walks it while the host appends from any thread (appends are serialised by
    // m_listener_mutex). A listener added during a notification may or may not get it.
    struct ListenerNode {
        explicit ListenerNode(channel_config::OptionChangeListener function)
            : listener(std::move(function)) {}
        const channel_config::OptionChangeListener listener;
        std::atomic<ListenerNode*> next{nullptr};
    };
    std::atomic<ListenerNode*> m_first_listener{nullptr};
    std::vector<std::unique_ptr<ListenerNode>> m_option_listeners;  // owns the nodes
    std::mutex m_listener_mutex;
    std::unique_ptr<CapsController> m_caps_controller;
    std::string m_name;
    std::string m_path;

    // Geometry of the negotiated video, learnt at preroll.
    double m_framerate = 0.0;
    std::uint32_t m_width = 0;
    std::uint32_t m_height = 0;
    double m_pixel_aspect_ratio = 0.0;
    std::string m_format;

    // Under m_config_mutex, with the count of frame-setting changes: a start clears the flag
    // only when no change came in since it chose its caps.
    bool m_restart_required = true;
    std::uint64_t m_setting_changes = 0;
    std::atomic<bool> m_pipeline_started{false};
    zelt::IfExceptionManager* m_exception_manager;  // under m_report_mutex
    // The posted error. Guarded by its own mutex: the bus watch reports errors on the main
    // context's thread while the host thread starts and stops, and the frame path's m_mutex
    // stays free of calls into the host's exception manager.
    std::unique_ptr<zelt::ErrorMessage> m_error;
    mutable std::mutex m_error_mutex;
    std::mutex m_report_mutex;
    mutable std::mutex m_config_mutex;
    std::atomic<bool> m_hand_over_failed{false};
};

}  // namespace zelt_camera
