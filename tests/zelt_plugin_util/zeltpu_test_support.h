// A recording sample sink for the plug-in utility tests.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "zelt/sample_sink.h"

namespace zeltpu_test {

/// A sample sink that keeps what it receives.
class RecordingSampleSink : public zelt::IfSampleSink {
public:
    struct Sample {
        std::uint64_t timestamp;
        std::uint64_t reserved;
        std::vector<std::uint8_t> data;

        /// The sample as one unsigned 32-bit count (host byte order).
        std::uint32_t asCount() const {
            std::uint32_t value = 0;
            if (data.size() == sizeof value) std::memcpy(&value, data.data(), sizeof value);
            return value;
        }
    };
    struct StreamEvent {
        std::uint32_t kind;
        std::uint64_t timestamp;
    };

    void addSample(std::uint64_t timestamp, std::uint64_t reserved, const void* data,
                   std::uint32_t size) override {
        const auto* bytes = static_cast<const std::uint8_t*>(data);
        m_samples.push_back({timestamp, reserved, std::vector<std::uint8_t>(bytes, bytes + size)});
    }
    void addStreamEvent(std::uint32_t kind, std::uint64_t timestamp) override {
        m_events.push_back({kind, timestamp});
    }

    const std::vector<Sample>& samples() const { return m_samples; }
    const std::vector<StreamEvent>& events() const { return m_events; }

private:
    std::vector<Sample> m_samples;
    std::vector<StreamEvent> m_events;
};

}  // namespace zeltpu_test
