#include "zelt_camera_channel.h"

#include <gst/video/video.h>

#include <boost/make_shared.hpp>
#include <cmath>
#include <cstring>
#include <exception>
#include <stdexcept>

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
    // The factor is read by the streaming thread, so it is read and written under m_mutex.
    addOption(boost::make_shared<pu::GenericOption<unsigned int>>(
        keys::kCameraFrameSubsampling, nullptr,
        [this] {
            std::lock_guard<std::mutex> lock(m_mutex);
            return ConfigItem(
                config_items::SingleValueConfigItem<unsigned int>(m_frame_subsampling));
        },
        [this](const unsigned int& factor) {
            if (factor < 1) return false;
            std::lock_guard<std::mutex> lock(m_mutex);
            m_frame_subsampling = factor;
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

bool CameraChannel::onFrameSettingChanged(const Caps& /*caps*/) {
    m_restart_required = true;
    return true;
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

bool CameraChannel::isUsed() const { return usage().isUsed(); }

void CameraChannel::setUsed(bool used) { usage().setUsed(used); }

void CameraChannel::addOptionChangeListener(channel_config::OptionChangeListener listener) {
    // An empty function is no listener: calling it would throw on the streaming thread.
    if (!listener) return;
    m_option_listeners.push_back(std::move(listener));
}

void CameraChannel::setSampleSink(std::shared_ptr<zelt::IfSampleSink> sink) {
    std::lock_guard<std::mutex> lock(m_mutex);
    SimpleChannelConfig::setSampleSink(std::move(sink));
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
    std::lock_guard<std::mutex> lock(m_mutex);
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
    std::lock_guard<std::mutex> lock(m_mutex);
    // The previous time base is released while the lock is held, so no frame is stamped
    // against a time base that is being destroyed.
    m_time_source = std::move(time_source);
}

// --- errors ---------------------------------------------------------------------------------

bool CameraChannel::hasError() const {
    std::lock_guard<std::mutex> lock(m_error_mutex);
    return m_error != nullptr;
}

void CameraChannel::reportError(const char* message_template, const std::string& argument) {
    clearError();
    const uni::log::ScopedCamera camera(m_name, m_path);
    UNI_LOG(unilogger_zelt_plugin_camera, ULS_ERROR)
        << zelt::ErrorMessage(kSourceTag, message_template, argument).text();
    {
        std::lock_guard<std::mutex> lock(m_error_mutex);
        // The bus watch and the host's thread report concurrently: a message posted by the
        // other thread since the clear above is withdrawn before it is replaced, so the host
        // never keeps a message the channel has deleted.
        if (m_error != nullptr && m_exception_manager != nullptr)
            m_exception_manager->withdrawMessage(m_error.get());
        m_error = std::make_unique<zelt::ErrorMessage>(kSourceTag, message_template, argument);
        if (m_exception_manager != nullptr) m_exception_manager->postMessage(m_error.get());
    }
    notifyListeners(keys::kValid, config_items::SingleValueConfigItem<bool>(false));
}

void CameraChannel::clearError() {
    {
        std::lock_guard<std::mutex> lock(m_error_mutex);
        if (m_error != nullptr && m_exception_manager != nullptr)
            m_exception_manager->withdrawMessage(m_error.get());
        m_error.reset();
    }
    notifyListeners(keys::kValid, config_items::SingleValueConfigItem<bool>(true));
}

void CameraChannel::notifyListeners(const std::string& key, const ConfigItem& item) {
    for (const auto& listener : m_option_listeners) listener(key, item);
}

void CameraChannel::publishOption(const std::string& key, const ConfigItem& item) {
    setConfigItem(key, item);
    notifyListeners(key, item);
}

}  // namespace zelt_camera
