// What a recording leaves behind when it does not end the usual way: killed, hung up, the
// disk refusing a write, a camera that never starts, a second Ctrl-C.
#include <sys/time.h>

#include "record_checks.h"
#include "tool_fixture.h"

namespace zelt_cli_test {
namespace {

class DurabilityTest : public RecordingToolTest {
protected:
    std::vector<std::string> recordArguments(const zelt::vcam::CameraDescription& camera,
                                             const std::vector<std::string>& more) {
        std::vector<std::string> arguments{virtualCameras({camera}), "record", "--out", out()};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }

    // Starts a 60 s recording of one camera and waits until the table holds more than `rows`
    // rows and the manifest written while recording counts frames, so that whatever happens
    // next lands in the middle of delivery.
    void startRecording(std::size_t rows) {
        m_recording.emplace(
            recordArguments(smallCamera("Cam A", "/dev/zelt-a"), {"--duration", "60"}),
            m_scratch.path());
        const bool going = waitUntil([&] {
            if (tableLines() <= rows + 1) return false;
            const JsonDocument document = manifest();
            return document.ok() && integer(member(document.root(), "frames_written")) > 0;
        });
        if (!going) FAIL() << "the recording did not get going";
    }

    // The table `path` is whole lines: it ends in a line end.
    static void expectWholeLines(const std::string& path) {
        const std::string table = readFile(path);
        ASSERT_FALSE(table.empty());
        EXPECT_EQ(table.back(), '\n') << "the table ends in the middle of a line";
    }

    // The table is whole lines; the video is read by ffprobe and agrees with the table frame
    // by frame, the two ending within a second of each other.
    void expectWholeFilesThatAgree() const {
        ASSERT_NO_FATAL_FAILURE(expectWholeLines(file("camera0.csv")));
        const auto rows = readCsv(file("camera0.csv"));
        ASSERT_FALSE(rows.empty());
        for (std::size_t i = 0; i < rows.size(); ++i) {
            EXPECT_EQ(rows[i].index, i);
            EXPECT_EQ(rows[i].bytes, 64u * 48u * 2u + 12u);
        }
        const std::string format_name =
            runCommand("ffprobe -v error -show_entries format=format_name -of csv=p=0 " +
                       shellQuote(file("camera0.mkv")) + " 2>&1")
                .second;
        EXPECT_NE(format_name.find("matroska"), std::string::npos) << format_name;
        const std::vector<double> times = probeFrameTimes(file("camera0.mkv"));
        ASSERT_FALSE(times.empty());
        const std::size_t common = std::min(times.size(), rows.size());
        for (std::size_t i = 0; i < common; ++i) {
            EXPECT_NEAR(times[i], rows[i].seconds, 2e-5) << "frame " << i;
        }
        EXPECT_LE(std::abs(times.back() - rows.back().seconds), 1.0)
            << times.size() << " frames in the video, " << rows.size() << " rows";
    }

    // The recording startRecording started; ended before the scratch folder goes.
    std::optional<ToolProcess> m_recording;
};

TEST_F(DurabilityTest, KilledRecordingLeavesAPlayableVideoAWholeTableAndAnUnfinishedManifest) {
    ASSERT_NO_FATAL_FAILURE(startRecording(150));
    m_recording->signal(SIGKILL);
    const RunResult result = m_recording->wait(20s);
    EXPECT_EQ(result.signal, SIGKILL);

    expectWholeFilesThatAgree();
    const JsonDocument document = manifest();
    ASSERT_TRUE(document.ok()) << document.error();
    EXPECT_EQ(text(member(document.root(), "stop_reason")), "running");
    EXPECT_FALSE(boolean(member(document.root(), "complete")));
    EXPECT_TRUE(isNull(member(document.root(), "ended_at")));
    EXPECT_GT(integer(member(document.root(), "frames_written")), 0);
    EXPECT_FALSE(fileExists(file("recording.json.part")));
}

TEST_F(DurabilityTest, HangupStopsCleanlyWithCompleteFilesAndExitCode129) {
    ASSERT_NO_FATAL_FAILURE(startRecording(30));
    expectCleanStop(*m_recording, SIGHUP, 129, "SIGHUP",
                    [](JsonNode* root, const std::vector<CsvRecord>&) {
                        EXPECT_EQ(text(member(root, "stop_reason")), "hangup");
                    });
}

TEST_F(DurabilityTest, SecondCtrlCWhileStoppingStillLeavesWholeFiles) {
    ASSERT_NO_FATAL_FAILURE(startRecording(100));
    m_recording->signal(SIGINT);
    m_recording->signal(SIGINT);
    const RunResult result = m_recording->wait(20s);
    // Either the stop was quicker than the second signal, or the second ended the process.
    EXPECT_TRUE(result.exit_code == 130 || result.signal == SIGINT)
        << result.exit_code << " " << result.signal;
    expectWholeFilesThatAgree();
    EXPECT_FALSE(fileExists(file("recording.json.part")));
}

TEST_F(DurabilityTest, FileSizeLimitStopsWithWriterFailedAndWholeFiles) {
    // GStreamer may rewrite its registry on the first run of a build, a file larger than the
    // limit below: a run without the limit brings it up to date first.
    ASSERT_EQ(run({virtualCameras({smallCamera("Cam A", "/dev/zelt-a")}), "list"}).exit_code, 0);
    // 64x48 YUY2 at 100 fps is 600 kB a second: the video reaches 400 kB in under a second.
    ToolProcess tool(recordArguments(smallCamera("Cam A", "/dev/zelt-a"), {"--duration", "30"}),
                     m_scratch.path(), {}, -1, 400'000);
    const RunResult result = tool.wait(30s);
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.exit_code, 9) << result.err;
    EXPECT_NE(result.err.find("zelt-camera: error: camera 0 ('Cam A'): writing '" +
                              file("camera0.mkv") + "' failed: "),
              std::string::npos)
        << result.err;

    const JsonDocument document = manifest();
    ASSERT_TRUE(document.ok()) << document.error();
    EXPECT_EQ(text(member(document.root(), "stop_reason")), "writer-failed");
    EXPECT_TRUE(boolean(member(document.root(), "complete")));
    EXPECT_EQ(integer(member(document.root(), "exit_code")), 9);
    JsonNode* camera = element(member(document.root(), "cameras"), 0);
    ASSERT_GE(lengthOf(member(camera, "errors")), 1u);
    EXPECT_FALSE(fileExists(file("recording.json.part")));
    // The video stops at the limit, playable up to its last whole cluster.
    const std::vector<double> times = probeFrameTimes(file("camera0.mkv"));
    EXPECT_GE(times.size(), 10u);
    ASSERT_NO_FATAL_FAILURE(expectWholeLines(file("camera0.csv")));
    const auto rows = readCsv(file("camera0.csv"));
    EXPECT_GE(rows.size(), times.size());
}

TEST_F(DurabilityTest, CameraThatNeverDeliversEndsWithTheStartTimeoutNamingIt) {
    auto stuck = smallCamera("Stuck cam", "/dev/zelt-stuck");
    stuck.never_first_frame = true;
    ToolProcess tool(recordArguments(stuck, {"--duration", "3", "--start-timeout", "2"}),
                     m_scratch.path(), {{"ZELT_LOG_LEVEL", "fatal"}});
    // The cameras start just after the first manifest is written: the timeout counts from
    // there (loading the plug-in before it takes what it takes).
    waitForFile(file("recording.json"));
    const auto began = std::chrono::steady_clock::now();
    const RunResult result = tool.wait(30s);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
    EXPECT_EQ(result.exit_code, 10) << result.err;
    EXPECT_LT(seconds, 2.0 + 2.0);
    EXPECT_NE(result.err.find("zelt-camera: error: camera 0 ('Stuck cam') did not deliver its "
                              "first frame within 2 s (the start timeout, --start-timeout)\n"),
              std::string::npos)
        << result.err;
    const JsonDocument document = manifest();
    ASSERT_TRUE(document.ok()) << document.error();
    EXPECT_EQ(text(member(document.root(), "stop_reason")), "start-timeout");
    EXPECT_EQ(integer(member(document.root(), "exit_code")), 10);
    EXPECT_TRUE(boolean(member(document.root(), "complete")));
    EXPECT_EQ(text(member(element(member(document.root(), "cameras"), 0), "failure")),
              "no first frame within the start timeout");
    EXPECT_EQ(readFile(file("camera0.csv")), "index,host_ticks,seconds,bytes,frame_counter\n");
}

TEST_F(DurabilityTest, CtrlCWhileACameraStartsStopsAtOnce) {
    auto stuck = smallCamera("Stuck cam", "/dev/zelt-stuck");
    stuck.never_first_frame = true;
    ToolProcess tool(recordArguments(stuck, {"--duration", "3"}), m_scratch.path(),
                     {{"ZELT_LOG_LEVEL", "fatal"}});
    // The first manifest is written just before the start.
    ASSERT_TRUE(waitForFile(file("recording.json")));
    std::this_thread::sleep_for(300ms);
    const auto signalled = std::chrono::steady_clock::now();
    tool.signal(SIGINT);
    const RunResult result = tool.wait(30s);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - signalled).count();
    EXPECT_EQ(result.exit_code, 130) << result.err;
    EXPECT_LT(seconds, 3.0);  // the start timeout is 10 s
    const JsonDocument document = manifest();
    ASSERT_TRUE(document.ok()) << document.error();
    EXPECT_EQ(text(member(document.root(), "stop_reason")), "interrupted");
    EXPECT_TRUE(boolean(member(document.root(), "complete")));
}

}  // namespace
}  // namespace zelt_cli_test
