#include "zelt_host/sample_sinks.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <thread>
#include <vector>

namespace zelt::host::test {
namespace {

using namespace std::chrono_literals;

std::vector<std::uint8_t> imageSample(std::uint32_t format, std::uint32_t width,
                                      std::uint32_t height) {
    std::vector<std::uint8_t> bytes(12 + width * height, 0);
    writeImageDataHeader(ImageDataHeader{format, width, height}, bytes.data());
    return bytes;
}

TEST(CallbackSampleSinkTest, ForwardsSamplesAndEvents) {
    std::vector<std::uint64_t> stamps;
    std::uint32_t size = 0;
    std::vector<std::uint32_t> kinds;
    CallbackSampleSink sink(
        [&](std::uint64_t timestamp, std::uint64_t reserved, const void*, std::uint32_t bytes) {
            stamps.push_back(timestamp + reserved);
            size = bytes;
        },
        [&](std::uint32_t kind, std::uint64_t) { kinds.push_back(kind); });
    const std::uint32_t count = 0;
    sink.addSample(10, 0, &count, 4);
    sink.addStreamEvent(2, 11);
    EXPECT_EQ(stamps, (std::vector<std::uint64_t>{10}));
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(kinds, (std::vector<std::uint32_t>{2}));
}

TEST(CallbackSampleSinkTest, EmptyFunctionsIgnoreTheirCalls) {
    CallbackSampleSink sink(nullptr);
    const std::uint32_t count = 0;
    sink.addSample(10, 0, &count, 4);
    sink.addStreamEvent(2, 11);
    SUCCEED();
}

TEST(CountingSampleSinkTest, CountsSamplesBytesAndKeepsTheLatestValues) {
    CountingSampleSink sink;
    const auto small = imageSample(0x59455247, 4, 2);
    const auto large = imageSample(0x32595559, 8, 4);
    sink.addSample(100, 0, small.data(), static_cast<std::uint32_t>(small.size()));
    sink.addSample(200, 0, large.data(), static_cast<std::uint32_t>(large.size()));

    EXPECT_EQ(sink.sampleCount(), 2u);
    EXPECT_EQ(sink.byteCount(), 20u + 44u);
    EXPECT_EQ(sink.firstTimestamp(), 100u);
    EXPECT_EQ(sink.lastTimestamp(), 200u);
    EXPECT_EQ(sink.lastSize(), 44u);
    EXPECT_EQ(sink.lastHeader(), (ImageDataHeader{0x32595559, 8, 4}));
}

TEST(CountingSampleSinkTest, ShortSampleKeepsThePreviousHeader) {
    CountingSampleSink sink;
    const auto image = imageSample(0x59455247, 4, 2);
    sink.addSample(1, 0, image.data(), 20);
    const std::uint32_t count = 5;
    sink.addSample(2, 0, &count, 4);
    EXPECT_EQ(sink.lastHeader(), (ImageDataHeader{0x59455247, 4, 2}));
    EXPECT_EQ(sink.lastSize(), 4u);
}

TEST(CountingSampleSinkTest, CountsEventsAndTheirKind) {
    CountingSampleSink sink;
    sink.addStreamEvent(zelt::kStreamEventError, 7);
    EXPECT_EQ(sink.eventCount(), 1u);
    EXPECT_EQ(sink.lastEventKind(), 2u);
    EXPECT_EQ(sink.sampleCount(), 0u);
}

TEST(CountingSampleSinkTest, ResetStartsOver) {
    CountingSampleSink sink;
    const auto image = imageSample(0x59455247, 4, 2);
    sink.addSample(1, 0, image.data(), 20);
    sink.addStreamEvent(2, 1);
    sink.reset();
    EXPECT_EQ(sink.sampleCount(), 0u);
    EXPECT_EQ(sink.byteCount(), 0u);
    EXPECT_EQ(sink.eventCount(), 0u);
    EXPECT_EQ(sink.lastHeader(), ImageDataHeader{});
    sink.addSample(9, 0, image.data(), 20);
    EXPECT_EQ(sink.firstTimestamp(), 9u);
}

TEST(CountingSampleSinkTest, WaitForSamplesSeesAnotherThreadsSamples) {
    CountingSampleSink sink;
    const auto image = imageSample(0x59455247, 4, 2);
    std::thread producer([&] {
        for (std::uint64_t i = 1; i <= 100; ++i) sink.addSample(i, 0, image.data(), 20);
    });
    EXPECT_TRUE(sink.waitForSamples(100, 5s));
    producer.join();
    EXPECT_EQ(sink.lastTimestamp(), 100u);
    EXPECT_EQ(sink.byteCount(), 2000u);
    EXPECT_FALSE(sink.waitForSamples(101, 5ms));
}

}  // namespace
}  // namespace zelt::host::test
