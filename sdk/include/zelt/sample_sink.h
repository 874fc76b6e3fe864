// Where a channel's samples go.
#pragma once

#include <cstdint>

namespace zelt {

/// The host's receiver of one channel's samples. The host gives each channel its sink
/// (IfChannelConfig::setSampleSink). A plug-in calls it from its acquisition threads, one
/// call at a time per channel.
///
/// Threads. addSample comes on the acquisition thread of the channel's device: for a camera,
/// GStreamer's streaming thread of its pipeline, once per delivered frame, and for the
/// camera's frame counter on the same thread right after the frame. addStreamEvent comes on
/// the thread that dispatches GLib's default main context (see IfDAQPlugin). Different
/// channels call their sinks on different threads at the same time; a sink shared by several
/// channels must lock its own state.
///
/// What a sink may do from inside its calls: read the channel's options (getKeys, hasKey,
/// getConfigItem, getConstraints), replace or drop the sink of the same or another channel
/// (setSampleSink; the replaced sink stays alive until the call that uses it returns), read
/// the host's time source, and copy the data. What it must not do: finish, stop, prepare or
/// start the acquisition, deinit, updateChannels or destroy the plug-in (these wait for the
/// delivery that is calling the sink), set the channel's options, or block for long (a
/// camera's frames wait meanwhile, and the delivery lock of the channel is held). It must not
/// throw: an exception is caught at the plug-in's boundary and that sample is lost.
class IfSampleSink {
public:
    virtual ~IfSampleSink() = default;
    /// One sample stamped `timestamp` host ticks. `reserved` is 0. `data` is valid only
    /// during the call (transfer none); `size` bytes. See the class for the thread it comes
    /// on and the calls it must not make.
    virtual void addSample(std::uint64_t timestamp, std::uint64_t reserved, const void* data,
                           std::uint32_t size) = 0;
    /// An event in the stream: kind 2 means the source reported an error. Comes on the thread
    /// that dispatches GLib's default main context; the same rules as addSample hold.
    virtual void addStreamEvent(std::uint32_t kind, std::uint64_t timestamp) = 0;
};

/// Stream event kinds.
inline constexpr std::uint32_t kStreamEventError = 2;

}  // namespace zelt
