// The host's time base: the ticks to which every sample is stamped.
#pragma once

#include <cstdint>
#include <ctime>

#include "zelt/time_base.h"

namespace zelt::host {

/// The calendar time (UTC) of `wall`, a time since the epoch.
zelt::DateTime toUtcDateTime(const timespec& wall);

/// A host time base on the system's monotonic clock (CLOCK_MONOTONIC), at tick 0 when it is
/// constructed, counting `frequency` ticks per second.
///
/// The default frequency is 10 MHz (100 ns ticks): the resolution data-acquisition hosts of
/// this kind commonly stamp with, fine enough for any frame rate, far coarser than the
/// clock's own resolution, and 2^64 ticks last about 58,000 years. A camera converts its
/// frame times to these ticks by itself, so any positive frequency works; tests use 1e6 or
/// 1e9 to make expected stamps easy to write.
///
/// Whole-number frequencies are scaled exactly (integer arithmetic); others through long
/// double. The absolute start is the wall-clock time (UTC) taken together with tick 0.
/// Immutable after construction: every operation is const and lock-free, callable from any
/// thread, including GStreamer's streaming threads.
class SteadyTimeSource final : public zelt::IfTimeSource {
public:
    static constexpr double kDefaultFrequency = 1e7;

    /// Throws std::invalid_argument unless `frequency` is finite and positive.
    explicit SteadyTimeSource(double frequency = kDefaultFrequency);

    double getFrequency() const override { return m_frequency; }
    zelt::DateTime getAbsoluteStart() const override { return m_absolute_start; }
    std::uint64_t getCurrentTicks() const override;

    /// The tick count after `nanoseconds` have passed since tick 0 (rounded down).
    std::uint64_t ticksFromNanoseconds(std::uint64_t nanoseconds) const noexcept;
    /// Nanoseconds of the monotonic clock since tick 0.
    std::uint64_t elapsedNanoseconds() const noexcept;

private:
    double m_frequency;
    std::uint64_t m_whole_frequency;   // the frequency when it is a whole number, else 0
    std::int64_t m_start_nanoseconds;  // CLOCK_MONOTONIC at tick 0
    zelt::DateTime m_absolute_start;
};

}  // namespace zelt::host
