// Typed configuration items: every value the plug-in and the host exchange.
//
// An item knows its type, writes its text form and compares itself with another item. Items
// travel by value inside `ConfigItem`, a tagged union whose alternative index is part of the
// host contract (see the alternatives below, in index order).
#pragma once

#include <boost/rational.hpp>
#include <boost/variant.hpp>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "config_items/channel_types.h"
#include "uni/countable.h"

namespace config_items {

/// Root of every item; counts live items through uni::Countable<IfConfigItem>.
class IfConfigItem : public uni::Countable<IfConfigItem> {
public:
    virtual ~IfConfigItem();
    /// The text form of the item (write-only; nothing parses it back).
    virtual std::string toString() const = 0;
    /// True when `other` has exactly this item's dynamic type and equal contents.
    virtual bool equals(const IfConfigItem& other) const = 0;

protected:
    IfConfigItem() = default;
    IfConfigItem(const IfConfigItem&) = default;
    IfConfigItem& operator=(const IfConfigItem&) = default;
};

/// Base of the items that hold one value.
class IfValueConfigItem : public IfConfigItem {};

/// One value of type T.
template <typename T>
class SingleValueConfigItem : public IfValueConfigItem {
public:
    SingleValueConfigItem() : m_value() {}
    explicit SingleValueConfigItem(T value) : m_value(std::move(value)) {}

    std::string toString() const override;
    bool equals(const IfConfigItem& other) const override;
    /// Typed comparison: the values only.
    virtual bool equals(const SingleValueConfigItem<T>& other) const;

    T m_value;
};

/// A number with a unit ("12.5 mm").
class ScalarConfigItem : public SingleValueConfigItem<double> {
public:
    ScalarConfigItem() = default;
    ScalarConfigItem(double value, std::string unit)
        : SingleValueConfigItem<double>(value), m_unit(std::move(unit)) {}

    std::string toString() const override;
    bool equals(const IfConfigItem& other) const override;
    bool equals(const SingleValueConfigItem<double>& other) const override;
    virtual bool equals(const ScalarConfigItem& other) const;

    std::string m_unit;
};

/// A string with a kind attribute that takes part in equality (0 for every string of ours).
class StringConfigItem : public SingleValueConfigItem<std::string> {
public:
    StringConfigItem() = default;
    explicit StringConfigItem(std::string value, std::int32_t kind = 0)
        : SingleValueConfigItem<std::string>(std::move(value)), m_kind(kind) {}

    std::string toString() const override;
    bool equals(const IfConfigItem& other) const override;
    bool equals(const SingleValueConfigItem<std::string>& other) const override;
    virtual bool equals(const StringConfigItem& other) const;

    std::int32_t m_kind = 0;
};

/// A number written between a prefix and a suffix.
class DecoratedNumberConfigItem : public SingleValueConfigItem<double> {
public:
    DecoratedNumberConfigItem() = default;
    DecoratedNumberConfigItem(double value, std::string prefix, std::string suffix)
        : SingleValueConfigItem<double>(value),
          m_prefix(std::move(prefix)),
          m_suffix(std::move(suffix)) {}

    std::string toString() const override;
    bool equals(const IfConfigItem& other) const override;
    bool equals(const SingleValueConfigItem<double>& other) const override;
    virtual bool equals(const DecoratedNumberConfigItem& other) const;

    std::string m_prefix;
    std::string m_suffix;
};

/// A rational number with a unit ("30000/1001 fps").
class RationalScalarConfigItem : public IfValueConfigItem {
public:
    using Rational = boost::rational<std::int64_t>;

    RationalScalarConfigItem() = default;
    RationalScalarConfigItem(Rational value, std::string unit)
        : m_value(value), m_unit(std::move(unit)) {}

    std::string toString() const override;
    bool equals(const IfConfigItem& other) const override;
    virtual bool equals(const RationalScalarConfigItem& other) const;

    Rational m_value;
    std::string m_unit;
};

/// A closed range with a unit per bound. Its bounds are written with six significant digits.
template <typename T>
class RangeConfigItem : public IfConfigItem {
public:
    RangeConfigItem() : m_min(), m_max() {}
    RangeConfigItem(T min, T max, std::string min_unit, std::string max_unit)
        : m_min(min),
          m_max(max),
          m_min_unit(std::move(min_unit)),
          m_max_unit(std::move(max_unit)) {}

    std::string toString() const override;
    /// Treats `other` as a range item without testing its type: compare ranges only with
    /// items of the same alternative.
    bool equals(const IfConfigItem& other) const override;

    T m_min;
    T m_max;
    std::string m_min_unit;
    std::string m_max_unit;
};

/// A pair of doubles; an element type of list items, not an item itself.
template <typename A, typename B>
class TupleValue {
public:
    TupleValue() : first(), second() {}
    TupleValue(A a, B b) : first(a), second(b) {}
    TupleValue(const TupleValue&) = default;
    TupleValue& operator=(const TupleValue&) = default;
    virtual ~TupleValue() = default;

    virtual bool equals(const TupleValue& other) const;

    A first;
    B second;
};

/// Base of the list items.
class IfValueListConfigItem : public IfConfigItem {};

/// An ordered list of values (duplicates allowed), written joined by ", ".
template <typename T>
class ValueListConfigItem : public IfValueListConfigItem {
public:
    ValueListConfigItem() = default;
    explicit ValueListConfigItem(std::vector<T> values) : m_values(std::move(values)) {}

    std::string toString() const override;
    /// Treats `other` as a list of the same type without testing it: compare lists only
    /// with items of the same alternative.
    bool equals(const IfConfigItem& other) const override;

    std::vector<T> m_values;
};

/// An enumerator given by its text, with a second string that travels with it.
class GenericEnumConfigItem : public IfConfigItem {
public:
    GenericEnumConfigItem() = default;
    GenericEnumConfigItem(std::string text, std::string data)
        : m_text(std::move(text)), m_data(std::move(data)) {}

    std::string toString() const override;
    bool equals(const IfConfigItem& other) const override;

    std::string m_text;
    std::string m_data;
};

/// "No item": what a lookup of an unknown key answers. Equal to any item.
class InvalidConfigItem : public IfConfigItem {
public:
    InvalidConfigItem() = default;
    explicit InvalidConfigItem(std::string message) : m_message(std::move(message)) {}
    // Copied and moved out of line: inlined into a caller that returns a fresh item, GCC's
    // optimiser loses track of the empty optional and warns about the message it never reads.
    InvalidConfigItem(const InvalidConfigItem& other);
    InvalidConfigItem(InvalidConfigItem&& other) noexcept;
    InvalidConfigItem& operator=(const InvalidConfigItem& other);
    InvalidConfigItem& operator=(InvalidConfigItem&& other) noexcept;
    ~InvalidConfigItem() override;

    /// The message, or "Invalid ConfigItem" without one.
    std::string toString() const override;
    /// Always true, whatever `other` is.
    bool equals(const IfConfigItem& other) const override;

    std::optional<std::string> m_message;
};

/// The library's own exception type.
class ConfigItemException : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

using TupleDD = TupleValue<double, double>;

/// The tagged union exchanged with the host. The index of an alternative is its type tag.
using ConfigItem =
    boost::variant<StringConfigItem,                                             // 0
                   SingleValueConfigItem<double>,                                // 1
                   ScalarConfigItem,                                             // 2
                   SingleValueConfigItem<int>,                                   // 3
                   SingleValueConfigItem<unsigned int>,                          // 4
                   SingleValueConfigItem<bool>,                                  // 5
                   RangeConfigItem<double>,                                      // 6
                   ValueListConfigItem<std::string>,                             // 7
                   ValueListConfigItem<TupleDD>,                                 // 8
                   DecoratedNumberConfigItem,                                    // 9
                   SingleValueConfigItem<channel_config::UserScalingMode>,       // 10
                   SingleValueConfigItem<channel_config::DAQChannelType>,        // 11
                   SingleValueConfigItem<channel_config::SampleOccurrenceType>,  // 12
                   SingleValueConfigItem<channel_config::DAQSampleResolution>,   // 13
                   SingleValueConfigItem<channel_config::PhysicalQuantity>,      // 14
                   GenericEnumConfigItem,                                        // 15
                   SingleValueConfigItem<channel_config::ChannelID>,             // 16
                   RationalScalarConfigItem,                                     // 17
                   ValueListConfigItem<channel_config::ChannelID>,               // 18
                   InvalidConfigItem>;                                           // 19

/// Alternative indexes of ConfigItem, for readable checks of which().
enum ConfigItemIndex : int {
    kStringItem = 0,
    kDoubleItem = 1,
    kScalarItem = 2,
    kIntItem = 3,
    kUnsignedItem = 4,
    kBoolItem = 5,
    kRangeItem = 6,
    kStringListItem = 7,
    kTupleListItem = 8,
    kDecoratedNumberItem = 9,
    kUserScalingModeItem = 10,
    kChannelTypeItem = 11,
    kSampleOccurrenceItem = 12,
    kSampleResolutionItem = 13,
    kPhysicalQuantityItem = 14,
    kGenericEnumItem = 15,
    kChannelIdItem = 16,
    kRationalScalarItem = 17,
    kChannelIdListItem = 18,
    kInvalidItem = 19,
};

/// The held alternative as its interface.
const IfConfigItem& asItem(const ConfigItem& item) noexcept;
/// The text form of the held alternative.
std::string toString(const ConfigItem& item);
/// `a`'s alternative compared with `b`'s through IfConfigItem::equals.
bool equals(const ConfigItem& a, const ConfigItem& b);

/// The double rule: equal when equal, when both are NaN, or when both are infinite (whatever
/// their signs).
bool doubleEquals(double a, double b) noexcept;
/// The 17-digit text of a double ("%.17g"; inf, -inf, nan, -nan).
std::string numberToString(double value);

extern template class SingleValueConfigItem<double>;
extern template class SingleValueConfigItem<std::string>;
extern template class SingleValueConfigItem<int>;
extern template class SingleValueConfigItem<unsigned int>;
extern template class SingleValueConfigItem<bool>;
extern template class SingleValueConfigItem<channel_config::UserScalingMode>;
extern template class SingleValueConfigItem<channel_config::DAQChannelType>;
extern template class SingleValueConfigItem<channel_config::SampleOccurrenceType>;
extern template class SingleValueConfigItem<channel_config::DAQSampleResolution>;
extern template class SingleValueConfigItem<channel_config::PhysicalQuantity>;
extern template class SingleValueConfigItem<channel_config::ChannelID>;
extern template class RangeConfigItem<double>;
extern template class TupleValue<double, double>;
extern template class ValueListConfigItem<std::string>;
extern template class ValueListConfigItem<TupleDD>;
extern template class ValueListConfigItem<channel_config::ChannelID>;

}  // namespace config_items
