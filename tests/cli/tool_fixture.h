// The fixture of the tests that run the built tool on virtual cameras.
#pragma once

#include <gtest/gtest.h>

#include <functional>

#include "cli_test_support.h"
#include "record_checks.h"

namespace zelt_cli_test {

class ToolTest : public ::testing::Test {
protected:
    /// Two cameras: "Cam A" offers 64x48 YUY2 and 32x24 I420, "Cam B" 64x48 I420; 100 fps.
    static std::vector<zelt::vcam::CameraDescription> twoCameras() {
        auto cam_a = smallCamera("Cam A", "/dev/zelt-a");
        cam_a.caps->push_back(
            "video/x-raw, format=I420, width=32, height=24, framerate=100/1, "
            "pixel-aspect-ratio=1/1");
        return {cam_a, smallCamera("Cam B", "/dev/zelt-b", "I420")};
    }

    /// "--virtual=FILE" for `cameras`.
    std::string virtualCameras(const std::vector<zelt::vcam::CameraDescription>& cameras) {
        return "--virtual=" + cameraFile(m_scratch, cameras);
    }

    RunResult run(const std::vector<std::string>& arguments, const Environment& changes = {}) {
        return runTool(arguments, m_scratch.path(), changes);
    }

    TempDir m_scratch;
};

/// The fixture of the tests that record into one folder and look at what the recording left.
class RecordingToolTest : public ToolTest {
protected:
    /// The recording's folder, for --out.
    std::string out() const { return m_scratch / "recording"; }
    std::string file(const std::string& name) const { return out() + "/" + name; }
    JsonDocument manifest() const { return JsonDocument(readFile(file("recording.json"))); }

    /// Polls `condition` for up to 30 s; whether it came true.
    static bool waitUntil(const std::function<bool()>& condition) {
        const auto deadline = std::chrono::steady_clock::now() + 30s;
        while (!condition()) {
            if (std::chrono::steady_clock::now() >= deadline) return false;
            std::this_thread::sleep_for(10ms);
        }
        return true;
    }

    /// Waits until the file `path` exists; whether it does.
    static bool waitForFile(const std::string& path) {
        return waitUntil([&] { return fileExists(path); });
    }

    /// The lines of camera0's table, its header included.
    std::size_t tableLines() const { return splitLines(readFile(file("camera0.csv"))).size(); }

    /// Waits until camera0's table holds more than `rows` rows, so that whatever the test does
    /// next lands in the middle of delivery.
    void waitForRows(std::size_t rows) const {
        if (!waitUntil([&] { return tableLines() > rows + 1; })) {
            FAIL() << "the recording did not get going";
        }
    }

    /// Sends `number` to the recording `tool` runs and checks that it stopped cleanly: exit code
    /// `exit_code`, the summary and the manifest naming the signal `name`, a complete manifest
    /// that counts the table's rows, and a video that agrees with the table. `more` checks
    /// what else the manifest (its root) and the table's rows must say.
    void expectCleanStop(
        ToolProcess& tool, int number, int exit_code, const std::string& name,
        const std::function<void(JsonNode*, const std::vector<CsvRecord>&)>& more) const {
        tool.signal(number);
        const RunResult result = tool.wait(20s);
        EXPECT_EQ(result.signal, 0);
        EXPECT_EQ(result.exit_code, exit_code) << result.err;
        EXPECT_NE(result.err.find("zelt-camera: interrupted (" + name + "); recorded "),
                  std::string::npos)
            << result.err;

        const JsonDocument document = manifest();
        ASSERT_TRUE(document.ok()) << document.error();
        JsonNode* root = document.root();
        EXPECT_TRUE(boolean(member(root, "complete")));
        EXPECT_EQ(text(member(root, "signal")), name);
        EXPECT_EQ(integer(member(root, "exit_code")), exit_code);
        const auto rows = readCsv(file("camera0.csv"));
        EXPECT_EQ(static_cast<gint64>(rows.size()), integer(member(root, "frames_written")));
        more(root, rows);
        expectVideoMatchesTable(file("camera0.mkv"), rows);
    }
};

}  // namespace zelt_cli_test
