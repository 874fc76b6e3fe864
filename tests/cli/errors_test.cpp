// The errors of zelt-camera: each with its message and exit code.
#include "record_checks.h"
#include "tool_fixture.h"

namespace zelt_cli_test {
namespace {

using ErrorsTest = RecordingToolTest;

TEST_F(ErrorsTest, NoCameraExitsThreeAndSuggestsVirtual) {
    // No virtual cameras, and none of GStreamer's own device providers: nothing is attached.
    const RunResult result = run({"record", "--out", out(), "--frames", "10"},
                                 {{"ZELT_VIRTUAL_CAMERAS", std::nullopt},
                                  {"GST_PLUGIN_SYSTEM_PATH_1_0", ""},
                                  {"GST_REGISTRY", m_scratch / "registry.bin"}});
    EXPECT_EQ(result.exit_code, 3);
    EXPECT_EQ(result.err,
              "zelt-camera: error: no camera found; attach one, or use --virtual to record from "
              "a virtual camera\n");
}

TEST_F(ErrorsTest, VirtualWithoutCamerasExitsThree) {
    const RunResult result = run({"--virtual=0", "record", "--out", out(), "--frames", "10"});
    EXPECT_EQ(result.exit_code, 3);
    EXPECT_EQ(result.err, "zelt-camera: error: no camera found (--virtual offered none)\n");
}

TEST_F(ErrorsTest, UnknownCameraExitsFourAndListsTheCameras) {
    const RunResult result = run({virtualCameras(twoCameras()), "record", "--out", out(),
                                  "--camera", "Cam Z", "--frames", "10"});
    EXPECT_EQ(result.exit_code, 4);
    EXPECT_EQ(result.err,
              "zelt-camera: error: unknown channel 'Cam Z'; the cameras are:\n"
              "  0  Cam A  /dev/zelt-a\n"
              "  1  Cam B  /dev/zelt-b\n");
}

TEST_F(ErrorsTest, CounterChannelIsNoCameraToRecord) {
    const RunResult result = run({virtualCameras(twoCameras()), "record", "--out", out(),
                                  "--camera", "65536", "--frames", "10"});
    EXPECT_EQ(result.exit_code, 4);
    EXPECT_NE(result.err.find("channel 65536 is a frame counter, not a camera"), std::string::npos)
        << result.err;
}

TEST_F(ErrorsTest, SettingNotOfferedExitsFiveAndListsTheOfferedOnes) {
    const RunResult result =
        run({virtualCameras(twoCameras()), "record", "--out", out(), "--camera", "0", "--setting",
             "64 x 48 @ 30 fps", "--frames", "10"});
    EXPECT_EQ(result.exit_code, 5);
    EXPECT_EQ(result.err,
              "zelt-camera: error: camera 0 ('Cam A') does not offer the frame setting "
              "'64 x 48 @ 30 fps'; it offers:\n"
              "  64 x 48 @ 100 fps\n"
              "  32 x 24 @ 100 fps\n");
}

TEST_F(ErrorsTest, TextThatIsNoFrameSettingIsAUsageError) {
    const RunResult result = run({virtualCameras(twoCameras()), "record", "--out", out(),
                                  "--setting", "large", "--frames", "10"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_NE(result.err.find("--setting 'large' is not a frame setting; write it as "
                              "\"640 x 480 @ 30 fps\""),
              std::string::npos)
        << result.err;
}

TEST_F(ErrorsTest, OutputFolderThatCannotBeWrittenExitsSix) {
    writeFile(m_scratch / "plain-file", "not a folder");
    const RunResult result = run({virtualCameras(twoCameras()), "record", "--out",
                                  m_scratch / "plain-file/recording", "--frames", "10"});
    EXPECT_EQ(result.exit_code, 6);
    EXPECT_EQ(result.err, "zelt-camera: error: cannot write to the output folder '" +
                              (m_scratch / "plain-file/recording") + "': Not a directory\n");
}

TEST_F(ErrorsTest, PluginThatCannotBeLoadedExitsSeven) {
    const RunResult result = run({"--plugin", m_scratch / "missing.so", "--virtual", "list"});
    EXPECT_EQ(result.exit_code, 7);
    EXPECT_NE(result.err.find("zelt-camera: error: cannot load the camera plug-in: cannot load "
                              "plug-in library '" +
                              (m_scratch / "missing.so") + "'"),
              std::string::npos)
        << result.err;
}

TEST_F(ErrorsTest, CameraThatCannotStartExitsEightWithThePluginsMessage) {
    auto broken = smallCamera("Broken cam", "/dev/zelt-broken");
    broken.fail_link = true;
    const RunResult result =
        run({virtualCameras({broken}), "record", "--out", out(), "--frames", "10"},
            {{"ZELT_LOG_LEVEL", "fatal"}});
    EXPECT_EQ(result.exit_code, 8);
    const auto lines = splitLines(result.err);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(),
              "zelt-camera: error: the plug-in could not prepare the acquisition: Could not start "
              "camera Broken cam");
    EXPECT_NE(result.err.find("zelt-camera: plug-in error: [ZELT_CAMERA] Could not start camera "
                              "Broken cam\n"),
              std::string::npos)
        << result.err;
    const JsonDocument manifest(readFile(file("recording.json")));
    ASSERT_TRUE(manifest.ok()) << manifest.error();
    EXPECT_EQ(text(member(manifest.root(), "stop_reason")), "error");
    EXPECT_EQ(integer(member(manifest.root(), "exit_code")), 8);
    EXPECT_EQ(integer(member(manifest.root(), "frames_written")), 0);
    JsonNode* errors = member(manifest.root(), "errors");
    ASSERT_EQ(lengthOf(errors), 2u);
    EXPECT_EQ(text(member(element(errors, 0), "text")), "Could not set up camera Broken cam");
    EXPECT_EQ(text(member(element(errors, 1), "text")), "Could not start camera Broken cam");
    EXPECT_EQ(text(member(element(errors, 1), "source")), "ZELT_CAMERA");
}

TEST_F(ErrorsTest, CameraErrorWhileRecordingExitsEightWithCompleteFiles) {
    auto failing = smallCamera("Failing cam", "/dev/zelt-failing");
    failing.error_after_frames = 20;
    const RunResult result =
        run({virtualCameras({failing}), "record", "--out", out(), "--frames", "50"},
            {{"ZELT_LOG_LEVEL", "fatal"}});
    EXPECT_EQ(result.exit_code, 8);
    EXPECT_NE(result.err.find("zelt-camera: error: camera 0 ('Failing cam') failed: the plug-in "
                              "posted an error while recording: Camera bus received an error: "
                              "Could not read from resource."),
              std::string::npos)
        << result.err;
    // The posted error names its camera, once.
    EXPECT_NE(result.err.find("zelt-camera: plug-in error: camera 0 ('Failing cam'): [ZELT_CAMERA] "
                              "Camera bus received an error: Could not read from resource.\n"),
              std::string::npos)
        << result.err;
    const JsonDocument manifest(readFile(file("recording.json")));
    ASSERT_TRUE(manifest.ok()) << manifest.error();
    EXPECT_EQ(text(member(manifest.root(), "stop_reason")), "camera-error");
    JsonNode* camera = element(member(manifest.root(), "cameras"), 0);
    EXPECT_GE(integer(member(camera, "stream_errors")), 1);
    EXPECT_EQ(text(member(camera, "failure")),
              "the plug-in posted an error while recording: Camera bus received an error: Could "
              "not read from resource.");
    const auto rows = readCsv(file("camera0.csv"));
    EXPECT_EQ(static_cast<gint64>(rows.size()), integer(member(camera, "frames_written")));
    EXPECT_LE(rows.size(), 20u);
    expectVideoMatchesTable(file("camera0.mkv"), rows);
    EXPECT_GE(lengthOf(member(manifest.root(), "errors")), 1u);
}

TEST_F(ErrorsTest, NameTwoCamerasShareIsRefusedWithTheirIds) {
    const RunResult result =
        run({virtualCameras(
                 {smallCamera("Same cam", "/dev/zelt-a"), smallCamera("Same cam", "/dev/zelt-b")}),
             "record", "--out", out(), "--camera", "Same cam", "--frames", "3"});
    EXPECT_EQ(result.exit_code, 4);
    EXPECT_NE(result.err.find("zelt-camera: error: more than one camera is called 'Same cam' "
                              "(channels 0, 1); name one by its id or device path"),
              std::string::npos)
        << result.err;
    EXPECT_FALSE(fileExists(out()));
}

TEST_F(ErrorsTest, CameraFileTheVirtualCamerasRefuseIsAUsageError) {
    const std::string path = m_scratch / "broken.json";
    writeFile(path, R"({"cameras": [{"name": "X", "colour": "red"}]})");
    const RunResult result = run({"--virtual=" + path, "list"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_NE(result.err.find("zelt-camera: error: the virtual cameras refused '" + path + "': "),
              std::string::npos)
        << result.err;
    EXPECT_NE(result.err.find("colour"), std::string::npos) << result.err;
}

TEST_F(ErrorsTest, UnreadableCameraFileIsAUsageError) {
    const RunResult result = run({"--virtual=" + (m_scratch / "none.json"), "list"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_NE(result.err.find("cannot read the virtual camera file"), std::string::npos)
        << result.err;
}

}  // namespace
}  // namespace zelt_cli_test
