// Bad input from the host to the channels: unknown keys, every wrong alternative for every
// key, values an option refuses. Each answer is the channel's documented one, and nothing
// the host can observe changes.
#include <boost/variant/get.hpp>
#include <map>
#include <stdexcept>

#include "host_input_fixture.h"

namespace zelt_reliability {
namespace {

namespace ci = config_items;

/// A key of a channel and the alternatives its option reads; every other alternative is the
/// wrong type for it.
struct KeyRule {
    std::string key;
    std::set<int> read_alternatives;
};

// The camera channel's keys in their order. Options that take no value at all (constants,
// "Valid") read no alternative.
const std::vector<KeyRule> kCameraKeys = {
    {"Used", {ci::kBoolItem}},
    {"Valid", {}},
    {"SampleRate", {ci::kScalarItem}},
    {"FrameOffsetX", {ci::kScalarItem}},
    {"FrameOffsetY", {ci::kScalarItem}},
    {"FrameWidth", {ci::kScalarItem}},
    {"FrameHeight", {ci::kScalarItem}},
    {"PixelAspectRatio", {ci::kScalarItem}},
    {"FrameFormat", {ci::kStringItem}},
    {"CAMERA/FrameSubsampling", {ci::kUnsignedItem}},
    {"DefaultName", {}},
    {"ShortId", {}},
    {"AdditionalChannelInfo2", {}},
    {"ID:CAMERA/ChannelIndex", {}},
    {"CAMERA/FrameSetting", {ci::kStringItem}},
    {"CAMERA/Type", {}},
    {"ChannelType", {}},
    {"SampleUpdateType", {}},
    {"SampleResolution", {}},
};

// The frame counter channel's keys in their order: constants, and its "Used" flag.
const std::vector<KeyRule> kCounterKeys = {
    {"DefaultName", {}},
    {"ShortId", {}},
    {"Unit", {}},
    {"Range", {}},
    {"Mode", {}},
    {"Threshold", {}},
    {"ReTrigger", {}},
    {"Counter_Filter", {}},
    {"ChannelType", {}},
    {"SampleUpdateType", {}},
    {"SampleResolution", {}},
    {"ID:CAMERA/ChannelIndex", {}},
    {"ID:CAMERA/SubChannelId", {}},
    {"AdditionalChannelInfo2", {}},
    {"Used", {ci::kBoolItem}},
};

const std::map<std::uint32_t, const std::vector<KeyRule>*> kChannels = {
    {0u, &kCameraKeys}, {1u, &kCameraKeys}, {0x10000u, &kCounterKeys}, {0x10001u, &kCounterKeys}};

std::vector<std::string> keys_of(const std::vector<KeyRule>& rules) {
    std::vector<std::string> keys;
    for (const auto& rule : rules) keys.push_back(rule.key);
    return keys;
}

using ChannelInputTest = HostInputTest;

TEST_F(ChannelInputTest, KeyTablesCoverEveryKeyOfEveryChannel) {
    for (const auto& [id, rules] : kChannels)
        EXPECT_EQ(channel(id)->getKeys(), keys_of(*rules)) << "channel " << id;
}

TEST_F(ChannelInputTest, UnknownKeysAnswerInvalidItemFalseAndNoConstraints) {
    const std::string before = observe();
    for (const auto& [id, rules] : kChannels) {
        const auto target = channel(id);
        for (const std::string& key : unknown_keys()) {
            if (id >= 0x10000u && key == "Unit") continue;  // a counter's own key
            SCOPED_TRACE("channel " + std::to_string(id) + " key '" + key + "'");
            EXPECT_FALSE(target->hasKey(key));
            const ConfigItem item = target->getConfigItem(key);
            ASSERT_EQ(item.which(), ci::kInvalidItem);
            EXPECT_EQ(ci::toString(item), "Invalid ConfigItem");
            EXPECT_TRUE(target->getConstraints(key).empty());
            for (const ConfigItem& value : one_item_of_each_alternative())
                EXPECT_FALSE(target->setConfigItem(key, value)) << "alternative " << value.which();
        }
    }
    EXPECT_EQ(observe(), before);
    EXPECT_TRUE(m_assertions.reports().empty());
}

TEST_F(ChannelInputTest, EveryWrongAlternativeForEveryKeyIsRefusedAndChangesNothing) {
    const std::string before = observe();
    std::size_t writes = 0;
    for (const auto& [id, rules] : kChannels) {
        const auto target = channel(id);
        for (const KeyRule& rule : *rules) {
            for (const ConfigItem& value : one_item_of_each_alternative()) {
                if (rule.read_alternatives.count(value.which()) != 0) continue;
                EXPECT_FALSE(target->setConfigItem(rule.key, value))
                    << "channel " << id << " key " << rule.key << " alternative " << value.which();
                ++writes;
            }
        }
    }
    EXPECT_EQ(writes, 2 * (19 * 20 - 10) + 2 * (15 * 20 - 1));
    EXPECT_EQ(observe(), before);
    EXPECT_TRUE(m_assertions.reports().empty());
}

TEST_F(ChannelInputTest, ScalarOfAnotherUnitIsRefusedWithTheUnitAssertion) {
    const std::string before = observe();
    std::size_t expected_reports = 0;
    for (const KeyRule& rule : kCameraKeys) {
        if (rule.read_alternatives.count(ci::kScalarItem) == 0) continue;
        EXPECT_FALSE(channel(0)->setConfigItem(rule.key, ci::ScalarConfigItem(2.5, "V")))
            << rule.key;
        ++expected_reports;
    }
    EXPECT_EQ(observe(), before);
    const auto reports = m_assertions.reports();
    ASSERT_EQ(reports.size(), expected_reports);
    for (const auto& report : reports) {
        EXPECT_EQ(report.expression, "scalar.m_unit == m_unit");
        EXPECT_EQ(report.source, "lib/zelt_plugin_util/src/zeltpu_simple_channel_config_options");
        EXPECT_EQ(report.line, 223);
    }
}

TEST_F(ChannelInputTest, SubsamplingZeroIsRefused) {
    const std::string before = observe();
    EXPECT_FALSE(channel(0)->setConfigItem("CAMERA/FrameSubsampling",
                                           ci::SingleValueConfigItem<unsigned int>(0u)));
    EXPECT_EQ(observe(), before);
}

TEST_F(ChannelInputTest, UnknownFrameSettingIsRefusedAndLeavesNoModeSelectedUntilOneIsChosen) {
    const auto camera = channel(0);
    const std::string mode = text(0, "CAMERA/FrameSetting");
    for (const std::string& bad : {std::string("bad input"), std::string("1920 x 1080 @ 30 fps"),
                                   std::string("64 x 48 @ 100/0 fps"), std::string()}) {
        EXPECT_FALSE(camera->setConfigItem("CAMERA/FrameSetting", ci::StringConfigItem(bad)))
            << bad;
        // The choice failed: no mode is selected, and reading the setting throws.
        try {
            camera->getConfigItem("CAMERA/FrameSetting");
            ADD_FAILURE() << "reading the frame setting after '" << bad << "' did not throw";
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "Could not retrieve current caps value");
        }
        ASSERT_TRUE(camera->setConfigItem("CAMERA/FrameSetting", ci::StringConfigItem(mode)));
        EXPECT_EQ(text(0, "CAMERA/FrameSetting"), mode);
    }
    // The other camera is not touched.
    EXPECT_EQ(text(1, "CAMERA/FrameSetting"), mode);
}

TEST_F(ChannelInputTest, OptionsWithoutRangeTakeAnyValueOfTheirTypeAndUnit) {
    // Read-only in their constraints, but writable: the camera publishes them itself and
    // overwrites them at the next first frame.
    EXPECT_TRUE(channel(0)->setConfigItem("FrameWidth", ci::ScalarConfigItem(-1.0, "pixel")));
    EXPECT_EQ(text(0, "FrameWidth"), "-1 pixel");
    EXPECT_TRUE(channel(0)->setConfigItem("FrameFormat", ci::StringConfigItem("bad input")));
    EXPECT_EQ(text(0, "FrameFormat"), "bad input");
    EXPECT_EQ(text(1, "FrameWidth"), "0 pixel");
    EXPECT_EQ(text(1, "FrameFormat"), "");
}

TEST_F(ChannelInputTest, WrongItemsWhileAcquiringLeaveTheFramesUnbroken) {
    auto sink = attachSink(0);
    ASSERT_TRUE(startAcquisition({0}, m_time_source));
    ASSERT_TRUE(sink->waitForSamples(5, 5s));
    const auto target = channel(0);
    for (const KeyRule& rule : kCameraKeys) {
        for (const ConfigItem& value : one_item_of_each_alternative()) {
            if (rule.read_alternatives.count(value.which()) != 0) continue;
            EXPECT_FALSE(target->setConfigItem(rule.key, value)) << rule.key;
        }
    }
    for (const std::string& key : unknown_keys())
        EXPECT_FALSE(target->setConfigItem(key, ci::SingleValueConfigItem<bool>(false)));
    ASSERT_TRUE(sink->waitForSamples(sink->sampleCount() + 20, 5s));
    stopAcquisition();
    const auto samples = sink->samples();
    for (std::size_t i = 1; i < samples.size(); ++i)
        ASSERT_EQ(sequence_of(samples[i]), sequence_of(samples[i - 1]) + 1) << "frame " << i;
    EXPECT_EQ(text(0, "Valid"), "1");
    EXPECT_TRUE(m_assertions.reports().empty());
}

}  // namespace
}  // namespace zelt_reliability
