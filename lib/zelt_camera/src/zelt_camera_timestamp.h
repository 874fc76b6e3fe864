// Frame time stamps on the host's time base.
#pragma once

#include <cmath>
#include <cstdint>

namespace zelt_camera {

/// The host-tick stamp of a frame captured at `pts` (pipeline running time, ns) and read at
/// `camera_now` (running time, ns) while the host's clock reads `host_now` ticks at
/// `host_frequency` ticks per second: host_now - host_frequency / 1e9 x delay, rounded to the
/// nearest tick, halves away from zero.
///
/// The delay is taken as an unsigned 64-bit difference on purpose: a frame stamped after
/// `camera_now` gives a delay near 2^64 and so a negative stamp, and such a frame is dropped.
inline double host_timestamp(std::uint64_t host_now, double host_frequency, std::int64_t camera_now,
                             std::uint64_t pts) noexcept {
    const double buffer_read_delay =
        static_cast<double>(static_cast<std::uint64_t>(camera_now) - pts);
    return std::round(static_cast<double>(host_now) - host_frequency / 1e9 * buffer_read_delay);
}

/// A non-negative stamp as unsigned 64-bit ticks; values from 2^63 up keep their top bit.
inline std::uint64_t to_unsigned_ticks(double stamp) noexcept {
    constexpr double kTopBit = 9223372036854775808.0;  // 2^63
    if (stamp >= kTopBit)
        return static_cast<std::uint64_t>(stamp - kTopBit) | (std::uint64_t{1} << 63);
    return static_cast<std::uint64_t>(stamp);
}

}  // namespace zelt_camera
