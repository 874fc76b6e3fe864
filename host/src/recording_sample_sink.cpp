#include "zelt_host/recording_sample_sink.h"

#include <algorithm>
#include <utility>

namespace zelt::host {

RecordingSampleSink::RecordingSampleSink() : RecordingSampleSink(RecordingOptions{}) {}

RecordingSampleSink::RecordingSampleSink(RecordingOptions options) : m_options(options) {}

void RecordingSampleSink::addSample(std::uint64_t timestamp, std::uint64_t reserved,
                                    const void* data, std::uint32_t size) {
    RecordedSample sample;
    sample.timestamp = timestamp;
    sample.reserved = reserved;
    sample.size = size;
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    if (bytes != nullptr) {
        sample.header = parseImageDataHeader(bytes, size);
        const std::size_t payload_offset = sample.header ? kImageDataHeaderSize : 0;
        const std::size_t head =
            std::min<std::size_t>(m_options.payload_head_bytes, size - payload_offset);
        sample.payload_head.assign(bytes + payload_offset, bytes + payload_offset + head);
        if (m_options.keep_bytes) sample.bytes.assign(bytes, bytes + size);
    }
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_samples.push_back(std::move(sample));
    }
    m_changed.notify_all();
}

void RecordingSampleSink::addStreamEvent(std::uint32_t kind, std::uint64_t timestamp) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_events.push_back(RecordedEvent{kind, timestamp});
    }
    m_changed.notify_all();
}

std::vector<RecordedSample> RecordingSampleSink::samples() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_samples;
}

std::vector<RecordedEvent> RecordingSampleSink::events() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_events;
}

std::size_t RecordingSampleSink::sampleCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_samples.size();
}

std::size_t RecordingSampleSink::eventCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_events.size();
}

bool RecordingSampleSink::waitForSamples(std::size_t count,
                                         std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [&] { return m_samples.size() >= count; });
}

bool RecordingSampleSink::waitForEvents(std::size_t count,
                                        std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [&] { return m_events.size() >= count; });
}

void RecordingSampleSink::clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_samples.clear();
    m_events.clear();
}

}  // namespace zelt::host
