// The data-acquisition plug-in: what the host calls to find, configure and acquire channels.
//
// A host drives a plug-in in this order:
//   create (IfPluginCreator::createPlugin) -> setPluginId -> setExceptionManager -> init
//   -> startDeviceMonitoring -> updateChannels; configure channels through getChannel and
//   getConfig; then for each acquisition:
//   setTimeSource -> setChannelUsed / resetChannelsUsed -> prepareAcquisition
//   (until checkChannels is true) -> startAcquisition -> canStopAcquisition (frames flow)
//   -> finishAcquisition -> stopAcquisition; finally deinit and destroyPlugin.
// A channel id names a channel of the plug-in; sub-channels (such as a camera's frame
// counter) have ids of their own.
//
// Threads and callbacks. The host calls the plug-in from its own threads, one lifecycle or
// acquisition call at a time. The plug-in calls the host back on three kinds of thread:
//   - the host thread of the call in progress (option listeners and exception-manager posts
//     from prepareAcquisition, stopAcquisition, updateChannels and deinit);
//   - GStreamer's streaming thread of each camera's pipeline (IfSampleSink::addSample, the
//     time source's ticks, option listeners for the geometry of a first frame);
//   - the thread that dispatches GLib's default main context, which the host must iterate
//     (the pipelines' bus watches: a camera error posted to the exception manager, "Valid"
//     to option listeners, IfSampleSink::addStreamEvent; and the device monitor's bus watch,
//     which notes added and removed cameras: the channel set itself changes only in
//     updateChannels, on the host's thread).
// No callback may make the plug-in's lifecycle or acquisition calls (prepareAcquisition,
// startAcquisition, canStopAcquisition, finishAcquisition, stopAcquisition, updateChannels,
// deinit, destroying the plug-in): they wait for the callbacks in progress. A host thread
// that makes them must not wait for the main-context thread meanwhile, unless that thread
// keeps dispatching. Each callback interface says what it may call.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "channel_config/channel_config.h"
#include "plugin_api/service.h"
#include "tsa/api_object.h"
#include "zelt/exception_manager.h"
#include "zelt/plugin_config.h"
#include "zelt/time_base.h"

namespace zelt {

/// The host's record that identifies a channel across sessions: identification keys (such as
/// "ID:CAMERA/ChannelIndex") and their values.
using ChannelIdentification = std::map<std::string, std::string>;

/// Returned by channel look-ups that find nothing.
inline constexpr std::uint32_t kNoChannel = 0xFFFFFFFF;

/// What every plug-in kind answers.
class IfPluginCommon {
public:
    virtual ~IfPluginCommon() = default;
    virtual std::string getPluginName() = 0;
    virtual tsa::Uuid getPluginInstanceTypeId() = 0;
    virtual std::uint32_t getPluginId() = 0;
    virtual void setPluginId(std::uint32_t id) = 0;
    virtual tsa::Uuid getPluginTypeId() = 0;
};

/// A plug-in that offers measurement channels.
class IfDAQPlugin : public IfPluginCommon {
public:
    /// Brings the plug-in up (services). Requires the host's media framework initialised.
    virtual bool init() = 0;
    /// Starts watching for devices. Idempotent. Device changes are watched on the thread
    /// that dispatches GLib's default main context; they reach the channel set only through
    /// updateChannels.
    virtual bool startDeviceMonitoring() = 0;
    /// Stops watching for devices (the plug-in may keep watching until deinit).
    virtual bool stopDeviceMonitoring() = 0;
    /// Releases devices, pipelines and channels.
    virtual void deinit() = 0;
    virtual std::shared_ptr<IfPluginConfig> getConfig() = 0;
    /// Tells the plug-in that the host finished changing its configuration.
    virtual void configChanged() = 0;
    /// Re-reads the attached devices: adds channels for new ones, removes gone ones.
    virtual void updateChannels() = 0;
    /// Whether the channel set changed by itself since the last updateChannels.
    virtual bool hasChannelsChanged() = 0;
    /// The plug-in's services, with one added reference that the host releases.
    virtual plugin_api::IfServiceFactory* getServiceFactory() = 0;
    /// Where user-facing errors go (not owned; must outlive the plug-in's channels). See
    /// IfExceptionManager for the threads its calls come on and what it may call back.
    virtual void setExceptionManager(IfExceptionManager* manager) = 0;
    /// Whether the plug-in may be used on this host.
    virtual bool isLicensed() = 0;
    virtual void setChannelUsed(std::uint32_t id, bool used) = 0;
    virtual void resetChannelsUsed() = 0;
    /// Every channel id, sub-channels included.
    virtual std::set<std::uint32_t> getChannelIds() = 0;
    /// The id of the channel that `record` identifies, or kNoChannel.
    virtual std::uint32_t findChannelIndex(const ChannelIdentification& record) = 0;
    /// Readies used channels (starts cameras); false when one could not be readied.
    virtual bool prepareAcquisition() = 0;
    virtual bool isAcquisitionRunning() = 0;
    /// False while some used channel is still coming up.
    virtual bool checkChannels() = 0;
    /// Whether the plug-in can act as the clock master of the acquisition.
    virtual bool isClockMaster() = 0;
    virtual void startAcquisition() = 0;
    virtual bool stopAcquisition() = 0;
    /// Switches sample delivery on for the used channels; true when they all agree.
    virtual bool canStopAcquisition() = 0;
    /// Switches sample delivery off.
    virtual bool finishAcquisition() = 0;
    /// Releases what the last acquisition left behind.
    virtual bool cleanupAcquisition() = 0;
    /// A time base of the channel `id` that the host could follow, or null.
    virtual std::shared_ptr<IfTimeBaseProvider> getTimeBaseProvider(std::uint32_t id) = 0;
    /// The host's time base, to which every sample is stamped. Its ticks are read on the
    /// cameras' streaming threads (see IfTimeSource).
    virtual void setTimeSource(std::shared_ptr<IfTimeSource> time_source) = 0;
    /// Lets the plug-in align its clocks to the time source; true when aligned.
    virtual bool synchronizeTimeSource() = 0;
    /// The channel with id `id`, or null.
    virtual std::shared_ptr<channel_config::IfChannelConfig> getChannel(std::uint32_t id) = 0;
    /// The plug-in's fixed sample rate, NaN when it has none.
    virtual double getSampleRate() = 0;
};

}  // namespace zelt
