// Constraints: what the host may do with one configuration value.
//
// Constraints are immutable values handed out as lists of shared pointers; the host compares
// and clones them. The flag and dependency classes live in channel_config.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "config_items/channel_types.h"
#include "config_items/config_items.h"

namespace config_items {

class IfConfigItemConstraint {
public:
    virtual ~IfConfigItemConstraint() = default;
    /// True when `other` is of a compatible type with equal contents; never throws.
    virtual bool equals(const IfConfigItemConstraint& other) const = 0;
    /// A new constraint of the same dynamic type and contents (one allocation).
    virtual std::shared_ptr<IfConfigItemConstraint> clone() const = 0;
};

using ConstraintPtr = std::shared_ptr<IfConfigItemConstraint>;
using ConstraintList = std::vector<ConstraintPtr>;

/// A flag. Both flag classes derived from it share its comparison, which tests only for
/// BooleanConstraint: ReadOnlyConstraint(true) equals
/// ConfigurableDuringAcquisitionConstraint(true).
class BooleanConstraint : public IfConfigItemConstraint {
public:
    explicit BooleanConstraint(bool flag) : m_flag(flag) {}
    bool flag() const noexcept { return m_flag; }

    bool equals(const IfConfigItemConstraint& other) const override;
    ConstraintPtr clone() const override;

private:
    bool m_flag;
};

/// A constraint on the values of one type.
class IfOptionConstraint : public IfConfigItemConstraint {
public:
    virtual const std::type_info& valueType() const = 0;
};

/// One value the host may offer for selection; a list of these is the list of choices.
template <typename T>
class OptionConstraint : public IfOptionConstraint {
public:
    explicit OptionConstraint(T item) : m_item(std::move(item)) {}
    const T& item() const noexcept { return m_item; }

    bool equals(const IfConfigItemConstraint& other) const override {
        const auto* o = dynamic_cast<const OptionConstraint<T>*>(&other);
        return o != nullptr && m_item.equals(o->m_item);
    }
    ConstraintPtr clone() const override { return std::make_shared<OptionConstraint<T>>(*this); }
    const std::type_info& valueType() const override { return typeid(T); }

private:
    T m_item;
};

class IfRangeConstraint : public IfConfigItemConstraint {
public:
    virtual const std::type_info& valueType() const = 0;
};

/// Allowed values min <= value <= max. min > max is reported as an assertion; the bounds are
/// kept as given.
template <typename T>
class ValueRangeConstraint : public IfRangeConstraint {
public:
    ValueRangeConstraint(T min, T max);
    T min() const noexcept { return m_min; }
    T max() const noexcept { return m_max; }
    /// True when min <= value <= max (both ends included).
    bool contains(T value) const noexcept { return m_min <= value && value <= m_max; }

    /// Plain comparison of the bounds (a NaN bound never compares equal).
    bool equals(const IfConfigItemConstraint& other) const override {
        const auto* o = dynamic_cast<const ValueRangeConstraint<T>*>(&other);
        return o != nullptr && m_min == o->m_min && m_max == o->m_max;
    }
    ConstraintPtr clone() const override {
        return std::make_shared<ValueRangeConstraint<T>>(*this);
    }
    const std::type_info& valueType() const override { return typeid(T); }

private:
    T m_min;
    T m_max;
};

extern template class ValueRangeConstraint<double>;

}  // namespace config_items

namespace channel_config {

/// Flag true: the value cannot be set.
class ReadOnlyConstraint : public config_items::BooleanConstraint {
public:
    using BooleanConstraint::BooleanConstraint;
    config_items::ConstraintPtr clone() const override;
};

/// Flag true: the value may change while acquisition runs; false: only while stopped.
class ConfigurableDuringAcquisitionConstraint : public config_items::BooleanConstraint {
public:
    using BooleanConstraint::BooleanConstraint;
    config_items::ConstraintPtr clone() const override;
};

/// The constrained value depends on these items (keys) of these channels.
class DependentCfgItemConstraint : public config_items::IfConfigItemConstraint {
public:
    using DependencyMap = std::map<ChannelID, std::vector<std::string>>;

    explicit DependentCfgItemConstraint(DependencyMap dependencies)
        : m_dependencies(std::move(dependencies)) {}
    const DependencyMap& dependencies() const noexcept { return m_dependencies; }

    bool equals(const config_items::IfConfigItemConstraint& other) const override;
    config_items::ConstraintPtr clone() const override;

private:
    DependencyMap m_dependencies;
};

}  // namespace channel_config
