#include "cli_options.h"

#include <gtest/gtest.h>

#include "cli_error.h"

namespace zelt::cli {
namespace {

ExitCode usageCode(const std::vector<std::string>& arguments, std::string* message = nullptr) {
    try {
        parseArguments(arguments);
    } catch (const CliError& error) {
        if (message != nullptr) *message = error.what();
        return error.code();
    }
    return ExitCode::kOk;
}

TEST(CliOptionsTest, GlobalOptionsStandBeforeOrAfterTheCommand) {
    const CommandLine before =
        parseArguments({"--plugin", "/p.so", "--virtual", "--log-level=debug", "list", "--json"});
    EXPECT_EQ(before.command, Command::kList);
    EXPECT_EQ(before.global.plugin_path, "/p.so");
    EXPECT_EQ(before.global.virtual_cameras, "1");
    EXPECT_EQ(before.global.log_level, "debug");
    EXPECT_TRUE(before.list.json);

    const CommandLine after = parseArguments({"list", "--virtual=3", "--plugin=/q.so"});
    EXPECT_EQ(after.global.virtual_cameras, "3");
    EXPECT_EQ(after.global.plugin_path, "/q.so");
    EXPECT_FALSE(after.list.json);
}

TEST(CliOptionsTest, VirtualTakesItsValueOnlyAfterAnEqualsSign) {
    // "--virtual list" is a bare --virtual followed by the command, not --virtual=list.
    const CommandLine line = parseArguments({"--virtual", "list"});
    EXPECT_EQ(line.command, Command::kList);
    EXPECT_EQ(line.global.virtual_cameras, "1");
    EXPECT_EQ(parseArguments({"--virtual=cams.json", "list"}).global.virtual_cameras, "cams.json");
    EXPECT_EQ(usageCode({"--virtual=", "list"}), ExitCode::kUsage);
}

TEST(CliOptionsTest, RecordTakesRepeatedCamerasAndItsNumbers) {
    const CommandLine line =
        parseArguments({"record", "--out", "rec", "--camera", "0", "--camera=/dev/video2",
                        "--setting", "640 x 480 @ 30 fps", "--subsampling", "3", "--frames=90"});
    EXPECT_EQ(line.command, Command::kRecord);
    EXPECT_EQ(line.record.out, "rec");
    EXPECT_EQ(line.record.cameras, (std::vector<std::string>{"0", "/dev/video2"}));
    ASSERT_EQ(line.record.settings.size(), 1u);
    EXPECT_FALSE(line.record.settings[0].channel.has_value());
    EXPECT_EQ(line.record.settings[0].text, "640 x 480 @ 30 fps");
    EXPECT_EQ(line.record.subsampling, 3u);
    EXPECT_EQ(line.record.frames, 90u);
    EXPECT_FALSE(line.record.duration_seconds.has_value());

    EXPECT_DOUBLE_EQ(
        *parseArguments({"record", "--out", "r", "--duration", "2.5"}).record.duration_seconds,
        2.5);
}

TEST(CliOptionsTest, SettingsMayNameTheirCameraAndRecordingMayBeOpenEnded) {
    const CommandLine line =
        parseArguments({"record", "--setting", "0=640x480@30", "--setting",
                        "Cam B=32 x 24 @ 100 fps", "--setting", "64x48@100", "--codec", "h264",
                        "--start-timeout", "2.5", "--fail-fast", "--memory", "64", "--overwrite"});
    ASSERT_EQ(line.record.settings.size(), 3u);
    EXPECT_EQ(line.record.settings[0].channel, "0");
    EXPECT_EQ(line.record.settings[0].text, "640x480@30");
    EXPECT_EQ(line.record.settings[1].channel, "Cam B");
    EXPECT_EQ(line.record.settings[1].text, "32 x 24 @ 100 fps");
    EXPECT_FALSE(line.record.settings[2].channel.has_value());
    EXPECT_EQ(line.record.codec, "h264");
    EXPECT_DOUBLE_EQ(line.record.start_timeout_seconds, 2.5);
    EXPECT_TRUE(line.record.fail_fast);
    EXPECT_EQ(line.record.memory_mib, 64u);
    EXPECT_TRUE(line.record.overwrite);
    // Neither --frames nor --duration, nor --out: until stopped, into a new folder.
    EXPECT_TRUE(line.record.out.empty());
    EXPECT_FALSE(line.record.frames.has_value());
    EXPECT_FALSE(line.record.duration_seconds.has_value());

    std::string message;
    EXPECT_EQ(usageCode({"record", "--frames", "3", "--duration", "1"}, &message),
              ExitCode::kUsage);
    EXPECT_EQ(message, "record takes --frames N or --duration SECONDS, not both");
    EXPECT_EQ(usageCode({"record", "--codec", "mpeg2"}, &message), ExitCode::kUsage);
    EXPECT_EQ(message, "--codec takes raw, ffv1 or h264, not 'mpeg2'");
    EXPECT_EQ(usageCode({"record", "--setting", "=640x480@30"}, &message), ExitCode::kUsage);
    EXPECT_EQ(message, "--setting '=640x480@30' names no channel");
}

TEST(CliOptionsTest, ACountAfterABareVirtualIsExplained) {
    std::string message;
    EXPECT_EQ(usageCode({"--virtual", "2", "list"}, &message), ExitCode::kUsage);
    EXPECT_EQ(message, "unknown command '2'; --virtual takes its value after '=': --virtual=2");
}

TEST(CliOptionsTest, InfoTakesOneChannel) {
    const CommandLine line = parseArguments({"info", "Virtual Camera 0", "--json"});
    EXPECT_EQ(line.info.channel, "Virtual Camera 0");
    EXPECT_TRUE(line.info.json);
    std::string message;
    EXPECT_EQ(usageCode({"info", "0", "1"}, &message), ExitCode::kUsage);
    EXPECT_EQ(message, "unexpected argument '1'");
    EXPECT_EQ(usageCode({"info"}, &message), ExitCode::kUsage);
    EXPECT_EQ(message, "info needs a CHANNEL");
}

TEST(CliOptionsTest, HelpAskedAnywhereNamesTheCommandAndSkipsItsChecks) {
    const CommandLine line = parseArguments({"record", "--help"});
    EXPECT_TRUE(line.global.help);
    EXPECT_EQ(line.help_topic, Command::kRecord);
    const CommandLine topic = parseArguments({"help", "info"});
    EXPECT_TRUE(topic.global.help);
    EXPECT_EQ(topic.help_topic, Command::kInfo);
    EXPECT_TRUE(parseArguments({"--version"}).global.version);
    EXPECT_EQ(helpText(Command::kRecord).rfind("Usage: zelt-camera record [--out DIR]", 0), 0u);
}

TEST(CliOptionsTest, WrongNumbersAndMissingValuesAreUsageErrors) {
    std::string message;
    EXPECT_EQ(usageCode({"record", "--out", "r", "--frames", "ten"}, &message), ExitCode::kUsage);
    EXPECT_EQ(message, "--frames needs a whole number from 1 to 4294967295, not 'ten'");
    EXPECT_EQ(usageCode({"record", "--out", "r", "--frames", "-5"}, &message), ExitCode::kUsage);
    EXPECT_EQ(usageCode({"record", "--out", "r", "--subsampling", "0", "--frames", "1"}, &message),
              ExitCode::kUsage);
    EXPECT_EQ(message, "--subsampling needs a whole number from 1 to 4294967295, not '0'");
    EXPECT_EQ(usageCode({"record", "--out", "r", "--duration", "nan"}, &message), ExitCode::kUsage);
    EXPECT_EQ(usageCode({"record", "--out"}, &message), ExitCode::kUsage);
    EXPECT_EQ(message, "--out needs a value");
    EXPECT_EQ(usageCode({"list", "--json=yes"}, &message), ExitCode::kUsage);
    EXPECT_EQ(message, "--json takes no value");
    EXPECT_EQ(usageCode({"--json", "list"}, &message), ExitCode::kUsage);
    EXPECT_EQ(message,
              "unknown option '--json' (the command comes first: zelt-camera COMMAND [OPTIONS])");
    EXPECT_EQ(usageCode({"topology", "--frames", "3"}, &message), ExitCode::kUsage);
    EXPECT_EQ(message, "unknown option '--frames' for topology");
}

}  // namespace
}  // namespace zelt::cli
