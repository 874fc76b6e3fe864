// Options of a channel described for people and for JSON: type names and constraint texts.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "config_items/config_item_constraints.h"
#include "config_items/config_items.h"

namespace zelt::cli {

/// One constraint of an option.
struct ConstraintDescription {
    /// "option" (one allowed value), "range", "read-only", "configurable-during-acquisition",
    /// "flag" (another yes/no constraint), "depends-on" or "unknown".
    std::string kind;
    /// "option": the value's text form; "depends-on": "CHANNELID KEY, KEY; ..."; else empty.
    std::string value;
    /// The flag of the yes/no kinds.
    std::optional<bool> flag;
    /// The bounds of "range".
    std::optional<double> min;
    std::optional<double> max;
};

/// The name of an item's type (its alternative of config_items::ConfigItem): "string",
/// "scalar", "unsigned", "bool", ...
const char* itemTypeName(const config_items::ConfigItem& item) noexcept;

/// A description of `constraint`, whatever the type of the value it constrains.
ConstraintDescription describeConstraint(const config_items::IfConfigItemConstraint& constraint);

/// One line for people: "option 640 x 480 @ 30 fps", "range 0 .. 10", "read-only",
/// "not configurable during acquisition", ...
std::string constraintText(const ConstraintDescription& constraint);

/// A channel id as the topology writes it: "0x" and 16 upper-case hexadecimal digits.
std::string channelIdText(const channel_config::ChannelID& id);

}  // namespace zelt::cli
