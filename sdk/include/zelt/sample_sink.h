// Where a channel's samples go.
#pragma once

#include <cstdint>

namespace zelt {

/// The host's receiver of one channel's samples. The host gives each channel its sink
/// (IfChannelConfig::setSampleSink). A plug-in calls it from its acquisition threads, one
/// call at a time per channel.
class IfSampleSink {
public:
    virtual ~IfSampleSink() = default;
    /// One sample stamped `timestamp` host ticks. `reserved` is 0. `data` is valid only
    /// during the call (transfer none); `size` bytes.
    virtual void addSample(std::uint64_t timestamp, std::uint64_t reserved, const void* data,
                           std::uint32_t size) = 0;
    /// An event in the stream: kind 2 means the source reported an error.
    virtual void addStreamEvent(std::uint32_t kind, std::uint64_t timestamp) = 0;
};

/// Stream event kinds.
inline constexpr std::uint32_t kStreamEventError = 2;

}  // namespace zelt
