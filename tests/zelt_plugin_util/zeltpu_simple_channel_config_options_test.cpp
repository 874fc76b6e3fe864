#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <cmath>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "test_assertions.h"
#include "zeltpu/simple_channel_config_options.h"

namespace {

namespace pu = zelt::plugin_util;
using channel_config::ConfigurableDuringAcquisitionConstraint;
using channel_config::DependentCfgItemConstraint;
using channel_config::ReadOnlyConstraint;
using config_items::ConfigItem;
using config_items::ConstraintList;
using config_items::OptionConstraint;
using config_items::ScalarConfigItem;
using config_items::SingleValueConfigItem;
using config_items::StringConfigItem;
using config_items::ValueRangeConstraint;

constexpr const char* kSource = "lib/zelt_plugin_util/src/zeltpu_simple_channel_config_options";

// The flag of a ReadOnlyConstraint (fails the test for another type).
bool readOnlyFlag(const config_items::ConstraintPtr& constraint) {
    const auto* read_only = dynamic_cast<const ReadOnlyConstraint*>(constraint.get());
    EXPECT_NE(read_only, nullptr);
    return read_only != nullptr && read_only->flag();
}

// The flag of a ConfigurableDuringAcquisitionConstraint (fails the test for another type).
bool duringAcquisitionFlag(const config_items::ConstraintPtr& constraint) {
    const auto* during =
        dynamic_cast<const ConfigurableDuringAcquisitionConstraint*>(constraint.get());
    EXPECT_NE(during, nullptr);
    return during != nullptr && during->flag();
}

template <typename T>
const T* offered(const config_items::ConstraintPtr& constraint) {
    const auto* option = dynamic_cast<const OptionConstraint<T>*>(constraint.get());
    return option != nullptr ? &option->item() : nullptr;
}

// --- ConstantGenericOption ---------------------------------------------------------------

TEST(ConstantGenericOptionTest, BoolRefusesWritesAndReadsAsIndexFiveWithItsValue) {
    pu::ConstantGenericOption<bool> option("Valid", true);
    EXPECT_FALSE(option.setValue(SingleValueConfigItem<bool>(false)));
    const ConfigItem value = option.getValue();
    ASSERT_EQ(value.which(), 5);
    EXPECT_TRUE(boost::get<SingleValueConfigItem<bool>>(value).m_value);
    EXPECT_TRUE(option.isAvailable());
    EXPECT_EQ(option.getKey(), "Valid");
}

TEST(ConstantGenericOptionTest, StringReadsAsStringItemOfKindZero) {
    pu::ConstantGenericOption<std::string> option("DefaultName", "Cam");
    const ConfigItem value = option.getValue();
    ASSERT_EQ(value.which(), 0);
    EXPECT_EQ(boost::get<StringConfigItem>(value).m_value, "Cam");
    EXPECT_EQ(boost::get<StringConfigItem>(value).m_kind, 0);
    EXPECT_FALSE(option.setValue(StringConfigItem("Other")));
    EXPECT_EQ(boost::get<StringConfigItem>(option.getValue()).m_value, "Cam");
}

TEST(ConstantGenericOptionTest, EnumerationsReadAsTheirOwnAlternatives) {
    pu::ConstantGenericOption<channel_config::DAQChannelType> type(
        "ChannelType", channel_config::DAQChannelType::Video);
    pu::ConstantGenericOption<channel_config::SampleOccurrenceType> occurrence(
        "SampleUpdateType", channel_config::SampleOccurrenceType::Event);
    pu::ConstantGenericOption<channel_config::DAQSampleResolution> resolution(
        "SampleResolution", channel_config::DAQSampleResolution::Image);
    EXPECT_EQ(type.getValue().which(), 11);
    EXPECT_EQ(occurrence.getValue().which(), 12);
    EXPECT_EQ(resolution.getValue().which(), 13);
    EXPECT_EQ(config_items::toString(type.getValue()), "13");
    EXPECT_EQ(config_items::toString(occurrence.getValue()), "1");
    EXPECT_EQ(config_items::toString(resolution.getValue()), "16");
    EXPECT_FALSE(type.setValue(type.getValue()));
}

TEST(ConstantGenericOptionTest, ConstraintsAreOneReadOnlyTrue) {
    pu::ConstantGenericOption<bool> option("Valid", true);
    const ConstraintList constraints = option.getConstraints();
    ASSERT_EQ(constraints.size(), 1u);
    EXPECT_TRUE(readOnlyFlag(constraints[0]));
}

TEST(ConstantGenericOptionTest, OwnerChangesTheValueWhileTheHostStillCannot) {
    pu::ConstantGenericOption<bool> option("Valid", true);
    option.set(false);
    EXPECT_FALSE(boost::get<SingleValueConfigItem<bool>>(option.getValue()).m_value);
    EXPECT_FALSE(option.setValue(SingleValueConfigItem<bool>(true)));
    EXPECT_FALSE(option.value());
}

TEST(ConstantGenericOptionTest, ChannelConstraintsFollowTheOptionsOwn) {
    pu::ConstantGenericOption<bool> option("Valid", true);
    const auto channel_wide = std::make_shared<ConfigurableDuringAcquisitionConstraint>(true);
    option.addChannelConstraint(channel_wide);
    const ConstraintList constraints = option.getConstraints();
    ASSERT_EQ(constraints.size(), 2u);
    EXPECT_TRUE(readOnlyFlag(constraints[0]));
    EXPECT_EQ(constraints[1].get(), channel_wide.get());
}

// --- ConstantRangeOption -----------------------------------------------------------------

TEST(ConstantRangeOptionTest, ReadsBackAsRangeItemWrittenWithUnits) {
    pu::ConstantRangeOption option(0.0, 10.0, "V");
    EXPECT_EQ(option.getKey(), "Range");
    const ConfigItem value = option.getValue();
    ASSERT_EQ(value.which(), 6);
    const auto& range = boost::get<config_items::RangeConfigItem<double>>(value);
    EXPECT_EQ(range.m_min, 0.0);
    EXPECT_EQ(range.m_max, 10.0);
    EXPECT_EQ(range.m_min_unit, "V");
    EXPECT_EQ(range.m_max_unit, "V");
    EXPECT_EQ(config_items::toString(value), "0 V .. 10 V");
}

TEST(ConstantRangeOptionTest, RefusesWritesAndIsReadOnly) {
    pu::ConstantRangeOption option(0.0, 10.0, "V");
    EXPECT_FALSE(option.setValue(config_items::RangeConfigItem<double>(1.0, 2.0, "V", "V")));
    EXPECT_TRUE(option.isAvailable());
    const ConstraintList constraints = option.getConstraints();
    ASSERT_EQ(constraints.size(), 1u);
    EXPECT_TRUE(readOnlyFlag(constraints[0]));
}

// --- SimpleScalarOption ------------------------------------------------------------------

TEST(SimpleScalarOptionTest, ReadsAsScalarItemWithItsUnit) {
    pu::SimpleScalarOption option("SampleRate", 30.0, "fps");
    const ConfigItem value = option.getValue();
    ASSERT_EQ(value.which(), 2);
    EXPECT_EQ(boost::get<ScalarConfigItem>(value).m_value, 30.0);
    EXPECT_EQ(boost::get<ScalarConfigItem>(value).m_unit, "fps");
    EXPECT_TRUE(option.isAvailable());
}

TEST(SimpleScalarOptionTest, ValueOutsideTheRangeIsRefusedAndTheOldValueKept) {
    pu::SimpleScalarOption option("Gain", 5.0, "dB");
    option.setRange(0.0, 10.0);
    EXPECT_FALSE(option.setValue(ScalarConfigItem(10.5, "dB")));
    EXPECT_FALSE(option.setValue(ScalarConfigItem(-0.5, "dB")));
    EXPECT_EQ(option.value(), 5.0);
}

TEST(SimpleScalarOptionTest, BothEndsOfTheRangeAreAccepted) {
    pu::SimpleScalarOption option("Gain", 5.0, "dB");
    option.setRange(0.0, 10.0);
    EXPECT_TRUE(option.setValue(ScalarConfigItem(10.0, "dB")));
    EXPECT_EQ(option.value(), 10.0);
    EXPECT_TRUE(option.setValue(ScalarConfigItem(0.0, "dB")));
    EXPECT_EQ(option.value(), 0.0);
}

TEST(SimpleScalarOptionTest, NaNLiesOutsideEveryRange) {
    pu::SimpleScalarOption option("Gain", 5.0, "dB");
    option.setRange(0.0, 10.0);
    EXPECT_FALSE(option.setValue(ScalarConfigItem(std::nan(""), "dB")));
    EXPECT_EQ(option.value(), 5.0);
}

TEST(SimpleScalarOptionTest, OtherUnitIsReportedAtLine223AndRefused) {
    test::RecordingAssertions assertions;
    pu::SimpleScalarOption option("SampleRate", 30.0, "fps");
    EXPECT_FALSE(option.setValue(ScalarConfigItem(25.0, "Hz")));
    EXPECT_EQ(option.value(), 30.0);
    ASSERT_EQ(assertions.reports().size(), 1u);
    EXPECT_EQ(assertions.reports()[0].expression, "scalar.m_unit == m_unit");
    EXPECT_EQ(assertions.reports()[0].source, kSource);
    EXPECT_EQ(assertions.reports()[0].line, 223);
}

TEST(SimpleScalarOptionTest, OtherAlternativeIsRefusedWithoutAssertion) {
    test::RecordingAssertions assertions;
    pu::SimpleScalarOption option("SampleRate", 30.0, "fps");
    EXPECT_FALSE(option.setValue(SingleValueConfigItem<double>(25.0)));
    EXPECT_FALSE(option.setValue(StringConfigItem("25")));
    EXPECT_EQ(option.value(), 30.0);
    EXPECT_TRUE(assertions.reports().empty());
}

TEST(SimpleScalarOptionTest, AcceptedValueIsToldToTheCallbackWithKeyAndUnit) {
    pu::SimpleScalarOption option("FrameWidth", 0.0, "pixel");
    std::vector<std::tuple<std::string, double, std::string>> calls;
    option.setChangeCallback(
        [&calls](const std::string& key, double value, const std::string& unit) {
            calls.emplace_back(key, value, unit);
        });
    EXPECT_TRUE(option.setValue(ScalarConfigItem(640.0, "pixel")));
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0], std::make_tuple(std::string("FrameWidth"), 640.0, std::string("pixel")));
}

TEST(SimpleScalarOptionTest, RefusedValueIsNotToldToTheCallback) {
    pu::SimpleScalarOption option("Gain", 5.0, "dB");
    option.setRange(0.0, 10.0);
    int calls = 0;
    option.setChangeCallback([&calls](const std::string&, double, const std::string&) { ++calls; });
    EXPECT_FALSE(option.setValue(ScalarConfigItem(11.0, "dB")));
    EXPECT_EQ(calls, 0);
}

TEST(SimpleScalarOptionTest, WithoutRangeIsAnnouncedReadOnlyYetAcceptsValues) {
    pu::SimpleScalarOption option("SampleRate", 0.0, "fps");
    const ConstraintList constraints = option.getConstraints();
    ASSERT_EQ(constraints.size(), 2u);
    EXPECT_TRUE(readOnlyFlag(constraints[0]));
    EXPECT_FALSE(duringAcquisitionFlag(constraints[1]));
    EXPECT_TRUE(option.setValue(ScalarConfigItem(15.0, "fps")));
    EXPECT_EQ(option.value(), 15.0);
}

TEST(SimpleScalarOptionTest, ConstraintsListReadOnlyRangeOfferedValuesThenDuringAcquisition) {
    pu::SimpleScalarOption option("Gain", 5.0, "dB");
    option.setRange(0.0, 10.0);
    option.setOfferedValues({1.0, 2.5});
    const ConstraintList constraints = option.getConstraints();
    ASSERT_EQ(constraints.size(), 5u);
    EXPECT_FALSE(readOnlyFlag(constraints[0]));
    const auto* range = dynamic_cast<const ValueRangeConstraint<double>*>(constraints[1].get());
    ASSERT_NE(range, nullptr);
    EXPECT_EQ(range->min(), 0.0);
    EXPECT_EQ(range->max(), 10.0);
    const auto* first = offered<ScalarConfigItem>(constraints[2]);
    const auto* second = offered<ScalarConfigItem>(constraints[3]);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(first->m_value, 1.0);
    EXPECT_EQ(first->m_unit, "dB");
    EXPECT_EQ(second->m_value, 2.5);
    EXPECT_EQ(second->m_unit, "dB");
    EXPECT_FALSE(duringAcquisitionFlag(constraints[4]));
}

TEST(SimpleScalarOptionTest, ReadOnlyFlagIsAnnouncedWithARange) {
    pu::SimpleScalarOption option("Gain", 5.0, "dB");
    option.setRange(0.0, 10.0);
    option.setReadOnly(true);
    option.setConfigurableDuringAcquisition(true);
    const ConstraintList constraints = option.getConstraints();
    ASSERT_EQ(constraints.size(), 3u);
    EXPECT_TRUE(readOnlyFlag(constraints[0]));
    EXPECT_TRUE(duringAcquisitionFlag(constraints[2]));
}

TEST(SimpleScalarOptionTest, InvertedRangeIsReportedByTheRangeConstraint) {
    test::RecordingAssertions assertions;
    pu::SimpleScalarOption option("Gain", 5.0, "dB");
    option.setRange(2.0, 1.0);
    option.getConstraints();
    ASSERT_EQ(assertions.reports().size(), 1u);
    EXPECT_EQ(assertions.reports()[0].expression, "min <= max");
}

// --- SimpleStringOption ------------------------------------------------------------------

TEST(SimpleStringOptionTest, ReadsAsStringItemOfKindZero) {
    pu::SimpleStringOption option("FrameFormat", "YUY2");
    const ConfigItem value = option.getValue();
    ASSERT_EQ(value.which(), 0);
    EXPECT_EQ(boost::get<StringConfigItem>(value).m_value, "YUY2");
    EXPECT_EQ(boost::get<StringConfigItem>(value).m_kind, 0);
}

TEST(SimpleStringOptionTest, AcceptsAStringItemAndTellsTheCallback) {
    pu::SimpleStringOption option("FrameFormat", "YUY2");
    std::vector<std::pair<std::string, std::string>> calls;
    option.setChangeCallback([&calls](const std::string& key, const std::string& value) {
        calls.emplace_back(key, value);
    });
    EXPECT_TRUE(option.setValue(StringConfigItem("I420")));
    EXPECT_EQ(option.value(), "I420");
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0], std::make_pair(std::string("FrameFormat"), std::string("I420")));
}

TEST(SimpleStringOptionTest, OtherAlternativeIsRefusedWithoutException) {
    pu::SimpleStringOption option("FrameFormat", "YUY2");
    EXPECT_FALSE(option.setValue(SingleValueConfigItem<bool>(true)));
    EXPECT_FALSE(option.setValue(ScalarConfigItem(1.0, "")));
    EXPECT_EQ(option.value(), "YUY2");
}

TEST(SimpleStringOptionTest, ConstraintsAreReadOnlyFlagThenOfferedTexts) {
    pu::SimpleStringOption option("Mode", "A");
    option.setOfferedValues({"A", "B"});
    ConstraintList constraints = option.getConstraints();
    ASSERT_EQ(constraints.size(), 3u);
    EXPECT_FALSE(readOnlyFlag(constraints[0]));
    const auto* first = offered<StringConfigItem>(constraints[1]);
    const auto* second = offered<StringConfigItem>(constraints[2]);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(first->m_value, "A");
    EXPECT_EQ(first->m_kind, 0);
    EXPECT_EQ(second->m_value, "B");

    option.setReadOnly(true);
    constraints = option.getConstraints();
    EXPECT_TRUE(readOnlyFlag(constraints[0]));
}

TEST(SimpleStringOptionTest, AvailabilityFollowsItsFunctionAndDefaultsToTrue) {
    bool available = false;
    pu::SimpleStringOption following("A", "", [&available] { return available; });
    pu::SimpleStringOption always("B", "");
    EXPECT_FALSE(following.isAvailable());
    available = true;
    EXPECT_TRUE(following.isAvailable());
    EXPECT_TRUE(always.isAvailable());
}

// --- ChannelUsedOption -------------------------------------------------------------------

TEST(ChannelUsedOptionTest, ReadsTheChannelsUsedFlag) {
    pu::ChannelUsage usage;
    pu::ChannelUsedOption option(usage);
    EXPECT_EQ(option.getKey(), "Used");
    EXPECT_EQ(option.getValue().which(), 5);
    EXPECT_FALSE(boost::get<SingleValueConfigItem<bool>>(option.getValue()).m_value);
    usage.setUsed(true);
    EXPECT_TRUE(boost::get<SingleValueConfigItem<bool>>(option.getValue()).m_value);
    EXPECT_TRUE(option.isAvailable());
}

TEST(ChannelUsedOptionTest, WritingTheCurrentFlagToALockedOptionAnswersTrue) {
    pu::ChannelUsage usage;
    pu::ChannelUsedOption option(usage, true);
    int calls = 0;
    option.setChangeCallback([&calls](const std::string&, bool) { ++calls; });
    EXPECT_TRUE(option.setValue(SingleValueConfigItem<bool>(false)));
    EXPECT_EQ(calls, 0);
}

TEST(ChannelUsedOptionTest, LockedOptionRefusesAChange) {
    pu::ChannelUsage usage;
    pu::ChannelUsedOption option(usage, true);
    EXPECT_FALSE(option.setValue(SingleValueConfigItem<bool>(true)));
    EXPECT_FALSE(usage.isUsed());
}

TEST(ChannelUsedOptionTest, UnlockedOptionSetsTheFlagAndTellsTheCallback) {
    pu::ChannelUsage usage;
    pu::ChannelUsedOption option(usage);
    std::vector<std::pair<std::string, bool>> calls;
    option.setChangeCallback(
        [&calls](const std::string& key, bool used) { calls.emplace_back(key, used); });
    EXPECT_TRUE(option.setValue(SingleValueConfigItem<bool>(true)));
    EXPECT_TRUE(usage.isUsed());
    EXPECT_TRUE(option.setValue(SingleValueConfigItem<bool>(true)));
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0], std::make_pair(std::string("Used"), true));
}

TEST(ChannelUsedOptionTest, OtherAlternativeIsRefused) {
    pu::ChannelUsage usage;
    pu::ChannelUsedOption option(usage);
    EXPECT_FALSE(option.setValue(StringConfigItem("1")));
    EXPECT_FALSE(option.setValue(SingleValueConfigItem<int>(1)));
    EXPECT_FALSE(usage.isUsed());
}

TEST(ChannelUsedOptionTest, UnlockedConstraintsOfferTheCurrentFlagFirstThenTheOther) {
    pu::ChannelUsage usage;
    usage.setUsed(true);
    pu::ChannelUsedOption option(usage);
    const ConstraintList constraints = option.getConstraints();
    ASSERT_EQ(constraints.size(), 3u);
    EXPECT_FALSE(duringAcquisitionFlag(constraints[0]));
    const auto* current = offered<SingleValueConfigItem<bool>>(constraints[1]);
    const auto* other = offered<SingleValueConfigItem<bool>>(constraints[2]);
    ASSERT_NE(current, nullptr);
    ASSERT_NE(other, nullptr);
    EXPECT_TRUE(current->m_value);
    EXPECT_FALSE(other->m_value);
}

TEST(ChannelUsedOptionTest, LockedConstraintsOfferOnlyTheCurrentFlagAndAreReadOnly) {
    pu::ChannelUsage usage;
    pu::ChannelUsedOption option(usage, true);
    const ConstraintList constraints = option.getConstraints();
    ASSERT_EQ(constraints.size(), 3u);
    EXPECT_FALSE(duringAcquisitionFlag(constraints[0]));
    const auto* current = offered<SingleValueConfigItem<bool>>(constraints[1]);
    ASSERT_NE(current, nullptr);
    EXPECT_FALSE(current->m_value);
    EXPECT_TRUE(readOnlyFlag(constraints[2]));
}

TEST(ChannelUsedOptionTest, DependenciesBecomeOneDependencyConstraintLast) {
    pu::ChannelUsage usage;
    pu::ChannelUsedOption option(usage);
    option.addDependency({5, 1}, "SampleRate");
    option.addDependency({5, 1}, "FrameWidth");
    option.addDependency({5, 0}, "Used");
    const ConstraintList constraints = option.getConstraints();
    ASSERT_EQ(constraints.size(), 4u);
    const auto* dependent = dynamic_cast<const DependentCfgItemConstraint*>(constraints[3].get());
    ASSERT_NE(dependent, nullptr);
    const DependentCfgItemConstraint::DependencyMap expected = {
        {{5, 0}, {"Used"}}, {{5, 1}, {"SampleRate", "FrameWidth"}}};
    EXPECT_EQ(dependent->dependencies(), expected);
}

// --- GenericOption -----------------------------------------------------------------------

TEST(GenericOptionTest, BoolOptionPassesTheFlagToItsSetter) {
    bool stored = false;
    pu::GenericOption<bool> option(
        "Flag", [] { return true; },
        [&stored]() -> ConfigItem { return SingleValueConfigItem<bool>(stored); },
        [&stored](const bool& value) {
            stored = value;
            return true;
        },
        [] { return ConstraintList{std::make_shared<ReadOnlyConstraint>(false)}; });
    EXPECT_TRUE(option.setValue(SingleValueConfigItem<bool>(true)));
    EXPECT_TRUE(stored);
    EXPECT_TRUE(boost::get<SingleValueConfigItem<bool>>(option.getValue()).m_value);
    const ConstraintList constraints = option.getConstraints();
    ASSERT_EQ(constraints.size(), 1u);
    EXPECT_FALSE(readOnlyFlag(constraints[0]));
}

TEST(GenericOptionTest, OtherAlternativeIsRefusedWithoutCallingTheSetter) {
    int calls = 0;
    pu::GenericOption<bool> option("Flag", {}, {},
                                   [&calls](const bool&) {
                                       ++calls;
                                       return true;
                                   },
                                   {});
    EXPECT_FALSE(option.setValue(StringConfigItem("true")));
    EXPECT_FALSE(option.setValue(SingleValueConfigItem<int>(1)));
    EXPECT_EQ(calls, 0);
}

TEST(GenericOptionTest, SetterAnswerIsTheResult) {
    pu::GenericOption<std::string> option(
        "CAMERA/FrameSetting", {}, {},
        [](const std::string& text) { return text == "640 x 480 @ 30 fps"; }, {});
    EXPECT_TRUE(option.setValue(StringConfigItem("640 x 480 @ 30 fps")));
    EXPECT_FALSE(option.setValue(StringConfigItem("1 x 1 @ 1 fps")));
}

TEST(GenericOptionTest, UnsignedOptionTakesUnsignedItemsOnly) {
    unsigned int subsampling = 1;
    pu::GenericOption<unsigned int> option(
        "CAMERA/FrameSubsampling", {},
        [&subsampling]() -> ConfigItem { return SingleValueConfigItem<unsigned int>(subsampling); },
        [&subsampling](const unsigned int& value) {
            if (value < 1) return false;
            subsampling = value;
            return true;
        },
        {});
    EXPECT_TRUE(option.setValue(SingleValueConfigItem<unsigned int>(3)));
    EXPECT_EQ(subsampling, 3u);
    EXPECT_FALSE(option.setValue(SingleValueConfigItem<unsigned int>(0)));
    EXPECT_FALSE(option.setValue(SingleValueConfigItem<int>(2)));
    EXPECT_EQ(subsampling, 3u);
    EXPECT_EQ(option.getValue().which(), 4);
}

TEST(GenericOptionTest, AvailabilityFollowsItsFunction) {
    bool available = false;
    pu::GenericOption<bool> option("Flag", [&available] { return available; }, {}, {}, {});
    EXPECT_FALSE(option.isAvailable());
    available = true;
    EXPECT_TRUE(option.isAvailable());
}

TEST(GenericOptionTest, EmptyFunctionsAnswerAvailableInvalidRefusedAndNoConstraints) {
    pu::GenericOption<std::string> option("Text", {}, {}, {}, {});
    EXPECT_TRUE(option.isAvailable());
    EXPECT_EQ(option.getValue().which(), 19);
    EXPECT_FALSE(option.setValue(StringConfigItem("x")));
    EXPECT_TRUE(option.getConstraints().empty());
}

TEST(GenericOptionTest, OptionsAreSharedThroughBoostSharedPointers) {
    boost::shared_ptr<pu::ChannelConfigOption> option =
        boost::make_shared<pu::ConstantGenericOption<bool>>("Valid", true);
    EXPECT_EQ(option->getKey(), "Valid");
    EXPECT_FALSE(option->setValue(SingleValueConfigItem<bool>(false)));
}

}  // namespace
