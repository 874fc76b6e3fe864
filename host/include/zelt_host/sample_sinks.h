// Light sample sinks of the host: one that forwards to functions, one that only counts.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>

#include "zelt/sample_sink.h"
#include "zelt_host/image_data_header.h"

namespace zelt::host {

/// A sink that hands every sample and stream event to a function. The functions run on the
/// plug-in's acquisition threads (a camera's streaming thread), one call at a time per
/// channel; `data` is valid only during the call.
class CallbackSampleSink final : public zelt::IfSampleSink {
public:
    using SampleFunction = std::function<void(std::uint64_t timestamp, std::uint64_t reserved,
                                              const void* data, std::uint32_t size)>;
    using EventFunction = std::function<void(std::uint32_t kind, std::uint64_t timestamp)>;

    /// Either function may be empty: that kind of call is then ignored.
    explicit CallbackSampleSink(SampleFunction on_sample, EventFunction on_event = {});

    void addSample(std::uint64_t timestamp, std::uint64_t reserved, const void* data,
                   std::uint32_t size) override;
    void addStreamEvent(std::uint32_t kind, std::uint64_t timestamp) override;

private:
    SampleFunction m_on_sample;
    EventFunction m_on_event;
};

/// A sink for measurements: counts samples, bytes and events and keeps the latest stamp,
/// size and image header, without copying or allocating on the frame path (a few relaxed
/// atomic stores per sample).
///
/// The "last" values are stored one by one: read while samples arrive, they may come from two
/// neighbouring samples. Read them after the delivery is off for a consistent set.
class CountingSampleSink final : public zelt::IfSampleSink {
public:
    void addSample(std::uint64_t timestamp, std::uint64_t reserved, const void* data,
                   std::uint32_t size) override;
    void addStreamEvent(std::uint32_t kind, std::uint64_t timestamp) override;

    std::uint64_t sampleCount() const noexcept { return m_samples.load(std::memory_order_acquire); }
    std::uint64_t byteCount() const noexcept { return m_bytes.load(std::memory_order_relaxed); }
    std::uint64_t eventCount() const noexcept { return m_events.load(std::memory_order_acquire); }
    /// Stamp of the first sample since construction or reset (0 before any).
    std::uint64_t firstTimestamp() const noexcept {
        return m_first_timestamp.load(std::memory_order_relaxed);
    }
    /// Stamp of the latest sample (0 before any).
    std::uint64_t lastTimestamp() const noexcept {
        return m_last_timestamp.load(std::memory_order_relaxed);
    }
    /// Size of the latest sample in bytes (0 before any).
    std::uint32_t lastSize() const noexcept { return m_last_size.load(std::memory_order_relaxed); }
    /// Header of the latest sample of at least 12 bytes (all zero before any).
    ImageDataHeader lastHeader() const noexcept;
    /// Kind of the latest stream event (0 before any).
    std::uint32_t lastEventKind() const noexcept {
        return m_last_event_kind.load(std::memory_order_relaxed);
    }

    /// Waits (polling every millisecond, so the frame path stays free of locks) until at
    /// least `count` samples arrived; false on timeout.
    bool waitForSamples(std::uint64_t count, std::chrono::milliseconds timeout) const;

    /// Sets every counter and value back to 0. Call it while no samples arrive.
    void reset() noexcept;

private:
    std::atomic<std::uint64_t> m_samples{0};
    std::atomic<std::uint64_t> m_bytes{0};
    std::atomic<std::uint64_t> m_events{0};
    std::atomic<std::uint64_t> m_first_timestamp{0};
    std::atomic<std::uint64_t> m_last_timestamp{0};
    std::atomic<std::uint32_t> m_last_size{0};
    std::atomic<std::uint32_t> m_last_format{0};
    std::atomic<std::uint32_t> m_last_width{0};
    std::atomic<std::uint32_t> m_last_height{0};
    std::atomic<std::uint32_t> m_last_event_kind{0};
};

}  // namespace zelt::host
