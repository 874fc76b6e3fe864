// Frame stamps on the host's time base, and the page-backed image buffer.
#include "zelt_camera_timestamp.h"

#include <gtest/gtest.h>

#include <cstring>

#include "zelt_camera_image_buffer.h"

namespace zelt_camera {
namespace {

TEST(HostTimestamp, FrameReadTenMillisecondsAfterCaptureIsStampedTenThousandMicroTicksEarlier) {
    const std::int64_t camera_now = 5'000'000'000;      // running time, ns
    const std::uint64_t pts = camera_now - 10'000'000;  // captured 10 ms earlier
    EXPECT_EQ(host_timestamp(1'000'000, 1e6, camera_now, pts), 1'000'000.0 - 10'000.0);
}

TEST(HostTimestamp, UsesTheHostFrequencyOverOneBillion) {
    // 1e7 ticks per second: 2.5 ms are 25,000 ticks.
    EXPECT_EQ(host_timestamp(100'000'000, 1e7, 2'500'000, 0), 100'000'000.0 - 25'000.0);
    EXPECT_EQ(host_timestamp(7'000, 1e9, 1'000, 400), 6'400.0);
}

TEST(HostTimestamp, RoundsHalvesAwayFromZero) {
    // 1e6 ticks/s: a delay of 1500 ns is 1.5 ticks.
    EXPECT_EQ(host_timestamp(10, 1e6, 1'500, 0), 9.0);  // 8.5 -> 9
    EXPECT_EQ(host_timestamp(1, 1e6, 1'500, 0), -1.0);  // -0.5 -> -1
    EXPECT_EQ(host_timestamp(10, 1e6, 1'400, 0), 9.0);  // 8.6 -> 9
    EXPECT_EQ(host_timestamp(10, 1e6, 1'600, 0), 8.0);  // 8.4 -> 8
}

TEST(HostTimestamp, FrameStampedAfterTheRunningTimeGivesANegativeStamp) {
    // The unsigned delay wraps to nearly 2^64: the stamp is hugely negative, the frame dropped.
    EXPECT_LT(host_timestamp(1'000'000, 1e6, 1'000, 2'000), 0.0);
}

TEST(UnsignedTicks, ConvertsBelowAndAboveTwoToTheSixtyThree) {
    EXPECT_EQ(to_unsigned_ticks(0.0), 0u);
    EXPECT_EQ(to_unsigned_ticks(12345.0), 12345u);
    EXPECT_EQ(to_unsigned_ticks(9223372036854775808.0), std::uint64_t{1} << 63);
    EXPECT_EQ(to_unsigned_ticks(9223372036854775808.0 + 4096.0), (std::uint64_t{1} << 63) + 4096);
}

TEST(PageBuffer, StartsEmpty) {
    PageBuffer buffer;
    EXPECT_TRUE(buffer.empty());
    EXPECT_EQ(buffer.data(), nullptr);
    EXPECT_EQ(buffer.size(), 0u);
}

TEST(PageBuffer, ResizeGivesZeroFilledWritableBytes) {
    PageBuffer buffer;
    buffer.resize(614'412);
    ASSERT_FALSE(buffer.empty());
    EXPECT_EQ(buffer.size(), 614'412u);
    for (std::size_t i = 0; i < buffer.size(); i += 4096) EXPECT_EQ(buffer.data()[i], 0);
    EXPECT_EQ(buffer.data()[buffer.size() - 1], 0);
    std::memset(buffer.data(), 0xAB, buffer.size());
    EXPECT_EQ(buffer.data()[buffer.size() - 1], 0xAB);
}

TEST(PageBuffer, ResizeToTheSameSizeKeepsTheAddressAndZeroesTheBytes) {
    PageBuffer buffer;
    buffer.resize(100'000);
    std::uint8_t* const address = buffer.data();
    std::memset(buffer.data(), 0x5A, buffer.size());
    buffer.resize(100'000);
    EXPECT_EQ(buffer.data(), address);
    EXPECT_EQ(buffer.size(), 100'000u);
    EXPECT_EQ(buffer.data()[0], 0);
    EXPECT_EQ(buffer.data()[99'999], 0);
}

TEST(PageBuffer, ResizeToAnotherSizeTakesAFreshRegion) {
    PageBuffer buffer;
    buffer.resize(4096);
    buffer.data()[0] = 7;
    buffer.resize(8192);
    EXPECT_EQ(buffer.size(), 8192u);
    EXPECT_EQ(buffer.data()[0], 0);
}

TEST(PageBuffer, ReleaseEmptiesAndIsHarmlessTwice) {
    PageBuffer buffer;
    buffer.resize(4096);
    buffer.release();
    EXPECT_TRUE(buffer.empty());
    EXPECT_EQ(buffer.size(), 0u);
    buffer.release();
    EXPECT_TRUE(buffer.empty());
}

TEST(PageBuffer, PixelsBehindTheHeaderStartOnACacheLine) {
    PageBuffer buffer;
    EXPECT_EQ(buffer.lead(), 52u);
    buffer.resize(614'412);
    ASSERT_FALSE(buffer.empty());
    const auto address = reinterpret_cast<std::uintptr_t>(buffer.data());
    EXPECT_EQ((address + sizeof(image::ImageDataHeader)) % 64, 0u);
    // The header is 52 bytes into a region that starts on a page.
    EXPECT_EQ((address - 52) % 4096, 0u);
    buffer.resize(614'412);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.data()), address);
}

TEST(PageBuffer, WithoutLeadTheBytesStartOnAPage) {
    PageBuffer buffer(0);
    buffer.resize(4096);
    ASSERT_FALSE(buffer.empty());
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.data()) % 4096, 0u);
    std::memset(buffer.data(), 1, buffer.size());
}

TEST(PageBuffer, ResizeToZeroIsEmpty) {
    PageBuffer buffer;
    buffer.resize(0);
    EXPECT_TRUE(buffer.empty());
    EXPECT_EQ(buffer.size(), 0u);
}

TEST(ImageDataHeader, IsTwelveBytesOfFormatWidthHeight) {
    EXPECT_EQ(sizeof(image::ImageDataHeader), 12u);
    EXPECT_EQ(offsetof(image::ImageDataHeader, format), 0u);
    EXPECT_EQ(offsetof(image::ImageDataHeader, width), 4u);
    EXPECT_EQ(offsetof(image::ImageDataHeader, height), 8u);
}

}  // namespace
}  // namespace zelt_camera
