// Settings of a plug-in as a whole.
#pragma once

#include <string>
#include <vector>

#include "config_items/config_item_constraints.h"
#include "config_items/config_items.h"

namespace zelt {

/// The plug-in's keyed settings. Unknown keys are answered with an InvalidConfigItem (get)
/// or false (set); nothing throws. Not thread-safe: the host serialises calls.
class IfPluginConfig {
public:
    virtual ~IfPluginConfig() = default;
    /// Stores `item` under an existing key (after adjustConfigItem); false for an unknown key.
    virtual bool setConfigItem(const std::string& key, const config_items::ConfigItem& item) = 0;
    /// The item under `key`, or an InvalidConfigItem.
    virtual config_items::ConfigItem getConfigItem(const std::string& key) const = 0;
    virtual bool hasConfigItem(const std::string& key) const = 0;
    /// Every key, in registration order.
    virtual std::vector<std::string> getConfigItemKeys() const = 0;
    /// The constraints of `key`; empty for an unknown key.
    virtual config_items::ConstraintList getConstraints(const std::string& key) const = 0;
    /// The value that setConfigItem would store for `item` (corrected or normalised).
    virtual config_items::ConfigItem adjustConfigItem(const std::string& key,
                                                      const config_items::ConfigItem& item) = 0;
};

}  // namespace zelt
