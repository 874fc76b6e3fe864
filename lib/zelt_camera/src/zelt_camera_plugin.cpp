#include "zelt_camera_plugin.h"

#include <boost/variant/get.hpp>
#include <cmath>
#include <exception>
#include <limits>

#include "uni/assertion_report.h"
#include "zelt/system_topology.h"
#include "zelt_camera_channel.h"
#include "zelt_camera_device.h"
#include "zelt_camera_ids.h"
#include "zelt_camera_system_topology_service.h"
#include "zeltpu/keys.h"
#include "zeltpu/log.h"

namespace zelt_camera {
namespace {

namespace keys = zelt::plugin_util::keys;
using config_items::SingleValueConfigItem;

constexpr const char* kSource = "lib/zelt_camera/src/zelt_camera_plugin";
// Devices of the Media Foundation provider: taken only when no other provider reports the
// same camera.
constexpr const char* kMediaFoundationDeviceType = "GstMFDevice";

// Why a device the monitor reports is not offered (detail log, once per device).
constexpr const char* kLeftOutNoPath = "it has neither \"path\" nor \"device-path\"";
constexpr const char* kLeftOutNoPipeline = "its capture pipeline could not be built";
constexpr const char* kLeftOutDuplicate = "another provider reports the same camera";

// The topology service's identifier, built from its bytes when the library is loaded.
const tsa::Uuid kTopologyServiceId = zelt::kSystemTopologyServiceId;

}  // namespace

void CameraPlugin::ServiceRelease::operator()(CameraSystemTopologyService* service) const {
    service->detach();
    service->release();
}

CameraPlugin::CameraPlugin()
    : m_topology_service(new CameraSystemTopologyService(this)),
      m_config(std::make_shared<zelt::plugin_util::SimplePluginConfig>()) {
    m_topology_service->addRef();
    m_config->registerItem(keys::kPluginGodMode, SingleValueConfigItem<bool>(false), {});
    m_config->registerItem(keys::kFrameCounterChannels, SingleValueConfigItem<bool>(true), {});
}

CameraPlugin::~CameraPlugin() {
    // First of all the topology service lets go of the plug-in: the factory and the host may
    // keep the service (and call it) after this.
    m_topology_service->detach();
    if (m_service_factory != nullptr) m_service_factory->release();
    m_config.reset();
    m_time_source.reset();
    if (m_device_monitor_watch != 0) g_source_remove(m_device_monitor_watch);
    m_device_monitor_bus.reset();
    if (m_device_monitor) gst_device_monitor_stop(m_device_monitor.get());
    m_device_monitor.reset();
    m_topology_service.reset();
    // Channels the host still holds outlive the plug-in: their cameras stop here.
    removeAllChannels();
}

CameraPlugin::ChannelMap CameraPlugin::channels() const {
    std::lock_guard<std::mutex> lock(m_channels_mutex);
    return m_channels;
}

void CameraPlugin::removeAllChannels() {
    std::vector<std::shared_ptr<CameraChannel>> removed;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::lock_guard<std::mutex> channels_lock(m_channels_mutex);
        for (auto& [index, channel] : m_channels) removed.push_back(std::move(channel));
        m_channels.clear();
    }
    tearDown(removed);
}

// Outside the plug-in's locks: a teardown waits for the channel's bus watch, whose host
// callbacks may look channels up meanwhile.
void CameraPlugin::tearDown(const std::vector<std::shared_ptr<CameraChannel>>& channels) {
    for (const auto& channel : channels) channel->teardownPipeline();
}

std::string CameraPlugin::getPluginName() { return kPluginName; }

tsa::Uuid CameraPlugin::getPluginInstanceTypeId() { return parse_uuid(kPluginInstanceTypeIdText); }

void CameraPlugin::setPluginId(std::uint32_t id) {
    DAQPluginBase::setPluginId(id);
    std::lock_guard<std::mutex> lock(m_mutex);
    for (auto& [index, channel] : m_channels) channel->setOwnerId(id);
}

tsa::Uuid CameraPlugin::getPluginTypeId() { return parse_uuid(kPluginTypeIdText); }

bool CameraPlugin::init() {
    std::lock_guard<std::mutex> lock(m_mutex);
    uni::check(gst_is_initialized(), "gst_is_initialized()", kSource, 125);
    if (m_service_factory == nullptr) {
        m_service_factory = new zelt::plugin_util::ServiceFactory();
        m_service_factory->addRef();
        m_service_factory->registerService(kTopologyServiceId, m_topology_service.get());
    }
    return true;
}

bool CameraPlugin::startDeviceMonitoring() {
    if (m_device_monitor) return true;

    m_device_monitor.reset(gst_device_monitor_new());
    if (!uni::check(m_device_monitor != nullptr, "m_device_monitor", kSource, 380)) {
        UNI_LOG(unilogger_zelt_plugin_camera, ULS_ERROR) << "Could not create a device monitor";
        return true;
    }
    // Hidden providers too: PipeWire's and libcamera's providers hide v4l2's, whose devices
    // are the only ones with a device path on such a desktop. A camera that two providers
    // report is taken once by its key.
    gst_device_monitor_set_show_all_devices(m_device_monitor.get(), TRUE);

    gst_support::CapsPtr raw_video(gst_caps_new_empty_simple("video/x-raw"));
    gst_device_monitor_add_filter(m_device_monitor.get(), "Video/Source", raw_video.get());
    raw_video.reset();

    m_device_monitor_bus.reset(gst_device_monitor_get_bus(m_device_monitor.get()));
    uni::check(m_device_monitor_bus != nullptr, "m_device_monitor_bus", kSource, 391);

    gchar** providers = gst_device_monitor_get_providers(m_device_monitor.get());
    for (gchar** provider = providers; provider != nullptr && *provider != nullptr; ++provider)
        UNI_LOG(unilogger_zelt_plugin_camera, ULS_INFO) << "Found camera provider " << *provider;
    g_strfreev(providers);

    if (m_device_monitor_bus)
        m_device_monitor_watch = gst_bus_add_watch(m_device_monitor_bus.get(),
                                                   &CameraPlugin::onDeviceMonitorMessage, this);
    gst_device_monitor_start(m_device_monitor.get());
    return true;
}

gboolean CameraPlugin::onDeviceMonitorMessage(GstBus* /*bus*/, GstMessage* message,
                                              gpointer /*plugin*/) {
    // The device is taken out of the message and deliberately not released further; the
    // channel set changes only when the host calls updateChannels.
    GstDevice* device = nullptr;
    switch (GST_MESSAGE_TYPE(message)) {
        case GST_MESSAGE_DEVICE_ADDED:
            gst_message_parse_device_added(message, &device);
            break;
        case GST_MESSAGE_DEVICE_REMOVED:
            gst_message_parse_device_removed(message, &device);
            break;
        default:
            break;
    }
    return TRUE;
}

bool CameraPlugin::stopDeviceMonitoring() { return true; }

// Takes m_mutex although the host's contract does not ask for it: the monitor and the map are
// otherwise changed under the enumeration's feet. The pipelines are torn down after the lock
// is released.
void CameraPlugin::deinit() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_device_monitor_watch != 0) {
            g_source_remove(m_device_monitor_watch);
            m_device_monitor_watch = 0;
        }
        m_device_monitor_bus.reset();
        if (m_device_monitor) {
            gst_device_monitor_stop(m_device_monitor.get());
            m_device_monitor.reset();
        }
        m_left_out_devices.clear();
    }
    removeAllChannels();
}

std::shared_ptr<zelt::IfPluginConfig> CameraPlugin::getConfig() { return m_config; }

void CameraPlugin::configChanged() {}

void CameraPlugin::updateChannels() {
    std::vector<std::shared_ptr<CameraChannel>> removed;
    try {
        std::lock_guard<std::mutex> lock(m_mutex);
        enumerateDevices(removed);
    } catch (...) {
        tearDown(removed);
        throw;
    }
    tearDown(removed);
}

void CameraPlugin::enumerateDevices(std::vector<std::shared_ptr<CameraChannel>>& removed) {
    UNI_LOG(unilogger_zelt_plugin_camera, ULS_DETAIL) << "Enumerating available GStreamer devices";

    std::vector<gst_support::DevicePtr> taken;
    std::vector<std::pair<gst_support::DevicePtr, const char*>> left_out;
    {
        GList* devices =
            m_device_monitor ? gst_device_monitor_get_devices(m_device_monitor.get()) : nullptr;
        std::set<std::string> keys_seen;
        bool media_foundation_seen = false;
        for (GList* item = devices; item != nullptr; item = item->next) {
            GstDevice* device = GST_DEVICE(item->data);
            const std::string type_name = G_OBJECT_TYPE_NAME(device);
            gst_support::GCharPtr display_name(gst_device_get_display_name(device));
            const std::string path = get_device_path(device);
            const uni::log::ScopedCamera camera(display_name ? display_name.get() : "", path);
            UNI_LOG(unilogger_zelt_plugin_camera, ULS_DEBUG)
                << "  found '" << type_name << "' with name '"
                << (display_name ? display_name.get() : "") << "' at " << path;
            if (type_name == kMediaFoundationDeviceType) {
                media_foundation_seen = true;
                continue;
            }
            keys_seen.insert(make_device_key(path).first);
            taken.push_back(gst_support::refObject(device));
        }
        if (media_foundation_seen) {
            for (GList* item = devices; item != nullptr; item = item->next) {
                GstDevice* device = GST_DEVICE(item->data);
                if (std::string(G_OBJECT_TYPE_NAME(device)) != kMediaFoundationDeviceType) continue;
                if (!keys_seen.insert(make_device_key(get_device_path(device)).first).second) {
                    left_out.emplace_back(gst_support::refObject(device), kLeftOutDuplicate);
                    continue;
                }
                taken.push_back(gst_support::refObject(device));
            }
        }
        g_list_free_full(devices, gst_object_unref);
    }

    // Computed before removals so that an index is never reused while higher ones exist.
    std::uint32_t next_index = m_channels.empty() ? 0 : m_channels.rbegin()->first + 1;

    const auto is_taken = [&taken](GstDevice* device) {
        for (const auto& candidate : taken)
            if (candidate.get() == device) return true;
        return false;
    };
    {
        std::lock_guard<std::mutex> lock(m_channels_mutex);
        for (auto it = m_channels.begin(); it != m_channels.end();) {
            const auto device = it->second->device();
            if (is_taken(device.get())) {
                ++it;
            } else {
                removed.push_back(it->second);
                it = m_channels.erase(it);
            }
        }
    }

    bool frame_counters = false;
    if (m_config->hasConfigItem(keys::kFrameCounterChannels)) {
        // Any other alternative than a bool is a configuration error: the bad-get leaves here.
        frame_counters = boost::get<SingleValueConfigItem<bool>>(
                             m_config->getConfigItem(keys::kFrameCounterChannels))
                             .m_value;
    }

    for (const auto& device : taken) {
        bool known = false;
        for (const auto& [index, channel] : m_channels) {
            if (channel->device().get() == device.get()) {
                known = true;
                break;
            }
        }
        if (known) continue;

        std::shared_ptr<CameraChannel> channel;
        try {
            channel = std::make_shared<CameraChannel>(
                channel_config::ChannelID{getPluginId(), next_index}, device.get(),
                m_exception_manager);
        } catch (const std::exception& error) {
            // A device whose modes cannot be read (a mode without width or height) is not
            // offered; the other cameras are.
            gst_support::GCharPtr name(gst_device_get_display_name(device.get()));
            const uni::log::ScopedCamera camera(name ? name.get() : "",
                                                get_device_path(device.get()));
            UNI_LOG(unilogger_zelt_plugin_camera, ULS_ERROR)
                << "Could not initialize camera '" << (name ? name.get() : "")
                << "': " << error.what();
            continue;
        }
        if (!channel->isValid()) {
            left_out.emplace_back(
                gst_support::refObject(device.get()),
                get_device_path(device.get()).empty() ? kLeftOutNoPath : kLeftOutNoPipeline);
            continue;
        }
        if (frame_counters) channel->createCounterChannel();
        // A camera that comes after the host handed over its time base stamps on it too. The
        // channel gets it outside the map's mutex (the channel's delivery mutex is never taken
        // under it); a time base the host hands over meanwhile is handed on once more.
        for (;;) {
            std::shared_ptr<zelt::IfTimeSource> time_source;
            {
                std::lock_guard<std::mutex> lock(m_channels_mutex);
                time_source = m_time_source;
            }
            channel->setTimeSource(time_source);
            std::lock_guard<std::mutex> lock(m_channels_mutex);
            if (m_time_source != time_source) continue;
            m_channels.emplace(next_index, std::move(channel));
            break;
        }
        ++next_index;
    }
    reportLeftOutDevices(left_out);
}

void CameraPlugin::reportLeftOutDevices(
    const std::vector<std::pair<gst_support::DevicePtr, const char*>>& left_out) {
    std::vector<gst_support::DevicePtr> still_left_out;
    for (const auto& [device, reason] : left_out) {
        bool reported = false;
        for (const auto& known : m_left_out_devices) reported = reported || known == device;
        if (!reported) {
            gst_support::GCharPtr name(gst_device_get_display_name(device.get()));
            const std::string provider = device_provider_name(device.get());
            const uni::log::ScopedCamera camera(name ? name.get() : "",
                                                get_device_path(device.get()));
            UNI_LOG(unilogger_zelt_plugin_camera, ULS_DETAIL)
                << "Left out device '" << (name ? name.get() : "") << "' of provider '"
                << (provider.empty() ? "unknown" : provider) << "' ('"
                << G_OBJECT_TYPE_NAME(device.get()) << "'): " << reason;
        }
        still_left_out.push_back(gst_support::refObject(device.get()));
    }
    m_left_out_devices = std::move(still_left_out);
}

bool CameraPlugin::hasChannelsChanged() { return false; }

plugin_api::IfServiceFactory* CameraPlugin::getServiceFactory() {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_service_factory != nullptr) m_service_factory->addRef();
    return m_service_factory;
}

// Takes m_mutex although the host's contract does not ask for it, so that a channel that the
// enumeration is creating right now cannot keep the previous manager. Every channel posts to
// the new manager from now on (the host may free the previous one).
void CameraPlugin::setExceptionManager(zelt::IfExceptionManager* manager) {
    std::lock_guard<std::mutex> lock(m_mutex);
    {
        std::lock_guard<std::mutex> channels_lock(m_channels_mutex);
        m_exception_manager = manager;
    }
    for (auto& [index, channel] : m_channels) channel->setExceptionManager(manager);
}

bool CameraPlugin::isLicensed() { return true; }

void CameraPlugin::setChannelUsed(std::uint32_t id, bool used) {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (auto& [index, channel] : m_channels) {
        if (index == id) channel->setUsed(used);
        const auto& counter = channel->counterChannel();
        if (counter && counter_channel_id(index) == id) counter->usage().setUsed(used);
    }
}

void CameraPlugin::resetChannelsUsed() {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (auto& [index, channel] : m_channels) {
        channel->setUsed(false);
        if (const auto& counter = channel->counterChannel()) counter->usage().setUsed(false);
    }
}

std::set<std::uint32_t> CameraPlugin::getChannelIds() {
    std::set<std::uint32_t> ids;
    for (const auto& [index, channel] : channels()) {
        ids.insert(index);
        const auto sub_ids = channel->subChannelIds();
        ids.insert(sub_ids.begin(), sub_ids.end());
    }
    return ids;
}

std::uint32_t CameraPlugin::findChannelIndex(const zelt::ChannelIdentification& record) {
    for (const auto& [index, channel] : channels()) {
        const std::uint32_t found = channel->identify(record);
        if (found != zelt::kNoChannel) return found;
    }
    return zelt::kNoChannel;
}

bool CameraPlugin::prepareAcquisition() {
    std::lock_guard<std::mutex> lock(m_mutex);
    bool all_ready = true;
    for (auto& [index, channel] : m_channels)
        all_ready = channel->prepareAcquisition() && all_ready;
    return all_ready;
}

bool CameraPlugin::isAcquisitionRunning() { return m_acquisition_running; }

bool CameraPlugin::checkChannels() {
    for (const auto& [index, channel] : channels()) {
        if (channel->isUsed() && !channel->pipelineRunning() && !channel->hasError()) return false;
    }
    return true;
}

bool CameraPlugin::isClockMaster() { return false; }

void CameraPlugin::startAcquisition() {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (auto& [index, channel] : m_channels) channel->onAcquisitionStarted();
    m_acquisition_running = true;
}

bool CameraPlugin::stopAcquisition() {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (auto& [index, channel] : m_channels) channel->releaseUnusedPipeline();
    m_acquisition_running = false;
    return true;
}

bool CameraPlugin::canStopAcquisition() {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (auto& [index, channel] : m_channels) channel->beginDelivery();
    return true;
}

bool CameraPlugin::finishAcquisition() {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (auto& [index, channel] : m_channels) channel->endDelivery();
    return true;
}

bool CameraPlugin::cleanupAcquisition() { return true; }

std::shared_ptr<zelt::IfTimeBaseProvider> CameraPlugin::getTimeBaseProvider(std::uint32_t id) {
    if (id == zelt::kNoChannel || m_accept_time_source) return nullptr;
    for (const auto& [index, channel] : channels()) {
        if (index == id || (index == (id & 0xFFFFu) && (id & 0xFFFF0000u) != 0))
            return std::shared_ptr<zelt::IfTimeBaseProvider>(channel, channel.get());
    }
    return nullptr;
}

void CameraPlugin::setTimeSource(std::shared_ptr<zelt::IfTimeSource> time_source) {
    if (!m_accept_time_source) return;
    ChannelMap current;
    {
        // Stored under the map's mutex, so that a channel the enumeration adds meanwhile gets
        // it as well; handed to the channels outside it (a channel waits for a frame's
        // hand-over).
        std::lock_guard<std::mutex> lock(m_channels_mutex);
        m_time_source = time_source;
        current = m_channels;
    }
    for (auto& [index, channel] : current) channel->setTimeSource(time_source);
}

bool CameraPlugin::synchronizeTimeSource() { return true; }

// Under the map's mutex rather than m_mutex: a host callback (a sink, a listener, the
// exception manager) may look its channel up while the plug-in, under m_mutex, waits for the
// callback's thread.
std::shared_ptr<channel_config::IfChannelConfig> CameraPlugin::getChannel(std::uint32_t id) {
    std::lock_guard<std::mutex> lock(m_channels_mutex);
    for (const auto& [index, channel] : m_channels) {
        if (index == id) return channel;
        const auto& counter = channel->counterChannel();
        if (counter && counter_channel_id(index) == id) return counter;
    }
    return nullptr;
}

double CameraPlugin::getSampleRate() {
    // The camera has no fixed sample rate.
    return std::numeric_limits<double>::quiet_NaN();
}

}  // namespace zelt_camera
