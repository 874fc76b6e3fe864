// A channel's used-state and the host's sample sink for it.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>

#include "zelt/sample_sink.h"
#include "zeltpu/namespace.h"

namespace zelt::plugin_util {

/// Whether the host uses a channel, whether the channel is active, and where its samples go.
///
/// The flags are plain values: the owner serialises access to them. The sink is guarded by
/// a lock of its own, so that the host may replace it from any thread while a sample is being
/// written on another: a writer takes its own reference (sharedSampleSink()) and calls the
/// sink outside that lock, so the sink it calls stays alive until the call returns, even when
/// the host replaces or drops it meanwhile, and a sink may set the channel's sink from inside
/// its own call. sampleSink() reads the plain pointer, for a caller that keeps the sink from
/// being replaced meanwhile. (The camera channel keeps its sink itself, under the mutex it
/// holds for a frame's hand-over.)
class ChannelUsage {
public:
    ChannelUsage() = default;
    ChannelUsage(const ChannelUsage&) = delete;
    ChannelUsage& operator=(const ChannelUsage&) = delete;

    /// Whether the host acquires the channel.
    bool isUsed() const noexcept { return m_used; }
    void setUsed(bool used) noexcept { m_used = used; }

    /// The channel's state flag (a counter channel's "active" state).
    bool isActive() const noexcept { return m_active; }
    void setActive(bool active) noexcept { m_active = active; }

    /// The host's sink for the channel's samples (transfer none), or null when none is set.
    /// Valid only while the caller keeps the sink from being replaced.
    zelt::IfSampleSink* sampleSink() const {
        std::lock_guard<std::mutex> lock(m_sink_mutex);
        return m_sample_sink.get();
    }
    /// The host's sink with a reference of the caller's own (null when none is set): it stays
    /// alive as long as the caller holds it, whoever replaces the channel's sink meanwhile.
    /// Without a sink it takes no lock: a channel the host does not record (a frame counter
    /// nobody reads) is counted on every frame.
    std::shared_ptr<zelt::IfSampleSink> sharedSampleSink() const {
        if (!m_has_sink.load(std::memory_order_acquire)) return nullptr;
        std::lock_guard<std::mutex> lock(m_sink_mutex);
        return m_sample_sink;
    }
    /// Replaces the sink (null: none); safe from any thread. The previous sink is released
    /// after the lock is given up, so its destructor may call back into the channel.
    void setSampleSink(std::shared_ptr<zelt::IfSampleSink> sink) {
        {
            std::lock_guard<std::mutex> lock(m_sink_mutex);
            m_sample_sink.swap(sink);
            m_has_sink.store(m_sample_sink != nullptr, std::memory_order_release);
        }
        // `sink` now holds the previous one and releases it here, unlocked.
    }

private:
    bool m_used = false;
    bool m_active = false;
    mutable std::mutex m_sink_mutex;
    std::shared_ptr<zelt::IfSampleSink> m_sample_sink;
    // Whether m_sample_sink is set; written under m_sink_mutex. A reader that finds it clear
    // while another thread sets a sink sees the channel as it was just before the set.
    std::atomic<bool> m_has_sink{false};
};

}  // namespace zelt::plugin_util
