#include "zelt_host/recording_sample_sink.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <thread>
#include <vector>

namespace zelt::host::test {
namespace {

using namespace std::chrono_literals;

std::vector<std::uint8_t> imageSample(std::uint32_t width, std::uint32_t height,
                                      std::uint8_t fill) {
    std::vector<std::uint8_t> bytes(12 + width * height, fill);
    writeImageDataHeader(ImageDataHeader{0x59455247, width, height}, bytes.data());
    bytes[12] = 1;
    bytes[13] = 2;
    return bytes;
}

TEST(RecordingSampleSinkTest, KeepsStampSizeAndHeaderWithoutCopyingByDefault) {
    RecordingSampleSink sink;
    const auto bytes = imageSample(4, 2, 9);
    sink.addSample(12345, 0, bytes.data(), static_cast<std::uint32_t>(bytes.size()));

    const auto samples = sink.samples();
    ASSERT_EQ(samples.size(), 1u);
    EXPECT_EQ(samples[0].timestamp, 12345u);
    EXPECT_EQ(samples[0].reserved, 0u);
    EXPECT_EQ(samples[0].size, 20u);
    EXPECT_EQ(samples[0].header, (ImageDataHeader{0x59455247, 4, 2}));
    EXPECT_TRUE(samples[0].payload_head.empty());
    EXPECT_TRUE(samples[0].bytes.empty());
}

TEST(RecordingSampleSinkTest, PayloadHeadIsTheFirstBytesBehindTheHeader) {
    RecordingOptions options;
    options.payload_head_bytes = 3;
    RecordingSampleSink sink(options);
    const auto bytes = imageSample(4, 2, 9);
    sink.addSample(1, 0, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    EXPECT_EQ(sink.samples().at(0).payload_head, (std::vector<std::uint8_t>{1, 2, 9}));
}

TEST(RecordingSampleSinkTest, PayloadHeadStopsAtTheEndOfTheSample) {
    RecordingOptions options;
    options.payload_head_bytes = 100;
    RecordingSampleSink sink(options);
    const auto bytes = imageSample(2, 1, 9);
    sink.addSample(1, 0, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    EXPECT_EQ(sink.samples().at(0).payload_head, (std::vector<std::uint8_t>{1, 2}));
}

TEST(RecordingSampleSinkTest, CounterSampleHasNoHeaderAndItsPayloadIsTheCount) {
    RecordingOptions options;
    options.payload_head_bytes = 8;
    RecordingSampleSink sink(options);
    const std::uint32_t count = 7;
    sink.addSample(99, 0, &count, sizeof count);

    const auto sample = sink.samples().at(0);
    EXPECT_FALSE(sample.header.has_value());
    EXPECT_EQ(sample.size, 4u);
    EXPECT_EQ(sample.payload_head, (std::vector<std::uint8_t>{7, 0, 0, 0}));
}

TEST(RecordingSampleSinkTest, KeepsEveryByteOnRequest) {
    RecordingOptions options;
    options.keep_bytes = true;
    RecordingSampleSink sink(options);
    const auto bytes = imageSample(4, 2, 9);
    sink.addSample(1, 0, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    EXPECT_EQ(sink.samples().at(0).bytes, bytes);
}

TEST(RecordingSampleSinkTest, RecordsStreamEvents) {
    RecordingSampleSink sink;
    sink.addStreamEvent(zelt::kStreamEventError, 5000);
    const auto events = sink.events();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].kind, 2u);
    EXPECT_EQ(events[0].timestamp, 5000u);
    EXPECT_EQ(sink.eventCount(), 1u);
    EXPECT_EQ(sink.sampleCount(), 0u);
}

TEST(RecordingSampleSinkTest, WaitForSamplesReturnsWhenAnotherThreadDelivers) {
    RecordingSampleSink sink;
    std::thread producer([&] {
        const auto bytes = imageSample(4, 2, 0);
        for (int i = 0; i < 3; ++i) {
            std::this_thread::sleep_for(2ms);
            sink.addSample(static_cast<std::uint64_t>(i), 0, bytes.data(), 20);
        }
    });
    EXPECT_TRUE(sink.waitForSamples(3, 5s));
    producer.join();
    EXPECT_EQ(sink.sampleCount(), 3u);
}

TEST(RecordingSampleSinkTest, WaitsTimeOut) {
    RecordingSampleSink sink;
    EXPECT_FALSE(sink.waitForSamples(1, 10ms));
    EXPECT_FALSE(sink.waitForEvents(1, 10ms));
}

TEST(RecordingSampleSinkTest, ClearForgetsEverything) {
    RecordingSampleSink sink;
    const std::uint32_t count = 1;
    sink.addSample(1, 0, &count, 4);
    sink.addStreamEvent(2, 1);
    sink.clear();
    EXPECT_EQ(sink.sampleCount(), 0u);
    EXPECT_EQ(sink.eventCount(), 0u);
}

}  // namespace
}  // namespace zelt::host::test
