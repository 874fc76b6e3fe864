// zelt-camera record: the files of a recording.
#include "record_checks.h"
#include "tool_fixture.h"

namespace zelt_cli_test {
namespace {

using RecordTest = RecordingToolTest;

TEST_F(RecordTest, NinetyFramesGiveVideoTablePictureAndManifest) {
    const RunResult result = run({virtualCameras({smallCamera("Cam A", "/dev/zelt-a")}), "record",
                                  "--out", out(), "--frames", "90"});
    ASSERT_EQ(result.exit_code, 0) << result.err;

    const JsonDocument manifest(readFile(file("recording.json")));
    ASSERT_TRUE(manifest.ok()) << manifest.error();
    JsonNode* root = manifest.root();

    const auto rows = readCsv(file("camera0.csv"));
    ASSERT_EQ(rows.size(), 90u);
    expectUnbrokenTable(rows, 64 * 48 * 2 + 12, droppedFrames(root, 0));
    expectVideoMatchesTable(file("camera0.mkv"), rows);
    if (droppedFrames(root, 0) == 0) {
        // 100 fps: 10 ms between frames.
        EXPECT_NEAR((rows.back().seconds - rows.front().seconds) / 89, 0.010, 0.001);
    }
    expectPng(file("camera0.png"), 64, 48);

    EXPECT_EQ(text(member(member(root, "tool"), "version")), ZELT_CLI_VERSION);
    EXPECT_EQ(text(member(member(root, "plugin"), "kind")), "CAMERA");
    EXPECT_TRUE(boolean(member(root, "complete")));
    EXPECT_FALSE(boolean(member(root, "interrupted")));
    EXPECT_EQ(text(member(root, "stop_reason")), "frames");
    EXPECT_EQ(integer(member(root, "exit_code")), 0);
    EXPECT_EQ(integer(member(root, "frames_written")), 90);
    EXPECT_EQ(integer(member(root, "frames_delivered")),
              90 + integer(member(root, "frames_dropped")));
    EXPECT_EQ(integer(member(member(root, "request"), "frames")), 90);
    EXPECT_EQ(integer(member(member(root, "time_base"), "frequency")), 10000000);
    EXPECT_FALSE(text(member(root, "started_at")).empty());
    EXPECT_FALSE(text(member(root, "ended_at")).empty());
    EXPECT_EQ(lengthOf(member(root, "errors")), 0u);
    JsonNode* camera = element(member(root, "cameras"), 0);
    EXPECT_EQ(integer(member(camera, "id")), 0);
    EXPECT_EQ(text(member(camera, "name")), "Cam A");
    EXPECT_EQ(text(member(camera, "device_path")), "/dev/zelt-a");
    EXPECT_EQ(integer(member(camera, "counter_channel")), 0x10000);
    EXPECT_EQ(text(member(camera, "frame_setting")), "64 x 48 @ 100 fps");
    EXPECT_EQ(text(member(member(camera, "format"), "fourcc")), "YUY2");
    EXPECT_EQ(integer(member(member(camera, "format"), "width")), 64);
    EXPECT_EQ(integer(member(camera, "frames_written")), 90);
    EXPECT_EQ(integer(member(camera, "first_host_ticks")),
              static_cast<gint64>(rows.front().host_ticks));
    EXPECT_EQ(text(member(member(camera, "files"), "video")), "camera0.mkv");
    EXPECT_EQ(text(member(member(camera, "files"), "csv")), "camera0.csv");
    EXPECT_EQ(text(member(member(camera, "files"), "png")), "camera0.png");
}

TEST_F(RecordTest, StandardErrorOffATerminalHoldsOnlyTheSummary) {
    const RunResult result = run({virtualCameras({smallCamera("Cam A", "/dev/zelt-a")}), "record",
                                  "--out", out(), "--frames", "20"});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    const auto lines = splitLines(result.err);
    ASSERT_EQ(lines.size(), 1u) << result.err;
    EXPECT_EQ(lines[0].rfind("zelt-camera: recorded 20 frames in total from 1 camera in ", 0), 0u)
        << lines[0];
    EXPECT_NE(lines[0].find(" s, 0 dropped: " + out()), std::string::npos) << lines[0];
    EXPECT_EQ(result.out, "");
}

TEST_F(RecordTest, VideoFileIsReadByFfmpegAndGstDiscoverer) {
    const RunResult result = run({virtualCameras({smallCamera("Cam A", "/dev/zelt-a", "I420")}),
                                  "record", "--out", out(), "--frames", "30"});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    expectDecodable(file("camera0.mkv"));
    const std::string codec =
        probeVideoStream(file("camera0.mkv"), "codec_name,pix_fmt,width,height");
    EXPECT_EQ(codec, "rawvideo,64,48,yuv420p\n");
    const auto [discovered, report] =
        runCommand("gst-discoverer-1.0 " + shellQuote(file("camera0.mkv")) + " 2>&1");
    EXPECT_EQ(discovered, 0) << report;
    EXPECT_NE(report.find("Matroska"), std::string::npos) << report;
    EXPECT_NE(report.find("Width: 64"), std::string::npos) << report;
}

TEST_F(RecordTest, ChosenCamerasSettingAndSubsamplingAreRecorded) {
    auto cam_b = smallCamera("Cam B", "/dev/zelt-b");
    cam_b.caps->push_back(
        "video/x-raw, format=I420, width=32, height=24, framerate=100/1, pixel-aspect-ratio=1/1");
    const RunResult result =
        run({virtualCameras({twoCameras()[0], cam_b, smallCamera("Cam C", "/dev/zelt-c")}),
             "record", "--out", out(), "--camera", "Cam A", "--camera", "/dev/zelt-b", "--setting",
             "32x24@100fps", "--subsampling", "2", "--frames", "20"});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    EXPECT_FALSE(fileExists(file("camera2.csv")));
    const JsonDocument manifest(readFile(file("recording.json")));
    ASSERT_TRUE(manifest.ok()) << manifest.error();
    for (guint index = 0; index < 2; ++index) {
        const std::string name = "camera" + std::to_string(index);
        const auto rows = readCsv(file(name + ".csv"));
        ASSERT_EQ(rows.size(), 20u) << name;
        expectUnbrokenTable(rows, 32 * 24 * 3 / 2 + 12, droppedFrames(manifest.root(), index));
        expectVideoMatchesTable(file(name + ".mkv"), rows);
        // Every second frame of 100 fps: 20 ms apart (the camera's own rate, whatever the
        // writer kept up with: each frame's time is its own stamp).
        if (droppedFrames(manifest.root(), index) == 0) {
            EXPECT_NEAR((rows.back().seconds - rows.front().seconds) / 19, 0.020, 0.002) << name;
        }
        expectPng(file(name + ".png"), 32, 24);
    }
    JsonNode* cameras = member(manifest.root(), "cameras");
    ASSERT_EQ(lengthOf(cameras), 2u);
    EXPECT_EQ(text(member(element(cameras, 1), "name")), "Cam B");
    EXPECT_EQ(text(member(element(cameras, 1), "frame_setting")), "32 x 24 @ 100 fps");
    EXPECT_EQ(integer(member(element(cameras, 1), "subsampling")), 2);
    EXPECT_EQ(text(member(member(element(cameras, 1), "format"), "fourcc")), "I420");
    JsonNode* settings = member(member(manifest.root(), "request"), "settings");
    ASSERT_EQ(lengthOf(settings), 1u);
    EXPECT_EQ(json_node_get_string(element(settings, 0)), std::string("32x24@100fps"));
    EXPECT_EQ(integer(member(manifest.root(), "frames_written")), 40);
}

TEST_F(RecordTest, DurationStopsTheRecordingAfterThatTime) {
    const RunResult result = run({virtualCameras({smallCamera("Cam A", "/dev/zelt-a")}), "record",
                                  "--out", out(), "--duration", "0.5"});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    const JsonDocument manifest(readFile(file("recording.json")));
    ASSERT_TRUE(manifest.ok()) << manifest.error();
    EXPECT_EQ(text(member(manifest.root(), "stop_reason")), "duration");
    const gint64 frames = integer(member(manifest.root(), "frames_written"));
    // 100 fps for half a second, give or take a poll interval.
    EXPECT_GE(frames, 40);
    EXPECT_LE(frames, 70);
    const auto rows = readCsv(file("camera0.csv"));
    EXPECT_EQ(static_cast<gint64>(rows.size()), frames);
    expectVideoMatchesTable(file("camera0.mkv"), rows);
}

TEST_F(RecordTest, PixelFormatsAreStoredLosslessly) {
    // NV12 is rearranged into I420's planes; RGB with a padded row goes in as it is.
    auto nv12 = smallCamera("Cam N", "/dev/zelt-n", "NV12");
    auto rgb = smallCamera("Cam R", "/dev/zelt-r", "RGB", 62, 46);
    const RunResult result =
        run({virtualCameras({nv12, rgb}), "record", "--out", out(), "--frames", "10"});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    const auto [status0, nv12_info] = runCommand(
        "ffprobe -v error -count_frames -select_streams v:0 -show_entries "
        "stream=pix_fmt,nb_read_frames -of csv=p=0 " +
        shellQuote(file("camera0.mkv")));
    EXPECT_EQ(nv12_info, "yuv420p,10\n");
    const auto [status1, rgb_info] = runCommand(
        "ffprobe -v error -count_frames -select_streams v:0 -show_entries "
        "stream=pix_fmt,width,height,nb_read_frames -of csv=p=0 " +
        shellQuote(file("camera1.mkv")));
    EXPECT_EQ(rgb_info, "62,46,rgb24,10\n");
    expectPng(file("camera1.png"), 62, 46);
    const JsonDocument manifest(readFile(file("recording.json")));
    ASSERT_TRUE(manifest.ok()) << manifest.error();
    JsonNode* cameras = member(manifest.root(), "cameras");
    EXPECT_EQ(text(member(member(element(cameras, 0), "format"), "stored_as")), "I420");
    EXPECT_EQ(text(member(member(element(cameras, 1), "format"), "stored_as")), "RGB");
}

}  // namespace
}  // namespace zelt_cli_test
