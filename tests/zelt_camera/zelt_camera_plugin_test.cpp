// The creator and the camera plug-in over an empty set of channels, called directly.
#include "zelt_camera_plugin.h"

#include <gst/gst.h>
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>

#include "config_items/config_items.h"
#include "gst_support/gst_ptr.h"
#include "test_assertions.h"
#include "zelt/system_topology.h"
#include "zelt_camera_device.h"
#include "zelt_camera_ids.h"
#include "zelt_camera_plugin_creator.h"

namespace zelt_camera {
namespace {

const tsa::Uuid kTypeId = parse_uuid("{D40250C7-33F6-4ECE-9A88-BAE8EE6D5FA5}");
const tsa::Uuid kInstanceTypeId = parse_uuid("{E55F6703-E783-4504-A46B-35AC2E8239EB}");

class GstEnvironment : public ::testing::Environment {
public:
    void SetUp() override { gst_init(nullptr, nullptr); }
};
const auto* const kGst = ::testing::AddGlobalTestEnvironment(new GstEnvironment);

TEST(CameraPluginCreator, OffersOneTypeNamedCamera) {
    auto& creator = CameraPluginCreator::instance();
    EXPECT_EQ(creator.getPluginTypeCount(), 1u);
    EXPECT_STREQ(creator.getPluginTypeName(0), "CAMERA");
    EXPECT_EQ(creator.getPluginTypeName(1), nullptr);
    EXPECT_EQ(creator.getPluginTypeName(-1), nullptr);
}

TEST(CameraPluginCreator, SupportsTheTypeIdentifierAtIndexZeroOnly) {
    auto& creator = CameraPluginCreator::instance();
    EXPECT_TRUE(creator.supportsPluginType(0, kTypeId));
    EXPECT_FALSE(creator.supportsPluginType(1, kTypeId));
    EXPECT_FALSE(creator.supportsPluginType(0, kInstanceTypeId));
}

TEST(CameraPluginCreator, CreatesOnlyKindCameraWithTheTypeIdentifier) {
    auto& creator = CameraPluginCreator::instance();
    for (const char* kind : {"CAMERA2", "camera", "CAM", "", "CAMERA "}) {
        zelt::IfPluginCommon* plugin = reinterpret_cast<zelt::IfPluginCommon*>(0x1);
        EXPECT_FALSE(creator.createPlugin(kind, kTypeId, &plugin)) << kind;
        EXPECT_EQ(plugin, nullptr) << kind;
    }
    zelt::IfPluginCommon* plugin = reinterpret_cast<zelt::IfPluginCommon*>(0x1);
    EXPECT_FALSE(creator.createPlugin("CAMERA", kInstanceTypeId, &plugin));
    EXPECT_EQ(plugin, nullptr);
    EXPECT_FALSE(creator.createPlugin(nullptr, kTypeId, &plugin));
    EXPECT_EQ(plugin, nullptr);

    ASSERT_TRUE(creator.createPlugin("CAMERA", kTypeId, &plugin));
    ASSERT_NE(plugin, nullptr);
    EXPECT_NE(dynamic_cast<CameraPlugin*>(plugin), nullptr);
    EXPECT_TRUE(creator.destroyPlugin(kTypeId, plugin));
}

TEST(CameraPluginCreator, DestroyOfNullIsTrueWhateverTheIdentifier) {
    auto& creator = CameraPluginCreator::instance();
    EXPECT_TRUE(creator.destroyPlugin(kInstanceTypeId, nullptr));
    EXPECT_TRUE(creator.destroyPlugin(kTypeId, nullptr));
}

TEST(CameraPluginCreator, DestroyWithAnotherIdentifierLeavesThePluginAlive) {
    auto& creator = CameraPluginCreator::instance();
    zelt::IfPluginCommon* plugin = nullptr;
    ASSERT_TRUE(creator.createPlugin("CAMERA", kTypeId, &plugin));
    EXPECT_FALSE(creator.destroyPlugin(kInstanceTypeId, plugin));
    EXPECT_EQ(plugin->getPluginName(), "Camera");  // still alive
    EXPECT_TRUE(creator.destroyPlugin(kTypeId, plugin));
}

TEST(CameraKind, ComparesByteForByteAndCaseSensitively) {
    EXPECT_TRUE(is_camera_kind("CAMERA"));
    EXPECT_FALSE(is_camera_kind("CAMERAS"));
    EXPECT_FALSE(is_camera_kind("CAMER"));
    EXPECT_FALSE(is_camera_kind("Camera"));
    EXPECT_FALSE(is_camera_kind(""));
    EXPECT_FALSE(is_camera_kind(nullptr));
}

class CameraPluginTest : public ::testing::Test {
protected:
    CameraPlugin m_plugin;
    test::RecordingAssertions m_assertions;
};

TEST_F(CameraPluginTest, AnswersNameAndIdentifiers) {
    EXPECT_EQ(m_plugin.getPluginName(), "Camera");
    EXPECT_EQ(m_plugin.getPluginTypeId(), kTypeId);
    EXPECT_EQ(m_plugin.getPluginInstanceTypeId(), kInstanceTypeId);
}

TEST_F(CameraPluginTest, PluginIdIsFFFFFFF6UntilTheHostSetsOne) {
    EXPECT_EQ(m_plugin.getPluginId(), 0xFFFFFFF6u);
    m_plugin.setPluginId(5);
    EXPECT_EQ(m_plugin.getPluginId(), 5u);
}

TEST_F(CameraPluginTest, ConfigurationHoldsGodModeOffAndFrameCountersOn) {
    const auto config = m_plugin.getConfig();
    ASSERT_NE(config, nullptr);
    EXPECT_EQ(config->getConfigItemKeys(),
              (std::vector<std::string>{"Plugin/GodMode", "FrameCounterChannels"}));
    const auto god_mode = config->getConfigItem("Plugin/GodMode");
    ASSERT_EQ(god_mode.which(), config_items::kBoolItem);
    EXPECT_FALSE(boost::get<config_items::SingleValueConfigItem<bool>>(god_mode).m_value);
    const auto counters = config->getConfigItem("FrameCounterChannels");
    ASSERT_EQ(counters.which(), config_items::kBoolItem);
    EXPECT_TRUE(boost::get<config_items::SingleValueConfigItem<bool>>(counters).m_value);
}

TEST_F(CameraPluginTest, WithNoChannelsEveryAcquisitionStepSucceeds) {
    EXPECT_TRUE(m_plugin.init());
    m_plugin.updateChannels();
    EXPECT_TRUE(m_plugin.prepareAcquisition());
    EXPECT_TRUE(m_plugin.checkChannels());
    m_plugin.startAcquisition();
    EXPECT_TRUE(m_plugin.isAcquisitionRunning());
    EXPECT_TRUE(m_plugin.canStopAcquisition());
    EXPECT_TRUE(m_plugin.finishAcquisition());
    EXPECT_TRUE(m_plugin.stopAcquisition());
    EXPECT_FALSE(m_plugin.isAcquisitionRunning());
    m_plugin.deinit();
    EXPECT_TRUE(m_assertions.reports().empty());
}

TEST_F(CameraPluginTest, WithNoChannelsLookupsFindNothing) {
    EXPECT_TRUE(m_plugin.getChannelIds().empty());
    EXPECT_EQ(m_plugin.findChannelIndex({{"ID:CAMERA/ChannelIndex", "/dev/video0"}}), 0xFFFFFFFFu);
    EXPECT_EQ(m_plugin.findChannelIndex({}), 0xFFFFFFFFu);
    EXPECT_EQ(m_plugin.getChannel(5), nullptr);
    EXPECT_EQ(m_plugin.getChannel(0), nullptr);
}

TEST_F(CameraPluginTest, TimeBaseProviderIsNullForNoChannelAndWhileTimeSourcesAreAccepted) {
    EXPECT_EQ(m_plugin.getTimeBaseProvider(0xFFFFFFFF), nullptr);
    EXPECT_EQ(m_plugin.getTimeBaseProvider(0), nullptr);
}

TEST_F(CameraPluginTest, TrivialSlotsAnswerTheirFixedValues) {
    EXPECT_TRUE(m_plugin.stopDeviceMonitoring());
    m_plugin.configChanged();
    EXPECT_FALSE(m_plugin.hasChannelsChanged());
    EXPECT_TRUE(m_plugin.isLicensed());
    EXPECT_FALSE(m_plugin.isClockMaster());
    EXPECT_TRUE(m_plugin.cleanupAcquisition());
    EXPECT_TRUE(m_plugin.synchronizeTimeSource());
    EXPECT_TRUE(std::isnan(m_plugin.getSampleRate()));
}

TEST_F(CameraPluginTest, ServiceFactoryIsNullBeforeInit) {
    EXPECT_EQ(m_plugin.getServiceFactory(), nullptr);
}

TEST_F(CameraPluginTest, SecondInitKeepsTheOneServiceFactory) {
    ASSERT_TRUE(m_plugin.init());
    plugin_api::IfServiceFactory* first = m_plugin.getServiceFactory();
    ASSERT_TRUE(m_plugin.init());
    plugin_api::IfServiceFactory* second = m_plugin.getServiceFactory();
    EXPECT_EQ(first, second);
    // The host releases what it was handed: two hand-outs, two releases; the plug-in's own
    // reference remains (the count before each decrement is above 1).
    EXPECT_EQ(second->release(), 3u);
    EXPECT_EQ(first->release(), 2u);
}

TEST_F(CameraPluginTest, ServiceFactoryHoldsTheTopologyService) {
    ASSERT_TRUE(m_plugin.init());
    plugin_api::IfServiceFactory* factory = m_plugin.getServiceFactory();
    ASSERT_NE(factory, nullptr);
    EXPECT_TRUE(factory->getService(zelt::kSystemTopologyServiceId, nullptr));
    plugin_api::IfService* service = nullptr;
    ASSERT_TRUE(factory->getService(zelt::kSystemTopologyServiceId, &service));
    EXPECT_NE(dynamic_cast<zelt::IfSystemTopologyService*>(service), nullptr);
    service->release();
    factory->release();
}

// The device monitors alive in the process, as GStreamer's leaks tracer sees them: the test's
// environment sets GST_TRACERS=leaks(filters=GstDeviceMonitor). -1 without the tracer. The
// tracer's list holds the objects without a reference of its own (it is meant for the end of
// a process): each is given one before the list is freed.
int liveDeviceMonitors() {
    GList* tracers = gst_tracing_get_active_tracers();
    GstTracer* leaks = nullptr;
    for (GList* item = tracers; item != nullptr; item = item->next) {
        if (std::string(G_OBJECT_TYPE_NAME(item->data)) == "GstLeaksTracer")
            leaks = GST_TRACER(gst_object_ref(item->data));
    }
    g_list_free_full(tracers, gst_object_unref);
    if (leaks == nullptr) return -1;
    GstStructure* live = nullptr;
    g_signal_emit_by_name(leaks, "get-live-objects", &live);
    gst_object_unref(leaks);
    int count = 0;
    const GValue* objects = gst_structure_get_value(live, "live-objects-list");
    for (guint i = 0; objects != nullptr && i < gst_value_list_get_size(objects); ++i) {
        const GstStructure* entry = gst_value_get_structure(gst_value_list_get_value(objects, i));
        const GValue* object = gst_structure_get_value(entry, "object");
        if (object == nullptr || !G_VALUE_HOLDS_OBJECT(object)) continue;
        // The list took over a reference it never added; give it one to drop.
        gst_object_ref(g_value_get_object(object));
        if (G_VALUE_HOLDS(object, GST_TYPE_DEVICE_MONITOR)) ++count;
    }
    gst_structure_free(live);
    return count;
}

TEST_F(CameraPluginTest, StartingDeviceMonitoringTwiceCreatesOneMonitor) {
    const int before = liveDeviceMonitors();
    ASSERT_GE(before, 0) << "GStreamer's leaks tracer is not active (GST_TRACERS)";
    EXPECT_TRUE(m_plugin.startDeviceMonitoring());
    EXPECT_EQ(liveDeviceMonitors(), before + 1);
    EXPECT_TRUE(m_plugin.startDeviceMonitoring());
    EXPECT_EQ(liveDeviceMonitors(), before + 1);
    EXPECT_TRUE(m_assertions.reports().empty());
    m_plugin.deinit();
    EXPECT_EQ(liveDeviceMonitors(), before);
}

TEST(DevicePath, KeyIsTheTextBeforeTheLastHash) {
    const auto [key, suffix] = make_device_key(R"(\\?\usb#vid_1&pid_2#inst#{guid}\global)");
    EXPECT_EQ(key, R"(\\?\usb#vid_1&pid_2#inst)");
    EXPECT_EQ(suffix, R"({guid}\global)");
}

TEST(DevicePath, PathWithoutHashIsItsOwnKey) {
    EXPECT_EQ(make_device_key("/dev/video0"),
              std::make_pair(std::string("/dev/video0"), std::string()));
    EXPECT_EQ(make_device_key(""), std::make_pair(std::string(), std::string()));
}

}  // namespace
}  // namespace zelt_camera
