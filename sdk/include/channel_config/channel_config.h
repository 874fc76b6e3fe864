// A channel as the host configures it.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "config_items/config_item_constraints.h"
#include "config_items/config_items.h"

namespace zelt {
class IfSampleSink;
}

namespace channel_config {

/// Called with (key, new value) after an option that the channel changed by itself, such as
/// the frame geometry a camera learns from its first frame.
using OptionChangeListener =
    std::function<void(const std::string& key, const config_items::ConfigItem& value)>;

/// One channel's settings, by key. Only available keys are answered; an unknown key gives an
/// InvalidConfigItem (get), false (set) or no constraints. Not thread-safe: the host
/// serialises configuration calls with the plug-in's acquisition calls.
class IfChannelConfig {
public:
    virtual ~IfChannelConfig() = default;
    /// The currently available keys in the channel's order. The reference is valid until
    /// the next call that changes the channel.
    virtual const std::vector<std::string>& getKeys() const = 0;
    /// Tells the channel that the host finished a series of changes.
    virtual void configurationChanged() = 0;
    virtual bool hasKey(const std::string& key) const = 0;
    virtual config_items::ConfigItem getConfigItem(const std::string& key) const = 0;
    virtual config_items::ConstraintList getConstraints(const std::string& key) const = 0;
    /// Sets an option; false when the key is unknown or the option refuses the value.
    virtual bool setConfigItem(const std::string& key, const config_items::ConfigItem& item) = 0;
    /// Adds a constraint to every option of the channel.
    virtual void addChannelConstraint(config_items::ConstraintPtr constraint) = 0;
    /// Registers a listener for options the channel changes by itself (channels that never
    /// change options by themselves ignore it). The listener may be called on the channel's
    /// acquisition threads and until the channel is destroyed: keep what it captures alive.
    virtual void addOptionChangeListener(OptionChangeListener listener) = 0;
    /// The sink this channel's samples go to while the host acquires it (null: none).
    virtual void setSampleSink(std::shared_ptr<zelt::IfSampleSink> sink) = 0;
};

}  // namespace channel_config
