// Ctrl-C and SIGTERM during a recording, and the progress lines on a terminal.
#include <stdlib.h>
#include <sys/ioctl.h>

#include "record_checks.h"
#include "tool_fixture.h"

namespace zelt_cli_test {
namespace {

class InterruptTest : public RecordingToolTest {
protected:
    // Interrupts a 30 s recording with `number` once it runs and checks what it left.
    void expectCleanInterrupt(int number, int exit_code, const std::string& name) {
        ToolProcess tool({virtualCameras({smallCamera("Cam A", "/dev/zelt-a")}), "record", "--out",
                          out(), "--duration", "30"},
                         m_scratch.path());
        ASSERT_NO_FATAL_FAILURE(waitForRows(30));
        expectCleanStop(tool, number, exit_code, name,
                        [&](JsonNode* root, const std::vector<CsvRecord>& rows) {
                            EXPECT_TRUE(boolean(member(root, "interrupted")));
                            EXPECT_LT(json_node_get_double(member(root, "duration_seconds")), 20.0);
                            const gint64 frames = integer(member(root, "frames_written"));
                            EXPECT_GE(frames, 30);
                            EXPECT_EQ(integer(member(root, "frames_delivered")),
                                      frames + integer(member(root, "frames_dropped")));
                            expectUnbrokenTable(rows, 64 * 48 * 2 + 12, droppedFrames(root, 0));
                            expectPng(file("camera0.png"), 64, 48);
                        });
    }

    // Records one second of two cameras with standard error on a terminal of `columns`
    // columns; returns what the terminal showed.
    std::string recordOnATerminal(unsigned short columns, RunResult& result) {
        const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
        EXPECT_GE(terminal, 0);
        EXPECT_EQ(grantpt(terminal), 0);
        EXPECT_EQ(unlockpt(terminal), 0);
        const int screen = open(ptsname(terminal), O_RDWR | O_NOCTTY);
        EXPECT_GE(screen, 0);
        struct winsize size {};

        size.ws_col = columns;
        size.ws_row = 24;
        EXPECT_EQ(ioctl(screen, TIOCSWINSZ, &size), 0);
        std::string shown;
        std::thread reader([&] {
            char buffer[4096];
            for (ssize_t n; (n = read(terminal, buffer, sizeof buffer)) > 0;) {
                shown.append(buffer, n);
            }
        });
        {
            ToolProcess tool(
                {virtualCameras(twoCameras()), "record", "--out", out(), "--duration", "1"},
                m_scratch.path(), {}, screen);
            result = tool.wait(30s);
        }
        close(screen);  // the reader sees the end once no process holds the terminal open
        reader.join();
        close(terminal);
        return shown;
    }
};

TEST_F(InterruptTest, SigintStopsCleanlyWithCompleteFilesAndExitCode130) {
    expectCleanInterrupt(SIGINT, 130, "SIGINT");
}

TEST_F(InterruptTest, SigtermStopsCleanlyWithCompleteFilesAndExitCode143) {
    expectCleanInterrupt(SIGTERM, 143, "SIGTERM");
}

TEST_F(InterruptTest, ManifestSaysRunningWhileTheRecordingGoesOn) {
    ToolProcess tool({virtualCameras({smallCamera("Cam A", "/dev/zelt-a")}), "record", "--out",
                      out(), "--duration", "30"},
                     m_scratch.path());
    ASSERT_NO_FATAL_FAILURE(waitForRows(5));
    const JsonDocument document = manifest();
    ASSERT_TRUE(document.ok()) << document.error();
    EXPECT_EQ(text(member(document.root(), "stop_reason")), "running");
    EXPECT_FALSE(boolean(member(document.root(), "complete")));
    EXPECT_TRUE(isNull(member(document.root(), "ended_at")));
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(20s).exit_code, 130);
}

TEST_F(InterruptTest, TerminalShowsAProgressLinePerCameraThenTheSummary) {
    RunResult result;
    const std::string shown = recordOnATerminal(200, result);
    EXPECT_EQ(result.exit_code, 0) << shown;
    EXPECT_NE(shown.find("camera0 Cam A: "), std::string::npos) << shown;
    EXPECT_NE(shown.find("camera1 Cam B: "), std::string::npos) << shown;
    EXPECT_NE(shown.find(" fps, "), std::string::npos) << shown;
    EXPECT_NE(shown.find(" s elapsed, "), std::string::npos) << shown;
    EXPECT_NE(shown.find(" s left"), std::string::npos) << shown;
    // The lines are redrawn in place, and the summary stands alone at the end.
    EXPECT_NE(shown.find("\x1b[1A"), std::string::npos) << shown;
    EXPECT_NE(shown.find("zelt-camera: recorded "), std::string::npos) << shown;
}

TEST_F(InterruptTest, ProgressLinesAreCutToANarrowTerminalsWidth) {
    RunResult result;
    const std::string shown = recordOnATerminal(30, result);
    EXPECT_EQ(result.exit_code, 0) << shown;
    std::size_t progress_lines = 0;
    for (std::string line : splitLines(shown)) {
        // What stands on the line after the last erase, without the terminal's carriage return.
        const auto erased = line.rfind("\x1b[2K");
        if (erased != std::string::npos) line.erase(0, erased + 4);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.rfind("camera0 Cam A: ", 0) != 0) continue;
        ++progress_lines;
        EXPECT_LE(line.size(), 29u) << line;
    }
    EXPECT_GT(progress_lines, 0u) << shown;
}

}  // namespace
}  // namespace zelt_cli_test
