#include "zelt_host/steady_time_source.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <ctime>
#include <limits>
#include <stdexcept>
#include <thread>

namespace zelt::host::test {
namespace {

using namespace std::chrono_literals;

TEST(SteadyTimeSourceTest, DefaultFrequencyIsTenMegahertz) {
    EXPECT_EQ(SteadyTimeSource().getFrequency(), 1e7);
    EXPECT_EQ(SteadyTimeSource::kDefaultFrequency, 1e7);
}

TEST(SteadyTimeSourceTest, WholeFrequenciesScaleNanosecondsExactly) {
    const SteadyTimeSource megahertz(1e6);
    EXPECT_EQ(megahertz.ticksFromNanoseconds(10'000'000), 10'000u);  // 10 ms
    EXPECT_EQ(megahertz.ticksFromNanoseconds(999), 0u);
    EXPECT_EQ(megahertz.ticksFromNanoseconds(1'000), 1u);
    const SteadyTimeSource default_rate;
    EXPECT_EQ(default_rate.ticksFromNanoseconds(100), 1u);
    EXPECT_EQ(default_rate.ticksFromNanoseconds(1'000'000'000), 10'000'000u);
    const SteadyTimeSource nanoseconds(1e9);
    EXPECT_EQ(nanoseconds.ticksFromNanoseconds(123'456'789), 123'456'789u);
    const SteadyTimeSource slow(3.0);
    EXPECT_EQ(slow.ticksFromNanoseconds(1'000'000'000), 3u);
    EXPECT_EQ(slow.ticksFromNanoseconds(333'333'334), 1u);
}

TEST(SteadyTimeSourceTest, FractionalFrequenciesScaleRoundingDown) {
    const SteadyTimeSource half(0.5);
    EXPECT_EQ(half.ticksFromNanoseconds(3'000'000'000), 1u);
    EXPECT_EQ(half.ticksFromNanoseconds(4'000'000'000), 2u);
    const SteadyTimeSource odd(2.5);
    EXPECT_EQ(odd.ticksFromNanoseconds(1'000'000'000), 2u);
    EXPECT_EQ(odd.ticksFromNanoseconds(2'000'000'000), 5u);
}

TEST(SteadyTimeSourceTest, WholeFrequenciesMatchTheFullProductAtEveryMagnitude) {
    // floor(ns * f / 1e9) from the full 128-bit product, saturated at 2^64 - 1.
    __extension__ typedef unsigned __int128 Wide;
    const auto reference = [](std::uint64_t nanoseconds, std::uint64_t frequency) {
        const Wide ticks = static_cast<Wide>(nanoseconds) * frequency / 1'000'000'000u;
        const std::uint64_t max = std::numeric_limits<std::uint64_t>::max();
        return ticks > max ? max : static_cast<std::uint64_t>(ticks);
    };
    const std::uint64_t max = std::numeric_limits<std::uint64_t>::max();
    const std::uint64_t frequencies[] = {1,
                                         3,
                                         1'000'000,
                                         10'000'000,
                                         999'999'937,
                                         1'000'000'000,
                                         (std::uint64_t{1} << 34) - 1,
                                         std::uint64_t{1} << 34,
                                         std::uint64_t{1} << 40};
    const std::uint64_t nanoseconds[] = {0,
                                         1,
                                         999'999'999,
                                         1'000'000'000,
                                         1'000'000'001,
                                         1'844'674'407'370ull,  // 2^64 / 1e7 ns: 30.7 minutes
                                         1'844'674'407'371ull,
                                         max / 1'000'000'000,
                                         max - 1,
                                         max};
    for (const std::uint64_t frequency : frequencies) {
        const SteadyTimeSource source(static_cast<double>(frequency));
        for (const std::uint64_t ns : nanoseconds) {
            EXPECT_EQ(source.ticksFromNanoseconds(ns), reference(ns, frequency))
                << ns << " ns at " << frequency << " Hz";
        }
    }
    // Past 30.7 minutes the product ns * 10 MHz no longer fits in 64 bits; the ticks do.
    EXPECT_EQ(SteadyTimeSource(1e7).ticksFromNanoseconds(1'844'674'407'371ull), 18'446'744'073u);
    EXPECT_EQ(SteadyTimeSource(3.0).ticksFromNanoseconds(max), 55'340'232'221u);
    // Where the ticks reach 2^64 the count saturates rather than wraps: at 10 GHz from
    // 1,844,674,407,370,955,162 ns on.
    EXPECT_EQ(SteadyTimeSource(1e10).ticksFromNanoseconds(1'844'674'407'370'955'161ull),
              18'446'744'073'709'551'610ull);
    EXPECT_EQ(SteadyTimeSource(1e10).ticksFromNanoseconds(1'844'674'407'370'955'162ull), max);
}

TEST(SteadyTimeSourceTest, TicksBeyondTheCounterSaturate) {
    const std::uint64_t max = std::numeric_limits<std::uint64_t>::max();
    EXPECT_EQ(SteadyTimeSource(1e9).ticksFromNanoseconds(max), max);
    EXPECT_EQ(SteadyTimeSource(1e10).ticksFromNanoseconds(max), max);
    EXPECT_EQ(SteadyTimeSource(1e10 + 0.5).ticksFromNanoseconds(max), max);
}

TEST(SteadyTimeSourceTest, TicksStartAtZeroWhenConstructed) {
    const SteadyTimeSource source(1e6);
    EXPECT_LT(source.getCurrentTicks(), 1'000'000u);  // well under a second
}

TEST(SteadyTimeSourceTest, TicksNeverGoBack) {
    const SteadyTimeSource source(1e9);
    std::uint64_t previous = source.getCurrentTicks();
    for (int i = 0; i < 10000; ++i) {
        const std::uint64_t now = source.getCurrentTicks();
        ASSERT_GE(now, previous);
        previous = now;
    }
}

TEST(SteadyTimeSourceTest, TicksFollowTheMonotonicClockAtTheFrequency) {
    const SteadyTimeSource source(1e6);
    const std::uint64_t before = source.getCurrentTicks();
    std::this_thread::sleep_for(20ms);
    const std::uint64_t after = source.getCurrentTicks();
    EXPECT_GE(after - before, 20'000u);
    EXPECT_LT(after - before, 2'000'000u);  // generous bound for a loaded machine
}

TEST(SteadyTimeSourceTest, RefusesFrequenciesThatAreNotPositiveAndFinite) {
    EXPECT_THROW(SteadyTimeSource(0.0), std::invalid_argument);
    EXPECT_THROW(SteadyTimeSource(-1e6), std::invalid_argument);
    EXPECT_THROW(SteadyTimeSource(std::nan("")), std::invalid_argument);
    EXPECT_THROW(SteadyTimeSource(std::numeric_limits<double>::infinity()), std::invalid_argument);
}

TEST(SteadyTimeSourceTest, AbsoluteStartIsTheWallClockInUtc) {
    const std::time_t before = std::time(nullptr);
    const SteadyTimeSource source;
    const std::time_t after = std::time(nullptr);
    const zelt::DateTime start = source.getAbsoluteStart();

    std::tm utc{};
    utc.tm_year = start.year - 1900;
    utc.tm_mon = start.month - 1;
    utc.tm_mday = start.day;
    utc.tm_hour = start.hour;
    utc.tm_min = start.minute;
    utc.tm_sec = start.second;
    const std::time_t seconds = timegm(&utc);
    EXPECT_GE(seconds, before);
    EXPECT_LE(seconds, after);
    EXPECT_GE(start.nanosecond, 0);
    EXPECT_LT(start.nanosecond, 1'000'000'000);
    EXPECT_EQ(source.getAbsoluteStart(), start);
}

}  // namespace
}  // namespace zelt::host::test
