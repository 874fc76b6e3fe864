// The base of every channel: keys answered by registered options.
#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "channel_config/channel_config.h"
#include "config_items/channel_types.h"
#include "config_items/config_item_constraints.h"
#include "config_items/config_items.h"
#include "zeltpu/channel_usage.h"
#include "zeltpu/namespace.h"
#include "zeltpu/simple_channel_config_options.h"

namespace zelt::plugin_util {

/// A channel whose keys are answered by options (ChannelConfigOption).
///
/// The derived channel registers its options while it is constructed, in the order in which
/// the host is to list them. Only available options are answered: getKeys() lists the keys of
/// the options whose isAvailable() is true, in registration order, and is rebuilt after every
/// setConfigItem(), because one option (such as "Used") can change which others are available.
///
/// The channel also keeps its used-state and the host's sample sink (ChannelUsage), and its
/// identity (channel_config::ChannelID: the owning plug-in's id and the channel's local id).
///
/// Not locked: the owner serialises calls. A channel that writes samples from another thread
/// guards the sink itself (see ChannelUsage).
class SimpleChannelConfig : public channel_config::IfChannelConfig {
public:
    SimpleChannelConfig() = default;
    explicit SimpleChannelConfig(const channel_config::ChannelID& id) : m_channel_id(id) {}
    SimpleChannelConfig(const SimpleChannelConfig&) = delete;
    SimpleChannelConfig& operator=(const SimpleChannelConfig&) = delete;
    ~SimpleChannelConfig() override;

    /// The available keys, in registration order; valid until the next change.
    const std::vector<std::string>& getKeys() const override;
    /// Does nothing here.
    void configurationChanged() override;
    /// Whether `key` is available (a registered but unavailable option answers false).
    bool hasKey(const std::string& key) const override;
    /// The option's value; an InvalidConfigItem without message for an unknown key.
    config_items::ConfigItem getConfigItem(const std::string& key) const override;
    /// The option's constraints; empty for an unknown key.
    config_items::ConstraintList getConstraints(const std::string& key) const override;
    /// The option's answer to the value (false for an unknown key); the available keys are
    /// rebuilt whatever the answer.
    bool setConfigItem(const std::string& key, const config_items::ConfigItem& item) override;
    /// Adds `constraint` to every option registered so far and to every later one.
    void addChannelConstraint(config_items::ConstraintPtr constraint) override;
    /// Ignored here: this channel never changes its options by itself. A channel that does
    /// overrides it.
    void addOptionChangeListener(channel_config::OptionChangeListener listener) override;
    /// Stores the sink in the channel's usage.
    void setSampleSink(std::shared_ptr<zelt::IfSampleSink> sink) override;

    /// Registers an option (for the derived channel's constructor). A key registered twice is
    /// reported as an assertion and the second option is not registered.
    void addOption(boost::shared_ptr<ChannelConfigOption> option);
    /// Registers an option that is a member of the channel itself: the channel keeps a
    /// non-owning pointer, so the option must live as long as the channel.
    void addOption(ChannelConfigOption& option);

    /// The channel's used-state and sample sink. The plug-in sets the used flag here
    /// directly (setChannelUsed); a channel whose available keys follow the flag calls
    /// updateAvailableKeys() afterwards, or goes through its "Used" option instead.
    ChannelUsage& usage() noexcept { return m_usage; }
    const ChannelUsage& usage() const noexcept { return m_usage; }

    /// The channel's identity: (plug-in id, local id).
    channel_config::ChannelID channelId() const noexcept { return m_channel_id; }
    void setChannelId(const channel_config::ChannelID& id) noexcept { m_channel_id = id; }
    /// Replaces the plug-in id (the first half of the identity); the local id is kept.
    void setOwnerId(std::uint32_t owner_id) noexcept { m_channel_id.high = owner_id; }

    /// Brings the available keys in line with the options' availability, in place.
    void updateAvailableKeys();

protected:
    /// The registered option under `key`, or null.
    ChannelConfigOption* findOption(const std::string& key) const;
    /// Sets an option's value on behalf of the channel itself and rebuilds the keys; false
    /// for an unknown key or a refused value. Unlike setConfigItem() it cannot be overridden.
    bool setOptionValue(const std::string& key, const config_items::ConfigItem& item);

private:
    std::vector<boost::shared_ptr<ChannelConfigOption>> m_option_list;
    std::map<std::string, boost::shared_ptr<ChannelConfigOption>> m_options;
    std::vector<std::string> m_available_keys;
    config_items::ConstraintList m_channel_constraints;
    ChannelUsage m_usage;
    channel_config::ChannelID m_channel_id;
};

}  // namespace zelt::plugin_util
