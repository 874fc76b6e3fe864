// zelt-camera info CHANNEL [--json]
#include <exception>
#include <iomanip>
#include <iostream>

#include "camera_catalog.h"
#include "commands.h"
#include "json_writer.h"
#include "option_description.h"
#include "plugin_session.h"

namespace zelt::cli {
namespace {

// One option as read from the channel. A getter may throw (the frame setting does while no
// mode is selected): the text is then missing and the exception's text kept.
struct OptionEntry {
    std::string key;
    std::optional<std::string> value;
    std::string type;
    std::string error;
    std::vector<ConstraintDescription> constraints;
};

std::vector<OptionEntry> readOptions(const channel_config::IfChannelConfig& channel) {
    std::vector<OptionEntry> options;
    const std::vector<std::string> keys = channel.getKeys();  // a copy: getters may change it
    for (const std::string& key : keys) {
        OptionEntry entry;
        entry.key = key;
        try {
            const config_items::ConfigItem item = channel.getConfigItem(key);
            entry.type = itemTypeName(item);
            entry.value = config_items::toString(item);
        } catch (const std::exception& error) {
            entry.error = error.what();
        }
        for (const auto& constraint : channel.getConstraints(key)) {
            if (constraint) entry.constraints.push_back(describeConstraint(*constraint));
        }
        options.push_back(std::move(entry));
    }
    return options;
}

void writeJson(std::uint32_t id, const std::string& name, const std::vector<OptionEntry>& options) {
    JsonWriter json;
    json.beginObject();
    json.key("id").value(id);
    json.key("name").value(name);
    json.key("options").beginArray();
    for (const OptionEntry& option : options) {
        json.beginObject();
        json.key("key").value(option.key);
        json.key("value").value(option.value);
        json.key("type").value(option.type.empty() ? std::optional<std::string>() : option.type);
        if (!option.error.empty()) json.key("error").value(option.error);
        json.key("constraints").beginArray();
        for (const ConstraintDescription& constraint : option.constraints) {
            json.beginObject();
            json.key("kind").value(constraint.kind);
            if (constraint.kind == "option" || constraint.kind == "depends-on") {
                json.key("value").value(constraint.value);
            }
            if (constraint.flag) json.key("flag").value(*constraint.flag);
            if (constraint.min) json.key("min").value(*constraint.min);
            if (constraint.max) json.key("max").value(*constraint.max);
            json.endObject();
        }
        json.endArray();
        json.endObject();
    }
    json.endArray();
    json.endObject();
    std::cout << json.text();
}

void writeText(std::uint32_t id, const std::string& name, const std::vector<OptionEntry>& options) {
    std::size_t width = 0;
    for (const OptionEntry& option : options) width = std::max(width, option.key.size());
    std::cout << "channel " << id << "  " << name << "\n";
    for (const OptionEntry& option : options) {
        std::cout << "  " << std::left << std::setw(static_cast<int>(width)) << option.key << "  ";
        if (option.value) {
            std::cout << *option.value;
        } else {
            std::cout << "(none: " << option.error << ")";
        }
        std::cout << "\n";
        // The constraints on one line under the value: "read-only; option 0; option 1".
        std::string constraints;
        for (const ConstraintDescription& constraint : option.constraints) {
            constraints += (constraints.empty() ? "" : "; ") + constraintText(constraint);
        }
        if (!constraints.empty()) {
            std::cout << "  " << std::string(width, ' ') << "  " << constraints << "\n";
        }
    }
}

}  // namespace

ExitCode runInfo(const CommandLine& command_line) {
    PluginSession session(command_line.global);
    reportPluginErrors(session);
    const zelt::host::Host& host = session.host();
    const std::vector<CameraEntry> cameras = listCameras(host);
    if (host.channelIds().empty()) throwNoCamera(session.usesVirtualCameras());
    const std::uint32_t id = resolveChannel(host, cameras, command_line.info.channel);
    const auto channel = host.requireChannel(id);
    const std::vector<OptionEntry> options = readOptions(*channel);
    const std::string name = itemTextOrNothing(host, id, keys::kDefaultName).value_or("");
    if (command_line.info.json) {
        writeJson(id, name, options);
    } else {
        writeText(id, name, options);
    }
    return ExitCode::kOk;
}

}  // namespace zelt::cli
