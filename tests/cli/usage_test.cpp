// The command line itself: help, version and wrong arguments.
#include "tool_fixture.h"

namespace zelt_cli_test {
namespace {

using UsageTest = ToolTest;

TEST_F(UsageTest, HelpWorksOnEveryCommand) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"--help"}, "Usage: zelt-camera [GLOBAL OPTIONS] COMMAND [OPTIONS]"},
        {{"help"}, "Usage: zelt-camera [GLOBAL OPTIONS] COMMAND [OPTIONS]"},
        {{"list", "--help"}, "Usage: zelt-camera list [--json]"},
        {{"info", "--help"}, "Usage: zelt-camera info CHANNEL [--json]"},
        {{"topology", "-h"}, "Usage: zelt-camera topology"},
        {{"record", "--help"}, "Usage: zelt-camera record [--out DIR]"},
        {{"help", "record"}, "Usage: zelt-camera record [--out DIR]"},
    };
    for (const auto& [arguments, first_line] : cases) {
        const RunResult result = run(arguments);
        EXPECT_EQ(result.exit_code, 0) << arguments.front();
        EXPECT_EQ(result.out.rfind(first_line, 0), 0u) << result.out;
        EXPECT_NE(result.out.find("--virtual[=N|FILE]"), std::string::npos) << arguments.front();
        EXPECT_EQ(result.err, "");
    }
}

TEST_F(UsageTest, VersionPrintsTheProjectVersion) {
    const RunResult result = run({"--version"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.out, std::string("zelt-camera ") + ZELT_CLI_VERSION + "\n");
}

TEST_F(UsageTest, WrongCommandLinesExitTwoWithTheReason) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{}, "no command given"},
        {{"film"}, "unknown command 'film'"},
        {{"list", "--colour"}, "unknown option '--colour' for list"},
        {{"info"}, "info needs a CHANNEL"},
        {{"record", "--out", "x", "--frames", "10", "--duration", "1"},
         "record takes --frames N or --duration SECONDS, not both"},
        {{"--virtual", "2", "list"},
         "unknown command '2'; --virtual takes its value after '=': --virtual=2"},
        {{"record", "--out", "x", "--frames", "0"}, "--frames needs a whole number from 1 to"},
        {{"record", "--out", "x", "--duration", "-1"},
         "--duration needs a positive number of seconds, not '-1'"},
        {{"--log-level", "loud", "list"}, "unknown log level 'loud'"},
        {{"--virtual=99", "list"}, "--virtual=N takes 0 to 64 cameras, not 99"},
    };
    for (const auto& [arguments, reason] : cases) {
        const RunResult result = run(arguments);
        EXPECT_EQ(result.exit_code, 2) << result.err;
        EXPECT_NE(result.err.find("zelt-camera: error: " + reason), std::string::npos)
            << result.err;
        EXPECT_NE(result.err.find("Try 'zelt-camera --help'."), std::string::npos) << result.err;
    }
}

}  // namespace
}  // namespace zelt_cli_test
