#include "host_input_fixture.h"

#include <boost/rational.hpp>
#include <exception>
#include <sstream>
#include <thread>

namespace zelt_reliability {

namespace ci = config_items;
using channel_config::ChannelID;

std::vector<ConfigItem> one_item_of_each_alternative() {
    return {
        ci::StringConfigItem("bad input"),                              // 0
        ci::SingleValueConfigItem<double>(2.5),                         // 1
        ci::ScalarConfigItem(2.5, "V"),                                 // 2
        ci::SingleValueConfigItem<int>(-3),                             // 3
        ci::SingleValueConfigItem<unsigned int>(3u),                    // 4
        ci::SingleValueConfigItem<bool>(true),                          // 5
        ci::RangeConfigItem<double>(0.0, 10.0, "V", "V"),               // 6
        ci::ValueListConfigItem<std::string>({"a", "b"}),               // 7
        ci::ValueListConfigItem<ci::TupleDD>({ci::TupleDD(1.0, 2.0)}),  // 8
        ci::DecoratedNumberConfigItem(4.0, "<", ">"),                   // 9
        ci::SingleValueConfigItem<channel_config::UserScalingMode>(
            channel_config::UserScalingMode::Linear),  // 10
        ci::SingleValueConfigItem<channel_config::DAQChannelType>(
            channel_config::DAQChannelType::Video),  // 11
        ci::SingleValueConfigItem<channel_config::SampleOccurrenceType>(
            channel_config::SampleOccurrenceType::Event),  // 12
        ci::SingleValueConfigItem<channel_config::DAQSampleResolution>(
            channel_config::DAQSampleResolution::Image),  // 13
        ci::SingleValueConfigItem<channel_config::PhysicalQuantity>(
            channel_config::PhysicalQuantity::Count),           // 14
        ci::GenericEnumConfigItem("Events", "1"),               // 15
        ci::SingleValueConfigItem<ChannelID>(ChannelID{5, 0}),  // 16
        ci::RationalScalarConfigItem(ci::RationalScalarConfigItem::Rational(30000, 1001),
                                     "fps"),                                     // 17
        ci::ValueListConfigItem<ChannelID>({ChannelID{5, 0}, ChannelID{5, 1}}),  // 18
        ci::InvalidConfigItem("bad input"),                                      // 19
    };
}

std::vector<std::string> unknown_keys() {
    return {"",
            "Unknown",
            "used",                        // keys are compared byte for byte
            "Used ",                       // trailing blank
            std::string("Used\0", 5),      // an embedded zero byte
            "Unit",                        // a key of the frame counter, not of a camera
            "FrameWidth/",                 // a prefix match is no match
            "ACTION:Camera/AutoExposure",  // a well-known key the camera does not register
            std::string(4096, 'k')};
}

std::vector<std::uint32_t> unknown_channel_ids() {
    return {2u,       3u,       0xFFFFu,     0x10002u,    0x1FFFFu,
            0x20000u, 0x20001u, 0x80000000u, 0xFFFFFFF6u, 0xFFFFFFFFu};
}

CameraDescription small_camera(const std::string& name, const std::string& path) {
    CameraDescription camera;
    camera.name = name;
    camera.path = path;
    camera.caps = std::vector<std::string>{
        "video/x-raw, format=YUY2, width=64, height=48, framerate=100/1, pixel-aspect-ratio=1/1"};
    return camera;
}

std::uint64_t sequence_of(const zelt::host::RecordedSample& sample) {
    std::uint64_t sequence = 0;
    for (std::size_t i = 0; i < 8 && i < sample.payload_head.size(); ++i)
        sequence |= static_cast<std::uint64_t>(sample.payload_head[i]) << (8 * i);
    return sequence;
}

std::string observe(zelt::IfDAQPlugin& plugin,
                    const zelt::host::RecordingExceptionManager& exceptions) {
    std::ostringstream out;
    for (const std::uint32_t id : plugin.getChannelIds()) {
        out << "channel " << id << "\n";
        const auto channel = plugin.getChannel(id);
        if (!channel) {
            out << "  (no channel)\n";
            continue;
        }
        for (const std::string& key : channel->getKeys()) {
            out << "  " << key << " = ";
            try {
                const ConfigItem item = channel->getConfigItem(key);
                out << "[" << item.which() << "] " << ci::toString(item);
            } catch (const std::exception& error) {
                out << "(throws " << error.what() << ")";
            }
            out << "\n";
        }
    }
    const auto config = plugin.getConfig();
    for (const std::string& key : config->getConfigItemKeys()) {
        const ConfigItem item = config->getConfigItem(key);
        out << "plug-in " << key << " = [" << item.which() << "] " << ci::toString(item) << "\n";
    }
    for (const auto& record : exceptions.history())
        out << (record.action == zelt::host::ExceptionRecord::Action::kPosted ? "posted "
                                                                              : "withdrawn ")
            << record.text << "\n";
    return out.str();
}

void HostInputTest::SetUp() {
    open({small_camera("Cam A", "/dev/zelt-a"), small_camera("Cam B", "/dev/zelt-b")},
         &m_exceptions);
}

void HostInputTest::TearDown() {
    close();
    zelt::vcam::clearEnvironmentCameras();
    zelt::vcam::ProviderControl().reset();
    if (!m_camera_file.empty()) std::remove(m_camera_file.c_str());
}

void HostInputTest::open(const std::vector<CameraDescription>& cameras,
                         zelt::IfExceptionManager* exceptions) {
    close();
    m_camera_file = std::string(g_get_tmp_dir()) + "/zelt-reliability-cameras-" +
                    std::to_string(::getpid()) + ".json";
    zelt::vcam::useCameras(m_camera_file, cameras);
    auto& creator = zelt_camera::CameraPluginCreator::instance();
    ASSERT_TRUE(creator.createPlugin(zelt_camera::kPluginKind,
                                     zelt_camera::parse_uuid(zelt_camera::kPluginTypeIdText),
                                     &m_plugin_object));
    m_plugin = dynamic_cast<zelt::IfDAQPlugin*>(m_plugin_object);
    ASSERT_NE(m_plugin, nullptr);
    m_plugin->setPluginId(kPluginId);
    m_plugin->setExceptionManager(exceptions);
    ASSERT_TRUE(m_plugin->init());
    m_plugin->startDeviceMonitoring();
    m_plugin->updateChannels();
}

void HostInputTest::close() {
    if (m_plugin_object == nullptr) return;
    if (m_plugin != nullptr) {
        m_plugin->finishAcquisition();
        m_plugin->stopAcquisition();
        m_plugin->deinit();
    }
    zelt_camera::CameraPluginCreator::instance().destroyPlugin(
        zelt_camera::parse_uuid(zelt_camera::kPluginTypeIdText), m_plugin_object);
    m_plugin_object = nullptr;
    m_plugin = nullptr;
}

bool HostInputTest::startAcquisition(const std::vector<std::uint32_t>& ids,
                                     std::shared_ptr<zelt::IfTimeSource> time_source) {
    m_plugin->setTimeSource(std::move(time_source));
    m_plugin->resetChannelsUsed();
    for (const std::uint32_t id : ids) m_plugin->setChannelUsed(id, true);
    const bool prepared = m_plugin->prepareAcquisition();
    const auto deadline = std::chrono::steady_clock::now() + 5s;
    while (!m_plugin->checkChannels() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(2ms);
    m_plugin->startAcquisition();
    m_plugin->canStopAcquisition();
    return prepared;
}

void HostInputTest::stopAcquisition() {
    m_plugin->finishAcquisition();
    m_plugin->stopAcquisition();
}

std::shared_ptr<zelt::host::RecordingSampleSink> HostInputTest::attachSink(std::uint32_t id) {
    zelt::host::RecordingOptions options;
    options.payload_head_bytes = 8;
    auto sink = std::make_shared<zelt::host::RecordingSampleSink>(options);
    channel(id)->setSampleSink(sink);
    return sink;
}

std::shared_ptr<channel_config::IfChannelConfig> HostInputTest::channel(std::uint32_t id) {
    auto found = m_plugin->getChannel(id);
    if (!found) throw std::runtime_error("no channel " + std::to_string(id));
    return found;
}

std::string HostInputTest::text(std::uint32_t id, const std::string& key) {
    return ci::toString(channel(id)->getConfigItem(key));
}

}  // namespace zelt_reliability
