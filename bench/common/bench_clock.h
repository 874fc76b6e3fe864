// Clocks of the benchmarks and the window over which a frame consumer is measured.
#pragma once

#include <time.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

// Under callgrind the window also marks what its instruction counts cover (client requests:
// a handful of no-op instructions when the program runs natively).
#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#define ZELT_BENCH_WINDOW_OPENS() CALLGRIND_ZERO_STATS
#define ZELT_BENCH_WINDOW_CLOSES() CALLGRIND_DUMP_STATS_AT("frame-window")
#else
#define ZELT_BENCH_WINDOW_OPENS() ((void)0)
#define ZELT_BENCH_WINDOW_CLOSES() ((void)0)
#endif

namespace zelt_bench {

/// CPU time of the whole process (every thread) in seconds.
inline double processCpuSeconds() noexcept {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// The monotonic clock in seconds.
inline double monotonicSeconds() noexcept {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// Process CPU time and wall time over `frames` consecutive frames of one consumer, after
/// `skip` frames of warm-up. Under callgrind, the counts are zeroed when the window opens and
/// dumped as "frame-window" when it closes: instructions of every thread over the window.
/// The consumer calls onFrame() once per frame on its own thread
/// (an increment and a compare; the clocks are read twice per window only); the measuring
/// thread waits for the end without polling.
class FrameWindow {
public:
    /// `skip` must be at least 1: the window opens when the skip-th frame was consumed.
    FrameWindow(std::uint64_t skip, std::uint64_t frames)
        : m_open_at(skip < 1 ? 1 : skip), m_close_at(m_open_at + frames) {}
    FrameWindow(const FrameWindow&) = delete;
    FrameWindow& operator=(const FrameWindow&) = delete;

    void onFrame() noexcept {
        const std::uint64_t seen = ++m_seen;
        if (seen == m_open_at || seen == m_close_at) onWindowEdge(seen);
    }

    /// Waits until the window closed; false on timeout.
    bool wait(std::chrono::milliseconds timeout) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_done.wait_for(lock, timeout, [this] { return m_closed; });
    }
    bool closed() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_closed;
    }

    std::uint64_t frames() const noexcept { return m_close_at - m_open_at; }
    /// Frames consumed so far, warm-up included.
    std::uint64_t seen() const noexcept { return m_seen.load(); }
    /// Valid after the window closed.
    double cpuSeconds() const noexcept { return m_cpu_close - m_cpu_open; }
    double wallSeconds() const noexcept { return m_wall_close - m_wall_open; }
    double cpuMicrosecondsPerFrame() const noexcept { return cpuSeconds() * 1e6 / frames(); }
    double framesPerSecond() const noexcept { return frames() / wallSeconds(); }

private:
    // Twice per window: kept out of line, so the frame's own path stays a few instructions in
    // every variant (the consumer's code is measured with it).
    __attribute__((noinline, cold)) void onWindowEdge(std::uint64_t seen) noexcept {
        if (seen == m_open_at) {
            ZELT_BENCH_WINDOW_OPENS();
            m_cpu_open = processCpuSeconds();
            m_wall_open = monotonicSeconds();
        } else if (seen == m_close_at) {
            m_cpu_close = processCpuSeconds();
            m_wall_close = monotonicSeconds();
            ZELT_BENCH_WINDOW_CLOSES();
            std::lock_guard<std::mutex> lock(m_mutex);
            m_closed = true;
            m_done.notify_all();
        }
    }

    const std::uint64_t m_open_at;
    const std::uint64_t m_close_at;
    std::atomic<std::uint64_t> m_seen{0};
    // Written by the consumer thread before m_closed is set under the mutex; read after.
    double m_cpu_open = 0, m_wall_open = 0, m_cpu_close = 0, m_wall_close = 0;
    std::mutex m_mutex;
    std::condition_variable m_done;
    bool m_closed = false;
};

}  // namespace zelt_bench
