// Equality, cloning and the range check of the constraints.
#include "config_items/config_item_constraints.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <typeinfo>

#include "allocation_counter.h"
#include "uni/assertion_report.h"

namespace config_items {
namespace {

using channel_config::ChannelID;
using channel_config::ConfigurableDuringAcquisitionConstraint;
using channel_config::DependentCfgItemConstraint;
using channel_config::ReadOnlyConstraint;

// Allocations made by `make`.
template <typename Make>
int allocationsOf(Make&& make, ConstraintPtr& out) {
    test_support::startCountingAllocations();
    out = make();
    return test_support::stopCountingAllocations();
}

struct Report {
    int calls = 0;
    std::string expression;
    std::string message;
    std::string source;
    int line = 0;
};

// Installs a recording assertion handler for one test and puts the previous one back.
class ConstraintTest : public ::testing::Test {
protected:
    void SetUp() override {
        s_report = &m_report;
        m_previous = uni::setAssertionHandler(&record);
    }
    void TearDown() override {
        uni::setAssertionHandler(m_previous);
        s_report = nullptr;
    }

    static int record(const char* expression, const char* message, const char* source, int line) {
        ++s_report->calls;
        s_report->expression = expression ? expression : "";
        s_report->message = message ? message : "";
        s_report->source = source ? source : "";
        s_report->line = line;
        return 1;  // continue
    }

    Report m_report;

private:
    static inline Report* s_report = nullptr;
    uni::AssertionHandler m_previous = nullptr;
};

TEST_F(ConstraintTest, RangeWithEqualBoundsAdmitsExactlyThatValue) {
    const ValueRangeConstraint<double> range(1, 1);
    EXPECT_EQ(m_report.calls, 0);
    EXPECT_EQ(range.min(), 1.0);
    EXPECT_EQ(range.max(), 1.0);
    EXPECT_TRUE(range.contains(1));
    EXPECT_FALSE(range.contains(std::nextafter(1.0, 0.0)));
    EXPECT_FALSE(range.contains(std::nextafter(1.0, 2.0)));
}

TEST_F(ConstraintTest, RangeIncludesBothEnds) {
    const ValueRangeConstraint<double> range(-1, 2);
    EXPECT_TRUE(range.contains(-1));
    EXPECT_TRUE(range.contains(2));
    EXPECT_TRUE(range.contains(0.5));
    EXPECT_FALSE(range.contains(2.5));
}

TEST_F(ConstraintTest, RangeWithMinAboveMaxReportsAssertionAndKeepsBounds) {
    const ValueRangeConstraint<double> range(2, 1);
    EXPECT_EQ(m_report.calls, 1);
    EXPECT_EQ(m_report.expression, "min <= max");
    EXPECT_EQ(m_report.message, "ValueRangeConstraint: min exceeds max.");
    EXPECT_EQ(m_report.source, "lib/config_items/inc/config_item_constraints");
    EXPECT_EQ(m_report.line, 148);
    EXPECT_EQ(range.min(), 2.0);
    EXPECT_EQ(range.max(), 1.0);
}

TEST_F(ConstraintTest, RangeWithNaNBoundReportsAssertion) {
    const ValueRangeConstraint<double> range(std::nan(""), 1);
    EXPECT_EQ(m_report.calls, 1);
    EXPECT_EQ(m_report.expression, "min <= max");
}

TEST_F(ConstraintTest, RangeEqualityIsPlainFloatingPointComparison) {
    EXPECT_TRUE(ValueRangeConstraint<double>(0, 10).equals(ValueRangeConstraint<double>(0, 10)));
    EXPECT_FALSE(ValueRangeConstraint<double>(0, 10).equals(ValueRangeConstraint<double>(0, 9)));
    EXPECT_FALSE(ValueRangeConstraint<double>(0, 10).equals(BooleanConstraint(true)));
    const double inf = INFINITY;
    EXPECT_FALSE(
        ValueRangeConstraint<double>(-inf, 0).equals(ValueRangeConstraint<double>(inf, 0)));
    m_report = {};
    const ValueRangeConstraint<double> with_nan(0, std::nan(""));
    EXPECT_EQ(m_report.calls, 1);
    EXPECT_FALSE(with_nan.equals(with_nan));
}

TEST_F(ConstraintTest, RangeValueTypeIsDouble) {
    EXPECT_EQ(ValueRangeConstraint<double>(0, 1).valueType(), typeid(double));
}

TEST_F(ConstraintTest, StringOptionsWithDifferentKindAreNotEqual) {
    const OptionConstraint<StringConfigItem> a(StringConfigItem("640 x 480 @ 30 fps", 0));
    const OptionConstraint<StringConfigItem> b(StringConfigItem("640 x 480 @ 30 fps", 1));
    const OptionConstraint<StringConfigItem> c(StringConfigItem("640 x 480 @ 30 fps", 0));
    EXPECT_FALSE(a.equals(b));
    EXPECT_TRUE(a.equals(c));
}

TEST_F(ConstraintTest, ScalarOptionNeverEqualsBoolOption) {
    const OptionConstraint<ScalarConfigItem> scalar(ScalarConfigItem(1, ""));
    const OptionConstraint<SingleValueConfigItem<bool>> flag(SingleValueConfigItem<bool>(true));
    EXPECT_FALSE(scalar.equals(flag));
    EXPECT_FALSE(flag.equals(scalar));
}

TEST_F(ConstraintTest, ScalarOptionsCompareByTheDoubleRuleAndUnit) {
    const OptionConstraint<ScalarConfigItem> a(ScalarConfigItem(INFINITY, "V"));
    EXPECT_TRUE(a.equals(OptionConstraint<ScalarConfigItem>(ScalarConfigItem(-INFINITY, "V"))));
    EXPECT_FALSE(a.equals(OptionConstraint<ScalarConfigItem>(ScalarConfigItem(INFINITY, "A"))));
}

TEST_F(ConstraintTest, OptionValueTypeIsTheHeldItemType) {
    EXPECT_EQ(OptionConstraint<SingleValueConfigItem<bool>>(SingleValueConfigItem<bool>(true))
                  .valueType(),
              typeid(SingleValueConfigItem<bool>));
    EXPECT_EQ(OptionConstraint<ScalarConfigItem>(ScalarConfigItem()).valueType(),
              typeid(ScalarConfigItem));
}

TEST_F(ConstraintTest, ReadOnlyTrueEqualsConfigurableDuringAcquisitionTrue) {
    const ReadOnlyConstraint read_only(true);
    const ConfigurableDuringAcquisitionConstraint during(true);
    EXPECT_TRUE(read_only.equals(during));
    EXPECT_TRUE(during.equals(read_only));
    EXPECT_TRUE(BooleanConstraint(true).equals(read_only));
}

TEST_F(ConstraintTest, ReadOnlyTrueDoesNotEqualReadOnlyFalse) {
    EXPECT_FALSE(ReadOnlyConstraint(true).equals(ReadOnlyConstraint(false)));
    EXPECT_TRUE(ReadOnlyConstraint(false).equals(ReadOnlyConstraint(false)));
}

TEST_F(ConstraintTest, FlagNeverEqualsOtherKinds) {
    EXPECT_FALSE(ReadOnlyConstraint(true).equals(ValueRangeConstraint<double>(0, 1)));
    EXPECT_FALSE(ReadOnlyConstraint(true).equals(DependentCfgItemConstraint({})));
}

TEST_F(ConstraintTest, DependenciesWithKeysInAnotherOrderAreNotEqual) {
    const DependentCfgItemConstraint a({{ChannelID{1, 0}, {"Used", "Frame"}}});
    const DependentCfgItemConstraint b({{ChannelID{1, 0}, {"Frame", "Used"}}});
    EXPECT_FALSE(a.equals(b));
}

TEST_F(ConstraintTest, DependenciesCompareChannelsAndKeyLists) {
    using Map = DependentCfgItemConstraint::DependencyMap;
    const Map map{{ChannelID{1, 0}, {"Used"}}, {ChannelID{1, 0x10000}, {"Used", "Name"}}};
    const DependentCfgItemConstraint a(map);
    EXPECT_TRUE(a.equals(DependentCfgItemConstraint(map)));
    EXPECT_FALSE(a.equals(DependentCfgItemConstraint(
        Map{{ChannelID{1, 0}, {"Used"}}, {ChannelID{2, 0x10000}, {"Used", "Name"}}})));
    EXPECT_FALSE(a.equals(DependentCfgItemConstraint(Map{{ChannelID{1, 0}, {"Used"}}})));
    EXPECT_FALSE(a.equals(DependentCfgItemConstraint(
        Map{{ChannelID{1, 0}, {"Used"}}, {ChannelID{1, 0x10000}, {"Used"}}})));
    EXPECT_FALSE(a.equals(ReadOnlyConstraint(true)));
    EXPECT_TRUE(DependentCfgItemConstraint({}).equals(DependentCfgItemConstraint({})));
}

TEST_F(ConstraintTest, CloneKeepsDynamicTypeAndContents) {
    const BooleanConstraint flag(true);
    const ReadOnlyConstraint read_only(false);
    const ConfigurableDuringAcquisitionConstraint during(true);
    const OptionConstraint<StringConfigItem> option(StringConfigItem("a", 3));
    const ValueRangeConstraint<double> range(-1, 1);
    const DependentCfgItemConstraint dependent({{ChannelID{1, 2}, {"Used"}}});
    const IfConfigItemConstraint* all[] = {&flag, &option, &range, &read_only, &during, &dependent};
    for (const IfConfigItemConstraint* original : all) {
        const ConstraintPtr copy = original->clone();
        ASSERT_NE(copy, nullptr);
        EXPECT_NE(copy.get(), original);
        const IfConfigItemConstraint& cloned = *copy;
        const char* name = typeid(*original).name();
        EXPECT_EQ(typeid(cloned), typeid(*original)) << name;
        EXPECT_TRUE(cloned.equals(*original)) << name;
        EXPECT_TRUE(original->equals(cloned)) << name;
    }
    const auto cloned_option =
        std::dynamic_pointer_cast<OptionConstraint<StringConfigItem>>(option.clone());
    ASSERT_NE(cloned_option, nullptr);
    EXPECT_EQ(cloned_option->item().m_kind, 3);
    EXPECT_EQ(std::dynamic_pointer_cast<ReadOnlyConstraint>(read_only.clone())->flag(), false);
}

TEST_F(ConstraintTest, CloneMakesOneAllocation) {
    const ReadOnlyConstraint read_only(true);
    const ValueRangeConstraint<double> range(0, 1);
    const OptionConstraint<SingleValueConfigItem<bool>> option(SingleValueConfigItem<bool>(true));
    ConstraintPtr copy;
    EXPECT_EQ(allocationsOf([&] { return read_only.clone(); }, copy), 1);
    EXPECT_EQ(allocationsOf([&] { return range.clone(); }, copy), 1);
    EXPECT_EQ(allocationsOf([&] { return option.clone(); }, copy), 1);
    EXPECT_EQ(
        allocationsOf([&] { return ConfigurableDuringAcquisitionConstraint(false).clone(); }, copy),
        1);
}

TEST_F(ConstraintTest, ClonesAreIndependentOfTheOriginal) {
    ConstraintPtr copy;
    {
        const DependentCfgItemConstraint original({{ChannelID{0, 1}, {"A", "B"}}});
        copy = original.clone();
    }
    EXPECT_TRUE(copy->equals(DependentCfgItemConstraint({{ChannelID{0, 1}, {"A", "B"}}})));
}

}  // namespace
}  // namespace config_items
