// A plug-in's settings as a keyed store of configuration items.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "config_items/config_item_constraints.h"
#include "config_items/config_items.h"
#include "zelt/plugin_config.h"
#include "zeltpu/namespace.h"

namespace zelt::plugin_util {

/// The settings of a plug-in as a whole, by key.
///
/// The owning plug-in registers each item with its initial value and constraints while it
/// builds its configuration; the host then reads and writes them by key. The constraints are
/// published, not enforced. Writing an item of another alternative than the stored one
/// replaces the alternative: the stored type follows the value. Unknown keys are reported as
/// an assertion and answered with false or an InvalidConfigItem. Not locked: the owner
/// serialises calls.
class SimplePluginConfig : public zelt::IfPluginConfig {
public:
    ~SimplePluginConfig() override;

    /// Stores `item`, passed through adjustConfigItem(), under an existing key.
    bool setConfigItem(const std::string& key, const config_items::ConfigItem& item) override;
    /// A copy of the item under `key`, or an InvalidConfigItem without message.
    config_items::ConfigItem getConfigItem(const std::string& key) const override;
    bool hasConfigItem(const std::string& key) const override;
    /// The keys in registration order.
    std::vector<std::string> getConfigItemKeys() const override;
    /// The constraints of `key` (sharing the stored ones); empty for an unknown key.
    config_items::ConstraintList getConstraints(const std::string& key) const override;
    /// The hook every value passes before it is stored; returns `item` unchanged here.
    config_items::ConfigItem adjustConfigItem(const std::string& key,
                                              const config_items::ConfigItem& item) override;

    /// Registers `key` with its initial item and constraints (for the owner). A key registered
    /// twice is reported as an assertion and keeps its first registration.
    void registerItem(const std::string& key, config_items::ConfigItem item,
                      config_items::ConstraintList constraints = {});

private:
    std::vector<std::string> m_keys;
    std::map<std::string, config_items::ConfigItem> m_items;
    std::map<std::string, config_items::ConstraintList> m_constraints;
};

}  // namespace zelt::plugin_util
