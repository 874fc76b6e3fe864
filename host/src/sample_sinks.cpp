#include "zelt_host/sample_sinks.h"

#include <thread>
#include <utility>

namespace zelt::host {

CallbackSampleSink::CallbackSampleSink(SampleFunction on_sample, EventFunction on_event)
    : m_on_sample(std::move(on_sample)), m_on_event(std::move(on_event)) {}

void CallbackSampleSink::addSample(std::uint64_t timestamp, std::uint64_t reserved,
                                   const void* data, std::uint32_t size) {
    if (m_on_sample) m_on_sample(timestamp, reserved, data, size);
}

void CallbackSampleSink::addStreamEvent(std::uint32_t kind, std::uint64_t timestamp) {
    if (m_on_event) m_on_event(kind, timestamp);
}

void CountingSampleSink::addSample(std::uint64_t timestamp, std::uint64_t /*reserved*/,
                                   const void* data, std::uint32_t size) {
    if (const auto header = parseImageDataHeader(data, size)) {
        m_last_format.store(header->format, std::memory_order_relaxed);
        m_last_width.store(header->width, std::memory_order_relaxed);
        m_last_height.store(header->height, std::memory_order_relaxed);
    }
    m_last_timestamp.store(timestamp, std::memory_order_relaxed);
    m_last_size.store(size, std::memory_order_relaxed);
    m_bytes.fetch_add(size, std::memory_order_relaxed);
    // Calls for one channel never overlap, so a plain check finds the first sample.
    if (m_samples.load(std::memory_order_relaxed) == 0) {
        m_first_timestamp.store(timestamp, std::memory_order_relaxed);
    }
    // Release: whoever sees the new count also sees the values stored above.
    m_samples.fetch_add(1, std::memory_order_release);
}

void CountingSampleSink::addStreamEvent(std::uint32_t kind, std::uint64_t /*timestamp*/) {
    m_last_event_kind.store(kind, std::memory_order_relaxed);
    m_events.fetch_add(1, std::memory_order_release);
}

ImageDataHeader CountingSampleSink::lastHeader() const noexcept {
    ImageDataHeader header;
    header.format = m_last_format.load(std::memory_order_relaxed);
    header.width = m_last_width.load(std::memory_order_relaxed);
    header.height = m_last_height.load(std::memory_order_relaxed);
    return header;
}

bool CountingSampleSink::waitForSamples(std::uint64_t count,
                                        std::chrono::milliseconds timeout) const {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (sampleCount() < count) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

void CountingSampleSink::reset() noexcept {
    m_samples.store(0);
    m_bytes.store(0);
    m_events.store(0);
    m_first_timestamp.store(0);
    m_last_timestamp.store(0);
    m_last_size.store(0);
    m_last_format.store(0);
    m_last_width.store(0);
    m_last_height.store(0);
    m_last_event_kind.store(0);
}

}  // namespace zelt::host
