#include <algorithm>
#include <boost/core/null_deleter.hpp>
#include <utility>

#include "uni/assertion_report.h"
#include "zeltpu/simple_channel_config.h"

namespace zelt::plugin_util {
namespace {

constexpr const char* kSource = "lib/zelt_plugin_util/src/zeltpu_simple_channel_config";
constexpr int kGetConfigItemLine = 39;
constexpr int kGetConstraintsLine = 50;
constexpr int kAddOptionLine = 80;

}  // namespace

SimpleChannelConfig::~SimpleChannelConfig() = default;

const std::vector<std::string>& SimpleChannelConfig::getKeys() const { return m_available_keys; }

void SimpleChannelConfig::configurationChanged() {}

bool SimpleChannelConfig::hasKey(const std::string& key) const {
    return std::find(m_available_keys.begin(), m_available_keys.end(), key) !=
           m_available_keys.end();
}

config_items::ConfigItem SimpleChannelConfig::getConfigItem(const std::string& key) const {
    const auto it = m_options.find(key);
    if (it == m_options.end()) return config_items::InvalidConfigItem();
    uni::check(it->second->isAvailable(), "it->second->isAvailable()", kSource, kGetConfigItemLine);
    return it->second->getValue();
}

config_items::ConstraintList SimpleChannelConfig::getConstraints(const std::string& key) const {
    const auto it = m_options.find(key);
    if (it == m_options.end()) return {};
    uni::check(it->second->isAvailable(), "it->second->isAvailable()", kSource,
               kGetConstraintsLine);
    return it->second->getConstraints();
}

bool SimpleChannelConfig::setConfigItem(const std::string& key,
                                        const config_items::ConfigItem& item) {
    return setOptionValue(key, item);
}

void SimpleChannelConfig::addChannelConstraint(config_items::ConstraintPtr constraint) {
    for (const auto& option : m_option_list) option->addChannelConstraint(constraint);
    m_channel_constraints.push_back(std::move(constraint));
}

void SimpleChannelConfig::addOptionChangeListener(channel_config::OptionChangeListener) {}

void SimpleChannelConfig::setSampleSink(std::shared_ptr<zelt::IfSampleSink> sink) {
    m_usage.setSampleSink(std::move(sink));
}

void SimpleChannelConfig::addOption(boost::shared_ptr<ChannelConfigOption> option) {
    if (!uni::check(m_options.find(option->getKey()) == m_options.end(),
                    "m_options.find(option->getKey()) == m_options.end()", kSource,
                    kAddOptionLine)) {
        // The first option keeps the key; listing it twice would break getKeys().
        return;
    }
    m_option_list.push_back(option);
    for (const auto& constraint : m_channel_constraints) option->addChannelConstraint(constraint);
    m_options.emplace(option->getKey(), std::move(option));
    updateAvailableKeys();
}

void SimpleChannelConfig::addOption(ChannelConfigOption& option) {
    addOption(boost::shared_ptr<ChannelConfigOption>(&option, boost::null_deleter()));
}

ChannelConfigOption* SimpleChannelConfig::findOption(const std::string& key) const {
    const auto it = m_options.find(key);
    return it == m_options.end() ? nullptr : it->second.get();
}

bool SimpleChannelConfig::setOptionValue(const std::string& key,
                                         const config_items::ConfigItem& item) {
    const auto it = m_options.find(key);
    if (it == m_options.end()) return false;
    const bool accepted = it->second->setValue(item);
    // Whatever the answer: setting one option (such as "Used") can change which are available.
    updateAvailableKeys();
    return accepted;
}

void SimpleChannelConfig::updateAvailableKeys() {
    // The keys are a subsequence of the options in registration order, so one walk with a
    // cursor finds every difference. An unchanged channel costs one comparison per option and
    // allocates nothing.
    auto cursor = m_available_keys.begin();
    for (const auto& option : m_option_list) {
        const bool listed = cursor != m_available_keys.end() && *cursor == option->getKey();
        const bool available = option->isAvailable();
        if (listed == available) {
            if (listed) ++cursor;
        } else if (listed) {
            cursor = m_available_keys.erase(cursor);
        } else {
            cursor = m_available_keys.insert(cursor, option->getKey());
            ++cursor;
        }
    }
    // Nothing past the last option can be listed; drop anything left over.
    m_available_keys.erase(cursor, m_available_keys.end());
}

}  // namespace zelt::plugin_util
