#include "manifest.h"

#include <gtest/gtest.h>

#include "cli_test_support.h"

namespace zelt::cli {
namespace {

using namespace zelt_cli_test;

RecordingManifest sampleManifest(const std::string& folder) {
    RecordingManifest manifest;
    manifest.tool_version = "1.2.3";
    manifest.plugin_path = "/lib/zelt-camera/libzelt_camera.so";
    manifest.plugin_kind = "CAMERA";
    manifest.plugin_name = "Camera";
    manifest.folder = folder;
    manifest.started_at =
        std::chrono::system_clock::time_point(std::chrono::milliseconds(1700000000123LL));
    manifest.stop_reason = StopReason::kInterrupted;
    manifest.interrupted = true;
    manifest.signal = "SIGINT";
    manifest.complete = true;
    manifest.exit_code = 130;
    manifest.requested_duration_seconds = 30;
    manifest.time_frequency = 1e7;
    manifest.time_absolute_start = zelt::DateTime{2023, 11, 14, 22, 13, 20, 5};
    CameraReport camera;
    camera.plan.id = 1;
    camera.plan.counter_id = 0x10001;
    camera.plan.name = "Cam \"B\"";
    camera.plan.setting = "64 x 48 @ 100 fps";
    camera.header = zelt::host::ImageDataHeader{0x32595559, 64, 48};
    camera.stored_format = "YUY2";
    camera.delivered = 12;
    camera.dropped = 2;
    camera.written = 10;
    camera.first_ticks = 100;
    camera.last_ticks = 900100;
    camera.video_file = "camera1.mkv";
    camera.csv_file = "camera1.csv";
    manifest.cameras.push_back(camera);
    zelt::host::ExceptionRecord error;
    error.source_tag = "ZELT_CAMERA";
    error.message_template = "Could not start camera %1";
    error.argument = "Cam B";
    error.text = "Could not start camera Cam B";
    error.still_posted = false;
    manifest.errors.push_back(error);
    return manifest;
}

TEST(ManifestTest, HoldsTheRecordingsFactsAsJson) {
    const JsonDocument json(manifestJson(sampleManifest("/rec")));
    ASSERT_TRUE(json.ok()) << json.error();
    JsonNode* root = json.root();
    EXPECT_EQ(text(member(member(root, "tool"), "version")), "1.2.3");
    EXPECT_EQ(text(member(member(root, "plugin"), "path")), "/lib/zelt-camera/libzelt_camera.so");
    EXPECT_EQ(text(member(member(root, "plugin"), "kind")), "CAMERA");
    EXPECT_TRUE(isNull(member(root, "virtual_cameras")));
    EXPECT_EQ(text(member(root, "started_at")), "2023-11-14T22:13:20.123Z");
    EXPECT_TRUE(isNull(member(root, "ended_at")));
    EXPECT_EQ(text(member(root, "stop_reason")), "interrupted");
    EXPECT_TRUE(boolean(member(root, "interrupted")));
    EXPECT_EQ(text(member(root, "signal")), "SIGINT");
    EXPECT_EQ(integer(member(root, "exit_code")), 130);
    EXPECT_EQ(integer(member(member(root, "request"), "duration_seconds")), 30);
    EXPECT_TRUE(isNull(member(member(root, "request"), "frames")));
    EXPECT_EQ(text(member(member(root, "time_base"), "absolute_start")),
              "2023-11-14T22:13:20.000000005Z");
    EXPECT_EQ(integer(member(root, "frames_delivered")), 12);
    EXPECT_EQ(integer(member(root, "frames_dropped")), 2);
    EXPECT_EQ(integer(member(root, "frames_written")), 10);
    JsonNode* camera = element(member(root, "cameras"), 0);
    EXPECT_EQ(text(member(camera, "name")), "Cam \"B\"");
    EXPECT_EQ(integer(member(camera, "counter_channel")), 0x10001);
    EXPECT_EQ(text(member(member(camera, "format"), "fourcc")), "YUY2");
    EXPECT_DOUBLE_EQ(json_node_get_double(member(camera, "measured_fps")), 100.0);
    EXPECT_TRUE(isNull(member(member(camera, "files"), "png")));
    JsonNode* error = element(member(root, "errors"), 0);
    EXPECT_EQ(text(member(error, "template")), "Could not start camera %1");
    EXPECT_EQ(text(member(error, "argument")), "Cam B");
    EXPECT_TRUE(boolean(member(error, "withdrawn")));
}

TEST(ManifestTest, IsWrittenWholeIntoTheFolder) {
    TempDir folder;
    writeManifest(sampleManifest(folder.path()));
    EXPECT_FALSE(fileExists(folder / "recording.json.part"));
    const JsonDocument json(readFile(folder / "recording.json"));
    ASSERT_TRUE(json.ok()) << json.error();
    EXPECT_EQ(text(member(json.root(), "folder")), folder.path());
}

}  // namespace
}  // namespace zelt::cli
