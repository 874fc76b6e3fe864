// zelt-camera info CHANNEL
#include "tool_fixture.h"

namespace zelt_cli_test {
namespace {

using InfoTest = ToolTest;

// The options of one channel as the JSON output lists them.
struct Option {
    std::string key;
    JsonNode* node;
};

std::vector<Option> optionsOf(const JsonDocument& json) {
    std::vector<Option> options;
    JsonNode* list = member(json.root(), "options");
    for (guint i = 0; i < lengthOf(list); ++i) {
        options.push_back({text(member(element(list, i), "key")), element(list, i)});
    }
    return options;
}

JsonNode* optionNamed(const std::vector<Option>& options, const std::string& key) {
    for (const Option& option : options) {
        if (option.key == key) return option.node;
    }
    throw std::runtime_error("no option " + key);
}

TEST_F(InfoTest, JsonListsEveryCameraOptionInTheChannelsKeyOrder) {
    const RunResult result = run({virtualCameras(twoCameras()), "info", "0", "--json"});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    const JsonDocument json(result.out);
    ASSERT_TRUE(json.ok()) << json.error() << "\n" << result.out;
    EXPECT_EQ(integer(member(json.root(), "id")), 0);
    EXPECT_EQ(text(member(json.root(), "name")), "Cam A");
    std::vector<std::string> keys;
    const auto options = optionsOf(json);
    for (const Option& option : options) keys.push_back(option.key);
    EXPECT_EQ(keys, (std::vector<std::string>{
                        "Used", "Valid", "SampleRate", "FrameOffsetX", "FrameOffsetY", "FrameWidth",
                        "FrameHeight", "PixelAspectRatio", "FrameFormat", "CAMERA/FrameSubsampling",
                        "DefaultName", "ShortId", "AdditionalChannelInfo2",
                        "ID:CAMERA/ChannelIndex", "CAMERA/FrameSetting", "CAMERA/Type",
                        "ChannelType", "SampleUpdateType", "SampleResolution"}));
    EXPECT_EQ(text(member(optionNamed(options, "Used"), "value")), "0");
    EXPECT_EQ(text(member(optionNamed(options, "Used"), "type")), "bool");
    EXPECT_EQ(text(member(optionNamed(options, "SampleRate"), "value")), "0 fps");
    EXPECT_EQ(text(member(optionNamed(options, "SampleRate"), "type")), "scalar");
    EXPECT_EQ(text(member(optionNamed(options, "ID:CAMERA/ChannelIndex"), "value")), "/dev/zelt-a");
    EXPECT_EQ(text(member(optionNamed(options, "ChannelType"), "value")), "13");
    EXPECT_EQ(text(member(optionNamed(options, "CAMERA/FrameSubsampling"), "value")), "1");
}

TEST_F(InfoTest, FrameSettingListsItsValueAndEveryOfferedSettingAsConstraints) {
    const RunResult result = run({virtualCameras(twoCameras()), "info", "0", "--json"});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    const JsonDocument json(result.out);
    ASSERT_TRUE(json.ok()) << json.error();
    JsonNode* setting = optionNamed(optionsOf(json), "CAMERA/FrameSetting");
    EXPECT_EQ(text(member(setting, "value")), "64 x 48 @ 100 fps");
    EXPECT_EQ(text(member(setting, "type")), "string");
    JsonNode* constraints = member(setting, "constraints");
    ASSERT_EQ(lengthOf(constraints), 3u);
    EXPECT_EQ(text(member(element(constraints, 0), "kind")), "option");
    EXPECT_EQ(text(member(element(constraints, 0), "value")), "64 x 48 @ 100 fps");
    EXPECT_EQ(text(member(element(constraints, 1), "value")), "32 x 24 @ 100 fps");
    EXPECT_EQ(text(member(element(constraints, 2), "kind")), "configurable-during-acquisition");
    EXPECT_FALSE(boolean(member(element(constraints, 2), "flag")));
}

TEST_F(InfoTest, CounterChannelByIdListsItsOwnOptions) {
    const RunResult result = run({virtualCameras(twoCameras()), "info", "65537", "--json"});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    const JsonDocument json(result.out);
    ASSERT_TRUE(json.ok()) << json.error();
    EXPECT_EQ(text(member(json.root(), "name")), "Cam B RcvdCNT");
    const auto options = optionsOf(json);
    EXPECT_EQ(text(member(optionNamed(options, "Unit"), "value")), "frames");
    EXPECT_EQ(text(member(optionNamed(options, "Mode"), "value")), "Events");
    EXPECT_EQ(text(member(optionNamed(options, "ID:CAMERA/SubChannelId"), "value")), "CntReceived");
    EXPECT_EQ(text(member(optionNamed(options, "ID:CAMERA/ChannelIndex"), "value")), "/dev/zelt-b");
}

TEST_F(InfoTest, ChannelIsFoundByDevicePathAndByName) {
    const std::string cameras = virtualCameras(twoCameras());
    const RunResult by_path = run({cameras, "info", "/dev/zelt-b", "--json"});
    ASSERT_EQ(by_path.exit_code, 0) << by_path.err;
    const RunResult by_name = run({cameras, "info", "Cam B", "--json"});
    ASSERT_EQ(by_name.exit_code, 0) << by_name.err;
    const JsonDocument path_json(by_path.out);
    const JsonDocument name_json(by_name.out);
    ASSERT_TRUE(path_json.ok() && name_json.ok());
    EXPECT_EQ(integer(member(path_json.root(), "id")), 1);
    EXPECT_EQ(integer(member(name_json.root(), "id")), 1);
}

TEST_F(InfoTest, TextShowsKeyValueAndConstraintsInKeyOrder) {
    const RunResult result = run({virtualCameras(twoCameras()), "info", "1"});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    const auto lines = splitLines(result.out);
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines[0], "channel 1  Cam B");
    EXPECT_EQ(lines[1], "  Used                     0");
    // Keys in a column as wide as the longest key ("CAMERA/FrameSubsampling", 23).
    EXPECT_NE(result.out.find("  CAMERA/FrameSetting      64 x 48 @ 100 fps\n"
                              "                           option 64 x 48 @ 100 fps; "
                              "not configurable during acquisition\n"),
              std::string::npos)
        << result.out;
}

TEST_F(InfoTest, UnknownChannelExitsFourAndListsTheCameras) {
    const RunResult result = run({virtualCameras(twoCameras()), "info", "7"});
    EXPECT_EQ(result.exit_code, 4);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err,
              "zelt-camera: error: unknown channel '7'; the cameras are:\n"
              "  0  Cam A  /dev/zelt-a\n"
              "  1  Cam B  /dev/zelt-b\n");
}

}  // namespace
}  // namespace zelt_cli_test
