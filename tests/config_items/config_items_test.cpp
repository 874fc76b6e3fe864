// Text form, equality, union alternatives and live-instance counting of the items.
#include "config_items/config_items.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace config_items {
namespace {

using channel_config::ChannelID;
using Rational = RationalScalarConfigItem::Rational;

constexpr double kInf = std::numeric_limits<double>::infinity();
const double kNaN = std::nan("");

std::uint32_t liveItems() { return uni::Countable<IfConfigItem>::liveCount(); }

// --- text form, row by row ---

TEST(ConfigItemText, DoubleItemWritesSeventeenSignificantDigits) {
    EXPECT_EQ(SingleValueConfigItem<double>(0.1).toString(), "0.10000000000000001");
    EXPECT_EQ(SingleValueConfigItem<double>(2).toString(), "2");
    EXPECT_EQ(SingleValueConfigItem<double>(1e21).toString(), "1e+21");
    EXPECT_EQ(SingleValueConfigItem<double>(-12.5).toString(), "-12.5");
    EXPECT_EQ(SingleValueConfigItem<double>(0.30000000000000004).toString(), "0.30000000000000004");
}

TEST(ConfigItemText, DoubleItemSpellsInfinityAndNaN) {
    EXPECT_EQ(SingleValueConfigItem<double>(kInf).toString(), "inf");
    EXPECT_EQ(SingleValueConfigItem<double>(-kInf).toString(), "-inf");
    EXPECT_EQ(SingleValueConfigItem<double>(kNaN).toString(), "nan");
    EXPECT_EQ(SingleValueConfigItem<double>(std::copysign(kNaN, -1.0)).toString(), "-nan");
}

TEST(ConfigItemText, NumberToStringMatchesDoubleItem) {
    EXPECT_EQ(numberToString(0.1), "0.10000000000000001");
    EXPECT_EQ(numberToString(-kInf), "-inf");
    EXPECT_EQ(numberToString(0.0), "0");
}

TEST(ConfigItemText, ScalarItemWritesUnitAfterOneBlank) {
    EXPECT_EQ(ScalarConfigItem(12.5, "mm").toString(), "12.5 mm");
    EXPECT_EQ(ScalarConfigItem(3, "s").toString(), "3 s");
}

TEST(ConfigItemText, ScalarItemWithoutUnitHasNoTrailingBlank) {
    EXPECT_EQ(ScalarConfigItem(3, "").toString(), "3");
    EXPECT_EQ(ScalarConfigItem(0.1, "").toString(), "0.10000000000000001");
}

TEST(ConfigItemText, DecoratedNumberJoinsPrefixNumberSuffixWithoutBlanks) {
    EXPECT_EQ(DecoratedNumberConfigItem(5, "x", "%").toString(), "x5%");
    EXPECT_EQ(DecoratedNumberConfigItem(0.1, "[", "]").toString(), "[0.10000000000000001]");
    EXPECT_EQ(DecoratedNumberConfigItem(2, "", "").toString(), "2");
}

TEST(ConfigItemText, IntItemWritesDecimalWithMinus) {
    EXPECT_EQ(SingleValueConfigItem<int>(-42).toString(), "-42");
    EXPECT_EQ(SingleValueConfigItem<int>(0).toString(), "0");
    EXPECT_EQ(SingleValueConfigItem<int>(INT_MIN).toString(), "-2147483648");
}

TEST(ConfigItemText, UnsignedItemWritesDecimal) {
    EXPECT_EQ(SingleValueConfigItem<unsigned int>(4294967295u).toString(), "4294967295");
    EXPECT_EQ(SingleValueConfigItem<unsigned int>(7u).toString(), "7");
}

TEST(ConfigItemText, BoolItemWritesDigitNotWord) {
    EXPECT_EQ(SingleValueConfigItem<bool>(true).toString(), "1");
    EXPECT_EQ(SingleValueConfigItem<bool>(false).toString(), "0");
}

TEST(ConfigItemText, StringItemsWriteTheStringUnquotedUnescaped) {
    EXPECT_EQ(SingleValueConfigItem<std::string>("a \"b\"\n, c").toString(), "a \"b\"\n, c");
    EXPECT_EQ(StringConfigItem("640 x 480 @ 30 fps").toString(), "640 x 480 @ 30 fps");
    EXPECT_EQ(StringConfigItem("", 3).toString(), "");
}

TEST(ConfigItemText, EnumerationItemsWriteTheirNumericValue) {
    using namespace channel_config;
    EXPECT_EQ(SingleValueConfigItem<UserScalingMode>(UserScalingMode::Table).toString(), "2");
    EXPECT_EQ(SingleValueConfigItem<DAQChannelType>(DAQChannelType::Video).toString(), "13");
    EXPECT_EQ(SingleValueConfigItem<SampleOccurrenceType>(SampleOccurrenceType::Event).toString(),
              "1");
    EXPECT_EQ(SingleValueConfigItem<DAQSampleResolution>(DAQSampleResolution::Image).toString(),
              "16");
    EXPECT_EQ(SingleValueConfigItem<PhysicalQuantity>(PhysicalQuantity::Count).toString(), "4");
}

TEST(ConfigItemText, ChannelIdWritesHighTimesTwoToThe32PlusLow) {
    EXPECT_EQ(SingleValueConfigItem<ChannelID>(ChannelID{1, 2}).toString(), "4294967298");
    EXPECT_EQ(SingleValueConfigItem<ChannelID>(ChannelID{0, 0x10003}).toString(), "65539");
    EXPECT_EQ(SingleValueConfigItem<ChannelID>(ChannelID{0xFFFFFFFFu, 0xFFFFFFFFu}).toString(),
              "18446744073709551615");
}

TEST(ConfigItemText, RationalWithDenominatorOneWritesNumeratorOnly) {
    EXPECT_EQ(RationalScalarConfigItem(Rational(30, 1), "").toString(), "30");
    EXPECT_EQ(RationalScalarConfigItem(Rational(60, 2), "").toString(), "30");
}

TEST(ConfigItemText, RationalWritesFractionAndUnit) {
    EXPECT_EQ(RationalScalarConfigItem(Rational(30000, 1001), "fps").toString(), "30000/1001 fps");
    EXPECT_EQ(RationalScalarConfigItem(Rational(5, 1), "Hz").toString(), "5 Hz");
    EXPECT_EQ(RationalScalarConfigItem(Rational(1, -2), "").toString(), "-1/2");
}

TEST(ConfigItemText, RangeWritesBoundsWithUnitsAroundTwoDots) {
    EXPECT_EQ(RangeConfigItem<double>(0, 10, "V", "V").toString(), "0 V .. 10 V");
    EXPECT_EQ(RangeConfigItem<double>(1, 5, "", "").toString(), "1 .. 5");
    EXPECT_EQ(RangeConfigItem<double>(0, 10, "V", "").toString(), "0 V .. 10");
    EXPECT_EQ(RangeConfigItem<double>(0, 10, "", "mV").toString(), "0 .. 10 mV");
}

TEST(ConfigItemText, RangeBoundsUseSixSignificantDigits) {
    EXPECT_EQ(RangeConfigItem<double>(0.1, 1234567, "", "").toString(), "0.1 .. 1.23457e+06");
    EXPECT_EQ(RangeConfigItem<double>(-kInf, kInf, "", "").toString(), "-inf .. inf");
}

TEST(ConfigItemText, RangeWritesSixDigitsWhereSingleValueWritesSeventeen) {
    EXPECT_EQ(RangeConfigItem<double>(0.1, 0.30000000000000004, "", "").toString(), "0.1 .. 0.3");
    EXPECT_EQ(SingleValueConfigItem<double>(0.1).toString(), "0.10000000000000001");
}

TEST(ConfigItemText, StringListJoinsElementsWithCommaBlank) {
    EXPECT_EQ(ValueListConfigItem<std::string>({"a", "b, c", ""}).toString(), "a, b, c, ");
    EXPECT_EQ(ValueListConfigItem<std::string>({"only"}).toString(), "only");
    EXPECT_EQ(ValueListConfigItem<std::string>().toString(), "");
}

TEST(ConfigItemText, TupleListWritesParenthesisedPairs) {
    EXPECT_EQ(ValueListConfigItem<TupleDD>({TupleDD(1, 2), TupleDD(3.5, 4)}).toString(),
              "(1, 2), (3.5, 4)");
    EXPECT_EQ(ValueListConfigItem<TupleDD>().toString(), "");
    EXPECT_EQ(ValueListConfigItem<TupleDD>({TupleDD(0.1, -kInf)}).toString(),
              "(0.10000000000000001, -inf)");
}

TEST(ConfigItemText, ChannelIdListWritesDecimalIds) {
    EXPECT_EQ(ValueListConfigItem<ChannelID>({ChannelID{0, 1}, ChannelID{1, 0}}).toString(),
              "1, 4294967296");
    EXPECT_EQ(ValueListConfigItem<ChannelID>().toString(), "");
}

TEST(ConfigItemText, GenericEnumWritesItsText) {
    EXPECT_EQ(GenericEnumConfigItem("Rising edge", "data").toString(), "Rising edge");
}

TEST(ConfigItemText, InvalidItemWritesMessageOrDefaultText) {
    EXPECT_EQ(InvalidConfigItem().toString(), "Invalid ConfigItem");
    EXPECT_EQ(InvalidConfigItem("").toString(), "Invalid ConfigItem");
    EXPECT_EQ(InvalidConfigItem("Unknown key").toString(), "Unknown key");
}

// --- every alternative of the union: index and text through the free helpers ---

struct Alternative {
    ConfigItem item;
    int index;
    std::string text;
};

std::vector<Alternative> everyAlternative() {
    using namespace channel_config;
    return {
        {StringConfigItem("abc"), 0, "abc"},
        {SingleValueConfigItem<double>(0.5), 1, "0.5"},
        {ScalarConfigItem(12.5, "mm"), 2, "12.5 mm"},
        {SingleValueConfigItem<int>(-3), 3, "-3"},
        {SingleValueConfigItem<unsigned int>(3u), 4, "3"},
        {SingleValueConfigItem<bool>(true), 5, "1"},
        {RangeConfigItem<double>(0, 10, "V", "V"), 6, "0 V .. 10 V"},
        {ValueListConfigItem<std::string>({"a", "b"}), 7, "a, b"},
        {ValueListConfigItem<TupleDD>({TupleDD(1, 2), TupleDD(3.5, 4)}), 8, "(1, 2), (3.5, 4)"},
        {DecoratedNumberConfigItem(7, "<", ">"), 9, "<7>"},
        {SingleValueConfigItem<UserScalingMode>(UserScalingMode::Linear), 10, "1"},
        {SingleValueConfigItem<DAQChannelType>(DAQChannelType::Counter), 11, "3"},
        {SingleValueConfigItem<SampleOccurrenceType>(SampleOccurrenceType::Periodic), 12, "0"},
        {SingleValueConfigItem<DAQSampleResolution>(DAQSampleResolution::Unsigned32), 13, "4"},
        {SingleValueConfigItem<PhysicalQuantity>(PhysicalQuantity::Temperature), 14, "3"},
        {GenericEnumConfigItem("On", "1"), 15, "On"},
        {SingleValueConfigItem<ChannelID>(ChannelID{1, 2}), 16, "4294967298"},
        {RationalScalarConfigItem(Rational(30000, 1001), "fps"), 17, "30000/1001 fps"},
        {ValueListConfigItem<ChannelID>({ChannelID{0, 7}}), 18, "7"},
        {InvalidConfigItem(), 19, "Invalid ConfigItem"},
    };
}

TEST(ConfigItemUnion, AlternativesHaveTheContractIndexes) {
    const auto all = everyAlternative();
    ASSERT_EQ(all.size(), 20u);
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(all[i].item.which(), static_cast<int>(i)) << all[i].text;
        EXPECT_EQ(all[i].item.which(), all[i].index) << all[i].text;
    }
}

TEST(ConfigItemUnion, IndexConstantsMatchAlternatives) {
    EXPECT_EQ(ConfigItem(StringConfigItem()).which(), kStringItem);
    EXPECT_EQ(ConfigItem(SingleValueConfigItem<double>()).which(), kDoubleItem);
    EXPECT_EQ(ConfigItem(ScalarConfigItem()).which(), kScalarItem);
    EXPECT_EQ(ConfigItem(SingleValueConfigItem<int>()).which(), kIntItem);
    EXPECT_EQ(ConfigItem(SingleValueConfigItem<unsigned int>()).which(), kUnsignedItem);
    EXPECT_EQ(ConfigItem(SingleValueConfigItem<bool>()).which(), kBoolItem);
    EXPECT_EQ(ConfigItem(RangeConfigItem<double>()).which(), kRangeItem);
    EXPECT_EQ(ConfigItem(ValueListConfigItem<std::string>()).which(), kStringListItem);
    EXPECT_EQ(ConfigItem(ValueListConfigItem<TupleDD>()).which(), kTupleListItem);
    EXPECT_EQ(ConfigItem(DecoratedNumberConfigItem()).which(), kDecoratedNumberItem);
    using namespace channel_config;
    EXPECT_EQ(ConfigItem(SingleValueConfigItem<UserScalingMode>()).which(), kUserScalingModeItem);
    EXPECT_EQ(ConfigItem(SingleValueConfigItem<DAQChannelType>()).which(), kChannelTypeItem);
    EXPECT_EQ(ConfigItem(SingleValueConfigItem<SampleOccurrenceType>()).which(),
              kSampleOccurrenceItem);
    EXPECT_EQ(ConfigItem(SingleValueConfigItem<DAQSampleResolution>()).which(),
              kSampleResolutionItem);
    EXPECT_EQ(ConfigItem(SingleValueConfigItem<PhysicalQuantity>()).which(), kPhysicalQuantityItem);
    EXPECT_EQ(ConfigItem(GenericEnumConfigItem()).which(), kGenericEnumItem);
    EXPECT_EQ(ConfigItem(SingleValueConfigItem<ChannelID>()).which(), kChannelIdItem);
    EXPECT_EQ(ConfigItem(RationalScalarConfigItem()).which(), kRationalScalarItem);
    EXPECT_EQ(ConfigItem(ValueListConfigItem<ChannelID>()).which(), kChannelIdListItem);
    EXPECT_EQ(ConfigItem(InvalidConfigItem()).which(), kInvalidItem);
}

TEST(ConfigItemUnion, FreeToStringWritesTheHeldAlternative) {
    for (const auto& alternative : everyAlternative()) {
        EXPECT_EQ(toString(alternative.item), alternative.text) << alternative.index;
        EXPECT_EQ(asItem(alternative.item).toString(), alternative.text) << alternative.index;
    }
}

TEST(ConfigItemUnion, EveryAlternativeEqualsItsCopyAndNoOtherAlternative) {
    const auto all = everyAlternative();
    for (const auto& a : all) {
        for (const auto& b : all) {
            const bool expected = a.index == b.index || a.index == kInvalidItem;
            EXPECT_EQ(equals(a.item, b.item), expected) << a.index << " vs " << b.index;
        }
    }
}

TEST(ConfigItemUnion, AssigningAnotherAlternativeReplacesIt) {
    ConfigItem item = ScalarConfigItem(3, "s");
    item = StringConfigItem("text", 2);
    ASSERT_EQ(item.which(), kStringItem);
    EXPECT_EQ(boost::get<StringConfigItem>(item).m_value, "text");
    EXPECT_EQ(boost::get<StringConfigItem>(item).m_kind, 2);
    item = ConfigItem(InvalidConfigItem("gone"));
    ASSERT_EQ(item.which(), kInvalidItem);
    EXPECT_EQ(toString(item), "gone");
    item = RangeConfigItem<double>(1, 5, "", "");
    EXPECT_EQ(item.which(), kRangeItem);
    EXPECT_EQ(toString(item), "1 .. 5");
}

TEST(ConfigItemUnion, AssigningTheSameAlternativeAssignsTheMember) {
    ConfigItem item = ScalarConfigItem(3, "s");
    item = ScalarConfigItem(4, "ms");
    ASSERT_EQ(item.which(), kScalarItem);
    EXPECT_EQ(toString(item), "4 ms");
}

// --- equality ---

TEST(ConfigItemEquality, ScalarPlusInfinityEqualsMinusInfinityWithSameUnit) {
    EXPECT_TRUE(ScalarConfigItem(kInf, "V").equals(ScalarConfigItem(-kInf, "V")));
    EXPECT_FALSE(ScalarConfigItem(kInf, "V").equals(ScalarConfigItem(-kInf, "mV")));
}

TEST(ConfigItemEquality, ScalarNaNEqualsNaN) {
    EXPECT_TRUE(ScalarConfigItem(kNaN, "").equals(ScalarConfigItem(kNaN, "")));
    EXPECT_FALSE(ScalarConfigItem(kNaN, "").equals(ScalarConfigItem(0, "")));
    EXPECT_FALSE(ScalarConfigItem(kInf, "").equals(ScalarConfigItem(kNaN, "")));
}

TEST(ConfigItemEquality, ScalarComparesValueAndUnit) {
    EXPECT_TRUE(ScalarConfigItem(3, "s").equals(ScalarConfigItem(3, "s")));
    EXPECT_FALSE(ScalarConfigItem(3, "s").equals(ScalarConfigItem(3.0000000000000004, "s")));
    EXPECT_FALSE(ScalarConfigItem(3, "s").equals(ScalarConfigItem(3, "")));
}

TEST(ConfigItemEquality, ScalarNeverEqualsPlainDoubleItemOfSameValue) {
    const ScalarConfigItem scalar(2, "");
    const SingleValueConfigItem<double> plain(2);
    const IfConfigItem& scalar_item = scalar;
    const IfConfigItem& plain_item = plain;
    EXPECT_FALSE(scalar_item.equals(plain_item));
    EXPECT_FALSE(plain_item.equals(scalar_item));
    // Also through the typed comparison of the double item.
    EXPECT_FALSE(scalar.equals(static_cast<const SingleValueConfigItem<double>&>(plain)));
    EXPECT_FALSE(equals(ConfigItem(scalar), ConfigItem(plain)));
}

TEST(ConfigItemEquality, DoubleItemUsesTheDoubleRule) {
    using Item = SingleValueConfigItem<double>;
    EXPECT_TRUE(Item(kNaN).equals(Item(kNaN)));
    EXPECT_TRUE(Item(kInf).equals(Item(-kInf)));
    EXPECT_TRUE(Item(0.0).equals(Item(-0.0)));
    EXPECT_FALSE(Item(1).equals(Item(kInf)));
    EXPECT_FALSE(Item(0.1).equals(Item(0.10000000000000002)));
}

TEST(ConfigItemEquality, DoubleRuleFunction) {
    EXPECT_TRUE(doubleEquals(1.5, 1.5));
    EXPECT_TRUE(doubleEquals(kNaN, -kNaN));
    EXPECT_TRUE(doubleEquals(-kInf, kInf));
    EXPECT_FALSE(doubleEquals(kNaN, kInf));
    EXPECT_FALSE(doubleEquals(1, 2));
}

TEST(ConfigItemEquality, StringItemComparesStringAndKind) {
    EXPECT_TRUE(StringConfigItem("a", 0).equals(StringConfigItem("a", 0)));
    EXPECT_FALSE(StringConfigItem("a", 0).equals(StringConfigItem("a", 1)));
    EXPECT_FALSE(StringConfigItem("a", 0).equals(StringConfigItem("b", 0)));
}

TEST(ConfigItemEquality, StringItemNeverEqualsPlainStringItem) {
    const StringConfigItem string_item("a");
    const SingleValueConfigItem<std::string> plain("a");
    const IfConfigItem& a = string_item;
    const IfConfigItem& b = plain;
    EXPECT_FALSE(a.equals(b));
    EXPECT_FALSE(b.equals(a));
    EXPECT_TRUE(plain.equals(SingleValueConfigItem<std::string>("a")));
}

TEST(ConfigItemEquality, DecoratedNumberComparesValuePrefixAndSuffix) {
    const DecoratedNumberConfigItem item(kInf, "<", ">");
    EXPECT_TRUE(item.equals(DecoratedNumberConfigItem(-kInf, "<", ">")));
    EXPECT_FALSE(item.equals(DecoratedNumberConfigItem(kInf, "[", ">")));
    EXPECT_FALSE(item.equals(DecoratedNumberConfigItem(kInf, "<", "]")));
    const IfConfigItem& as_item = DecoratedNumberConfigItem(1, "", "");
    EXPECT_FALSE(as_item.equals(ScalarConfigItem(1, "")));
}

TEST(ConfigItemEquality, SingleValueItemsOfDifferentTypesAreNotEqual) {
    using namespace channel_config;
    const IfConfigItem& mode = SingleValueConfigItem<UserScalingMode>(UserScalingMode::Linear);
    const IfConfigItem& quantity =
        SingleValueConfigItem<PhysicalQuantity>(PhysicalQuantity::Voltage);
    EXPECT_FALSE(mode.equals(quantity));
    const IfConfigItem& int_item = SingleValueConfigItem<int>(1);
    EXPECT_FALSE(int_item.equals(SingleValueConfigItem<unsigned int>(1u)));
    EXPECT_TRUE(int_item.equals(SingleValueConfigItem<int>(1)));
    EXPECT_FALSE(int_item.equals(SingleValueConfigItem<int>(2)));
}

TEST(ConfigItemEquality, ChannelIdItemComparesBothFields) {
    using Item = SingleValueConfigItem<ChannelID>;
    EXPECT_TRUE(Item(ChannelID{1, 2}).equals(Item(ChannelID{1, 2})));
    EXPECT_FALSE(Item(ChannelID{1, 2}).equals(Item(ChannelID{2, 1})));
}

TEST(ConfigItemEquality, RationalComparesReducedFractionAndUnit) {
    EXPECT_TRUE(RationalScalarConfigItem(Rational(2, 4), "fps")
                    .equals(RationalScalarConfigItem(Rational(1, 2), "fps")));
    EXPECT_FALSE(RationalScalarConfigItem(Rational(1, 2), "fps")
                     .equals(RationalScalarConfigItem(Rational(1, 2), "Hz")));
    EXPECT_FALSE(RationalScalarConfigItem(Rational(1, 2), "")
                     .equals(RationalScalarConfigItem(Rational(1, 3), "")));
}

TEST(ConfigItemEquality, RangeComparesBoundsByDoubleRuleAndUnits) {
    using Range = RangeConfigItem<double>;
    EXPECT_TRUE(Range(-kInf, kNaN, "V", "V").equals(Range(kInf, kNaN, "V", "V")));
    EXPECT_FALSE(Range(0, 1, "V", "V").equals(Range(0, 2, "V", "V")));
    EXPECT_FALSE(Range(0, 1, "V", "V").equals(Range(0, 1, "", "V")));
    EXPECT_FALSE(Range(0, 1, "V", "V").equals(Range(0, 1, "V", "")));
}

TEST(ConfigItemEquality, TupleListComparesLengthAndElementsInOrder) {
    using List = ValueListConfigItem<TupleDD>;
    const List list({TupleDD(1, kNaN), TupleDD(kInf, 4)});
    EXPECT_TRUE(list.equals(List({TupleDD(1, kNaN), TupleDD(-kInf, 4)})));
    EXPECT_FALSE(list.equals(List({TupleDD(kInf, 4), TupleDD(1, kNaN)})));
    EXPECT_FALSE(list.equals(List({TupleDD(1, kNaN)})));
    EXPECT_TRUE(List().equals(List()));
}

TEST(ConfigItemEquality, TupleUsesDoubleRuleOnBothComponents) {
    EXPECT_TRUE(TupleDD(kNaN, kInf).equals(TupleDD(kNaN, -kInf)));
    EXPECT_FALSE(TupleDD(1, 2).equals(TupleDD(1, 3)));
    EXPECT_FALSE(TupleDD(1, 2).equals(TupleDD(0, 2)));
}

TEST(ConfigItemEquality, StringAndChannelIdListsCompareElementWise) {
    using Strings = ValueListConfigItem<std::string>;
    EXPECT_TRUE(Strings({"a", "b"}).equals(Strings({"a", "b"})));
    EXPECT_FALSE(Strings({"a", "b"}).equals(Strings({"b", "a"})));
    EXPECT_FALSE(Strings({"a, b"}).equals(Strings({"a", "b"})));
    using Ids = ValueListConfigItem<ChannelID>;
    EXPECT_TRUE(Ids({ChannelID{1, 2}}).equals(Ids({ChannelID{1, 2}})));
    EXPECT_FALSE(Ids({ChannelID{1, 2}}).equals(Ids({ChannelID{1, 3}})));
}

TEST(ConfigItemEquality, GenericEnumComparesTextAndData) {
    EXPECT_TRUE(GenericEnumConfigItem("On", "1").equals(GenericEnumConfigItem("On", "1")));
    EXPECT_FALSE(GenericEnumConfigItem("On", "1").equals(GenericEnumConfigItem("On", "2")));
    EXPECT_FALSE(GenericEnumConfigItem("On", "1").equals(GenericEnumConfigItem("Off", "1")));
    EXPECT_FALSE(GenericEnumConfigItem("1", "").equals(StringConfigItem("1")));
}

TEST(ConfigItemEquality, InvalidItemWithoutMessageEqualsAnyItem) {
    const InvalidConfigItem invalid;
    EXPECT_EQ(invalid.toString(), "Invalid ConfigItem");
    for (const auto& alternative : everyAlternative())
        EXPECT_TRUE(invalid.equals(asItem(alternative.item))) << alternative.index;
    EXPECT_TRUE(InvalidConfigItem("x").equals(ScalarConfigItem(1, "V")));
}

// --- live-instance counting ---

TEST(ConfigItemCount, ConstructorsCountAndDestructorsUncount) {
    const std::uint32_t before = liveItems();
    {
        ScalarConfigItem a(1, "V");
        EXPECT_EQ(liveItems(), before + 1);
        ScalarConfigItem copy(a);
        EXPECT_EQ(liveItems(), before + 2);
        ScalarConfigItem moved(std::move(copy));
        EXPECT_EQ(liveItems(), before + 3);
        ValueListConfigItem<std::string> list({"a", "b"});
        ValueListConfigItem<std::string> moved_list(std::move(list));
        EXPECT_EQ(liveItems(), before + 5);
        a = moved;  // assignment creates nothing
        EXPECT_EQ(liveItems(), before + 5);
    }
    EXPECT_EQ(liveItems(), before);
}

TEST(ConfigItemCount, TupleElementsAreNotItems) {
    const std::uint32_t before = liveItems();
    {
        ValueListConfigItem<TupleDD> list({TupleDD(1, 2), TupleDD(3, 4), TupleDD(5, 6)});
        EXPECT_EQ(liveItems(), before + 1);
    }
    EXPECT_EQ(liveItems(), before);
}

TEST(ConfigItemCount, UnionCopiesAndAssignmentsKeepTheCountBalanced) {
    const std::uint32_t before = liveItems();
    {
        ConfigItem item = ScalarConfigItem(3, "s");
        EXPECT_EQ(liveItems(), before + 1);
        ConfigItem copy = item;
        EXPECT_EQ(liveItems(), before + 2);
        copy = StringConfigItem("x");
        item = InvalidConfigItem();
        EXPECT_EQ(liveItems(), before + 2);
        std::vector<ConfigItem> items(5, copy);
        EXPECT_EQ(liveItems(), before + 7);
    }
    EXPECT_EQ(liveItems(), before);
}

}  // namespace
}  // namespace config_items
