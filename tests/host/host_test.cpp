#include "zelt_host/host.h"

#include <gst/gst.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "config_items/config_items.h"
#include "fake_plugin_fixture.h"

namespace zelt::host::test {
namespace {

using HostTest = FakePluginTest;

TEST_F(HostTest, OpenCreatesThePluginAndBringsItUpInHostOrder) {
    Host host;
    host.open(ZELT_TEST_FAKE_PLUGIN, 7);

    EXPECT_TRUE(host.isOpen());
    EXPECT_EQ(m_hooks.livePlugins(), 1);
    // setPluginId, setExceptionManager, init, startDeviceMonitoring, updateChannels.
    EXPECT_EQ(m_hooks.slots(), (std::vector<int>{4, 15, 6, 7, 12}));
    EXPECT_EQ(host.plugin().getPluginId(), 7u);
    EXPECT_EQ(host.library().kind(), "CAMERA");
}

TEST_F(HostTest, CloseDeinitsThenDestroysThePlugin) {
    auto host = openHost();
    host->close();

    EXPECT_FALSE(host->isOpen());
    EXPECT_EQ(m_hooks.livePlugins(), 0);
    EXPECT_EQ(m_hooks.slots(), (std::vector<int>{9, 0}));
    EXPECT_THROW(host->plugin(), HostError);
    EXPECT_THROW(host->library(), HostError);
}

TEST_F(HostTest, DestructorClosesAnOpenPlugin) {
    openHost().reset();

    EXPECT_EQ(m_hooks.livePlugins(), 0);
    EXPECT_EQ(m_hooks.slots(), (std::vector<int>{9, 0}));
}

TEST_F(HostTest, CloseOfAClosedHostCallsNothing) {
    Host host;
    host.close();
    host.close();
    EXPECT_TRUE(m_hooks.slots().empty());
}

TEST_F(HostTest, OpenAgainReplacesThePlugin) {
    auto host = openHost();
    host->open(ZELT_TEST_FAKE_PLUGIN, 8);

    EXPECT_EQ(m_hooks.livePlugins(), 1);
    EXPECT_EQ(m_hooks.slots(), (std::vector<int>{9, 0, 4, 15, 6, 7, 12}));
    EXPECT_EQ(host->plugin().getPluginId(), 8u);
}

TEST_F(HostTest, CreatorThatRefusesCameraKindIsReported) {
    Host host;
    const std::string path = ZELT_TEST_FAKE_PLUGIN_OTHER_KIND;
    try {
        host.open(path);
        FAIL() << "open succeeded";
    } catch (const HostError& error) {
        EXPECT_EQ(std::string(error.what()),
                  "plug-in library '" + path + "' refused to create a CAMERA plug-in");
    }
    EXPECT_FALSE(host.isOpen());
    EXPECT_THROW(host.library(), HostError);
}

TEST_F(HostTest, WrongPathLeavesTheHostClosed) {
    Host host;
    EXPECT_THROW(host.open("/nonexistent/libzelt_nothing.so"), HostError);
    EXPECT_FALSE(host.isOpen());
}

TEST_F(HostTest, ChannelIdsListEveryChannelAscending) {
    auto host = openHost();
    EXPECT_EQ(host->channelIds(), (std::vector<std::uint32_t>{0, 1}));
    EXPECT_EQ(m_hooks.slots(), (std::vector<int>{19}));
}

TEST_F(HostTest, ItemTextIsTheItemsTextForm) {
    auto host = openHost();
    EXPECT_EQ(host->itemText(1, "Name"),
              config_items::toString(config_items::StringConfigItem("Fake camera 1")));
    EXPECT_EQ(host->item(1, "Name").which(), config_items::kStringItem);
    EXPECT_EQ(host->item(1, "NoSuchKey").which(), config_items::kInvalidItem);
}

TEST_F(HostTest, PluginItemTextReadsThePluginConfiguration) {
    auto host = openHost();
    EXPECT_EQ(host->pluginItemText("Fake/NeverReady"),
              config_items::toString(config_items::SingleValueConfigItem<bool>(false)));
}

TEST_F(HostTest, UnknownChannelIsReportedWithItsId) {
    auto host = openHost();
    EXPECT_EQ(host->channel(9), nullptr);
    try {
        host->itemText(9, "Name");
        FAIL() << "no error";
    } catch (const HostError& error) {
        EXPECT_STREQ(error.what(), "the plug-in has no channel 9");
    }
    EXPECT_THROW(host->setSampleSink(9, nullptr), HostError);
}

TEST_F(HostTest, SetItemReportsTheChannelsAnswer) {
    auto host = openHost();
    EXPECT_FALSE(host->setItem(0, "Name", config_items::StringConfigItem("other")));
}

TEST_F(HostTest, DefaultTimeSourceIsASteadyTimeSourceAtTheConfiguredFrequency) {
    {
        HostOptions options;
        options.time_frequency = 1e6;
        Host host(options);
        ASSERT_NE(host.timeSource(), nullptr);
        EXPECT_EQ(host.timeSource()->getFrequency(), 1e6);
    }
    EXPECT_EQ(Host().timeSource()->getFrequency(), SteadyTimeSource::kDefaultFrequency);
}

TEST_F(HostTest, MainContextThreadRunsForTheHostsLifetime) {
    Host host;
    EXPECT_TRUE(host.mainContext().isRunning());
}

TEST(HostGStreamerTest, EnsureGStreamerInitializedIsIdempotent) {
    ensureGStreamerInitialized();
    ensureGStreamerInitialized();
    EXPECT_TRUE(gst_is_initialized());
}

TEST(HostConstantsTest, CameraTypeIdIsTheCameraPluginTypeIdentifier) {
    const tsa::Uuid expected = {{0xD4, 0x02, 0x50, 0xC7, 0x33, 0xF6, 0x4E, 0xCE, 0x9A, 0x88, 0xBA,
                                 0xE8, 0xEE, 0x6D, 0x5F, 0xA5}};
    EXPECT_EQ(kCameraPluginTypeId, expected);
    EXPECT_STREQ(kCameraPluginKind, "CAMERA");
}

}  // namespace
}  // namespace zelt::host::test
