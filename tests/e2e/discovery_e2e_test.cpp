// Discovery through the real device monitor: duplicates, paths, hot plugging, indexes.
#include "e2e_fixture.h"

namespace zelt_e2e {
namespace {

using DiscoveryTest = CameraE2eTest;

TEST_F(DiscoveryTest, MediaFoundationDuplicateOfAnotherProvidersCameraGivesOneChannelFromTheOther) {
    CameraDescription other =
        small_camera("Other provider", R"(\\?\usb#vid_1&pid_2#inst#{guid-a}\global)");
    CameraDescription mf = small_camera("MF camera", R"(\\?\usb#vid_1&pid_2#inst#{guid-b}\global)");
    mf.media_foundation = true;
    open({mf, other});
    EXPECT_EQ(m_host->channelIds(), (std::vector<std::uint32_t>{0, 0x10000}));
    EXPECT_EQ(text(0, "DefaultName"), "Other provider");
}

TEST_F(DiscoveryTest, TwoMediaFoundationDevicesOfOneKeyGiveOneChannel) {
    CameraDescription first = small_camera("MF one", R"(\\?\usb#vid_9#inst#{a})");
    CameraDescription second = small_camera("MF two", R"(\\?\usb#vid_9#inst#{b})");
    first.media_foundation = second.media_foundation = true;
    open({first, second});
    EXPECT_EQ(m_host->channelIds(), (std::vector<std::uint32_t>{0, 0x10000}));
    EXPECT_EQ(text(0, "DefaultName"), "MF one");
}

TEST_F(DiscoveryTest, MediaFoundationDeviceAloneIsTaken) {
    CameraDescription mf = small_camera("MF only", R"(\\?\usb#vid_7#inst#{a})");
    mf.media_foundation = true;
    open({mf});
    EXPECT_EQ(m_host->channelIds(), (std::vector<std::uint32_t>{0, 0x10000}));
}

TEST_F(DiscoveryTest, DevicePathIsTakenWhenThereIsNoPath) {
    CameraDescription camera = small_camera("Device path only", "");
    camera.path.reset();
    camera.device_path = "/dev/by-device-path";
    open({camera});
    EXPECT_EQ(text(0, "ID:CAMERA/ChannelIndex"), "/dev/by-device-path");
}

TEST_F(DiscoveryTest, DeviceWithoutAnyPathGetsNoPipelineAndIsNotOffered) {
    CameraDescription no_path = small_camera("No path", "");
    no_path.path.reset();
    open({no_path, small_camera("With path", "/dev/zelt-with")});
    EXPECT_EQ(m_host->channelIds(), (std::vector<std::uint32_t>{0, 0x10000}));
    EXPECT_EQ(text(0, "DefaultName"), "With path");
}

TEST_F(DiscoveryTest, CameraWithAModeWithoutWidthIsLeftOutAndTheOthersAreOffered) {
    CameraDescription broken = small_camera("No width", "/dev/zelt-nowidth");
    broken.caps = std::vector<std::string>{
        "video/x-raw, format=YUY2, height=48, framerate=30/1, pixel-aspect-ratio=1/1"};
    open({broken, small_camera("Fine", "/dev/zelt-fine")});
    EXPECT_EQ(m_host->channelIds(), (std::vector<std::uint32_t>{0, 0x10000}));
    EXPECT_EQ(text(0, "DefaultName"), "Fine");
}

TEST_F(DiscoveryTest, ShortIdAndDefaultNameAreTheDisplayName) {
    open({small_camera("Bench camera 3", "/dev/zelt-3")});
    EXPECT_EQ(text(0, "ShortId"), "Bench camera 3");
    EXPECT_EQ(text(0, "DefaultName"), "Bench camera 3");
}

TEST_F(DiscoveryTest, FrameCountersAreLeftOutWhenTheConfigurationSaysSo) {
    open({small_camera("Cam", "/dev/zelt-c")});
    ASSERT_TRUE(m_host->plugin().getConfig()->setConfigItem(
        "FrameCounterChannels", config_items::SingleValueConfigItem<bool>(false)));
    zelt::vcam::ProviderControl control;
    ASSERT_TRUE(control.addCamera(small_camera("Late", "/dev/zelt-late")));
    m_host->plugin().updateChannels();
    EXPECT_EQ(m_host->channelIds(), (std::vector<std::uint32_t>{0, 1, 0x10000}));
}

TEST_F(DiscoveryTest, RemovedCameraLosesItsChannelAndANewCameraGetsTheNextIndex) {
    open({small_camera("Cam 0", "/dev/zelt-0"), small_camera("Cam 1", "/dev/zelt-1"),
          small_camera("Cam 2", "/dev/zelt-2")});
    ASSERT_EQ(m_host->channelIds(),
              (std::vector<std::uint32_t>{0, 1, 2, 0x10000, 0x10001, 0x10002}));

    zelt::vcam::ProviderControl control;
    ASSERT_TRUE(control.removeCamera("Cam 1")) << control.lastError();
    m_host->plugin().updateChannels();
    EXPECT_EQ(m_host->channelIds(), (std::vector<std::uint32_t>{0, 2, 0x10000, 0x10002}));

    ASSERT_TRUE(control.addCamera(small_camera("Cam 3", "/dev/zelt-3"))) << control.lastError();
    m_host->plugin().updateChannels();
    EXPECT_EQ(m_host->channelIds(),
              (std::vector<std::uint32_t>{0, 2, 3, 0x10000, 0x10002, 0x10003}));
    EXPECT_EQ(text(3, "DefaultName"), "Cam 3");
}

TEST_F(DiscoveryTest, UpdatingAgainKeepsExistingChannels) {
    open({small_camera("Cam 0", "/dev/zelt-0")});
    const auto before = m_host->channel(0);
    m_host->plugin().updateChannels();
    EXPECT_EQ(m_host->channel(0), before);
}

TEST_F(DiscoveryTest, ChannelsCarryThePluginIdSetLater) {
    open({small_camera("Cam 0", "/dev/zelt-0")}, 5);
    m_host->plugin().setPluginId(9);
    EXPECT_EQ(m_host->plugin().getPluginId(), 9u);
}

}  // namespace
}  // namespace zelt_e2e
