// The option classes a channel answers its keys with.
//
// A channel (SimpleChannelConfig) delegates each of its keys to one option: the option knows
// its key, produces its value as a ConfigItem, accepts or refuses a new value, lists its
// constraints and says whether it is currently available. Options are owned through
// boost::shared_ptr (boost::make_shared), shared by the channel's list and map. A value of the
// wrong ConfigItem alternative is refused with false, never with an exception. Options do not
// lock: the channel's owner serialises calls.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "config_items/channel_types.h"
#include "config_items/config_item_constraints.h"
#include "config_items/config_items.h"
#include "zeltpu/channel_usage.h"
#include "zeltpu/namespace.h"

namespace zelt::plugin_util {

/// Base of every option.
///
/// Besides its key, an option holds the constraints that its channel adds to all of its options
/// (SimpleChannelConfig::addChannelConstraint). Every option class of this library returns
/// those after its own constraints from getConstraints().
class ChannelConfigOption {
public:
    explicit ChannelConfigOption(std::string key) : m_key(std::move(key)) {}
    ChannelConfigOption(const ChannelConfigOption&) = delete;
    ChannelConfigOption& operator=(const ChannelConfigOption&) = delete;

    const std::string& getKey() const noexcept { return m_key; }

    /// Appends a constraint of the whole channel (called by the channel).
    void addChannelConstraint(config_items::ConstraintPtr constraint) {
        m_channel_constraints.push_back(std::move(constraint));
    }
    /// The constraints of the whole channel, in the order they were added.
    const config_items::ConstraintList& channelConstraints() const noexcept {
        return m_channel_constraints;
    }

    /// Whether the channel currently offers this option.
    virtual bool isAvailable() const = 0;
    virtual config_items::ConfigItem getValue() const = 0;
    /// Takes a new value; false when it is refused (wrong alternative, out of limits,
    /// read-only).
    virtual bool setValue(const config_items::ConfigItem& item) = 0;
    /// The option's own constraints followed by the channel's.
    virtual config_items::ConstraintList getConstraints() const = 0;
    virtual ~ChannelConfigOption() = default;

protected:
    /// `own` with the channel's constraints appended.
    config_items::ConstraintList withChannelConstraints(config_items::ConstraintList own) const {
        own.insert(own.end(), m_channel_constraints.begin(), m_channel_constraints.end());
        return own;
    }

private:
    std::string m_key;
    config_items::ConstraintList m_channel_constraints;
};

namespace detail {

/// The ConfigItem alternative that carries a value of type T: strings travel as
/// StringConfigItem (kind 0), everything else as SingleValueConfigItem<T>.
template <typename T>
struct OptionItem {
    using type = config_items::SingleValueConfigItem<T>;
    static type make(const T& value) { return type(value); }
};

template <>
struct OptionItem<std::string> {
    using type = config_items::StringConfigItem;
    static type make(const std::string& value) { return type(value, 0); }
};

}  // namespace detail

/// A value the host can read but not write: the channel's name, its type, its resolution.
///
/// The owner may still change the value with set() (the camera channel's "Valid" flag follows
/// its error state this way); setValue() refuses every write from the host, and the option
/// announces itself read-only.
///
/// T is bool (item index 5), std::string (StringConfigItem, index 0),
/// channel_config::DAQChannelType (11), channel_config::SampleOccurrenceType (12) or
/// channel_config::DAQSampleResolution (13).
template <typename T>
class ConstantGenericOption : public ChannelConfigOption {
    static_assert(std::is_same_v<T, bool> || std::is_same_v<T, std::string> ||
                      std::is_same_v<T, channel_config::DAQChannelType> ||
                      std::is_same_v<T, channel_config::SampleOccurrenceType> ||
                      std::is_same_v<T, channel_config::DAQSampleResolution>,
                  "ConstantGenericOption holds bool, std::string or a channel enumeration");

public:
    ConstantGenericOption(std::string key, T value)
        : ChannelConfigOption(std::move(key)), m_value(std::move(value)) {}

    const T& value() const noexcept { return m_value; }
    /// Changes the value on behalf of the owner; the host still cannot.
    void set(T value) { m_value = std::move(value); }

    bool isAvailable() const override { return true; }
    config_items::ConfigItem getValue() const override {
        return detail::OptionItem<T>::make(m_value);
    }
    /// Always false.
    bool setValue(const config_items::ConfigItem&) override { return false; }
    /// One ReadOnlyConstraint(true).
    config_items::ConstraintList getConstraints() const override {
        return withChannelConstraints({std::make_shared<channel_config::ReadOnlyConstraint>(true)});
    }

private:
    T m_value;
};

extern template class ConstantGenericOption<bool>;
extern template class ConstantGenericOption<std::string>;
extern template class ConstantGenericOption<channel_config::DAQChannelType>;
extern template class ConstantGenericOption<channel_config::SampleOccurrenceType>;
extern template class ConstantGenericOption<channel_config::DAQSampleResolution>;

/// The fixed measuring range of a channel, under the key "Range": a RangeConfigItem<double>
/// whose both bounds carry the one unit. Read-only.
class ConstantRangeOption : public ChannelConfigOption {
public:
    ConstantRangeOption(double min, double max, std::string unit);

    double min() const noexcept { return m_min; }
    double max() const noexcept { return m_max; }
    const std::string& unit() const noexcept { return m_unit; }

    bool isAvailable() const override;
    config_items::ConfigItem getValue() const override;
    /// Always false.
    bool setValue(const config_items::ConfigItem& item) override;
    /// One ReadOnlyConstraint(true).
    config_items::ConstraintList getConstraints() const override;

private:
    double m_min;
    double m_max;
    std::string m_unit;
};

/// A number with a fixed unit, answered as ScalarConfigItem.
///
/// A written item must carry exactly the option's unit (a different unit is a programming
/// error, reported as an assertion, and refused) and, when the option has a range, lie within
/// it. The owner updates the value the same way, with a ScalarConfigItem in the option's unit.
///
/// Without a range the option announces itself read-only although setValue() still accepts
/// values; both are kept as the host knows them.
class SimpleScalarOption : public ChannelConfigOption {
public:
    /// Told of every accepted value: (key, value, unit).
    using ChangeCallback =
        std::function<void(const std::string& key, double value, const std::string& unit)>;

    SimpleScalarOption(std::string key, double value, std::string unit);

    double value() const noexcept { return m_value; }
    const std::string& unit() const noexcept { return m_unit; }

    /// Limits accepted values to min <= value <= max.
    void setRange(double min, double max);
    bool hasRange() const noexcept { return m_range.has_value(); }
    void setChangeCallback(ChangeCallback callback) { m_on_change_callback = std::move(callback); }
    /// Announces the option read-only to the host (setValue() is not affected).
    void setReadOnly(bool read_only) noexcept { m_read_only = read_only; }
    bool isReadOnly() const noexcept { return m_read_only; }
    /// Values the host offers for selection, each in the option's unit.
    void setOfferedValues(std::vector<double> values) { m_offered_values = std::move(values); }
    /// The flag of the ConfigurableDuringAcquisitionConstraint the option announces
    /// (false unless set).
    void setConfigurableDuringAcquisition(bool configurable) noexcept {
        m_configurable_during_acquisition = configurable;
    }

    /// Always true.
    bool isAvailable() const override;
    config_items::ConfigItem getValue() const override;
    bool setValue(const config_items::ConfigItem& item) override;
    /// ReadOnlyConstraint (true without a range or when read-only), then
    /// ValueRangeConstraint<double> when ranged, one OptionConstraint<ScalarConfigItem> per
    /// offered value, then ConfigurableDuringAcquisitionConstraint.
    config_items::ConstraintList getConstraints() const override;

private:
    struct Range {
        double min;
        double max;
    };

    double m_value;
    std::string m_unit;
    std::optional<Range> m_range;
    ChangeCallback m_on_change_callback;
    bool m_read_only = false;
    std::vector<double> m_offered_values;
    bool m_configurable_during_acquisition = false;
};

/// Base of the simple options whose availability follows a function of the channel.
class SimpleOptionBase : public ChannelConfigOption {
public:
    using AvailabilityFunction = std::function<bool()>;

    explicit SimpleOptionBase(std::string key, AvailabilityFunction is_available = {})
        : ChannelConfigOption(std::move(key)), m_is_available(std::move(is_available)) {}

    /// The availability function's answer, true without one.
    bool isAvailable() const override;

private:
    AvailabilityFunction m_is_available;
};

/// A text, answered as StringConfigItem (kind 0).
///
/// setValue() accepts any StringConfigItem, whether or not its text is offered and whether or
/// not the option is announced read-only: the constraints describe the choices to the host,
/// they are not enforced here.
class SimpleStringOption : public SimpleOptionBase {
public:
    /// Told of every accepted value: (key, value).
    using ChangeCallback = std::function<void(const std::string& key, const std::string& value)>;

    SimpleStringOption(std::string key, std::string value, AvailabilityFunction is_available = {});

    const std::string& value() const noexcept { return m_value; }
    /// Texts the host offers for selection.
    void setOfferedValues(std::vector<std::string> values) { m_offered_values = std::move(values); }
    void setChangeCallback(ChangeCallback callback) { m_on_change_callback = std::move(callback); }
    void setReadOnly(bool read_only) noexcept { m_read_only = read_only; }
    bool isReadOnly() const noexcept { return m_read_only; }

    config_items::ConfigItem getValue() const override;
    bool setValue(const config_items::ConfigItem& item) override;
    /// ReadOnlyConstraint (the read-only flag), then one OptionConstraint<StringConfigItem> per
    /// offered text.
    config_items::ConstraintList getConstraints() const override;

private:
    std::string m_value;
    std::vector<std::string> m_offered_values;
    ChangeCallback m_on_change_callback;
    bool m_read_only = false;
};

/// The channel's "Used" flag, read from and written to the channel's ChannelUsage.
///
/// Writing the current flag again always succeeds, even when the option is locked; a locked
/// option refuses a change. Other options may follow the flag in their availability: the
/// channel rebuilds its available keys after every write.
class ChannelUsedOption : public ChannelConfigOption {
public:
    /// Told of every change of the flag: (key, new flag).
    using ChangeCallback = std::function<void(const std::string& key, bool used)>;
    /// Items of other channels that depend on this flag, by channel.
    using DependencyMap = channel_config::DependentCfgItemConstraint::DependencyMap;

    /// `usage` must outlive the option (it is the owning channel's).
    explicit ChannelUsedOption(ChannelUsage& usage, bool locked = false);

    void setLocked(bool locked) noexcept { m_locked = locked; }
    bool isLocked() const noexcept { return m_locked; }
    void setChangeCallback(ChangeCallback callback) { m_on_change_callback = std::move(callback); }
    /// Adds `key` of channel `channel` to the items that depend on the flag.
    void addDependency(const channel_config::ChannelID& channel, std::string key);
    const DependencyMap& dependencies() const noexcept { return m_dependencies; }

    /// Always true.
    bool isAvailable() const override;
    /// SingleValueConfigItem<bool> with the channel's used flag.
    config_items::ConfigItem getValue() const override;
    bool setValue(const config_items::ConfigItem& item) override;
    /// ConfigurableDuringAcquisitionConstraint(false); OptionConstraint of the current flag;
    /// ReadOnlyConstraint(true) when locked, else OptionConstraint of the other flag; then
    /// DependentCfgItemConstraint when there are dependencies.
    config_items::ConstraintList getConstraints() const override;

private:
    ChannelUsage& m_usage;
    bool m_locked;
    ChangeCallback m_on_change_callback;
    DependencyMap m_dependencies;
};

/// An option made of four functions supplied by its channel.
///
/// T is the type the setter takes: bool (from SingleValueConfigItem<bool>), std::string (from
/// StringConfigItem) or unsigned int (from SingleValueConfigItem<unsigned int>; the camera's
/// frame subsampling uses it, with a setter that refuses 0). An item of another alternative is
/// refused without calling the setter. An empty availability function counts as available, an
/// empty getter answers an InvalidConfigItem, an empty setter refuses every value, an empty
/// constraints function gives no constraints of the option's own.
template <typename T>
class GenericOption : public ChannelConfigOption {
    static_assert(std::is_same_v<T, bool> || std::is_same_v<T, std::string> ||
                      std::is_same_v<T, unsigned int>,
                  "GenericOption takes bool, std::string or unsigned int");

public:
    using AvailabilityFunction = std::function<bool()>;
    using Getter = std::function<config_items::ConfigItem()>;
    using Setter = std::function<bool(const T& value)>;
    using ConstraintsFunction = std::function<config_items::ConstraintList()>;

    GenericOption(std::string key, AvailabilityFunction is_available, Getter getter, Setter setter,
                  ConstraintsFunction constraints)
        : ChannelConfigOption(std::move(key)),
          m_is_available(std::move(is_available)),
          m_getter(std::move(getter)),
          m_setter(std::move(setter)),
          m_constraints(std::move(constraints)) {}

    bool isAvailable() const override { return !m_is_available || m_is_available(); }
    config_items::ConfigItem getValue() const override {
        if (!m_getter) return config_items::InvalidConfigItem();
        return m_getter();
    }
    bool setValue(const config_items::ConfigItem& item) override {
        const auto* typed = boost::get<typename detail::OptionItem<T>::type>(&item);
        if (typed == nullptr || !m_setter) return false;
        return m_setter(typed->m_value);
    }
    config_items::ConstraintList getConstraints() const override {
        return withChannelConstraints(m_constraints ? m_constraints()
                                                    : config_items::ConstraintList());
    }

private:
    AvailabilityFunction m_is_available;
    Getter m_getter;
    Setter m_setter;
    ConstraintsFunction m_constraints;
};

extern template class GenericOption<bool>;
extern template class GenericOption<std::string>;
extern template class GenericOption<unsigned int>;

}  // namespace zelt::plugin_util
