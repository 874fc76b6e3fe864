// The one time axis of a recording: every camera's video and table count from the same start.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>

namespace zelt::cli {

/// The recording's common start: the host tick of the first frame of any camera.
///
/// Each camera reports its first frame's stamp from its streaming thread (firstFrame(): a few
/// atomic operations, never a wait). Each writer thread asks for the start before it writes
/// its first frame (start(): waits until every camera has reported, or `grace` has passed
/// since the first one did, or close()), so a camera that starts late or never does holds the
/// others back only that long. The start is fixed by the first answer and stays.
class TimeAxis {
public:
    TimeAxis(std::size_t cameras, std::chrono::milliseconds grace = std::chrono::seconds(1));

    TimeAxis(const TimeAxis&) = delete;
    TimeAxis& operator=(const TimeAxis&) = delete;

    /// A camera's first frame (streaming thread; once per camera).
    void firstFrame(std::uint64_t ticks) noexcept;
    /// A camera that will deliver nothing (it did not start).
    void cameraLeft() noexcept;
    /// No more waiting: start() answers with what it has.
    void close() noexcept;

    /// The common start; waits as described above. `own_first`: the caller's first stamp,
    /// the answer when no camera reported yet.
    std::uint64_t start(std::uint64_t own_first);
    /// The fixed start, or nothing before the first start() answered.
    std::optional<std::uint64_t> fixedStart() const;

private:
    const std::size_t m_cameras;
    const std::chrono::milliseconds m_grace;
    std::atomic<std::uint64_t> m_min_ticks{UINT64_MAX};
    std::atomic<std::size_t> m_reported{0};
    std::atomic<std::int64_t> m_first_seen_ns{0};  ///< steady clock, 0: none yet
    std::atomic<bool> m_closed{false};
    mutable std::mutex m_mutex;
    std::optional<std::uint64_t> m_fixed;
};

}  // namespace zelt::cli
