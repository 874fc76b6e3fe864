#include "option_description.h"

#include <cstdio>

namespace zelt::cli {
namespace {

// Tries OptionConstraint<T> for every alternative T of the item union.
template <typename Variant>
struct OptionConstraintReader;

template <typename... Items>
struct OptionConstraintReader<boost::variant<Items...>> {
    static std::optional<std::string> read(const config_items::IfConfigItemConstraint& constraint) {
        std::optional<std::string> text;
        // Left to right; stops at the first alternative that matches.
        (void)((text = readAs<Items>(constraint)).has_value() || ...);
        return text;
    }

    template <typename Item>
    static std::optional<std::string> readAs(
        const config_items::IfConfigItemConstraint& constraint) {
        const auto* option = dynamic_cast<const config_items::OptionConstraint<Item>*>(&constraint);
        if (option == nullptr) return std::nullopt;
        return option->item().toString();
    }
};

std::string numberText(double value) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.15g", value);
    return buffer;
}

}  // namespace

const char* itemTypeName(const config_items::ConfigItem& item) noexcept {
    static constexpr const char* kNames[] = {"string",
                                             "double",
                                             "scalar",
                                             "int",
                                             "unsigned",
                                             "bool",
                                             "range",
                                             "string-list",
                                             "tuple-list",
                                             "decorated-number",
                                             "user-scaling-mode",
                                             "channel-type",
                                             "sample-occurrence",
                                             "sample-resolution",
                                             "physical-quantity",
                                             "enum",
                                             "channel-id",
                                             "rational-scalar",
                                             "channel-id-list",
                                             "invalid"};
    const int index = item.which();
    return index >= 0 && index < static_cast<int>(sizeof kNames / sizeof kNames[0]) ? kNames[index]
                                                                                    : "unknown";
}

std::string channelIdText(const channel_config::ChannelID& id) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "0x%016llX", static_cast<unsigned long long>(id.value()));
    return buffer;
}

ConstraintDescription describeConstraint(const config_items::IfConfigItemConstraint& constraint) {
    ConstraintDescription description;
    if (const auto text = OptionConstraintReader<config_items::ConfigItem>::read(constraint)) {
        description.kind = "option";
        description.value = *text;
    } else if (const auto* range =
                   dynamic_cast<const config_items::ValueRangeConstraint<double>*>(&constraint)) {
        description.kind = "range";
        description.min = range->min();
        description.max = range->max();
    } else if (const auto* read_only =
                   dynamic_cast<const channel_config::ReadOnlyConstraint*>(&constraint)) {
        description.kind = "read-only";
        description.flag = read_only->flag();
    } else if (const auto* during =
                   dynamic_cast<const channel_config::ConfigurableDuringAcquisitionConstraint*>(
                       &constraint)) {
        description.kind = "configurable-during-acquisition";
        description.flag = during->flag();
    } else if (const auto* flag =
                   dynamic_cast<const config_items::BooleanConstraint*>(&constraint)) {
        description.kind = "flag";
        description.flag = flag->flag();
    } else if (const auto* dependent =
                   dynamic_cast<const channel_config::DependentCfgItemConstraint*>(&constraint)) {
        description.kind = "depends-on";
        for (const auto& [channel, keys] : dependent->dependencies()) {
            if (!description.value.empty()) description.value += "; ";
            description.value += channelIdText(channel);
            for (std::size_t i = 0; i < keys.size(); ++i) {
                description.value += (i == 0 ? " " : ", ") + keys[i];
            }
        }
    } else {
        description.kind = "unknown";
    }
    return description;
}

std::string constraintText(const ConstraintDescription& constraint) {
    if (constraint.kind == "option") return "option " + constraint.value;
    if (constraint.kind == "range") {
        return "range " + numberText(constraint.min.value_or(0)) + " .. " +
               numberText(constraint.max.value_or(0));
    }
    const bool flag = constraint.flag.value_or(false);
    if (constraint.kind == "read-only") return flag ? "read-only" : "writable";
    if (constraint.kind == "configurable-during-acquisition") {
        return flag ? "configurable during acquisition" : "not configurable during acquisition";
    }
    if (constraint.kind == "flag") return std::string("flag ") + (flag ? "true" : "false");
    if (constraint.kind == "depends-on") return "depends on " + constraint.value;
    return constraint.kind;
}

}  // namespace zelt::cli
