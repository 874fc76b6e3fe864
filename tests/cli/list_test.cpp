// zelt-camera list
#include "tool_fixture.h"

namespace zelt_cli_test {
namespace {

using ListTest = ToolTest;

TEST_F(ListTest, JsonHoldsEveryCameraWithPathSettingsDefaultAndCounter) {
    const RunResult result = run({virtualCameras(twoCameras()), "list", "--json"});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    const JsonDocument json(result.out);
    ASSERT_TRUE(json.ok()) << json.error() << "\n" << result.out;
    EXPECT_TRUE(boolean(member(json.root(), "virtual")));
    EXPECT_NE(text(member(json.root(), "plugin")).find("libzelt_camera.so"), std::string::npos);
    JsonNode* cameras = member(json.root(), "cameras");
    ASSERT_EQ(lengthOf(cameras), 2u);

    JsonNode* cam_a = element(cameras, 0);
    EXPECT_EQ(integer(member(cam_a, "id")), 0);
    EXPECT_EQ(text(member(cam_a, "name")), "Cam A");
    EXPECT_EQ(text(member(cam_a, "device_path")), "/dev/zelt-a");
    EXPECT_TRUE(boolean(member(cam_a, "valid")));
    EXPECT_EQ(text(member(cam_a, "default_setting")), "64 x 48 @ 100 fps");
    JsonNode* settings = member(cam_a, "settings");
    ASSERT_EQ(lengthOf(settings), 2u);
    EXPECT_EQ(text(member(element(settings, 0), "text")), "64 x 48 @ 100 fps");
    EXPECT_TRUE(boolean(member(element(settings, 0), "default")));
    EXPECT_EQ(text(member(element(settings, 1), "text")), "32 x 24 @ 100 fps");
    EXPECT_FALSE(boolean(member(element(settings, 1), "default")));
    JsonNode* counter = member(cam_a, "counter_channel");
    EXPECT_EQ(integer(member(counter, "id")), 0x10000);
    EXPECT_EQ(text(member(counter, "name")), "Cam A RcvdCNT");

    JsonNode* cam_b = element(cameras, 1);
    EXPECT_EQ(integer(member(cam_b, "id")), 1);
    EXPECT_EQ(text(member(cam_b, "name")), "Cam B");
    EXPECT_EQ(integer(member(member(cam_b, "counter_channel"), "id")), 0x10001);
}

TEST_F(ListTest, TextShowsEachCameraWithItsSettingsAndMarksTheDefault) {
    const RunResult result = run({"list", virtualCameras(twoCameras())});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.out,
              "0  Cam A  /dev/zelt-a\n"
              "    settings: 64 x 48 @ 100 fps  (default)\n"
              "              32 x 24 @ 100 fps\n"
              "    counter:  65536  Cam A RcvdCNT\n"
              "1  Cam B  /dev/zelt-b\n"
              "    settings: 64 x 48 @ 100 fps  (default)\n"
              "    counter:  65537  Cam B RcvdCNT\n");
}

TEST_F(ListTest, BareVirtualOffersOneDefaultCamera) {
    const RunResult result = run({"--virtual", "list", "--json"});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    const JsonDocument json(result.out);
    ASSERT_TRUE(json.ok()) << json.error();
    JsonNode* cameras = member(json.root(), "cameras");
    ASSERT_EQ(lengthOf(cameras), 1u);
    EXPECT_EQ(text(member(element(cameras, 0), "name")), "Virtual Camera 0");
    EXPECT_EQ(text(member(element(cameras, 0), "default_setting")), "640 x 480 @ 30 fps");
}

TEST_F(ListTest, VirtualCountOffersThatManyCameras) {
    const RunResult result = run({"list", "--json", "--virtual=3"});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    const JsonDocument json(result.out);
    ASSERT_TRUE(json.ok()) << json.error();
    EXPECT_EQ(lengthOf(member(json.root(), "cameras")), 3u);
}

TEST_F(ListTest, NoCameraGivesAnEmptyListAndAHintOnStandardError) {
    const RunResult result = run({"--virtual=0", "list", "--json"});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    const JsonDocument json(result.out);
    ASSERT_TRUE(json.ok()) << json.error();
    EXPECT_EQ(lengthOf(member(json.root(), "cameras")), 0u);
    EXPECT_EQ(result.err, "zelt-camera: no camera found\n");
}

TEST_F(ListTest, CameraThatCannotBeSetUpIsListedInvalidWithAWarning) {
    auto broken = smallCamera("Broken cam", "/dev/zelt-broken");
    broken.fail_link = true;
    const RunResult result =
        run({"list", "--json", virtualCameras({broken})}, {{"ZELT_LOG_LEVEL", "fatal"}});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    const JsonDocument json(result.out);
    ASSERT_TRUE(json.ok()) << json.error();
    EXPECT_FALSE(boolean(member(element(member(json.root(), "cameras"), 0), "valid")));
    EXPECT_EQ(result.err,
              "zelt-camera: warning: [ZELT_CAMERA] Could not set up camera Broken cam\n");
}

}  // namespace
}  // namespace zelt_cli_test
