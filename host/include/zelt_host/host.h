// The reference host: loads a camera plug-in library and drives the plug-in through the host
// interfaces only, as a data-acquisition host does.
//
// What a host does with a camera plug-in, and why each call is there. Numbers in brackets are
// slots: the position of the operation among zelt::IfDAQPlugin's virtual operations, the
// destructor counting as 0.
//
//   Loading (Host::open)
//     gst_init                  the plug-in requires GStreamer initialised before init, and
//                               leaves that to its host.
//     dlopen, ZELT_getPluginFactory
//                               the library's one static plug-in creator.
//     createPlugin("CAMERA", {D40250C7-33F6-4ECE-9A88-BAE8EE6D5FA5})
//                               one plug-in object; the host owns it until destroyPlugin.
//     setPluginId        [4]    the host's number for this plug-in; channels carry it in
//                               their ChannelID.
//     setExceptionManager[15]   where the plug-in posts errors meant for the user ("Could not
//                               start camera %1"); it must outlive the plug-in's channels.
//     init               [6]    brings up the plug-in's services.
//     startDeviceMonitoring [7] watches for cameras coming and going (a bus watch on GLib's
//                               default main context, dispatched by MainContextThread).
//     updateChannels     [12]   turns the attached cameras into channels.
//
//   Configuring: getChannelIds [19], getChannel [33] and getConfig [10]; items are read and
//   set by key; the host gives each channel it acquires a sample sink
//   (IfChannelConfig::setSampleSink).
//
//   Acquiring (Acquisition::start, then Acquisition::stop)
//     setTimeSource      [31]   the host's time base: every sample is stamped in its ticks.
//     resetChannelsUsed  [18]   forget the channels of an earlier acquisition...
//     setChannelUsed     [17]   ...and mark the ones to acquire now.
//     prepareAcquisition [21]   starts the used cameras' pipelines (blocks until they play);
//                               a camera that fails posts an error and makes this false.
//     checkChannels      [23]   polled until true: every used camera delivered its first
//                               frame (or posted an error); until then a camera is still
//                               coming up.
//     startAcquisition   [25]   resets the frame counters; the acquisition runs.
//     canStopAcquisition [27]   switches delivery on: sets each used channel's delivery flag.
//                               Frames reach the sinks only from here on.
//     ... samples arrive on the cameras' streaming threads ...
//     finishAcquisition  [28]   switches delivery off: no sample reaches a sink afterwards.
//     stopAcquisition    [26]   ends the acquisition; stops the pipelines of channels that
//                               are not used (used cameras keep streaming, undelivered, so
//                               that the next acquisition starts at once).
//
//   Unloading (Host::close)
//     deinit             [9]    stops device monitoring, tears every pipeline down.
//     destroyPlugin             with the plug-in type identifier; then the library is
//                               released.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "channel_config/channel_config.h"
#include "config_items/config_items.h"
#include "tsa/api_object.h"
#include "zelt/daq_plugin.h"
#include "zelt/sample_sink.h"
#include "zelt/time_base.h"
#include "zelt_host/host_error.h"
#include "zelt_host/main_context_thread.h"
#include "zelt_host/plugin_library.h"
#include "zelt_host/recording_exception_manager.h"
#include "zelt_host/steady_time_source.h"

namespace zelt::host {

class Acquisition;

/// Kind of plug-in the host asks a camera library for.
inline constexpr const char* kCameraPluginKind = "CAMERA";
/// Plug-in type identifier of the camera plug-in, {D40250C7-33F6-4ECE-9A88-BAE8EE6D5FA5}.
inline constexpr tsa::Uuid kCameraPluginTypeId = {{0xD4, 0x02, 0x50, 0xC7, 0x33, 0xF6, 0x4E, 0xCE,
                                                   0x9A, 0x88, 0xBA, 0xE8, 0xEE, 0x6D, 0x5F, 0xA5}};

/// Initialises GStreamer once for the process (gst_init_check); later calls do nothing.
/// Throws HostError with GStreamer's text when initialisation fails.
void ensureGStreamerInitialized();

/// How a Host is set up.
struct HostOptions {
    /// Frequency of the host's time base in ticks per second.
    double time_frequency = SteadyTimeSource::kDefaultFrequency;
    /// Where errors the plug-in posts are printed as they arrive (the command line tool
    /// passes &std::cerr); null prints nothing. Not owned.
    std::ostream* error_output = nullptr;
};

/// One plug-in session of the host: the loaded library, the plug-in created from it, the
/// thread that dispatches GLib's default main context, the host's time base and its exception
/// manager.
///
/// The constructor initialises GStreamer and starts the main-context thread (so one Host per
/// process at a time); open() loads a library and brings the plug-in up; close() takes it
/// down again; open() may follow again. A Host is driven from one thread (the host's control
/// thread); it is not safe to call it from several threads at once.
///
/// Pointers obtained from the plug-in (channels, its configuration, its service factory)
/// belong to the plug-in's library: drop them before close().
class Host {
public:
    /// The plug-in id open() gives when none is named.
    static constexpr std::uint32_t kDefaultPluginId = 0;

    explicit Host(HostOptions options = {});
    /// close(), then stops the main-context thread.
    ~Host();

    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// Loads the library at `path` and brings its "CAMERA" plug-in up: createPlugin, then
    /// setPluginId(plugin_id), setExceptionManager, init, startDeviceMonitoring,
    /// updateChannels. Closes the current plug-in first. Throws HostError when the library
    /// cannot be loaded, the creator refuses, the plug-in is no DAQ plug-in or init fails;
    /// the Host is then closed.
    void open(const std::string& path, std::uint32_t plugin_id = kDefaultPluginId);
    /// open(defaultCameraPluginPath(), plugin_id).
    void openDefault(std::uint32_t plugin_id = kDefaultPluginId);
    /// Stops a running Acquisition, then deinit, destroyPlugin and unloading. Nothing when
    /// closed.
    void close() noexcept;
    bool isOpen() const noexcept { return m_plugin != nullptr; }

    /// The plug-in; throws HostError when closed.
    zelt::IfDAQPlugin& plugin() const;
    /// The loaded library; throws HostError when closed.
    const PluginLibrary& library() const;

    MainContextThread& mainContext() noexcept { return m_main_context; }
    RecordingExceptionManager& exceptions() noexcept { return m_exceptions; }
    const RecordingExceptionManager& exceptions() const noexcept { return m_exceptions; }

    /// The time base handed to the plug-in when an acquisition starts.
    std::shared_ptr<zelt::IfTimeSource> timeSource() const { return m_time_source; }
    /// Replaces the time base for later acquisitions (null: none is handed over, and a camera
    /// then stamps frames with their pipeline time).
    void setTimeSource(std::shared_ptr<zelt::IfTimeSource> time_source);

    /// Every channel id of the plug-in, sub-channels included, ascending.
    std::vector<std::uint32_t> channelIds() const;
    /// The channel `id`, or null when there is none.
    std::shared_ptr<channel_config::IfChannelConfig> channel(std::uint32_t id) const;
    /// The channel `id`, never null; throws HostError when there is none.
    std::shared_ptr<channel_config::IfChannelConfig> requireChannel(std::uint32_t id) const;
    /// The item `key` of channel `id` (an InvalidConfigItem for an unknown key).
    config_items::ConfigItem item(std::uint32_t id, const std::string& key) const;
    /// The text form of the item `key` of channel `id` (config_items::toString).
    std::string itemText(std::uint32_t id, const std::string& key) const;
    /// Sets the item `key` of channel `id`; false when the channel refuses.
    bool setItem(std::uint32_t id, const std::string& key, const config_items::ConfigItem& item);
    /// The text form of the plug-in configuration's item `key`.
    std::string pluginItemText(const std::string& key) const;
    /// Gives channel `id` the sink its samples go to (null removes it). A camera expects the
    /// sink of a used channel to stay while the host's time base is set: change sinks between
    /// acquisitions.
    void setSampleSink(std::uint32_t id, std::shared_ptr<zelt::IfSampleSink> sink);

private:
    friend class Acquisition;

    void destroyPlugin() noexcept;

    // Declared in the order they must outlive each other: the plug-in (destroyed in close())
    // uses the exception manager and the time source; the main-context thread outlives the
    // plug-in's bus watches.
    MainContextThread m_main_context;
    RecordingExceptionManager m_exceptions;
    std::shared_ptr<zelt::IfTimeSource> m_time_source;
    std::ostream* m_error_output;
    std::optional<PluginLibrary> m_library;
    zelt::IfPluginCommon* m_plugin_object = nullptr;
    zelt::IfDAQPlugin* m_plugin = nullptr;
    Acquisition* m_acquisition = nullptr;  // the running one, not owned
};

}  // namespace zelt::host
