// A scalar channel that counts events and writes each count as a sample.
#pragma once

#include <atomic>
#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <string>

#include "config_items/channel_types.h"
#include "zeltpu/namespace.h"
#include "zeltpu/simple_channel_config.h"
#include "zeltpu/simple_channel_config_options.h"

namespace zelt::plugin_util {

/// A counter channel: one sample per counted event, beside the channel whose events it counts
/// (a camera's frame counter).
///
/// Each event writes the count before the event as an unsigned 32-bit sample, so the first
/// event after a reset writes 0; the count wraps from 4294967295 to 0. Events are counted
/// whether or not the host has given the channel a sink.
///
/// Its options, in order: "DefaultName", "ShortId", "Unit" (the constructor's texts), "Range"
/// (0 .. 2147483647 in the unit), "Mode" ("Events"), "Threshold", "ReTrigger",
/// "Counter_Filter" (each "N/A"), "ChannelType" (Counter), "SampleUpdateType" (Event),
/// "SampleResolution" (Unsigned32); the owner may add identity options (setIdentity).
///
/// countEvent() is called on the owner's acquisition thread; the host may replace the sink
/// (setSampleSink) from any thread meanwhile, even from inside the sink's own addSample: the
/// sink a count is written to is kept alive until its call returns, and no lock of the channel
/// is held during that call. resetCount() may come from another thread: the count is atomic.
class EventCounterChannel : public SimpleChannelConfig {
public:
    EventCounterChannel(std::string name, std::string short_id, std::string unit);
    ~EventCounterChannel() override;

    /// Counts one event and, when the channel has a sink, writes the count before it, stamped
    /// `timestamp` host ticks.
    void countEvent(std::uint64_t timestamp);
    /// Sets the count (0 when the host's acquisition starts).
    void resetCount(std::uint32_t value);
    /// The current count.
    std::uint32_t count() const noexcept { return m_count.load(); }

    /// Sets the counter's state flag and its usage's active flag.
    void setActive(bool active);
    bool isActive() const noexcept { return m_active; }

    /// Registers a read-only text option, such as an identification key.
    void addTextOption(const std::string& key, std::string value);
    /// Registers the "Used" option, bound to the channel's used flag, and sets the flag.
    void addUsedOption(bool used);
    /// Gives the counter the identity of its camera, registered on the first call in this
    /// order: "ID:CAMERA/ChannelIndex" = `channel_index`, "ID:CAMERA/SubChannelId" =
    /// `sub_channel_id`, "AdditionalChannelInfo2" = `info` (read-only texts), then "Used",
    /// with the used flag cleared. A later call changes the three texts and clears the flag.
    /// "ID:CAMERA/SubChannelId" is what marks the channel as a sub-channel of its camera.
    void setIdentity(const std::string& channel_index, const std::string& sub_channel_id,
                     const std::string& info);

private:
    std::atomic<std::uint32_t> m_count{0};
    bool m_active = false;

    ConstantGenericOption<std::string> m_default_name;
    ConstantGenericOption<std::string> m_short_id;
    ConstantGenericOption<std::string> m_unit;
    ConstantRangeOption m_range;
    ConstantGenericOption<std::string> m_mode;
    ConstantGenericOption<std::string> m_threshold;
    ConstantGenericOption<std::string> m_retrigger;
    ConstantGenericOption<std::string> m_counter_filter;
    ConstantGenericOption<channel_config::DAQChannelType> m_channel_type;
    ConstantGenericOption<channel_config::SampleOccurrenceType> m_sample_update_type;
    ConstantGenericOption<channel_config::DAQSampleResolution> m_sample_resolution;

    // Identity options, null until setIdentity().
    boost::shared_ptr<ConstantGenericOption<std::string>> m_channel_index;
    boost::shared_ptr<ConstantGenericOption<std::string>> m_sub_channel_id;
    boost::shared_ptr<ConstantGenericOption<std::string>> m_additional_info;
};

}  // namespace zelt::plugin_util
