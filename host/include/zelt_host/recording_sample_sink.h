// A sample sink that keeps what it receives, for tests and for the command line tool.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

#include "zelt/sample_sink.h"
#include "zelt_host/image_data_header.h"

namespace zelt::host {

/// One sample as a RecordingSampleSink keeps it.
struct RecordedSample {
    std::uint64_t timestamp = 0;  // host ticks
    std::uint64_t reserved = 0;   // the second argument of addSample (0 from a camera)
    std::uint32_t size = 0;       // bytes of the whole sample, header included
    /// The image header, read from the first 12 bytes; nothing for a shorter sample.
    std::optional<ImageDataHeader> header;
    /// The first bytes of the payload (RecordingOptions::payload_head_bytes at most). The
    /// payload is what follows the image header, or the whole sample when it is shorter than
    /// a header (a frame counter's 4-byte count).
    std::vector<std::uint8_t> payload_head;
    /// Every byte of the sample, header included, when RecordingOptions::keep_bytes is set.
    std::vector<std::uint8_t> bytes;
};

/// One stream event as a RecordingSampleSink keeps it.
struct RecordedEvent {
    std::uint32_t kind = 0;  // zelt::kStreamEventError (2): the source reported an error
    std::uint64_t timestamp = 0;
};

/// What a RecordingSampleSink copies of each sample beyond stamp, size and header.
struct RecordingOptions {
    std::size_t payload_head_bytes = 0;
    bool keep_bytes = false;
};

/// A sink that records every sample and stream event, and lets a test wait for them.
/// Copies are made on the plug-in's thread, under a lock: fine for tests and tools, not for
/// measurements (use CountingSampleSink there).
class RecordingSampleSink final : public zelt::IfSampleSink {
public:
    RecordingSampleSink();
    explicit RecordingSampleSink(RecordingOptions options);

    void addSample(std::uint64_t timestamp, std::uint64_t reserved, const void* data,
                   std::uint32_t size) override;
    void addStreamEvent(std::uint32_t kind, std::uint64_t timestamp) override;

    /// Copies of everything recorded so far, in arrival order.
    std::vector<RecordedSample> samples() const;
    std::vector<RecordedEvent> events() const;
    std::size_t sampleCount() const;
    std::size_t eventCount() const;

    /// Wait until at least `count` samples (events) arrived; false on timeout.
    bool waitForSamples(std::size_t count, std::chrono::milliseconds timeout) const;
    bool waitForEvents(std::size_t count, std::chrono::milliseconds timeout) const;

    /// Forgets everything recorded.
    void clear();

private:
    const RecordingOptions m_options;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<RecordedSample> m_samples;
    std::vector<RecordedEvent> m_events;
};

}  // namespace zelt::host
