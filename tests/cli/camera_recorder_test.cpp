// A camera's recording fed by hand, as the camera's streaming thread would feed it.
#include "camera_recorder.h"

#include <gtest/gtest.h>

#include <cstring>

#include "cli_test_support.h"
#include "record_checks.h"

namespace zelt::cli {
namespace {

using zelt_cli_test::readCsv;
using zelt_cli_test::TempDir;

constexpr std::uint32_t kYuy2 = 0x32595559;

// One 8x4 YUY2 sample: the 12-byte header, then the pixels.
std::vector<std::uint8_t> sample(std::uint8_t fill) {
    std::vector<std::uint8_t> bytes(12 + 8 * 4 * 2, fill);
    zelt::host::writeImageDataHeader({kYuy2, 8, 4}, bytes.data());
    return bytes;
}

void count(CameraRecorder& recorder, std::uint64_t stamp, std::uint32_t value) {
    std::uint8_t bytes[4];
    for (int i = 0; i < 4; ++i) bytes[i] = static_cast<std::uint8_t>(value >> (8 * i));
    recorder.onCounter(stamp, bytes, 4);
}

CameraPlan plan(bool with_counter) {
    CameraPlan plan;
    plan.id = 0;
    if (with_counter) plan.counter_id = 0x10000;
    plan.name = "Hand cam";
    plan.base_name = "camera0";
    plan.rate_numerator = 100;
    plan.frequency = 1e7;
    return plan;
}

TEST(CameraRecorderTest, CountsPairWithTheirFramesByStamp) {
    TempDir folder;
    CameraRecorder recorder(plan(true), folder.path());
    recorder.start();
    const auto bytes = sample(0x80);
    for (std::uint32_t i = 0; i < 5; ++i) {
        const std::uint64_t stamp = 1000 + i * 100000;
        recorder.onFrame(stamp, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
        count(recorder, stamp, i + 40);
    }
    recorder.finish();
    const auto rows = readCsv(folder / "camera0.csv");
    ASSERT_EQ(rows.size(), 5u);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].counter, std::to_string(i + 40));
        EXPECT_EQ(rows[i].host_ticks, 1000 + i * 100000);
        EXPECT_DOUBLE_EQ(rows[i].seconds, i * 0.01);
        EXPECT_EQ(rows[i].bytes, bytes.size());
    }
    const CameraReport report = recorder.report();
    EXPECT_EQ(report.written, 5u);
    EXPECT_EQ(report.delivered, 5u);
    EXPECT_EQ(report.video_file, "camera0.mkv");
    EXPECT_EQ(report.png_file, "camera0.png");
    EXPECT_TRUE(report.errors.empty());
    EXPECT_NEAR(report.measuredFps(), 100.0, 1e-9);
    EXPECT_EQ(zelt_cli_test::probeFrameTimes(folder / "camera0.mkv").size(), 5u);
}

TEST(CameraRecorderTest, FrameWhoseCountNeverCameHasAnEmptyCounterCell) {
    TempDir folder;
    CameraRecorder recorder(plan(true), folder.path());
    recorder.start();
    const auto bytes = sample(0x10);
    recorder.onFrame(100, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    count(recorder, 999, 7);  // another frame's stamp: not this one's count
    recorder.onFrame(200, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    count(recorder, 200, 1);
    recorder.onFrame(300, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    recorder.finish();
    const auto rows = readCsv(folder / "camera0.csv");
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0].counter, "");
    EXPECT_EQ(rows[1].counter, "1");
    EXPECT_EQ(rows[2].counter, "");
}

TEST(CameraRecorderTest, WithoutACounterChannelTheCellsStayEmpty) {
    TempDir folder;
    CameraRecorder recorder(plan(false), folder.path());
    recorder.start();
    const auto bytes = sample(0x10);
    recorder.onFrame(100, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    recorder.onFrame(200, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    recorder.finish();
    const auto rows = readCsv(folder / "camera0.csv");
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[1].counter, "");
}

TEST(CameraRecorderTest, FramesBeyondAFullQueueAreCountedAsDroppedNeverLost) {
    TempDir folder;
    FrameQueueLimits limits;
    limits.min_slots = 2;
    limits.max_slots = 2;
    CameraRecorder recorder(plan(false), folder.path(), limits);
    const auto bytes = sample(0x20);
    // The writer is not running yet: it has "fallen behind" from the first frame.
    for (std::uint64_t i = 0; i < 5; ++i) {
        recorder.onFrame(100 + i, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    }
    EXPECT_EQ(recorder.droppedFrames(), 3u);
    recorder.start();
    recorder.finish();
    const CameraReport report = recorder.report();
    EXPECT_EQ(report.delivered, 5u);
    EXPECT_EQ(report.dropped, 3u);
    EXPECT_EQ(report.written, 2u);
    EXPECT_EQ(report.delivered, report.written + report.dropped);
    EXPECT_EQ(readCsv(folder / "camera0.csv").size(), 2u);
}

TEST(CameraRecorderTest, FrameLimitIgnoresLaterFrames) {
    TempDir folder;
    CameraPlan limited = plan(false);
    limited.frame_limit = 3;
    CameraRecorder recorder(limited, folder.path());
    recorder.start();
    const auto bytes = sample(0x30);
    for (std::uint64_t i = 0; i < 6; ++i) {
        recorder.onFrame(100 + i, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    }
    EXPECT_TRUE(recorder.reachedLimit());
    recorder.finish();
    EXPECT_EQ(recorder.report().written, 3u);
    EXPECT_EQ(recorder.report().delivered, 3u);
}

TEST(CameraRecorderTest, FormatWithoutALosslessMatroskaFormIsAWriterError) {
    TempDir folder;
    CameraRecorder recorder(plan(false), folder.path());
    recorder.start();
    std::vector<std::uint8_t> bytes(12 + 8 * 4, 0);
    zelt::host::writeImageDataHeader({0x47524247 /* GBRG */, 8, 4}, bytes.data());
    recorder.onFrame(100, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    recorder.finish();
    EXPECT_TRUE(recorder.hasFailed());
    const CameraReport report = recorder.report();
    ASSERT_EQ(report.errors.size(), 1u);
    EXPECT_EQ(report.errors[0],
              "frames of pixel format GBRG cannot be stored losslessly as raw video in Matroska");
    EXPECT_EQ(report.written, 0u);
}

TEST(CameraRecorderTest, RecordingWithoutFramesLeavesAHeaderOnlyTable) {
    TempDir folder;
    CameraRecorder recorder(plan(true), folder.path());
    recorder.start();
    recorder.finish();
    EXPECT_EQ(zelt_cli_test::readFile(folder / "camera0.csv"),
              "index,host_ticks,seconds,bytes,frame_counter\n");
    EXPECT_EQ(recorder.report().video_file, "");
    EXPECT_EQ(recorder.report().png_file, "");
}

TEST(CameraRecorderTest, FolderThatCannotBeWrittenThrowsAtOnce) {
    EXPECT_THROW(CameraRecorder(plan(false), "/nonexistent-folder/for/sure"), std::runtime_error);
}

}  // namespace
}  // namespace zelt::cli
