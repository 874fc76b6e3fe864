#include "zelt_host/steady_time_source.h"

#include <time.h>

#include <cmath>
#include <ctime>
#include <limits>
#include <stdexcept>
#include <string>

namespace zelt::host {
namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr std::uint64_t kMaxTicks = std::numeric_limits<std::uint64_t>::max();
// Below this frequency, nanoseconds within one second times the frequency fit in 64 bits
// (999,999,999 * 2^34 < 2^64).
constexpr std::uint64_t kNarrowFrequencyLimit = std::uint64_t{1} << 34;

// Wide enough for nanoseconds times any whole frequency below 2^64.
__extension__ typedef unsigned __int128 Wide;

std::int64_t toNanoseconds(const timespec& time) {
    return static_cast<std::int64_t>(time.tv_sec) * kNanosecondsPerSecond + time.tv_nsec;
}

std::int64_t monotonicNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return toNanoseconds(now);
}

}  // namespace

zelt::DateTime toUtcDateTime(const timespec& wall) {
    std::tm utc{};
    const time_t seconds = wall.tv_sec;
    gmtime_r(&seconds, &utc);
    zelt::DateTime out;
    out.year = utc.tm_year + 1900;
    out.month = utc.tm_mon + 1;
    out.day = utc.tm_mday;
    out.hour = utc.tm_hour;
    out.minute = utc.tm_min;
    out.second = utc.tm_sec;
    out.nanosecond = wall.tv_nsec;
    return out;
}

SteadyTimeSource::SteadyTimeSource(double frequency) : m_frequency(frequency) {
    if (!std::isfinite(frequency) || frequency <= 0.0) {
        throw std::invalid_argument("time base frequency must be positive and finite, not " +
                                    std::to_string(frequency));
    }
    m_whole_frequency = frequency == std::floor(frequency) && frequency < 1.8e19
                            ? static_cast<std::uint64_t>(frequency)
                            : 0;
    timespec wall{};
    clock_gettime(CLOCK_REALTIME, &wall);
    m_start_nanoseconds = monotonicNow();
    m_absolute_start = toUtcDateTime(wall);
}

std::uint64_t SteadyTimeSource::elapsedNanoseconds() const noexcept {
    const std::int64_t elapsed = monotonicNow() - m_start_nanoseconds;
    return elapsed > 0 ? static_cast<std::uint64_t>(elapsed) : 0;
}

std::uint64_t SteadyTimeSource::ticksFromNanoseconds(std::uint64_t nanoseconds) const noexcept {
    if (m_whole_frequency != 0 && m_whole_frequency < kNarrowFrequencyLimit) {
        // Whole seconds and the rest apart: rest * frequency stays below 2^64, and both
        // divisions are by a constant, so the compiler multiplies instead of dividing (the
        // streaming thread asks for the ticks of every frame). Exact: the same floor as below.
        constexpr auto kPerSecond = static_cast<std::uint64_t>(kNanosecondsPerSecond);
        const std::uint64_t seconds = nanoseconds / kPerSecond;
        const std::uint64_t rest = nanoseconds % kPerSecond;
        std::uint64_t ticks = 0;
        if (__builtin_mul_overflow(seconds, m_whole_frequency, &ticks) ||
            __builtin_add_overflow(ticks, rest * m_whole_frequency / kPerSecond, &ticks)) {
            return kMaxTicks;
        }
        return ticks;
    }
    if (m_whole_frequency != 0) {
        const Wide ticks = static_cast<Wide>(nanoseconds) * m_whole_frequency /
                           static_cast<Wide>(kNanosecondsPerSecond);
        return ticks > kMaxTicks ? kMaxTicks : static_cast<std::uint64_t>(ticks);
    }
    const long double ticks = std::floor(static_cast<long double>(nanoseconds) * m_frequency /
                                         static_cast<long double>(kNanosecondsPerSecond));
    return ticks >= static_cast<long double>(kMaxTicks) ? kMaxTicks
                                                        : static_cast<std::uint64_t>(ticks);
}

std::uint64_t SteadyTimeSource::getCurrentTicks() const {
    return ticksFromNanoseconds(elapsedNanoseconds());
}

}  // namespace zelt::host
