// A channel's used-state and the host's sample sink for it.
#pragma once

#include <memory>
#include <utility>

#include "zelt/sample_sink.h"
#include "zeltpu/namespace.h"

namespace zelt::plugin_util {

/// Whether the host uses a channel, whether the channel is active, and where its samples go.
///
/// A plain value without a lock: its owner serialises access. A channel whose samples are
/// written from another thread than the host's (the camera channel writes from GStreamer's
/// streaming thread) guards the sink with its own mutex, both when the host sets it and when
/// a sample is handed over.
class ChannelUsage {
public:
    /// Whether the host acquires the channel.
    bool isUsed() const noexcept { return m_used; }
    void setUsed(bool used) noexcept { m_used = used; }

    /// The channel's state flag (a counter channel's "active" state).
    bool isActive() const noexcept { return m_active; }
    void setActive(bool active) noexcept { m_active = active; }

    /// The host's sink for the channel's samples (transfer none), or null when none is set.
    zelt::IfSampleSink* sampleSink() const noexcept { return m_sample_sink.get(); }
    /// Replaces the sink (null: none).
    void setSampleSink(std::shared_ptr<zelt::IfSampleSink> sink) noexcept {
        m_sample_sink = std::move(sink);
    }

private:
    bool m_used = false;
    bool m_active = false;
    std::shared_ptr<zelt::IfSampleSink> m_sample_sink;
};

}  // namespace zelt::plugin_util
