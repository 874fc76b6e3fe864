// Text form and equality of the configuration items.
//
// Single values are written with 17 significant digits so that every double survives a
// conversion back; the bounds of a range are written with a text stream's default six digits.
// Both forms are part of what the host shows and stores, so they are kept as they are.
#include "config_items/config_items.h"

#include <boost/lexical_cast.hpp>
#include <cmath>
#include <cstdio>
#include <locale>
#include <sstream>
#include <type_traits>
#include <typeinfo>

namespace config_items {
namespace {

constexpr const char* kInvalidItemText = "Invalid ConfigItem";

// Same dynamic type, not merely a derived one: a ScalarConfigItem never equals a plain
// SingleValueConfigItem<double> of the same value.
bool sameType(const IfConfigItem& a, const IfConfigItem& b) noexcept {
    return typeid(a) == typeid(b);
}

// Text of one value, per value type. Integers go through the conversion library; it throws
// boost::bad_lexical_cast only when the stream refuses the number, which does not happen.
std::string valueText(double value) { return numberToString(value); }
std::string valueText(int value) { return boost::lexical_cast<std::string>(value); }
std::string valueText(unsigned int value) { return boost::lexical_cast<std::string>(value); }
std::string valueText(bool value) { return value ? "1" : "0"; }
std::string valueText(const std::string& value) { return value; }
std::string valueText(const channel_config::ChannelID& id) {
    return boost::lexical_cast<std::string>(id.value());
}
std::string valueText(const TupleDD& tuple) {
    return "(" + numberToString(tuple.first) + ", " + numberToString(tuple.second) + ")";
}
// The host's enumerations are written as their numeric value.
template <typename E, typename = std::enable_if_t<std::is_enum_v<E>>>
std::string valueText(E value) {
    return boost::lexical_cast<std::string>(static_cast<std::underlying_type_t<E>>(value));
}

// Equality of one value, per value type: doubles by the double rule, tuples by their own
// comparison, everything else by ==.
template <typename T>
bool valueEquals(const T& a, const T& b) {
    return a == b;
}
bool valueEquals(double a, double b) { return doubleEquals(a, b); }
bool valueEquals(const TupleDD& a, const TupleDD& b) { return a.equals(b); }

// A range bound: a text stream's default formatting (six significant digits), in the classic
// locale so that no digit grouping creeps in.
std::string boundText(double value) {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out << value;
    return out.str();
}

// " unit" when there is a unit, nothing otherwise.
std::string unitSuffix(const std::string& unit) { return unit.empty() ? unit : " " + unit; }

struct AsItem : boost::static_visitor<const IfConfigItem&> {
    template <typename Item>
    const IfConfigItem& operator()(const Item& item) const noexcept {
        return item;
    }
};

}  // namespace

bool doubleEquals(double a, double b) noexcept {
    // +infinity equals -infinity: the host treats every infinite value as "unbounded".
    return a == b || (std::isnan(a) && std::isnan(b)) || (std::isinf(a) && std::isinf(b));
}

std::string numberToString(double value) {
    // Spelled out rather than left to the C library, whose spelling of these is not fixed.
    if (std::isnan(value)) return std::signbit(value) ? "-nan" : "nan";
    if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.*g", 17, value);
    return buffer;
}

IfConfigItem::~IfConfigItem() = default;

// --- SingleValueConfigItem<T> ---

template <typename T>
std::string SingleValueConfigItem<T>::toString() const {
    return valueText(m_value);
}

template <typename T>
bool SingleValueConfigItem<T>::equals(const IfConfigItem& other) const {
    return sameType(*this, other) && equals(static_cast<const SingleValueConfigItem<T>&>(other));
}

template <typename T>
bool SingleValueConfigItem<T>::equals(const SingleValueConfigItem<T>& other) const {
    return valueEquals(m_value, other.m_value);
}

// --- ScalarConfigItem ---

std::string ScalarConfigItem::toString() const {
    return numberToString(m_value) + unitSuffix(m_unit);
}

bool ScalarConfigItem::equals(const IfConfigItem& other) const {
    return sameType(*this, other) && equals(static_cast<const ScalarConfigItem&>(other));
}

// Reached through a SingleValueConfigItem<double> reference: only a ScalarConfigItem can be
// equal, so the value-only comparison of the base does not apply.
bool ScalarConfigItem::equals(const SingleValueConfigItem<double>& other) const {
    return sameType(*this, other) && equals(static_cast<const ScalarConfigItem&>(other));
}

bool ScalarConfigItem::equals(const ScalarConfigItem& other) const {
    return doubleEquals(m_value, other.m_value) && m_unit == other.m_unit;
}

// --- StringConfigItem ---

std::string StringConfigItem::toString() const { return m_value; }

bool StringConfigItem::equals(const IfConfigItem& other) const {
    return sameType(*this, other) && equals(static_cast<const StringConfigItem&>(other));
}

bool StringConfigItem::equals(const SingleValueConfigItem<std::string>& other) const {
    return sameType(*this, other) && equals(static_cast<const StringConfigItem&>(other));
}

bool StringConfigItem::equals(const StringConfigItem& other) const {
    return m_value == other.m_value && m_kind == other.m_kind;
}

// --- DecoratedNumberConfigItem ---

std::string DecoratedNumberConfigItem::toString() const {
    return m_prefix + numberToString(m_value) + m_suffix;
}

bool DecoratedNumberConfigItem::equals(const IfConfigItem& other) const {
    return sameType(*this, other) && equals(static_cast<const DecoratedNumberConfigItem&>(other));
}

bool DecoratedNumberConfigItem::equals(const SingleValueConfigItem<double>& other) const {
    return sameType(*this, other) && equals(static_cast<const DecoratedNumberConfigItem&>(other));
}

bool DecoratedNumberConfigItem::equals(const DecoratedNumberConfigItem& other) const {
    return doubleEquals(m_value, other.m_value) && m_prefix == other.m_prefix &&
           m_suffix == other.m_suffix;
}

// --- RationalScalarConfigItem ---

std::string RationalScalarConfigItem::toString() const {
    std::string text = boost::lexical_cast<std::string>(m_value.numerator());
    if (m_value.denominator() != 1)
        text += "/" + boost::lexical_cast<std::string>(m_value.denominator());
    return text + unitSuffix(m_unit);
}

bool RationalScalarConfigItem::equals(const IfConfigItem& other) const {
    return sameType(*this, other) && equals(static_cast<const RationalScalarConfigItem&>(other));
}

bool RationalScalarConfigItem::equals(const RationalScalarConfigItem& other) const {
    return m_value.numerator() == other.m_value.numerator() &&
           m_value.denominator() == other.m_value.denominator() && m_unit == other.m_unit;
}

// --- RangeConfigItem<T> ---

template <typename T>
std::string RangeConfigItem<T>::toString() const {
    return boundText(m_min) + unitSuffix(m_min_unit) + " .. " + boundText(m_max) +
           unitSuffix(m_max_unit);
}

// No type test: the host compares a range only with an item of the same alternative, and the
// comparison has always taken the other item as a range. Callers that may hold another
// alternative compare through config_items::equals(), which checks the alternative first.
template <typename T>
bool RangeConfigItem<T>::equals(const IfConfigItem& other) const {
    const auto& range = static_cast<const RangeConfigItem<T>&>(other);
    return valueEquals(m_min, range.m_min) && valueEquals(m_max, range.m_max) &&
           m_min_unit == range.m_min_unit && m_max_unit == range.m_max_unit;
}

// --- TupleValue<A, B> ---

template <typename A, typename B>
bool TupleValue<A, B>::equals(const TupleValue& other) const {
    return valueEquals(first, other.first) && valueEquals(second, other.second);
}

// --- ValueListConfigItem<T> ---

template <typename T>
std::string ValueListConfigItem<T>::toString() const {
    std::string text;
    for (std::size_t i = 0; i < m_values.size(); ++i) {
        if (i != 0) text += ", ";
        text += valueText(m_values[i]);
    }
    return text;
}

// No type test, as for ranges: `other` is taken as a list of the same element type.
template <typename T>
bool ValueListConfigItem<T>::equals(const IfConfigItem& other) const {
    const auto& list = static_cast<const ValueListConfigItem<T>&>(other);
    if (m_values.size() != list.m_values.size()) return false;
    for (std::size_t i = 0; i < m_values.size(); ++i)
        if (!valueEquals(m_values[i], list.m_values[i])) return false;
    return true;
}

// --- GenericEnumConfigItem ---

std::string GenericEnumConfigItem::toString() const { return m_text; }

// Both strings take part: two enumerators with the same text but different data are different
// items.
bool GenericEnumConfigItem::equals(const IfConfigItem& other) const {
    if (!sameType(*this, other)) return false;
    const auto& item = static_cast<const GenericEnumConfigItem&>(other);
    return m_text == item.m_text && m_data == item.m_data;
}

// --- InvalidConfigItem ---

InvalidConfigItem::InvalidConfigItem(const InvalidConfigItem& other) = default;
InvalidConfigItem::InvalidConfigItem(InvalidConfigItem&& other) noexcept = default;
InvalidConfigItem& InvalidConfigItem::operator=(const InvalidConfigItem& other) = default;
InvalidConfigItem& InvalidConfigItem::operator=(InvalidConfigItem&& other) noexcept = default;
InvalidConfigItem::~InvalidConfigItem() = default;

// An empty message counts as none: lookups of unknown keys answer an item with an empty
// message, and its text is "Invalid ConfigItem".
std::string InvalidConfigItem::toString() const {
    return m_message && !m_message->empty() ? *m_message : kInvalidItemText;
}

// "No item" matches anything; the host relies on it.
bool InvalidConfigItem::equals(const IfConfigItem&) const { return true; }

// --- ConfigItem helpers ---

const IfConfigItem& asItem(const ConfigItem& item) noexcept {
    return boost::apply_visitor(AsItem{}, item);
}

std::string toString(const ConfigItem& item) { return asItem(item).toString(); }

bool equals(const ConfigItem& a, const ConfigItem& b) {
    // Ranges and lists take the other item as their own type without testing it; another
    // alternative can never be equal (except to InvalidConfigItem, which equals everything),
    // so it is answered here before the item sees it.
    if (a.which() != b.which() && a.which() != kInvalidItem) return false;
    return asItem(a).equals(asItem(b));
}

template class SingleValueConfigItem<double>;
template class SingleValueConfigItem<std::string>;
template class SingleValueConfigItem<int>;
template class SingleValueConfigItem<unsigned int>;
template class SingleValueConfigItem<bool>;
template class SingleValueConfigItem<channel_config::UserScalingMode>;
template class SingleValueConfigItem<channel_config::DAQChannelType>;
template class SingleValueConfigItem<channel_config::SampleOccurrenceType>;
template class SingleValueConfigItem<channel_config::DAQSampleResolution>;
template class SingleValueConfigItem<channel_config::PhysicalQuantity>;
template class SingleValueConfigItem<channel_config::ChannelID>;
template class RangeConfigItem<double>;
template class TupleValue<double, double>;
template class ValueListConfigItem<std::string>;
template class ValueListConfigItem<TupleDD>;
template class ValueListConfigItem<channel_config::ChannelID>;

}  // namespace config_items
