// What record does with its options: the output folder, cameras that fail beside good ones,
// per-camera settings, open-ended recording, the watchdog, the time axis, the codecs, the
// memory budget and the rate the camera really negotiated.
#include "record_checks.h"
#include "tool_fixture.h"

namespace zelt_cli_test {
namespace {

using RecordOptionsTest = RecordingToolTest;

TEST_F(RecordOptionsTest, FolderThatHoldsFilesIsRefusedAndLeftAlone) {
    mkdir(out().c_str(), 0755);
    writeFile(file("camera0.csv"), "an earlier take\n");
    const RunResult result = run({virtualCameras({smallCamera("Cam A", "/dev/zelt-a")}), "record",
                                  "--out", out(), "--frames", "5"});
    EXPECT_EQ(result.exit_code, 6);
    EXPECT_NE(result.err.find("zelt-camera: error: the output folder '" + out() +
                              "' is not empty; name a new folder, or add --overwrite to replace "
                              "the recording in it"),
              std::string::npos)
        << result.err;
    EXPECT_EQ(readFile(file("camera0.csv")), "an earlier take\n");
    EXPECT_FALSE(fileExists(file("recording.json")));

    // --overwrite replaces the earlier take as a whole.
    writeFile(file("camera7.mkv"), "old");
    const RunResult again = run({virtualCameras({smallCamera("Cam A", "/dev/zelt-a")}), "record",
                                 "--out", out(), "--frames", "5", "--overwrite"});
    EXPECT_EQ(again.exit_code, 0) << again.err;
    EXPECT_FALSE(fileExists(file("camera7.mkv")));
    EXPECT_EQ(readCsv(file("camera0.csv")).size(), 5u);
}

TEST_F(RecordOptionsTest, FailingCommandLeavesNoFolderBehind) {
    const RunResult result = run({virtualCameras({smallCamera("Cam A", "/dev/zelt-a")}), "record",
                                  "--out", out(), "--camera", "Nobody", "--frames", "5"});
    EXPECT_EQ(result.exit_code, 4) << result.err;
    EXPECT_FALSE(fileExists(out()));
}

TEST_F(RecordOptionsTest, WithoutOutANewTimeStampedFolderIsUsed) {
    const RunResult result =
        run({virtualCameras({smallCamera("Cam A", "/dev/zelt-a")}), "record", "--frames", "3"});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    const auto start = result.err.find(m_scratch / "zelt-recording-");
    ASSERT_NE(start, std::string::npos) << result.err;
    const std::string folder = result.err.substr(start, result.err.find('\n', start) - start);
    EXPECT_EQ(readCsv(folder + "/camera0.csv").size(), 3u);
}

TEST_F(RecordOptionsTest, CameraThatCannotStartCostsOnlyItself) {
    auto broken = smallCamera("Broken cam", "/dev/zelt-broken");
    broken.fail_link = true;
    const RunResult result = run({virtualCameras({smallCamera("Cam A", "/dev/zelt-a"), broken}),
                                  "record", "--out", out(), "--frames", "30"},
                                 {{"ZELT_LOG_LEVEL", "fatal"}});
    EXPECT_EQ(result.exit_code, 8) << result.err;
    EXPECT_NE(result.err.find("zelt-camera: error: camera 1 ('Broken cam') failed: Could not "
                              "start camera Broken cam\n"),
              std::string::npos)
        << result.err;
    const auto rows = readCsv(file("camera0.csv"));
    EXPECT_EQ(rows.size(), 30u);
    expectVideoMatchesTable(file("camera0.mkv"), rows);
    const JsonDocument document = manifest();
    ASSERT_TRUE(document.ok()) << document.error();
    EXPECT_EQ(text(member(document.root(), "stop_reason")), "frames");
    EXPECT_EQ(integer(member(document.root(), "exit_code")), 8);
    JsonNode* cameras = member(document.root(), "cameras");
    EXPECT_TRUE(isNull(member(element(cameras, 0), "failure")));
    EXPECT_EQ(text(member(element(cameras, 1), "failure")), "Could not start camera Broken cam");
    EXPECT_EQ(integer(member(element(cameras, 1), "frames_written")), 0);
}

TEST_F(RecordOptionsTest, FailFastMakesOneCamerasFailureEndEverything) {
    auto broken = smallCamera("Broken cam", "/dev/zelt-broken");
    broken.fail_link = true;
    const RunResult result = run({virtualCameras({smallCamera("Cam A", "/dev/zelt-a"), broken}),
                                  "record", "--out", out(), "--frames", "30", "--fail-fast"},
                                 {{"ZELT_LOG_LEVEL", "fatal"}});
    EXPECT_EQ(result.exit_code, 8) << result.err;
    const JsonDocument document = manifest();
    ASSERT_TRUE(document.ok()) << document.error();
    EXPECT_EQ(text(member(document.root(), "stop_reason")), "error");
    EXPECT_EQ(integer(member(document.root(), "frames_written")), 0);
}

TEST_F(RecordOptionsTest, SettingsPerCameraAndTheMemoryBudgetAreApplied) {
    const RunResult result =
        run({virtualCameras(twoCameras()), "record", "--out", out(), "--setting", "Cam A=32x24@100",
             "--frames", "10", "--memory", "1"});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    const JsonDocument document = manifest();
    ASSERT_TRUE(document.ok()) << document.error();
    JsonNode* cameras = member(document.root(), "cameras");
    EXPECT_EQ(text(member(element(cameras, 0), "frame_setting")), "32 x 24 @ 100 fps");
    EXPECT_EQ(text(member(element(cameras, 1), "frame_setting")), "64 x 48 @ 100 fps");
    EXPECT_EQ(integer(member(member(element(cameras, 0), "format"), "width")), 32);
    EXPECT_EQ(integer(member(member(element(cameras, 1), "format"), "width")), 64);
    // 1 MiB shared by two cameras: 512 KiB of 64x48 I420 samples (4620 bytes) are 113 slots.
    EXPECT_EQ(integer(member(element(cameras, 1), "queue_slots")), 512 * 1024 / 4620);

    const RunResult wrong =
        run({virtualCameras(twoCameras()), "record", "--out", m_scratch / "other", "--camera",
             "Cam B", "--setting", "Cam A=32x24@100", "--frames", "10"});
    EXPECT_EQ(wrong.exit_code, 2);
    EXPECT_NE(wrong.err.find("--setting Cam A=32x24@100 names a camera that is not recorded"),
              std::string::npos)
        << wrong.err;
}

TEST_F(RecordOptionsTest, OpenEndedRecordingStoppedBySigtermExitsZero) {
    ToolProcess tool(
        {virtualCameras({smallCamera("Cam A", "/dev/zelt-a")}), "record", "--out", out()},
        m_scratch.path());
    ASSERT_NO_FATAL_FAILURE(waitForRows(20));
    tool.signal(SIGTERM);
    const RunResult result = tool.wait(20s);
    EXPECT_EQ(result.exit_code, 0) << result.err;
    const JsonDocument document = manifest();
    ASSERT_TRUE(document.ok()) << document.error();
    EXPECT_EQ(text(member(document.root(), "stop_reason")), "terminated");
    EXPECT_TRUE(boolean(member(document.root(), "complete")));
    EXPECT_EQ(integer(member(document.root(), "exit_code")), 0);
    const auto rows = readCsv(file("camera0.csv"));
    expectVideoMatchesTable(file("camera0.mkv"), rows);
}

TEST_F(RecordOptionsTest, WatchdogWaitsForASubsampledFirstFrame) {
    // Every 1100th frame of 100 fps: the first one is due after 11 s, beyond the 10 s watchdog.
    const RunResult result = run({virtualCameras({smallCamera("Cam A", "/dev/zelt-a")}), "record",
                                  "--out", out(), "--subsampling", "1100", "--frames", "1"});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(readCsv(file("camera0.csv")).size(), 1u);
}

TEST_F(RecordOptionsTest, EveryCameraCountsFromTheRecordingsCommonStart) {
    const RunResult result =
        run({virtualCameras(twoCameras()), "record", "--out", out(), "--frames", "20"});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    const JsonDocument document = manifest();
    ASSERT_TRUE(document.ok()) << document.error();
    JsonNode* time_base = member(document.root(), "time_base");
    const gint64 common = integer(member(time_base, "common_start_host_ticks"));
    EXPECT_EQ(text(member(time_base, "common_start_time")).size(),
              std::string("2026-01-01T00:00:00.000000000Z").size());
    gint64 earliest = std::numeric_limits<gint64>::max();
    for (guint index = 0; index < 2; ++index) {
        JsonNode* camera = element(member(document.root(), "cameras"), index);
        const gint64 first = integer(member(camera, "first_host_ticks"));
        earliest = std::min(earliest, first);
        const auto rows = readCsv(file("camera" + std::to_string(index) + ".csv"));
        ASSERT_EQ(rows.size(), 20u);
        EXPECT_EQ(static_cast<gint64>(rows[0].host_ticks), first);
        EXPECT_NEAR(rows[0].seconds, (first - common) / 1e7, 1e-9);
        EXPECT_NEAR(json_node_get_double(member(camera, "first_frame_seconds")),
                    (first - common) / 1e7, 1e-9);
        EXPECT_FALSE(isNull(member(camera, "first_frame_time")));
        // The video's first frame stands at the same offset from the common start.
        expectVideoMatchesTable(file("camera" + std::to_string(index) + ".mkv"), rows);
    }
    EXPECT_EQ(common, earliest);
}

class CodecTest : public RecordOptionsTest,
                  public ::testing::WithParamInterface<std::pair<std::string, std::string>> {};

TEST_P(CodecTest, RecordingIsDecodedWithEveryFrameAndItsTime) {
    const auto& [codec, expected] = GetParam();
    const RunResult result = run({virtualCameras({smallCamera("Cam A", "/dev/zelt-a", "YUY2")}),
                                  "record", "--out", out(), "--frames", "40", "--codec", codec});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(probeVideoStream(file("camera0.mkv"), "codec_name,pix_fmt,width,height"), expected);
    expectDecodable(file("camera0.mkv"));
    const std::string frames =
        probeVideoStream(file("camera0.mkv"), "nb_read_frames", "-count_frames");
    EXPECT_EQ(frames, "40\n");
    const auto rows = readCsv(file("camera0.csv"));
    expectVideoMatchesTable(file("camera0.mkv"), rows);
    const JsonDocument document = manifest();
    ASSERT_TRUE(document.ok()) << document.error();
    EXPECT_EQ(text(member(member(document.root(), "request"), "codec")), codec);
}

INSTANTIATE_TEST_SUITE_P(
    Codecs, CodecTest,
    ::testing::Values(std::pair<std::string, std::string>{"ffv1", "ffv1,64,48,yuv422p\n"},
                      std::pair<std::string, std::string>{"h264", "h264,64,48,yuv420p\n"}),
    [](const auto& info) { return info.param.first; });

TEST_F(RecordOptionsTest, FilesTellTheRateTheCameraNegotiatedAndSaySoOnce) {
    // Two modes of one size: the camera picks the first of that size (the higher rate),
    // whatever rate the chosen text names.
    auto camera = smallCamera("Cam A", "/dev/zelt-a");
    camera.caps->push_back(
        "video/x-raw, format=YUY2, width=64, height=48, framerate=25/1, pixel-aspect-ratio=1/1");
    const RunResult result = run({virtualCameras({camera}), "record", "--out", out(), "--setting",
                                  "64 x 48 @ 25 fps", "--frames", "30"});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    const std::string warning =
        "zelt-camera: warning: camera 0 ('Cam A') delivers 100 fps YUY2, not the rate of '64 x 48 "
        "@ 25 fps' (the camera picks its mode by size; the files and the manifest say 100 fps)\n";
    const auto first = result.err.find(warning);
    EXPECT_NE(first, std::string::npos) << result.err;
    EXPECT_EQ(result.err.find(warning, first + 1), std::string::npos) << result.err;
    const JsonDocument document = manifest();
    ASSERT_TRUE(document.ok()) << document.error();
    JsonNode* entry = element(member(document.root(), "cameras"), 0);
    EXPECT_EQ(text(member(entry, "frame_setting")), "64 x 48 @ 25 fps");
    EXPECT_DOUBLE_EQ(json_node_get_double(member(member(entry, "negotiated"), "rate")), 100.0);
    EXPECT_EQ(text(member(member(entry, "negotiated"), "format")), "YUY2");
    const std::string rate = probeVideoStream(file("camera0.mkv"), "r_frame_rate");
    EXPECT_EQ(rate, "100/1\n");
    const auto rows = readCsv(file("camera0.csv"));
    ASSERT_EQ(rows.size(), 30u);
    EXPECT_NEAR((rows.back().seconds - rows.front().seconds) / 29, 0.010, 0.002);
}

}  // namespace
}  // namespace zelt_cli_test
