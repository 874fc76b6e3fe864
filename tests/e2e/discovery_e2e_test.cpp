// Discovery through the real device monitor: duplicates, paths, hot plugging, indexes.
#include <algorithm>

#include "e2e_fixture.h"
#include "log_capture.h"

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

// A desktop's camera stack: the v4l2-like provider reports the cameras with a device path; a
// PipeWire-like provider hides it and reports the same cameras again without any path.
CameraDescription desktop_camera(const std::string& name, const std::string& device_path) {
    CameraDescription camera = small_camera(name, "");
    camera.path.reset();
    camera.device_path = device_path;
    camera.device_type = "GstV4l2Device";
    return camera;
}

CameraDescription hiding_duplicate(const std::string& name, const std::string& id) {
    CameraDescription camera = small_camera(name, "");
    camera.id = id;
    camera.path.reset();
    camera.device_type = "GstPipeWireDevice";
    camera.properties_json = R"({"device.api": "v4l2", "object.path": "v4l2:/dev/video0"})";
    camera.hiding_provider = true;
    return camera;
}

TEST_F(DiscoveryTest, CamerasOfAHiddenProviderAreOfferedAndThePathlessDuplicatesAreNot) {
    open({hiding_duplicate("Desk camera", "dup desk"), desktop_camera("Desk camera", "/dev/video0"),
          hiding_duplicate("Side camera", "dup side"),
          desktop_camera("Side camera", "/dev/video2")});
    ASSERT_EQ(m_host->channelIds(), (std::vector<std::uint32_t>{0, 1, 0x10000, 0x10001}));
    EXPECT_EQ(text(0, "ID:CAMERA/ChannelIndex"), "/dev/video0");
    EXPECT_EQ(text(1, "ID:CAMERA/ChannelIndex"), "/dev/video2");
    const auto desk = m_host->channel(0);
    const auto side = m_host->channel(1);

    // Enumerating again, and losing a duplicate, changes nothing.
    m_host->plugin().updateChannels();
    zelt::vcam::ProviderControl hiding(ZELT_VCAM_HIDING_PROVIDER_NAME);
    ASSERT_TRUE(hiding.removeCamera("dup side")) << hiding.lastError();
    m_host->plugin().updateChannels();
    ASSERT_EQ(m_host->channelIds(), (std::vector<std::uint32_t>{0, 1, 0x10000, 0x10001}));
    EXPECT_EQ(m_host->channel(0), desk);
    EXPECT_EQ(m_host->channel(1), side);

    // The desk camera goes; a new one behind the hidden provider gets the next index.
    zelt::vcam::ProviderControl main;
    ASSERT_TRUE(main.removeCamera("Desk camera")) << main.lastError();
    ASSERT_TRUE(hiding.addCamera(hiding_duplicate("Door camera", "dup door")));
    ASSERT_TRUE(main.addCamera(desktop_camera("Door camera", "/dev/video4")));
    m_host->plugin().updateChannels();
    ASSERT_EQ(m_host->channelIds(), (std::vector<std::uint32_t>{1, 2, 0x10001, 0x10002}));
    EXPECT_EQ(m_host->channel(1), side);
    EXPECT_EQ(text(2, "ID:CAMERA/ChannelIndex"), "/dev/video4");
}

std::size_t count_of(const std::vector<std::string>& lines, const std::string& line) {
    return static_cast<std::size_t>(std::count(lines.begin(), lines.end(), line));
}

TEST_F(DiscoveryTest, EachLeftOutDeviceIsLoggedOnceWithItsProviderAndTheReason) {
    const zelt_test::LogCapture log(ULS_DETAIL);
    CameraDescription no_path = small_camera("No path", "");
    no_path.path.reset();
    CameraDescription other = small_camera("Other", R"(\\?\usb#vid_1#inst#{a})");
    CameraDescription duplicate = small_camera("MF twin", R"(\\?\usb#vid_1#inst#{b})");
    duplicate.media_foundation = true;
    open({no_path, other, duplicate});
    ASSERT_EQ(m_host->channelIds(), (std::vector<std::uint32_t>{0, 0x10000}));
    m_host->plugin().updateChannels();

    const auto messages = log.messages();
    EXPECT_EQ(count_of(messages,
                       "Left out device 'No path' of provider 'zeltvcamdeviceprovider' "
                       "('ZeltVcamDevice'): it has neither \"path\" nor \"device-path\""),
              1u);
    EXPECT_EQ(count_of(messages,
                       "Left out device 'MF twin' of provider 'zeltvcamdeviceprovider' "
                       "('GstMFDevice'): another provider reports the same camera"),
              1u);
    EXPECT_EQ(std::count_if(
                  messages.begin(), messages.end(),
                  [](const std::string& line) { return line.rfind("Left out device ", 0) == 0; }),
              2);
}

TEST_F(DiscoveryTest, RecordsAboutOneCameraNameItAndKeepTheirText) {
    const zelt_test::LogCapture log;
    CameraDescription camera = small_camera("Desk camera", "/dev/zelt-desk");
    camera.caps->push_back("video/x-raw, format=YUY2, width=32, height=24, framerate=30/1");
    open({camera});
    ASSERT_EQ(m_host->channelIds(), (std::vector<std::uint32_t>{0, 0x10000}));
    EXPECT_EQ(count_of(log.cameraMessages(),
                       "'Desk camera' at /dev/zelt-desk|Cannot retrieve pixel aspect ratio"),
              1u);
    EXPECT_EQ(count_of(log.messages(), "Cannot retrieve pixel aspect ratio"), 1u);
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
