#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "test_assertions.h"
#include "zeltpu/simple_plugin_config.h"

namespace {

using config_items::ConfigItem;
using config_items::ScalarConfigItem;
using config_items::SingleValueConfigItem;
using zelt::plugin_util::SimplePluginConfig;

constexpr const char* kSource = "lib/zelt_plugin_util/src/zeltpu_simple_plugin_config";
constexpr const char* kKeyNotFound = "key not found. config item does not exist.";

// A plug-in configuration with two flags, as a plug-in registers them.
class SimplePluginConfigTest : public ::testing::Test {
protected:
    SimplePluginConfigTest() {
        m_read_only = std::make_shared<channel_config::ReadOnlyConstraint>(true);
        m_config.registerItem("Plugin/GodMode", SingleValueConfigItem<bool>(false), {m_read_only});
        m_config.registerItem("FrameCounterChannels", SingleValueConfigItem<bool>(true));
    }

    test::RecordingAssertions m_assertions;
    config_items::ConstraintPtr m_read_only;
    SimplePluginConfig m_config;
};

bool boolValue(const ConfigItem& item) {
    return boost::get<SingleValueConfigItem<bool>>(item).m_value;
}

TEST_F(SimplePluginConfigTest, KeysAreListedInRegistrationOrder) {
    EXPECT_EQ(m_config.getConfigItemKeys(),
              (std::vector<std::string>{"Plugin/GodMode", "FrameCounterChannels"}));
}

TEST_F(SimplePluginConfigTest, RegisteredItemsReadBackWithTheirAlternative) {
    const ConfigItem god_mode = m_config.getConfigItem("Plugin/GodMode");
    EXPECT_EQ(god_mode.which(), config_items::kBoolItem);
    EXPECT_FALSE(boolValue(god_mode));
    EXPECT_TRUE(boolValue(m_config.getConfigItem("FrameCounterChannels")));
    EXPECT_TRUE(m_assertions.reports().empty());
}

TEST_F(SimplePluginConfigTest, GetOfUnknownKeyYieldsInvalidItemWrittenAsInvalidConfigItem) {
    const ConfigItem item = m_config.getConfigItem("NoSuchKey");
    EXPECT_EQ(item.which(), config_items::kInvalidItem);
    EXPECT_FALSE(boost::get<config_items::InvalidConfigItem>(item).m_message.has_value());
    EXPECT_EQ(config_items::toString(item), "Invalid ConfigItem");
    ASSERT_EQ(m_assertions.reports().size(), 1u);
    EXPECT_EQ(m_assertions.reports()[0].expression, "");
    EXPECT_EQ(m_assertions.reports()[0].message, kKeyNotFound);
    EXPECT_EQ(m_assertions.reports()[0].source, kSource);
    EXPECT_EQ(m_assertions.reports()[0].line, 58);
}

TEST_F(SimplePluginConfigTest, SetOfUnknownKeyReturnsFalseAndLeavesEveryItemUntouched) {
    EXPECT_FALSE(m_config.setConfigItem("NoSuchKey", SingleValueConfigItem<bool>(true)));
    ASSERT_EQ(m_assertions.reports().size(), 1u);
    EXPECT_EQ(m_assertions.reports()[0].message, kKeyNotFound);
    EXPECT_EQ(m_assertions.reports()[0].source, kSource);
    EXPECT_EQ(m_assertions.reports()[0].line, 43);

    EXPECT_FALSE(m_config.hasConfigItem("NoSuchKey"));
    EXPECT_EQ(m_config.getConfigItemKeys().size(), 2u);
    EXPECT_FALSE(boolValue(m_config.getConfigItem("Plugin/GodMode")));
    EXPECT_TRUE(boolValue(m_config.getConfigItem("FrameCounterChannels")));
}

TEST_F(SimplePluginConfigTest, SetOfSameAlternativeStoresTheValue) {
    EXPECT_TRUE(m_config.setConfigItem("FrameCounterChannels", SingleValueConfigItem<bool>(false)));
    EXPECT_FALSE(boolValue(m_config.getConfigItem("FrameCounterChannels")));
}

TEST_F(SimplePluginConfigTest, SetOfAnotherAlternativeReplacesTheStoredAlternative) {
    EXPECT_TRUE(m_config.setConfigItem("Plugin/GodMode", ScalarConfigItem(2.5, "s")));
    const ConfigItem item = m_config.getConfigItem("Plugin/GodMode");
    ASSERT_EQ(item.which(), config_items::kScalarItem);
    EXPECT_EQ(boost::get<ScalarConfigItem>(item).m_value, 2.5);
    EXPECT_EQ(boost::get<ScalarConfigItem>(item).m_unit, "s");
}

TEST_F(SimplePluginConfigTest, ConstraintsArePublishedButNotEnforced) {
    EXPECT_TRUE(m_config.setConfigItem("Plugin/GodMode", SingleValueConfigItem<bool>(true)));
    EXPECT_TRUE(boolValue(m_config.getConfigItem("Plugin/GodMode")));
}

TEST_F(SimplePluginConfigTest, HasConfigItemAnswersRegisteredKeysOnly) {
    EXPECT_TRUE(m_config.hasConfigItem("Plugin/GodMode"));
    EXPECT_TRUE(m_config.hasConfigItem("FrameCounterChannels"));
    EXPECT_FALSE(m_config.hasConfigItem("plugin/godmode"));
    EXPECT_TRUE(m_assertions.reports().empty());
}

TEST_F(SimplePluginConfigTest, ConstraintsShareTheStoredConstraints) {
    const config_items::ConstraintList constraints = m_config.getConstraints("Plugin/GodMode");
    ASSERT_EQ(constraints.size(), 1u);
    EXPECT_EQ(constraints[0].get(), m_read_only.get());
    EXPECT_TRUE(m_config.getConstraints("FrameCounterChannels").empty());
}

TEST_F(SimplePluginConfigTest, ConstraintsOfUnknownKeyAreEmpty) {
    EXPECT_TRUE(m_config.getConstraints("NoSuchKey").empty());
    EXPECT_TRUE(m_assertions.reports().empty());
}

TEST_F(SimplePluginConfigTest, AdjustConfigItemReturnsTheItemUnchanged) {
    const ConfigItem adjusted =
        m_config.adjustConfigItem("Plugin/GodMode", ScalarConfigItem(1.0, "V"));
    ASSERT_EQ(adjusted.which(), config_items::kScalarItem);
    EXPECT_EQ(boost::get<ScalarConfigItem>(adjusted).m_unit, "V");
}

TEST_F(SimplePluginConfigTest, SecondRegistrationOfAKeyIsReportedAndKeepsTheFirst) {
    m_config.registerItem("Plugin/GodMode", SingleValueConfigItem<bool>(true));
    ASSERT_EQ(m_assertions.reports().size(), 1u);
    EXPECT_EQ(m_assertions.reports()[0].source, kSource);
    EXPECT_EQ(m_config.getConfigItemKeys().size(), 2u);
    EXPECT_FALSE(boolValue(m_config.getConfigItem("Plugin/GodMode")));
}

// A plug-in that normalises values before they are stored.
class NegatingConfig : public SimplePluginConfig {
public:
    ConfigItem adjustConfigItem(const std::string& key, const ConfigItem& item) override {
        if (const auto* flag = boost::get<SingleValueConfigItem<bool>>(&item)) {
            return SingleValueConfigItem<bool>(!flag->m_value);
        }
        return SimplePluginConfig::adjustConfigItem(key, item);
    }
};

TEST(SimplePluginConfigAdjustTest, EveryValuePassesTheAdjustHookBeforeItIsStored) {
    NegatingConfig config;
    config.registerItem("Flag", SingleValueConfigItem<bool>(false));
    EXPECT_TRUE(config.setConfigItem("Flag", SingleValueConfigItem<bool>(false)));
    EXPECT_TRUE(boolValue(config.getConfigItem("Flag")));
}

}  // namespace
