// Comparison and copying of the constraints.
#include "config_items/config_item_constraints.h"

#include "uni/assertion_report.h"

namespace config_items {
namespace {

// Where the range check is reported: the declaration of the constraints, as the host's
// assertion logs have always named it.
constexpr const char* kConstraintsSource = "lib/config_items/inc/config_item_constraints";
constexpr int kRangeCheckLine = 148;

}  // namespace

// Tests only for BooleanConstraint, so the two flag classes compare equal to each other when
// their flags agree (ReadOnlyConstraint(true) equals ConfigurableDuringAcquisitionConstraint
// (true)). The host has always compared flags this way.
bool BooleanConstraint::equals(const IfConfigItemConstraint& other) const {
    const auto* flag = dynamic_cast<const BooleanConstraint*>(&other);
    return flag != nullptr && m_flag == flag->m_flag;
}

ConstraintPtr BooleanConstraint::clone() const {
    return std::make_shared<BooleanConstraint>(*this);
}

template <typename T>
ValueRangeConstraint<T>::ValueRangeConstraint(T min, T max) : m_min(min), m_max(max) {
    // A continued report keeps the bounds as given.
    if (!(min <= max))
        uni::reportAssertion("min <= max", kConstraintsSource, kRangeCheckLine,
                             "ValueRangeConstraint: min exceeds max.");
}

template class ValueRangeConstraint<double>;

}  // namespace config_items

namespace channel_config {

config_items::ConstraintPtr ReadOnlyConstraint::clone() const {
    return std::make_shared<ReadOnlyConstraint>(*this);
}

config_items::ConstraintPtr ConfigurableDuringAcquisitionConstraint::clone() const {
    return std::make_shared<ConfigurableDuringAcquisitionConstraint>(*this);
}

// Same number of channels, and walking both maps in order, equal channel ids with key lists of
// the same length and equal keys at each position: the order of the keys matters.
bool DependentCfgItemConstraint::equals(const config_items::IfConfigItemConstraint& other) const {
    const auto* dependent = dynamic_cast<const DependentCfgItemConstraint*>(&other);
    if (dependent == nullptr || m_dependencies.size() != dependent->m_dependencies.size())
        return false;
    auto theirs = dependent->m_dependencies.begin();
    for (const auto& [channel, keys] : m_dependencies) {
        if (channel != theirs->first || keys != theirs->second) return false;
        ++theirs;
    }
    return true;
}

config_items::ConstraintPtr DependentCfgItemConstraint::clone() const {
    return std::make_shared<DependentCfgItemConstraint>(*this);
}

}  // namespace channel_config
