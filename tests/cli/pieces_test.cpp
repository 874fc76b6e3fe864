// Small pieces of the tool: formats, table rows, progress lines, constraint texts, folders,
// the table writer and the time axis.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <thread>

#include "cli_error.h"
#include "cli_test_support.h"
#include "csv_writer.h"
#include "option_description.h"
#include "output_folder.h"
#include "pixel_formats.h"
#include "progress.h"
#include "time_axis.h"

namespace zelt::cli {
namespace {

TEST(PixelFormatsTest, CameraFormatsMapToRawFormatsMatroskaHolds) {
    const auto check = [](const char* fourcc, const char* gst, const char* stored) {
        std::uint32_t code = 0;
        for (int i = 0; fourcc[i] != '\0'; ++i) {
            code |= static_cast<std::uint32_t>(static_cast<unsigned char>(fourcc[i])) << (8 * i);
        }
        const auto format = storedFormatOf(code);
        ASSERT_TRUE(format.has_value()) << fourcc;
        EXPECT_EQ(format->gst_format, gst) << fourcc;
        EXPECT_EQ(format->stored_format, stored) << fourcc;
        EXPECT_EQ(fourccName(code), fourcc);
    };
    check("YUY2", "YUY2", "YUY2");
    check("I420", "I420", "I420");
    check("YU12", "I420", "I420");
    check("Y422", "UYVY", "UYVY");
    check("Y800", "GRAY8", "GRAY8");
    check("RGB", "RGB", "RGB");
    check("BGR", "BGR", "BGR");
    check("NV12", "NV12", "I420");
    check("NV21", "NV21", "I420");
}

TEST(PixelFormatsTest, FormatsWithoutALosslessRawFormAreRefused) {
    EXPECT_FALSE(storedFormatOf(0x41424752).has_value());  // RGBA
    EXPECT_FALSE(storedFormatOf(0x47524247).has_value());  // GBRG
    EXPECT_FALSE(storedFormatOf(0x31313459).has_value());  // Y411
    EXPECT_FALSE(storedFormatOf(0).has_value());
}

TEST(CsvRowTest, WritesTicksSecondsWithNanosecondsBytesAndCounter) {
    CsvRow row;
    row.index = 3;
    row.host_ticks = 1035716;
    row.seconds = 0.1000041;
    row.bytes = 6156;
    row.frame_counter = 3;
    EXPECT_EQ(csvRowText(row), "3,1035716,0.100004100,6156,3");
    row.frame_counter.reset();
    EXPECT_EQ(csvRowText(row), "3,1035716,0.100004100,6156,");
}

TEST(ProgressTest, LineShowsFramesRateElapsedRemainingAndDrops) {
    CameraProgress camera{"camera0 Cam A", 120, 0, 29.97};
    EXPECT_EQ(progressLine(camera, 4.0, 6.04),
              "camera0 Cam A: 120 frames, 30.0 fps, 4.0 s elapsed, 6.0 s left");
    camera.dropped = 3;
    EXPECT_EQ(progressLine(camera, 4.0, std::nullopt),
              "camera0 Cam A: 120 frames, 30.0 fps, 4.0 s elapsed, time left unknown, 3 dropped");
}

TEST(ProgressTest, NothingIsDrawnOffATerminalButMessagesPass) {
    std::ostringstream out;
    ProgressDisplay display(out, false);
    display.update({{"camera0 Cam A", 1, 0, 1.0}}, 1.0, 1.0);
    display.message("zelt-camera: plug-in error: x");
    display.clear();
    EXPECT_EQ(out.str(), "zelt-camera: plug-in error: x\n");
}

TEST(ProgressTest, TerminalLinesAreRedrawnInPlaceAndMessagesGoAboveThem) {
    std::ostringstream out;
    ProgressDisplay display(out, true);
    display.update({{"a", 1, 0, 1.0}}, 1.0, 1.0);
    display.message("note");
    display.clear();
    const std::string line = "a: 1 frames, 1.0 fps, 1.0 s elapsed, 1.0 s left\n";
    const std::string erase = "\x1b[1A\r\x1b[2K";
    EXPECT_EQ(out.str(), line + erase + "note\n" + line + erase);
}

TEST(OptionDescriptionTest, DescribesEveryConstraintKind) {
    const auto option =
        describeConstraint(config_items::OptionConstraint<config_items::StringConfigItem>(
            config_items::StringConfigItem("640 x 480 @ 30 fps")));
    EXPECT_EQ(option.kind, "option");
    EXPECT_EQ(option.value, "640 x 480 @ 30 fps");
    EXPECT_EQ(constraintText(option), "option 640 x 480 @ 30 fps");

    const auto flag = describeConstraint(
        config_items::OptionConstraint<config_items::SingleValueConfigItem<bool>>(
            config_items::SingleValueConfigItem<bool>(true)));
    EXPECT_EQ(flag.value, "1");

    const auto range = describeConstraint(config_items::ValueRangeConstraint<double>(1, 10));
    EXPECT_EQ(range.kind, "range");
    EXPECT_EQ(constraintText(range), "range 1 .. 10");

    EXPECT_EQ(constraintText(describeConstraint(channel_config::ReadOnlyConstraint(true))),
              "read-only");
    EXPECT_EQ(constraintText(describeConstraint(
                  channel_config::ConfigurableDuringAcquisitionConstraint(false))),
              "not configurable during acquisition");
    EXPECT_EQ(constraintText(describeConstraint(config_items::BooleanConstraint(true))),
              "flag true");
    const auto dependent = describeConstraint(channel_config::DependentCfgItemConstraint(
        {{channel_config::ChannelID{5, 0x10000}, {"Used", "Valid"}}}));
    EXPECT_EQ(constraintText(dependent), "depends on 0x0000000500010000 Used, Valid");
}

TEST(CsvWriterTest, RowsReachTheFileInWholeLinesAndAFailedWriteKeepsOnlyWholeLines) {
    zelt_cli_test::TempDir scratch;
    const std::string path = scratch / "table.csv";
    CsvWriter writer(path, std::chrono::milliseconds(0));  // every row at once
    CsvRow row;
    row.host_ticks = 10;
    row.bytes = 6156;
    writer.write(row);
    EXPECT_EQ(zelt_cli_test::readFile(path),
              std::string(kCsvHeader) + "\n0,10,0.000000000,6156,\n");
    writer.close();

    // A file size limit of 100 bytes: the third row does not fit and is cut off whole.
    struct rlimit previous {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &previous), 0);
    const auto previous_handler = signal(SIGXFSZ, SIG_IGN);
    struct rlimit limit = previous;
    limit.rlim_cur = 100;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    std::string failure;
    {
        CsvWriter limited(scratch / "limited.csv", std::chrono::milliseconds(0));
        try {
            for (std::uint64_t index = 0; index < 5; ++index) {
                row.index = index;
                limited.write(row);
            }
        } catch (const std::runtime_error& error) {
            failure = error.what();
        }
    }
    setrlimit(RLIMIT_FSIZE, &previous);
    signal(SIGXFSZ, previous_handler);
    EXPECT_EQ(failure, "cannot write '" + (scratch / "limited.csv") + "': File too large");
    const std::string text = zelt_cli_test::readFile(scratch / "limited.csv");
    EXPECT_EQ(text, std::string(kCsvHeader) + "\n0,10,0.000000000,6156,\n1,10,0.000000000,6156,\n");
}

TEST(TimeAxisTest, StartIsTheEarliestFirstFrameOnceEveryCameraReported) {
    TimeAxis axis(2, std::chrono::seconds(30));
    axis.firstFrame(500);
    std::thread late([&axis] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        axis.firstFrame(300);
    });
    EXPECT_EQ(axis.start(500), 300u);  // waited for the second camera
    late.join();
    EXPECT_EQ(axis.fixedStart(), 300u);
    axis.firstFrame(100);  // too late: the start stays
    EXPECT_EQ(axis.start(100), 300u);
}

TEST(TimeAxisTest, ACameraThatNeverDeliversHoldsTheOthersBackOnlyTheGraceTime) {
    TimeAxis axis(2, std::chrono::milliseconds(50));
    axis.firstFrame(700);
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(axis.start(700), 700u);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(40));

    TimeAxis left(2, std::chrono::seconds(30));
    left.cameraLeft();  // it did not start: nobody waits for it
    left.firstFrame(900);
    EXPECT_EQ(left.start(900), 900u);
}

TEST(OptionDescriptionTest, NamesItemTypes) {
    EXPECT_STREQ(itemTypeName(config_items::StringConfigItem("x")), "string");
    EXPECT_STREQ(itemTypeName(config_items::ScalarConfigItem(1.0, "fps")), "scalar");
    EXPECT_STREQ(itemTypeName(config_items::SingleValueConfigItem<unsigned int>(1)), "unsigned");
    EXPECT_STREQ(itemTypeName(config_items::InvalidConfigItem()), "invalid");
}

TEST(OutputFolderTest, CreatesMissingFoldersOnlyWhenAskedAndAnswersTheAbsolutePath) {
    zelt_cli_test::TempDir scratch;
    OutputFolder folder(scratch / "a/b/c/", false);
    EXPECT_EQ(folder.path(), scratch / "a/b/c");
    EXPECT_FALSE(zelt_cli_test::fileExists(scratch / "a"));  // nothing made by checking
    folder.create();
    struct stat info {};
    ASSERT_EQ(stat((scratch / "a/b/c").c_str(), &info), 0);
    EXPECT_TRUE(S_ISDIR(info.st_mode));
    EXPECT_FALSE(zelt_cli_test::fileExists(scratch / "a/b/c/.zelt-camera-write-test"));
    // An existing empty folder is fine too.
    EXPECT_EQ(OutputFolder(scratch / "a/b/c", false).path(), scratch / "a/b/c");
}

TEST(OutputFolderTest, AFolderThatHoldsFilesIsRefusedUnlessOverwritten) {
    zelt_cli_test::TempDir scratch;
    zelt_cli_test::writeFile(scratch / "camera3.csv", "old");
    zelt_cli_test::writeFile(scratch / "recording.json", "{}");
    zelt_cli_test::writeFile(scratch / "notes.txt", "mine");
    try {
        OutputFolder(scratch.path(), false);
        FAIL() << "no error";
    } catch (const CliError& error) {
        EXPECT_EQ(error.code(), ExitCode::kOutputNotWritable);
        EXPECT_EQ(std::string(error.what()),
                  "the output folder '" + scratch.path() +
                      "' is not empty; name a new folder, or add --overwrite to replace the "
                      "recording in it");
    }
    OutputFolder overwritten(scratch.path(), true);
    overwritten.create();
    // The earlier recording's files go, so that takes never mix; the user's own stay.
    EXPECT_FALSE(zelt_cli_test::fileExists(scratch / "camera3.csv"));
    EXPECT_FALSE(zelt_cli_test::fileExists(scratch / "recording.json"));
    EXPECT_TRUE(zelt_cli_test::fileExists(scratch / "notes.txt"));
}

TEST(OutputFolderTest, WithoutAFolderANewTimeStampedOneIsNamed) {
    const OutputFolder folder("", false);
    const std::string name = folder.path().substr(folder.path().rfind('/') + 1);
    EXPECT_EQ(name.rfind("zelt-recording-", 0), 0u) << name;
    EXPECT_EQ(name.size(), std::string("zelt-recording-20260101-120000").size()) << name;
    EXPECT_FALSE(zelt_cli_test::fileExists(folder.path()));
}

TEST(OutputFolderTest, FolderUnderAFileIsRefusedWithTheReason) {
    zelt_cli_test::TempDir scratch;
    zelt_cli_test::writeFile(scratch / "file", "x");
    try {
        OutputFolder(scratch / "file/sub", false).create();
        FAIL() << "no error";
    } catch (const CliError& error) {
        EXPECT_EQ(error.code(), ExitCode::kOutputNotWritable);
        EXPECT_EQ(std::string(error.what()), "cannot write to the output folder '" +
                                                 (scratch / "file/sub") + "': Not a directory");
    }
}

}  // namespace
}  // namespace zelt::cli
