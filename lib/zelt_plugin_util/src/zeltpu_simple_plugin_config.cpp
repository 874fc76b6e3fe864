#include <utility>

#include "uni/assertion_report.h"
#include "zeltpu/simple_plugin_config.h"

namespace zelt::plugin_util {
namespace {

constexpr const char* kSource = "lib/zelt_plugin_util/src/zeltpu_simple_plugin_config";
constexpr int kSetUnknownKeyLine = 43;
constexpr int kGetUnknownKeyLine = 58;
constexpr const char* kKeyNotFound = "key not found. config item does not exist.";

}  // namespace

SimplePluginConfig::~SimplePluginConfig() = default;

bool SimplePluginConfig::setConfigItem(const std::string& key,
                                       const config_items::ConfigItem& item) {
    const auto it = m_items.find(key);
    if (it == m_items.end()) {
        uni::reportAssertion(nullptr, kSource, kSetUnknownKeyLine, "%s", kKeyNotFound);
        return false;
    }
    // Same alternative: the member is assigned; another alternative replaces the stored one.
    it->second = adjustConfigItem(key, item);
    return true;
}

config_items::ConfigItem SimplePluginConfig::getConfigItem(const std::string& key) const {
    const auto it = m_items.find(key);
    if (it == m_items.end()) {
        uni::reportAssertion(nullptr, kSource, kGetUnknownKeyLine, "%s", kKeyNotFound);
        return config_items::InvalidConfigItem();
    }
    return it->second;
}

bool SimplePluginConfig::hasConfigItem(const std::string& key) const {
    return m_items.find(key) != m_items.end();
}

std::vector<std::string> SimplePluginConfig::getConfigItemKeys() const { return m_keys; }

config_items::ConstraintList SimplePluginConfig::getConstraints(const std::string& key) const {
    const auto it = m_constraints.find(key);
    if (it == m_constraints.end()) return {};
    return it->second;
}

config_items::ConfigItem SimplePluginConfig::adjustConfigItem(
    const std::string&, const config_items::ConfigItem& item) {
    return item;
}

void SimplePluginConfig::registerItem(const std::string& key, config_items::ConfigItem item,
                                      config_items::ConstraintList constraints) {
    if (!uni::check(m_items.find(key) == m_items.end(), "m_items.find(key) == m_items.end()",
                    kSource, __LINE__)) {
        return;
    }
    m_keys.push_back(key);
    m_items.emplace(key, std::move(item));
    m_constraints.emplace(key, std::move(constraints));
}

}  // namespace zelt::plugin_util
