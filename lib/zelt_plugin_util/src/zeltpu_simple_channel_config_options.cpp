#include <memory>

#include "uni/assertion_report.h"
#include "zeltpu/keys.h"
#include "zeltpu/simple_channel_config_options.h"

namespace zelt::plugin_util {
namespace {

constexpr const char* kSource = "lib/zelt_plugin_util/src/zeltpu_simple_channel_config_options";
constexpr int kScalarUnitLine = 223;

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

}  // namespace

template class ConstantGenericOption<bool>;
template class ConstantGenericOption<std::string>;
template class ConstantGenericOption<channel_config::DAQChannelType>;
template class ConstantGenericOption<channel_config::SampleOccurrenceType>;
template class ConstantGenericOption<channel_config::DAQSampleResolution>;

template class GenericOption<bool>;
template class GenericOption<std::string>;
template class GenericOption<unsigned int>;

// ConstantRangeOption

ConstantRangeOption::ConstantRangeOption(double min, double max, std::string unit)
    : ChannelConfigOption(keys::kRange), m_min(min), m_max(max), m_unit(std::move(unit)) {}

bool ConstantRangeOption::isAvailable() const { return true; }

ConfigItem ConstantRangeOption::getValue() const {
    return config_items::RangeConfigItem<double>(m_min, m_max, m_unit, m_unit);
}

bool ConstantRangeOption::setValue(const ConfigItem&) { return false; }

ConstraintList ConstantRangeOption::getConstraints() const {
    return withChannelConstraints({std::make_shared<ReadOnlyConstraint>(true)});
}

// SimpleScalarOption

SimpleScalarOption::SimpleScalarOption(std::string key, double value, std::string unit)
    : ChannelConfigOption(std::move(key)), m_value(value), m_unit(std::move(unit)) {}

void SimpleScalarOption::setRange(double min, double max) { m_range = Range{min, max}; }

bool SimpleScalarOption::isAvailable() const { return true; }

ConfigItem SimpleScalarOption::getValue() const { return ScalarConfigItem(m_value, m_unit); }

bool SimpleScalarOption::setValue(const ConfigItem& item) {
    const auto* scalar = boost::get<ScalarConfigItem>(&item);
    if (scalar == nullptr) return false;
    if (!uni::check(scalar->m_unit == m_unit, "scalar.m_unit == m_unit", kSource,
                    kScalarUnitLine)) {
        return false;
    }
    const double value = scalar->m_value;
    // Written so that a NaN lies outside every range.
    if (m_range && !(m_range->min <= value && value <= m_range->max)) return false;
    m_value = value;
    if (m_on_change_callback) m_on_change_callback(getKey(), m_value, m_unit);
    return true;
}

ConstraintList SimpleScalarOption::getConstraints() const {
    ConstraintList constraints;
    constraints.reserve(3 + m_offered_values.size());
    // Without a range the host is told the value is read-only, although setValue() takes it.
    constraints.push_back(std::make_shared<ReadOnlyConstraint>(!m_range || m_read_only));
    if (m_range) {
        constraints.push_back(
            std::make_shared<ValueRangeConstraint<double>>(m_range->min, m_range->max));
    }
    for (const double offered : m_offered_values) {
        constraints.push_back(std::make_shared<OptionConstraint<ScalarConfigItem>>(
            ScalarConfigItem(offered, m_unit)));
    }
    constraints.push_back(std::make_shared<ConfigurableDuringAcquisitionConstraint>(
        m_configurable_during_acquisition));
    return withChannelConstraints(std::move(constraints));
}

// SimpleOptionBase

bool SimpleOptionBase::isAvailable() const { return !m_is_available || m_is_available(); }

// SimpleStringOption

SimpleStringOption::SimpleStringOption(std::string key, std::string value,
                                       AvailabilityFunction is_available)
    : SimpleOptionBase(std::move(key), std::move(is_available)), m_value(std::move(value)) {}

ConfigItem SimpleStringOption::getValue() const { return StringConfigItem(m_value, 0); }

bool SimpleStringOption::setValue(const ConfigItem& item) {
    const auto* text = boost::get<StringConfigItem>(&item);
    if (text == nullptr) return false;
    m_value = text->m_value;
    if (m_on_change_callback) m_on_change_callback(getKey(), m_value);
    return true;
}

ConstraintList SimpleStringOption::getConstraints() const {
    ConstraintList constraints;
    constraints.reserve(1 + m_offered_values.size());
    constraints.push_back(std::make_shared<ReadOnlyConstraint>(m_read_only));
    for (const std::string& offered : m_offered_values) {
        constraints.push_back(
            std::make_shared<OptionConstraint<StringConfigItem>>(StringConfigItem(offered, 0)));
    }
    return withChannelConstraints(std::move(constraints));
}

// ChannelUsedOption

ChannelUsedOption::ChannelUsedOption(ChannelUsage& usage, bool locked)
    : ChannelConfigOption(keys::kUsed), m_usage(usage), m_locked(locked) {}

void ChannelUsedOption::addDependency(const channel_config::ChannelID& channel, std::string key) {
    m_dependencies[channel].push_back(std::move(key));
}

bool ChannelUsedOption::isAvailable() const { return true; }

ConfigItem ChannelUsedOption::getValue() const {
    return SingleValueConfigItem<bool>(m_usage.isUsed());
}

bool ChannelUsedOption::setValue(const ConfigItem& item) {
    const auto* flag = boost::get<SingleValueConfigItem<bool>>(&item);
    if (flag == nullptr) return false;
    // Equality comes before the lock: confirming the current flag always succeeds.
    if (flag->m_value == m_usage.isUsed()) return true;
    if (m_locked) return false;
    m_usage.setUsed(flag->m_value);
    if (m_on_change_callback) m_on_change_callback(getKey(), flag->m_value);
    return true;
}

ConstraintList ChannelUsedOption::getConstraints() const {
    const bool used = m_usage.isUsed();
    ConstraintList constraints;
    constraints.reserve(4);
    // A channel cannot be switched on or off while the host acquires.
    constraints.push_back(std::make_shared<ConfigurableDuringAcquisitionConstraint>(false));
    constraints.push_back(std::make_shared<OptionConstraint<SingleValueConfigItem<bool>>>(
        SingleValueConfigItem<bool>(used)));
    if (m_locked) {
        constraints.push_back(std::make_shared<ReadOnlyConstraint>(true));
    } else {
        constraints.push_back(std::make_shared<OptionConstraint<SingleValueConfigItem<bool>>>(
            SingleValueConfigItem<bool>(!used)));
    }
    if (!m_dependencies.empty()) {
        constraints.push_back(std::make_shared<DependentCfgItemConstraint>(m_dependencies));
    }
    return withChannelConstraints(std::move(constraints));
}

}  // namespace zelt::plugin_util
