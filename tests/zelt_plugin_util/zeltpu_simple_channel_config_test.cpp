#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <boost/make_shared.hpp>
#include <string>
#include <vector>

#include "test_assertions.h"
#include "zeltpu/keys.h"
#include "zeltpu/simple_channel_config.h"
#include "zeltpu_test_support.h"

namespace {

namespace pu = zelt::plugin_util;
namespace keys = zelt::plugin_util::keys;
using config_items::ConfigItem;
using config_items::ConstraintList;
using config_items::SingleValueConfigItem;
using config_items::StringConfigItem;
using zeltpu_test::RecordingSampleSink;

constexpr const char* kSource = "lib/zelt_plugin_util/src/zeltpu_simple_channel_config";
using Keys = std::vector<std::string>;

// A channel whose options "Rate", "Width" and "Format" are offered only while it is used, as
// a camera hides its settings when it is switched off.
class UsedChannel : public pu::SimpleChannelConfig {
public:
    UsedChannel() {
        const auto while_used = [this] { return usage().isUsed(); };
        addOption(boost::make_shared<pu::ChannelUsedOption>(usage()));
        addOption(boost::make_shared<pu::SimpleStringOption>("Rate", "30", while_used));
        addOption(
            boost::make_shared<pu::ConstantGenericOption<std::string>>(keys::kDefaultName, "Cam"));
        addOption(boost::make_shared<pu::SimpleStringOption>("Width", "640", while_used));
        addOption(boost::make_shared<pu::GenericOption<bool>>(
            "Format", while_used, []() -> ConfigItem { return SingleValueConfigItem<bool>(true); },
            [](const bool&) { return true; }, [] { return ConstraintList(); }));
    }

    using SimpleChannelConfig::setOptionValue;
};

// A channel whose options follow one flag each, toggled from outside.
class FlagChannel : public pu::SimpleChannelConfig {
public:
    static constexpr std::size_t kCount = 6;

    FlagChannel() {
        m_flags.fill(true);
        for (std::size_t i = 0; i < kCount; ++i) {
            addOption(boost::make_shared<pu::SimpleStringOption>(name(i), "",
                                                                 [this, i] { return m_flags[i]; }));
        }
        addOption(boost::make_shared<pu::ConstantGenericOption<bool>>("Constant", true));
    }

    static std::string name(std::size_t i) { return "Option" + std::to_string(i); }

    void setFlag(std::size_t i, bool flag) { m_flags[i] = flag; }
    Keys expectedKeys() const {
        Keys expected;
        for (std::size_t i = 0; i < kCount; ++i) {
            if (m_flags[i]) expected.push_back(name(i));
        }
        expected.push_back("Constant");
        return expected;
    }

private:
    std::array<bool, kCount> m_flags;
};

class SimpleChannelConfigTest : public ::testing::Test {
protected:
    test::RecordingAssertions m_assertions;
    UsedChannel m_channel;
};

const Keys kAllUsedKeys = {"Used", "Rate", "DefaultName", "Width", "Format"};

TEST_F(SimpleChannelConfigTest, UnusedChannelListsOnlyTheOptionsAvailableWithoutUse) {
    EXPECT_EQ(m_channel.getKeys(), (Keys{"Used", "DefaultName"}));
}

TEST_F(SimpleChannelConfigTest, SwitchingUsedOnListsTheDependentKeysInRegistrationOrder) {
    EXPECT_TRUE(m_channel.setConfigItem("Used", SingleValueConfigItem<bool>(true)));
    EXPECT_EQ(m_channel.getKeys(), kAllUsedKeys);
    EXPECT_TRUE(m_channel.hasKey("Rate"));
    EXPECT_TRUE(m_channel.hasKey("Format"));
}

TEST_F(SimpleChannelConfigTest, SwitchingUsedOffHidesTheDependentKeysAndOnRestoresThem) {
    m_channel.setConfigItem("Used", SingleValueConfigItem<bool>(true));
    EXPECT_TRUE(m_channel.setConfigItem("Used", SingleValueConfigItem<bool>(false)));
    EXPECT_EQ(m_channel.getKeys(), (Keys{"Used", "DefaultName"}));
    for (const char* key : {"Rate", "Width", "Format"}) EXPECT_FALSE(m_channel.hasKey(key)) << key;
    EXPECT_TRUE(m_channel.hasKey("Used"));

    EXPECT_TRUE(m_channel.setConfigItem("Used", SingleValueConfigItem<bool>(true)));
    EXPECT_EQ(m_channel.getKeys(), kAllUsedKeys);
}

TEST_F(SimpleChannelConfigTest, SetConfigItemOnAConstantOptionReturnsFalse) {
    EXPECT_FALSE(m_channel.setConfigItem(keys::kDefaultName, StringConfigItem("Other")));
    EXPECT_EQ(boost::get<StringConfigItem>(m_channel.getConfigItem(keys::kDefaultName)).m_value,
              "Cam");
}

TEST_F(SimpleChannelConfigTest, SetConfigItemOfUnknownKeyReturnsFalse) {
    EXPECT_FALSE(m_channel.setConfigItem("NoSuchKey", SingleValueConfigItem<bool>(true)));
    EXPECT_TRUE(m_assertions.reports().empty());
}

TEST_F(SimpleChannelConfigTest, GetConfigItemOfUnknownKeyIsAnInvalidItemWithoutMessage) {
    const ConfigItem item = m_channel.getConfigItem("NoSuchKey");
    ASSERT_EQ(item.which(), config_items::kInvalidItem);
    EXPECT_FALSE(boost::get<config_items::InvalidConfigItem>(item).m_message.has_value());
    EXPECT_EQ(config_items::toString(item), "Invalid ConfigItem");
    EXPECT_TRUE(m_assertions.reports().empty());
}

TEST_F(SimpleChannelConfigTest, GetConfigItemOfAnUnavailableOptionIsReportedAtLine39) {
    const ConfigItem item = m_channel.getConfigItem("Rate");
    ASSERT_EQ(m_assertions.reports().size(), 1u);
    EXPECT_EQ(m_assertions.reports()[0].expression, "it->second->isAvailable()");
    EXPECT_EQ(m_assertions.reports()[0].source, kSource);
    EXPECT_EQ(m_assertions.reports()[0].line, 39);
    // After the continued report the option still answers.
    EXPECT_EQ(boost::get<StringConfigItem>(item).m_value, "30");
}

TEST_F(SimpleChannelConfigTest, GetConstraintsOfAnUnavailableOptionIsReportedAtLine50) {
    m_channel.getConstraints("Width");
    ASSERT_EQ(m_assertions.reports().size(), 1u);
    EXPECT_EQ(m_assertions.reports()[0].expression, "it->second->isAvailable()");
    EXPECT_EQ(m_assertions.reports()[0].source, kSource);
    EXPECT_EQ(m_assertions.reports()[0].line, 50);
}

TEST_F(SimpleChannelConfigTest, GetConstraintsOfUnknownKeyIsEmpty) {
    EXPECT_TRUE(m_channel.getConstraints("NoSuchKey").empty());
    EXPECT_TRUE(m_assertions.reports().empty());
}

TEST_F(SimpleChannelConfigTest, GetConstraintsAreTheOptionsConstraints) {
    const ConstraintList constraints = m_channel.getConstraints(keys::kDefaultName);
    ASSERT_EQ(constraints.size(), 1u);
    EXPECT_NE(dynamic_cast<const channel_config::ReadOnlyConstraint*>(constraints[0].get()),
              nullptr);
}

TEST_F(SimpleChannelConfigTest, DuplicateKeyIsReportedAtLine80AndTheFirstOptionKept) {
    m_channel.addOption(
        boost::make_shared<pu::ConstantGenericOption<std::string>>(keys::kDefaultName, "Second"));
    ASSERT_EQ(m_assertions.reports().size(), 1u);
    EXPECT_EQ(m_assertions.reports()[0].expression,
              "m_options.find(option->getKey()) == m_options.end()");
    EXPECT_EQ(m_assertions.reports()[0].source, kSource);
    EXPECT_EQ(m_assertions.reports()[0].line, 80);
    EXPECT_EQ(m_channel.getKeys(), (Keys{"Used", "DefaultName"}));
    EXPECT_EQ(boost::get<StringConfigItem>(m_channel.getConfigItem(keys::kDefaultName)).m_value,
              "Cam");
}

TEST_F(SimpleChannelConfigTest, GetKeysNeverListsAKeyTwice) {
    m_channel.addOption(
        boost::make_shared<pu::ConstantGenericOption<std::string>>(keys::kDefaultName, "Second"));
    for (int i = 0; i < 3; ++i) {
        m_channel.setConfigItem("Used", SingleValueConfigItem<bool>(true));
        m_channel.setConfigItem("Used", SingleValueConfigItem<bool>(true));
        m_channel.setConfigItem("Used", SingleValueConfigItem<bool>(false));
    }
    m_channel.setConfigItem("Used", SingleValueConfigItem<bool>(true));
    Keys sorted = m_channel.getKeys();
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(std::adjacent_find(sorted.begin(), sorted.end()), sorted.end());
    EXPECT_EQ(m_channel.getKeys(), kAllUsedKeys);
}

TEST_F(SimpleChannelConfigTest, ChannelConstraintReachesEarlierAndLaterOptionsLast) {
    const auto channel_wide =
        std::make_shared<channel_config::ConfigurableDuringAcquisitionConstraint>(false);
    m_channel.addChannelConstraint(channel_wide);
    m_channel.addOption(boost::make_shared<pu::ConstantGenericOption<bool>>(keys::kValid, true));

    for (const char* key : {keys::kDefaultName, keys::kValid}) {
        const ConstraintList constraints = m_channel.getConstraints(key);
        ASSERT_EQ(constraints.size(), 2u) << key;
        EXPECT_EQ(constraints[1].get(), channel_wide.get()) << key;
    }
}

TEST_F(SimpleChannelConfigTest, OwnerSetsAnOptionAndTheKeysFollow) {
    EXPECT_TRUE(m_channel.setOptionValue("Used", SingleValueConfigItem<bool>(true)));
    EXPECT_EQ(m_channel.getKeys(), kAllUsedKeys);
    EXPECT_FALSE(m_channel.setOptionValue("NoSuchKey", SingleValueConfigItem<bool>(true)));
}

TEST_F(SimpleChannelConfigTest, UsedFlagSetThroughTheUsageShowsAfterUpdatingTheKeys) {
    m_channel.usage().setUsed(true);
    EXPECT_TRUE(boost::get<SingleValueConfigItem<bool>>(m_channel.getConfigItem("Used")).m_value);
    m_channel.updateAvailableKeys();
    EXPECT_EQ(m_channel.getKeys(), kAllUsedKeys);
}

TEST_F(SimpleChannelConfigTest, SetSampleSinkStoresTheSinkInTheUsage) {
    EXPECT_EQ(m_channel.usage().sampleSink(), nullptr);
    auto sink = std::make_shared<RecordingSampleSink>();
    m_channel.setSampleSink(sink);
    EXPECT_EQ(m_channel.usage().sampleSink(), sink.get());
    m_channel.setSampleSink(nullptr);
    EXPECT_EQ(m_channel.usage().sampleSink(), nullptr);
}

TEST_F(SimpleChannelConfigTest, ListenersAreIgnoredByTheBase) {
    int calls = 0;
    m_channel.addOptionChangeListener([&calls](const std::string&, const ConfigItem&) { ++calls; });
    m_channel.setConfigItem("Used", SingleValueConfigItem<bool>(true));
    m_channel.configurationChanged();
    EXPECT_EQ(calls, 0);
}

TEST(SimpleChannelConfigIdentityTest, SetOwnerIdReplacesOnlyThePluginHalf) {
    pu::SimpleChannelConfig channel(channel_config::ChannelID{1, 7});
    channel.setOwnerId(5);
    EXPECT_EQ(channel.channelId(), (channel_config::ChannelID{5, 7}));
    channel.setChannelId({2, 0x10000});
    EXPECT_EQ(channel.channelId(), (channel_config::ChannelID{2, 0x10000}));
}

TEST(SimpleChannelConfigIdentityTest, DefaultIdentityIsZero) {
    pu::SimpleChannelConfig channel;
    EXPECT_EQ(channel.channelId(), (channel_config::ChannelID{0, 0}));
    EXPECT_TRUE(channel.getKeys().empty());
}

TEST(SimpleChannelConfigOwnershipTest, OptionAddedByReferenceIsNotOwnedByTheChannel) {
    pu::ConstantGenericOption<std::string> member(keys::kShortId, "Cam");
    {
        pu::SimpleChannelConfig channel;
        channel.addOption(member);
        EXPECT_EQ(channel.getKeys(), (Keys{"ShortId"}));
        EXPECT_EQ(boost::get<StringConfigItem>(channel.getConfigItem(keys::kShortId)).m_value,
                  "Cam");
    }
    // The channel is gone and did not delete the option (ASan would report a bad free).
    EXPECT_EQ(member.value(), "Cam");
}

TEST(SimpleChannelConfigRebuildTest, KeysFollowTheOptionsAfterSeveralToggles) {
    FlagChannel channel;
    EXPECT_EQ(channel.getKeys(), channel.expectedKeys());
    // Each step toggles flags, then a refused write makes the channel rebuild its keys.
    const std::vector<std::vector<std::pair<std::size_t, bool>>> steps = {
        {{0, false}},
        {{5, false}, {2, false}},
        {{0, true}, {1, false}, {3, false}, {4, false}},
        {{2, true}, {5, true}},
        {{0, false}, {1, false}, {2, false}, {3, false}, {4, false}, {5, false}},
        {{3, true}},
        {{0, true}, {1, true}, {2, true}, {4, true}, {5, true}},
    };
    for (std::size_t s = 0; s < steps.size(); ++s) {
        for (const auto& [index, flag] : steps[s]) channel.setFlag(index, flag);
        EXPECT_FALSE(channel.setConfigItem("Constant", SingleValueConfigItem<bool>(false)));
        EXPECT_EQ(channel.getKeys(), channel.expectedKeys()) << "step " << s;
    }
}

TEST(SimpleChannelConfigRebuildTest, UnchangedRebuildKeepsTheListsStorage) {
    FlagChannel channel;
    channel.setFlag(1, false);
    channel.setFlag(4, false);
    channel.updateAvailableKeys();
    const std::vector<std::string>& keys_list = channel.getKeys();
    const std::string* data = keys_list.data();
    const std::size_t capacity = keys_list.capacity();
    const Keys before = keys_list;

    for (int i = 0; i < 5; ++i) {
        channel.setConfigItem("Constant", SingleValueConfigItem<bool>(false));
        channel.updateAvailableKeys();
    }
    EXPECT_EQ(&channel.getKeys(), &keys_list);
    EXPECT_EQ(keys_list.data(), data);
    EXPECT_EQ(keys_list.capacity(), capacity);
    EXPECT_EQ(keys_list, before);
}

TEST(SimpleChannelConfigRebuildTest, StringOptionWhoseAvailabilityAnswersFalseDisappears) {
    pu::SimpleChannelConfig channel;
    bool available = true;
    channel.addOption(boost::make_shared<pu::SimpleStringOption>(
        "CAMERA/Type", "USB", [&available] { return available; }));
    EXPECT_TRUE(channel.hasKey("CAMERA/Type"));
    available = false;
    channel.updateAvailableKeys();
    EXPECT_FALSE(channel.hasKey("CAMERA/Type"));
    EXPECT_TRUE(channel.getKeys().empty());
}

}  // namespace
