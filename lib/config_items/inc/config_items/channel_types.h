// Value types of the host's channel-configuration interface that travel inside config items.
#pragma once

#include <cstdint>

namespace channel_config {

/// Identity of a channel: the owning plug-in's id (`high`) and the channel's local id (`low`).
struct ChannelID {
    std::uint32_t high = 0;
    std::uint32_t low = 0;

    /// high x 2^32 + low.
    constexpr std::uint64_t value() const noexcept {
        return (static_cast<std::uint64_t>(high) << 32) | low;
    }
    friend constexpr bool operator==(const ChannelID& a, const ChannelID& b) noexcept {
        return a.high == b.high && a.low == b.low;
    }
    friend constexpr bool operator!=(const ChannelID& a, const ChannelID& b) noexcept {
        return !(a == b);
    }
    friend constexpr bool operator<(const ChannelID& a, const ChannelID& b) noexcept {
        return a.high != b.high ? a.high < b.high : a.low < b.low;
    }
};

// The host's enumerations. Their numeric values are part of the host contract; the text form
// of an enumeration item is the numeric value.

enum class UserScalingMode : std::int32_t {
    None = 0,
    Linear = 1,
    Table = 2,
};

enum class DAQChannelType : std::int32_t {
    Unknown = 0,
    Analog = 1,
    Digital = 2,
    Counter = 3,
    Video = 13,
};

enum class SampleOccurrenceType : std::int32_t {
    Periodic = 0,
    Event = 1,  // a sample per event: a frame, a count
};

enum class DAQSampleResolution : std::int32_t {
    Unknown = 0,
    Unsigned32 = 4,  // counter samples: one 32-bit count
    Image = 16,      // image samples: header and pixels
};

enum class PhysicalQuantity : std::int32_t {
    None = 0,
    Voltage = 1,
    Current = 2,
    Temperature = 3,
    Count = 4,
};

}  // namespace channel_config
