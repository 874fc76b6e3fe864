#include "zelt_camera_channel.h"

#include <gst/video/video.h>

#include <boost/make_shared.hpp>
#include <cmath>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <utility>

#include "uni/assertion_report.h"
#include "zelt/sample_sink.h"
#include "zelt_camera_device.h"
#include "zelt_camera_ids.h"
#include "zeltpu/keys.h"
#include "zeltpu/log.h"
#include "zeltpu/simple_channel_config_options.h"

namespace zelt_camera {
namespace {

namespace keys = zelt::plugin_util::keys;
namespace pu = zelt::plugin_util;
using config_items::ConfigItem;
using config_items::ScalarConfigItem;
using config_items::StringConfigItem;

constexpr const char* kSourceTag = "ZELT_CAMERA";
constexpr const char* kCounterSuffix = " RcvdCNT";
constexpr const char* kCounterUnit = "frames";
constexpr const char* kCounterSubChannelId = "CntReceived";
constexpr const char* kCounterInfo = "Received frames";
constexpr const char* kCameraInfo = "USB Camera";
constexpr const char* kCameraTypeValue = "USB";
constexpr double kNanosecondsPerSecond = 1e9;
constexpr const char* kListenerThrew = "An option listener threw for camera '";
constexpr const char* kExceptionManagerThrew = "The exception manager threw for camera '";
constexpr const char* kHandOverFailed =
    "A host callback threw during the hand-over of a frame; the frame is lost, camera '";

}  // namespace

CameraChannel::CameraChannel(channel_config::ChannelID id, GstDevice* device,
                             zelt::IfExceptionManager* exception_manager)
    : m_device(gst_support::refObject(device)),
      m_channel_id(id),
      m_caps_controller(std::make_unique<CapsController>(
          camera_caps_filter, camera_format_less,
          [this](const Caps& caps) { return onFrameSettingChanged(caps); })),
      m_exception_manager(exception_manager) {
    setChannelId(id);
    initializeFromDevice(device);
}

CameraChannel::~CameraChannel() { teardownPipeline(); }

void CameraChannel::initializeFromDevice(GstDevice* device) {
    if (device == nullptr) return;
    gst_support::GCharPtr display_name(gst_device_get_display_name(device));
    const std::string name = display_name ? display_name.get() : "";
    const std::string type_name = G_OBJECT_TYPE_NAME(device);
    // Unlike discovery's key, an empty "path" falls back to "device-path" here.
    std::string path = device_string_property(device, "path").value_or(std::string());
    if (path.empty()) path = device_string_property(device, "device-path").value_or(std::string());
    // Read before the modes so that what the caps controller logs names this camera.
    const uni::log::ScopedCamera camera(name, path);
    m_caps_controller->update(device);
    initialize(name, path, type_name);
    if (!m_path.empty()) setupPipeline();
}

void CameraChannel::initialize(const std::string& name, const std::string& path,
                               const std::string& /*device_type_name*/) {
    m_name = name;
    m_path = path;
    UNI_LOG(unilogger_zelt_plugin_camera, ULS_DETAIL)
        << "Initializing camera '" << name << "' with path '" << path << "'";

    const auto read_only = [] {
        return config_items::ConstraintList{
            std::make_shared<channel_config::ReadOnlyConstraint>(true)};
    };
    addOption(boost::make_shared<pu::ChannelUsedOption>(usage()));
    addOption(boost::make_shared<pu::GenericOption<bool>>(
        keys::kValid, nullptr,
        [this] { return ConfigItem(config_items::SingleValueConfigItem<bool>(!hasError())); },
        [](const bool&) { return false; }, read_only));
    addOption(boost::make_shared<pu::SimpleScalarOption>(keys::kSampleRate, 0.0, "fps"));
    addOption(boost::make_shared<pu::SimpleScalarOption>(keys::kFrameOffsetX, 0.0, "pixel"));
    addOption(boost::make_shared<pu::SimpleScalarOption>(keys::kFrameOffsetY, 0.0, "pixel"));
    addOption(boost::make_shared<pu::SimpleScalarOption>(keys::kFrameWidth, 0.0, "pixel"));
    addOption(boost::make_shared<pu::SimpleScalarOption>(keys::kFrameHeight, 0.0, "pixel"));
    addOption(boost::make_shared<pu::SimpleScalarOption>(keys::kPixelAspectRatio, 0.0, ""));
    addOption(boost::make_shared<pu::SimpleStringOption>(keys::kFrameFormat, ""));
    // The factor is read by the streaming thread, and may be read by a sink from inside the
    // hand-over: it is atomic rather than under the delivery mutex.
    addOption(boost::make_shared<pu::GenericOption<unsigned int>>(
        keys::kCameraFrameSubsampling, nullptr,
        [this] {
            return ConfigItem(
                config_items::SingleValueConfigItem<unsigned int>(m_frame_subsampling.load()));
        },
        [this](const unsigned int& factor) {
            if (factor < 1) return false;
            m_frame_subsampling.store(factor);
            return true;
        },
        [] {
            return config_items::ConstraintList{
                std::make_shared<config_items::ValueRangeConstraint<double>>(1.0, 4294967295.0),
                std::make_shared<channel_config::ConfigurableDuringAcquisitionConstraint>(false)};
        }));
    addOption(boost::make_shared<pu::ConstantGenericOption<std::string>>(keys::kDefaultName, name));
    addOption(boost::make_shared<pu::ConstantGenericOption<std::string>>(keys::kShortId, name));
    addOption(boost::make_shared<pu::ConstantGenericOption<std::string>>(
        keys::kAdditionalChannelInfo2, kCameraInfo));
    addOption(boost::make_shared<pu::ConstantGenericOption<std::string>>(
        keys::kIdCameraChannelIndex, path));
    // Reading it with no mode selected is an error of the caller: there is no text to give.
    addOption(boost::make_shared<pu::GenericOption<std::string>>(
        keys::kCameraFrameSetting, nullptr,
        [this] {
            const auto text = m_caps_controller->current_string();
            if (!text) throw std::runtime_error("Could not retrieve current caps value");
            return ConfigItem(StringConfigItem(*text));
        },
        [this](const std::string& text) { return m_caps_controller->set_from_string(text); },
        [this] { return m_caps_controller->constraints(); }));
    addOption(boost::make_shared<pu::ConstantGenericOption<std::string>>(keys::kCameraType,
                                                                         kCameraTypeValue));
    addOption(boost::make_shared<pu::ConstantGenericOption<channel_config::DAQChannelType>>(
        keys::kChannelType, channel_config::DAQChannelType::Video));
    addOption(boost::make_shared<pu::ConstantGenericOption<channel_config::SampleOccurrenceType>>(
        keys::kSampleUpdateType, channel_config::SampleOccurrenceType::Event));
    addOption(boost::make_shared<pu::ConstantGenericOption<channel_config::DAQSampleResolution>>(
        keys::kSampleResolution, channel_config::DAQSampleResolution::Image));
}

// Called by the caps controller while the frame-setting option is written, that is under
// m_config_mutex (or in the constructor).
bool CameraChannel::onFrameSettingChanged(const Caps& /*caps*/) {
    m_restart_required = true;
    ++m_setting_changes;
    return true;
}

bool CameraChannel::restartRequired() const {
    std::lock_guard<std::mutex> lock(m_config_mutex);
    return m_restart_required;
}

// --- configuration --------------------------------------------------------------------------

const std::vector<std::string>& CameraChannel::getKeys() const {
    std::lock_guard<std::mutex> lock(m_config_mutex);
    return SimpleChannelConfig::getKeys();
}

bool CameraChannel::hasKey(const std::string& key) const {
    std::lock_guard<std::mutex> lock(m_config_mutex);
    return SimpleChannelConfig::hasKey(key);
}

ConfigItem CameraChannel::getConfigItem(const std::string& key) const {
    std::lock_guard<std::mutex> lock(m_config_mutex);
    return SimpleChannelConfig::getConfigItem(key);
}

config_items::ConstraintList CameraChannel::getConstraints(const std::string& key) const {
    std::lock_guard<std::mutex> lock(m_config_mutex);
    return SimpleChannelConfig::getConstraints(key);
}

bool CameraChannel::setConfigItem(const std::string& key, const ConfigItem& item) {
    std::lock_guard<std::mutex> lock(m_config_mutex);
    return SimpleChannelConfig::setConfigItem(key, item);
}

void CameraChannel::addChannelConstraint(config_items::ConstraintPtr constraint) {
    std::lock_guard<std::mutex> lock(m_config_mutex);
    SimpleChannelConfig::addChannelConstraint(std::move(constraint));
}

// --- identity -------------------------------------------------------------------------------

gst_support::DevicePtr CameraChannel::device() const {
    return gst_support::refObject(m_device.get());
}

void CameraChannel::setOwnerId(std::uint32_t owner_id) {
    m_channel_id.high = owner_id;
    SimpleChannelConfig::setOwnerId(owner_id);
    if (m_counter_channel) m_counter_channel->setOwnerId(owner_id);
}

std::uint32_t CameraChannel::identify(const zelt::ChannelIdentification& record) const {
    const auto index_entry = record.find(keys::kIdCameraChannelIndex);
    if (index_entry == record.end() || index_entry->second != m_path) return zelt::kNoChannel;
    const auto sub_entry = record.find(keys::kIdCameraSubChannelId);
    if (sub_entry == record.end()) return index();
    if (m_counter_channel && sub_entry->second == kCounterSubChannelId)
        return counter_channel_id(index());
    return zelt::kNoChannel;
}

bool CameraChannel::isUsed() const {
    std::lock_guard<std::mutex> lock(m_config_mutex);
    return usage().isUsed();
}

void CameraChannel::setUsed(bool used) {
    std::lock_guard<std::mutex> lock(m_config_mutex);
    usage().setUsed(used);
}

void CameraChannel::addOptionChangeListener(channel_config::OptionChangeListener listener) {
    // An empty function is no listener: calling it would throw on the streaming thread.
    if (!listener) return;
    auto node = std::make_unique<ListenerNode>(std::move(listener));
    std::lock_guard<std::mutex> lock(m_listener_mutex);
    ListenerNode* added = node.get();
    if (m_option_listeners.empty())
        m_first_listener.store(added, std::memory_order_release);
    else
        m_option_listeners.back()->next.store(added, std::memory_order_release);
    m_option_listeners.push_back(std::move(node));
}

void CameraChannel::setSampleSink(std::shared_ptr<zelt::IfSampleSink> sink) {
    // Under the delivery mutex, so that no frame is handed to a sink after the host replaced
    // it. A sink replacing itself from inside addSample already holds the mutex on its thread;
    // the sink in that call is parked until the hand-over ends, since the frame path calls it
    // through a plain pointer.
    DeliveryLock lock(*this);
    const bool in_hand_over =
        m_delivering_thread.load(std::memory_order_relaxed) == std::this_thread::get_id();
    if (in_hand_over && !m_replaced_sink) {
        m_replaced_sink = std::exchange(m_sample_sink, std::move(sink));
        return;
    }
    m_sample_sink = std::move(sink);
}

// --- frame counter --------------------------------------------------------------------------

void CameraChannel::createCounterChannel() {
    m_counter_channel = std::make_shared<pu::EventCounterChannel>(
        m_name + kCounterSuffix, m_name + kCounterSuffix, kCounterUnit);
    m_counter_channel->setChannelId({m_channel_id.high, counter_channel_id(index())});
    m_counter_channel->setIdentity(m_path, kCounterSubChannelId, kCounterInfo);
}

std::set<std::uint32_t> CameraChannel::subChannelIds() const {
    if (!m_counter_channel) return {};
    return {counter_channel_id(index())};
}

void CameraChannel::updateCounterState(bool flag) {
    if (!m_counter_channel) {
        if (!flag) stopPipeline();
        return;
    }
    if (flag) {
        m_counter_channel->setActive(false);
        return;
    }
    m_counter_channel->setConfigItem(keys::kUsed, config_items::SingleValueConfigItem<bool>(false));
    m_counter_channel->setActive(true);
    stopPipeline();
}

// --- time base ------------------------------------------------------------------------------

void CameraChannel::synchronize() {}

double CameraChannel::getFrequency() { return kNanosecondsPerSecond; }

std::int64_t CameraChannel::getCurrentTicks() {
    DeliveryLock lock(*this);
    return m_time_source ? runningTime() : 0;
}

std::int64_t CameraChannel::runningTime() const {
    if (!m_clock || !m_pipeline) return 0;
    const GstClockTime now = gst_clock_get_time(m_clock.get());
    const GstClockTime base = gst_element_get_base_time(m_pipeline.get());
    return static_cast<std::int64_t>(now - base);
}

zelt::DateTime CameraChannel::getAbsoluteStart() { return {}; }

void CameraChannel::setTimeSource(std::shared_ptr<zelt::IfTimeSource> time_source) {
    DeliveryLock lock(*this);
    // The previous time base is released while the lock is held, so no frame is stamped
    // against a time base that is being destroyed.
    m_time_source = std::move(time_source);
}

// --- errors ---------------------------------------------------------------------------------

bool CameraChannel::hasError() const {
    std::lock_guard<std::mutex> lock(m_error_mutex);
    return m_error != nullptr;
}

// Every host call of the exception manager is made under m_report_mutex only, so that posts
// and withdrawals from the bus watch and from the host's thread reach the host in a
// consistent order; "Valid" reads m_error under m_error_mutex alone, so a manager that reads
// it while a message is posted does not wait for itself. A manager that throws loses that
// call; the error state is kept all the same.
void CameraChannel::reportError(const char* message_template, const std::string& argument) {
    clearError();
    const uni::log::ScopedCamera camera(m_name, m_path);
    UNI_LOG(unilogger_zelt_plugin_camera, ULS_ERROR)
        << zelt::ErrorMessage(kSourceTag, message_template, argument).text();
    {
        std::lock_guard<std::mutex> report(m_report_mutex);
        auto message = std::make_unique<zelt::ErrorMessage>(kSourceTag, message_template, argument);
        const zelt::ErrorMessage* posted = message.get();
        std::unique_ptr<zelt::ErrorMessage> replaced;
        {
            std::lock_guard<std::mutex> lock(m_error_mutex);
            replaced = std::exchange(m_error, std::move(message));
        }
        // The other thread may have posted since the clear above: its message is withdrawn
        // before it is deleted, so the host never keeps a message the channel has deleted.
        if (replaced != nullptr) withdrawFromHost(replaced.get());
        postToHost(posted);
    }
    notifyListeners(keys::kValid, config_items::SingleValueConfigItem<bool>(false));
}

void CameraChannel::clearError() {
    {
        std::lock_guard<std::mutex> report(m_report_mutex);
        std::unique_ptr<zelt::ErrorMessage> withdrawn;
        {
            std::lock_guard<std::mutex> lock(m_error_mutex);
            withdrawn = std::move(m_error);
        }
        if (withdrawn != nullptr) withdrawFromHost(withdrawn.get());
    }
    notifyListeners(keys::kValid, config_items::SingleValueConfigItem<bool>(true));
}

// Under m_report_mutex.
void CameraChannel::postToHost(const zelt::ErrorMessage* message) {
    if (m_exception_manager == nullptr) return;
    try {
        m_exception_manager->postMessage(message);
    } catch (const std::exception& error) {
        logExceptionManagerFailure(error.what());
    } catch (...) {
        logExceptionManagerFailure("unknown exception");
    }
}

// Under m_report_mutex.
void CameraChannel::withdrawFromHost(const zelt::ErrorMessage* message) {
    if (m_exception_manager == nullptr) return;
    try {
        m_exception_manager->withdrawMessage(message);
    } catch (const std::exception& error) {
        logExceptionManagerFailure(error.what());
    } catch (...) {
        logExceptionManagerFailure("unknown exception");
    }
}

void CameraChannel::logExceptionManagerFailure(const char* what) const {
    UNI_LOG(unilogger_zelt_plugin_camera, ULS_ERROR)
        << kExceptionManagerThrew << m_name << "': " << what;
}

void CameraChannel::setExceptionManager(zelt::IfExceptionManager* manager) {
    std::lock_guard<std::mutex> report(m_report_mutex);
    if (manager == m_exception_manager) return;
    const zelt::ErrorMessage* posted = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_error_mutex);
        posted = m_error.get();
    }
    // The message stays alive: only a holder of m_report_mutex deletes it.
    if (posted != nullptr) withdrawFromHost(posted);
    m_exception_manager = manager;
    if (posted != nullptr) postToHost(posted);
}

void CameraChannel::notifyListeners(const std::string& key, const ConfigItem& item) {
    for (const ListenerNode* node = m_first_listener.load(std::memory_order_acquire);
         node != nullptr; node = node->next.load(std::memory_order_acquire)) {
        // A listener that throws must not end the notification, nor leave through GStreamer's
        // or GLib's frames.
        try {
            node->listener(key, item);
        } catch (const std::exception& error) {
            UNI_LOG(unilogger_zelt_plugin_camera, ULS_WARNING)
                << kListenerThrew << m_name << "' (" << key << "): " << error.what();
        } catch (...) {
            UNI_LOG(unilogger_zelt_plugin_camera, ULS_WARNING)
                << kListenerThrew << m_name << "' (" << key << ")";
        }
    }
}

void CameraChannel::publishOption(const std::string& key, const ConfigItem& item) {
    setConfigItem(key, item);
    notifyListeners(key, item);
}

void CameraChannel::noteFailedHandOver(const char* what) {
    if (!m_hand_over_failed.exchange(true)) {
        UNI_LOG(unilogger_zelt_plugin_camera, ULS_ERROR)
            << kHandOverFailed << m_name << "': " << what;
    }
}

}  // namespace zelt_camera
