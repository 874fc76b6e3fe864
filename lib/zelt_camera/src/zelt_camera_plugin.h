// The camera plug-in: the one DAQ plug-in object the creator hands to the host.
#pragma once

#include <gst/gst.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "gst_support/gst_ptr.h"
#include "zeltpu/daq_plugin_base.h"
#include "zeltpu/service_factory.h"
#include "zeltpu/simple_plugin_config.h"

namespace zelt_camera {

class CameraChannel;
class CameraSystemTopologyService;

/// Offers every camera the GStreamer device monitor reports as a channel, and fans the host's
/// acquisition calls out to the channels. The host's acquisition and configuration calls are
/// serialised by m_mutex; the channel map (with the time source and exception manager handed
/// to new channels) has a mutex of its own, held only briefly and never while a channel or a
/// host callback runs, so that a host callback may look channels up (getChannel,
/// getChannelIds) on any thread while the plug-in waits for that thread. The channels'
/// streaming threads never call the plug-in.
///
/// A channel that leaves the plug-in (removed by updateChannels, by deinit or by the plug-in's
/// destruction) has its pipeline torn down outside the plug-in's locks, so no sample reaches a
/// sink afterwards, even when the host still holds the channel.
class CameraPlugin final : public zelt::plugin_util::DAQPluginBase {
public:
    using ChannelMap = std::map<std::uint32_t, std::shared_ptr<CameraChannel>>;

    CameraPlugin();
    ~CameraPlugin() override;
    CameraPlugin(const CameraPlugin&) = delete;
    CameraPlugin& operator=(const CameraPlugin&) = delete;

    // IfPluginCommon
    std::string getPluginName() override;
    tsa::Uuid getPluginInstanceTypeId() override;
    void setPluginId(std::uint32_t id) override;
    tsa::Uuid getPluginTypeId() override;

    // IfDAQPlugin
    bool init() override;
    bool startDeviceMonitoring() override;
    bool stopDeviceMonitoring() override;
    void deinit() override;
    std::shared_ptr<zelt::IfPluginConfig> getConfig() override;
    void configChanged() override;
    void updateChannels() override;
    bool hasChannelsChanged() override;
    plugin_api::IfServiceFactory* getServiceFactory() override;
    void setExceptionManager(zelt::IfExceptionManager* manager) override;
    bool isLicensed() override;
    void setChannelUsed(std::uint32_t id, bool used) override;
    void resetChannelsUsed() override;
    std::set<std::uint32_t> getChannelIds() override;
    std::uint32_t findChannelIndex(const zelt::ChannelIdentification& record) override;
    bool prepareAcquisition() override;
    bool isAcquisitionRunning() override;
    bool checkChannels() override;
    bool isClockMaster() override;
    void startAcquisition() override;
    bool stopAcquisition() override;
    bool canStopAcquisition() override;
    bool finishAcquisition() override;
    bool cleanupAcquisition() override;
    std::shared_ptr<zelt::IfTimeBaseProvider> getTimeBaseProvider(std::uint32_t id) override;
    void setTimeSource(std::shared_ptr<zelt::IfTimeSource> time_source) override;
    bool synchronizeTimeSource() override;
    std::shared_ptr<channel_config::IfChannelConfig> getChannel(std::uint32_t id) override;
    double getSampleRate() override;

    /// The device monitor's bus watch. Leaves the channel set alone: only updateChannels,
    /// which the host calls, changes it.
    static gboolean onDeviceMonitorMessage(GstBus* bus, GstMessage* message, gpointer plugin);

private:
    /// Logs, at detail level, each left-out device with the reason, once while it stays out.
    void reportLeftOutDevices(
        const std::vector<std::pair<gst_support::DevicePtr, const char*>>& left_out);
    /// Enumerates the monitor's devices and brings m_channels in line; under m_mutex. Adds
    /// the channels it removes to `removed`, for the caller to tear down once the lock is
    /// released (also when the enumeration ends with an exception).
    void enumerateDevices(std::vector<std::shared_ptr<CameraChannel>>& removed);
    /// A copy of the channel map, taken under m_channels_mutex.
    ChannelMap channels() const;
    /// Empties the channel map (under both mutexes) and tears down what it held.
    void removeAllChannels();
    static void tearDown(const std::vector<std::shared_ptr<CameraChannel>>& channels);

    struct ServiceRelease {
        void operator()(CameraSystemTopologyService* service) const;
    };

    std::mutex m_mutex;
    // Guards m_channels, m_time_source and m_exception_manager. Writers of m_channels hold
    // m_mutex as well, so the locked operations read the map under m_mutex alone.
    mutable std::mutex m_channels_mutex;
    ChannelMap m_channels;
    // Reference counted: the service factory and the host may hold the service longer than
    // the plug-in lives. The plug-in holds one reference and detaches the service from itself
    // when it is destroyed.
    std::unique_ptr<CameraSystemTopologyService, ServiceRelease> m_topology_service;
    gst_support::DeviceMonitorPtr m_device_monitor;
    gst_support::BusPtr m_device_monitor_bus;
    guint m_device_monitor_watch = 0;
    /// Devices the last enumeration left out, each said once in the log while it stays out.
    std::vector<gst_support::DevicePtr> m_left_out_devices;
    bool m_acquisition_running = false;
    // Gates getTimeBaseProvider and setTimeSource. Never cleared: the camera offers no time
    // base of its own to the host and always takes the host's.
    bool m_accept_time_source = true;
    std::shared_ptr<zelt::IfTimeSource> m_time_source;
    std::shared_ptr<zelt::plugin_util::SimplePluginConfig> m_config;
    zelt::plugin_util::ServiceFactory* m_service_factory = nullptr;
    zelt::IfExceptionManager* m_exception_manager = nullptr;
};

}  // namespace zelt_camera
