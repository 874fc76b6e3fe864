// Bad input from the host to the plug-in's slots: unknown channel ids and identification
// records, unknown configuration keys, items of any alternative, null pointers where a host
// may pass them, and calls out of the usual order.
#include <algorithm>
#include <boost/variant/get.hpp>
#include <cmath>
#include <exception>
#include <mutex>
#include <thread>

#include "host_input_fixture.h"
#include "plugin_api/service.h"
#include "zelt/system_topology.h"
#include "zelt_host/sample_sinks.h"

namespace zelt_reliability {
namespace {

namespace ci = config_items;

constexpr const char* kPluginConfigSource = "lib/zelt_plugin_util/src/zeltpu_simple_plugin_config";
constexpr const char* kKeyNotFound = "key not found. config item does not exist.";

const tsa::Uuid kTypeId = zelt_camera::parse_uuid(zelt_camera::kPluginTypeIdText);
const tsa::Uuid kInstanceTypeId = zelt_camera::parse_uuid(zelt_camera::kPluginInstanceTypeIdText);

using PluginInputTest = HostInputTest;

TEST_F(PluginInputTest, UnknownChannelIdsFindNothingAndChangeNothing) {
    const std::string before = observe();
    for (const std::uint32_t id : unknown_channel_ids()) {
        SCOPED_TRACE("id " + std::to_string(id));
        m_plugin->setChannelUsed(id, true);
        m_plugin->setChannelUsed(id, false);
        m_plugin->setChannelUsed(id, true);
        EXPECT_EQ(m_plugin->getChannel(id), nullptr);
        EXPECT_EQ(m_plugin->getTimeBaseProvider(id), nullptr);
    }
    EXPECT_EQ(observe(), before);
    // No channel was marked used: with nothing to start, preparing succeeds at once.
    EXPECT_TRUE(m_plugin->prepareAcquisition());
    EXPECT_TRUE(m_plugin->checkChannels());
    EXPECT_EQ(text(0, "Used"), "0");
    EXPECT_EQ(text(1, "Used"), "0");
    EXPECT_TRUE(m_assertions.reports().empty());
}

TEST_F(PluginInputTest, TimeBaseProviderIsNullForEveryId) {
    // The plug-in accepts the host's time source, so it never offers one of its own.
    for (const std::uint32_t id : {0u, 1u, 0x10000u, 0x10001u, 0x20001u})
        EXPECT_EQ(m_plugin->getTimeBaseProvider(id), nullptr) << id;
}

TEST_F(PluginInputTest, IdentificationRecordsThatNameNoChannelFindNone) {
    const std::vector<zelt::ChannelIdentification> records = {
        {},
        {{"ID:CAMERA/ChannelIndex", ""}},
        {{"ID:CAMERA/ChannelIndex", "/dev/zelt-none"}},
        {{"ID:CAMERA/ChannelIndex", "/dev/zelt-a "}},
        {{"ID:CAMERA/ChannelIndex", "/DEV/ZELT-A"}},
        {{"ID:CAMERA/SubChannelId", "CntReceived"}},
        {{"ID:CAMERA/ChannelIndex", "/dev/zelt-a"}, {"ID:CAMERA/SubChannelId", "Unknown"}},
        {{"ID:CAMERA/ChannelIndex", "/dev/zelt-a"}, {"ID:CAMERA/SubChannelId", ""}},
        {{"id:camera/channelindex", "/dev/zelt-a"}},
        {{"Unknown", "/dev/zelt-a"}},
    };
    const std::string before = observe();
    for (const auto& record : records)
        EXPECT_EQ(m_plugin->findChannelIndex(record), zelt::kNoChannel);
    // Keys the record carries besides the identification do not matter.
    EXPECT_EQ(
        m_plugin->findChannelIndex({{"ID:CAMERA/ChannelIndex", "/dev/zelt-b"}, {"Unknown", "x"}}),
        1u);
    EXPECT_EQ(observe(), before);
}

TEST_F(PluginInputTest, PluginConfigurationAnswersUnknownKeysWithInvalidItemFalseAndReports) {
    const auto config = m_plugin->getConfig();
    const std::string before = observe();
    std::size_t expected_reports = 0;
    for (const std::string& key : unknown_keys()) {
        SCOPED_TRACE("key '" + key + "'");
        EXPECT_FALSE(config->hasConfigItem(key));
        EXPECT_TRUE(config->getConstraints(key).empty());
        const ConfigItem item = config->getConfigItem(key);
        ASSERT_EQ(item.which(), ci::kInvalidItem);
        EXPECT_EQ(ci::toString(item), "Invalid ConfigItem");
        ++expected_reports;
        for (const ConfigItem& value : one_item_of_each_alternative()) {
            EXPECT_FALSE(config->setConfigItem(key, value));
            ++expected_reports;
            // The adjustment hook passes any item through unchanged, known key or not.
            EXPECT_TRUE(ci::equals(config->adjustConfigItem(key, value), value));
        }
    }
    EXPECT_EQ(config->getConfigItemKeys(),
              (std::vector<std::string>{"Plugin/GodMode", "FrameCounterChannels"}));
    EXPECT_EQ(observe(), before);
    const auto reports = m_assertions.reports();
    ASSERT_EQ(reports.size(), expected_reports);
    // One report per call: a get at line 58 first, then the twenty sets at line 43.
    for (std::size_t i = 0; i < reports.size(); ++i) {
        EXPECT_EQ(reports[i].expression, "");
        EXPECT_EQ(reports[i].message, kKeyNotFound);
        EXPECT_EQ(reports[i].source, kPluginConfigSource);
        EXPECT_EQ(reports[i].line, i % 21 == 0 ? 58 : 43) << "report " << i;
    }
}

TEST_F(PluginInputTest, GodModeTakesAnyAlternativeAndNothingElseChanges) {
    const auto config = m_plugin->getConfig();
    const auto ids = m_plugin->getChannelIds();
    for (const ConfigItem& value : one_item_of_each_alternative()) {
        EXPECT_TRUE(config->setConfigItem("Plugin/GodMode", value)) << value.which();
        EXPECT_EQ(config->getConfigItem("Plugin/GodMode").which(), value.which());
        m_plugin->updateChannels();
        EXPECT_EQ(m_plugin->getChannelIds(), ids);
    }
    EXPECT_TRUE(m_assertions.reports().empty());
}

TEST_F(PluginInputTest, FrameCounterSettingOfAnotherTypeMakesTheNextUpdateThrowBadGet) {
    const auto config = m_plugin->getConfig();
    const auto ids = m_plugin->getChannelIds();
    for (const ConfigItem& value : one_item_of_each_alternative()) {
        if (value.which() == ci::kBoolItem) continue;
        SCOPED_TRACE("alternative " + std::to_string(value.which()));
        // Stored as given: the stored type follows the value.
        ASSERT_TRUE(config->setConfigItem("FrameCounterChannels", value));
        EXPECT_EQ(config->getConfigItem("FrameCounterChannels").which(), value.which());
        // The enumeration reads the setting as a bool and ends with Boost's bad-get.
        try {
            m_plugin->updateChannels();
            ADD_FAILURE() << "updateChannels did not throw";
        } catch (const std::exception& error) {
            EXPECT_STREQ(error.what(), "boost::bad_get: failed value get using boost::get");
        }
        EXPECT_EQ(m_plugin->getChannelIds(), ids);
    }
    // The plug-in is still whole: the lock was given back, a bool setting works again.
    ASSERT_TRUE(
        config->setConfigItem("FrameCounterChannels", ci::SingleValueConfigItem<bool>(true)));
    m_plugin->updateChannels();
    EXPECT_EQ(m_plugin->getChannelIds(), ids);
    auto sink = attachSink(1);
    ASSERT_TRUE(startAcquisition({1}, m_time_source));
    EXPECT_TRUE(sink->waitForSamples(3, 5s));
    stopAcquisition();
}

TEST_F(PluginInputTest, NullExceptionManagerLosesTheMessagesOnly) {
    zelt::vcam::CameraDescription broken = small_camera("Broken cam", "/dev/zelt-broken");
    broken.fail_link = true;
    open({broken, small_camera("Good cam", "/dev/zelt-good")}, nullptr);
    EXPECT_EQ(text(0, "Valid"), "0");
    auto sink = attachSink(1);
    EXPECT_FALSE(startAcquisition({0, 1}, m_time_source));
    EXPECT_TRUE(m_plugin->checkChannels());
    EXPECT_TRUE(sink->waitForSamples(10, 5s));
    stopAcquisition();
    EXPECT_EQ(text(0, "Valid"), "0");
    EXPECT_EQ(m_exceptions.postCount(), 0u);
}

TEST_F(PluginInputTest, NullTimeSourceStampsFramesWithTheirPipelineTime) {
    auto sink = attachSink(0);
    ASSERT_TRUE(startAcquisition({0}, nullptr));
    ASSERT_TRUE(sink->waitForSamples(10, 5s));
    stopAcquisition();
    const auto samples = sink->samples();
    // Nanoseconds of running time: frames 10 ms apart, the first within seconds of the start.
    EXPECT_LT(samples.front().timestamp, 10'000'000'000u);
    for (std::size_t i = 1; i < samples.size(); ++i)
        EXPECT_EQ(samples[i].timestamp - samples[i - 1].timestamp, 10'000'000u) << "frame " << i;
}

TEST_F(PluginInputTest, NullSampleSinkDeliversNothingButTheFrameCounterStillCounts) {
    channel(0)->setSampleSink(nullptr);
    auto counts = attachSink(0x10000);
    ASSERT_TRUE(startAcquisition({0, 0x10000}, m_time_source));
    ASSERT_TRUE(counts->waitForSamples(5, 5s));
    stopAcquisition();
    EXPECT_EQ(counts->samples().front().size, 4u);
}

TEST_F(PluginInputTest, BusErrorOfAUsedCameraWithoutSinkIsPostedWithoutAStreamEvent) {
    zelt::vcam::CameraDescription failing = small_camera("Failing cam", "/dev/zelt-failing");
    failing.error_after_frames = 5;
    open({failing}, &m_exceptions);
    channel(0)->setSampleSink(nullptr);
    ASSERT_TRUE(startAcquisition({0}, m_time_source));
    const auto error = m_exceptions.waitForPost(
        [](const zelt::host::ExceptionRecord& record) {
            return record.message_template == "Camera bus received an error: %1";
        },
        5s);
    stopAcquisition();
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->argument, "Could not read from resource.");
}

TEST_F(PluginInputTest, EmptyOptionChangeListenerIsIgnored) {
    channel(0)->addOptionChangeListener({});
    // The listeners stay registered until the channel goes (teardown notifies "Valid" too),
    // and the first frame notifies them on the streaming thread.
    struct Heard {
        std::mutex mutex;
        std::vector<std::string> keys;
    };
    const auto heard = std::make_shared<Heard>();
    channel(0)->addOptionChangeListener([heard](const std::string& key, const ConfigItem&) {
        std::lock_guard<std::mutex> lock(heard->mutex);
        heard->keys.push_back(key);
    });
    auto sink = attachSink(0);
    ASSERT_TRUE(startAcquisition({0}, m_time_source));
    ASSERT_TRUE(sink->waitForSamples(3, 5s));
    stopAcquisition();
    std::lock_guard<std::mutex> lock(heard->mutex);
    EXPECT_NE(std::find(heard->keys.begin(), heard->keys.end(), "FrameWidth"), heard->keys.end());
}

TEST_F(PluginInputTest, NullChannelConstraintIsKeptAsGivenAndNeverUsed) {
    const auto camera = channel(0);
    const std::size_t before = camera->getConstraints("Used").size();
    camera->addChannelConstraint(nullptr);
    const auto constraints = camera->getConstraints("Used");
    ASSERT_EQ(constraints.size(), before + 1);
    EXPECT_EQ(constraints.back(), nullptr);
    EXPECT_TRUE(camera->setConfigItem("Used", ci::SingleValueConfigItem<bool>(true)));
    EXPECT_EQ(text(0, "Used"), "1");
}

TEST_F(PluginInputTest, CreatorRefusesNullKindAndDestroysNullPlugin) {
    auto& creator = zelt_camera::CameraPluginCreator::instance();
    zelt::IfPluginCommon* plugin = reinterpret_cast<zelt::IfPluginCommon*>(0x1);
    EXPECT_FALSE(creator.createPlugin(nullptr, kTypeId, &plugin));
    EXPECT_EQ(plugin, nullptr);
    EXPECT_TRUE(creator.destroyPlugin(kTypeId, nullptr));
    EXPECT_TRUE(creator.destroyPlugin(kInstanceTypeId, nullptr));
    EXPECT_EQ(creator.getPluginTypeName(-1), nullptr);
    EXPECT_FALSE(creator.supportsPluginType(-1, kTypeId));
}

TEST_F(PluginInputTest, ServicesAnswerUnknownIdentifiersAndNullArguments) {
    plugin_api::IfServiceFactory* factory = m_plugin->getServiceFactory();
    ASSERT_NE(factory, nullptr);
    plugin_api::IfService* service = reinterpret_cast<plugin_api::IfService*>(0x1);
    EXPECT_FALSE(factory->getService(kTypeId, &service));
    EXPECT_EQ(service, nullptr);
    EXPECT_FALSE(factory->getService(kTypeId, nullptr));
    EXPECT_TRUE(factory->getService(zelt::kSystemTopologyServiceId, nullptr));

    ASSERT_TRUE(factory->getService(zelt::kSystemTopologyServiceId, &service));
    auto* topology = dynamic_cast<zelt::IfSystemTopologyService*>(service);
    ASSERT_NE(topology, nullptr);
    std::string document;
    // The request text is not read: null is as good as any.
    EXPECT_TRUE(topology->getTopology(
        nullptr,
        [](void* context, const char* text, std::size_t length) {
            static_cast<std::string*>(context)->assign(text, length);
        },
        &document));
    EXPECT_NE(document.find("Cam A"), std::string::npos);
    EXPECT_EQ(topology->setListener(nullptr), nullptr);
    // No listener is registered, and null equals it.
    EXPECT_EQ(topology->removeListener(nullptr), 1);
    service->release();
    factory->release();
}

TEST_F(PluginInputTest, CallsOutOfOrderKeepThePluginUsable) {
    // Delivery and stop without a start, a start without a prepare.
    EXPECT_TRUE(m_plugin->canStopAcquisition());
    EXPECT_TRUE(m_plugin->finishAcquisition());
    EXPECT_TRUE(m_plugin->stopAcquisition());
    m_plugin->setChannelUsed(0, true);
    m_plugin->startAcquisition();
    const auto reports = m_assertions.reports();
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(reports[0].expression, "m_pipeline_started.load_relaxed()");
    EXPECT_TRUE(m_plugin->isAcquisitionRunning());
    EXPECT_TRUE(m_plugin->stopAcquisition());
    EXPECT_FALSE(m_plugin->isAcquisitionRunning());
    // Preparing twice, initialising and monitoring twice.
    EXPECT_TRUE(m_plugin->init());
    EXPECT_TRUE(m_plugin->startDeviceMonitoring());
    EXPECT_TRUE(m_plugin->prepareAcquisition());
    EXPECT_TRUE(m_plugin->prepareAcquisition());
    m_plugin->updateChannels();
    EXPECT_EQ(m_plugin->getChannelIds(), (std::set<std::uint32_t>{0, 1, 0x10000, 0x10001}));
    // Then the usual sequence works.
    auto sink = attachSink(0);
    ASSERT_TRUE(startAcquisition({0}, m_time_source));
    EXPECT_TRUE(sink->waitForSamples(3, 5s));
    stopAcquisition();
    // deinit twice, and the slots after it.
    m_plugin->deinit();
    m_plugin->deinit();
    EXPECT_TRUE(m_plugin->getChannelIds().empty());
    EXPECT_EQ(m_plugin->getChannel(0), nullptr);
    EXPECT_TRUE(m_plugin->prepareAcquisition());
    EXPECT_TRUE(m_plugin->checkChannels());
    m_plugin->updateChannels();
    EXPECT_TRUE(m_plugin->getChannelIds().empty());
    EXPECT_TRUE(std::isnan(m_plugin->getSampleRate()));
}

}  // namespace
}  // namespace zelt_reliability
