#include "time_axis.h"

#include <thread>

namespace zelt::cli {
namespace {

std::int64_t steadyNanoseconds() noexcept {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

constexpr std::chrono::milliseconds kPollInterval{5};

}  // namespace

TimeAxis::TimeAxis(std::size_t cameras, std::chrono::milliseconds grace)
    : m_cameras(cameras), m_grace(grace) {}

void TimeAxis::firstFrame(std::uint64_t ticks) noexcept {
    std::uint64_t current = m_min_ticks.load();
    while (ticks < current && !m_min_ticks.compare_exchange_weak(current, ticks)) {
    }
    std::int64_t none = 0;
    m_first_seen_ns.compare_exchange_strong(none, steadyNanoseconds());
    m_reported.fetch_add(1);
}

void TimeAxis::cameraLeft() noexcept { m_reported.fetch_add(1); }

void TimeAxis::close() noexcept { m_closed.store(true); }

std::uint64_t TimeAxis::start(std::uint64_t own_first) {
    for (;;) {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (m_fixed) return *m_fixed;
        }
        const std::int64_t first_seen = m_first_seen_ns.load();
        const bool everyone = m_reported.load() >= m_cameras;
        const bool waited = first_seen != 0 && steadyNanoseconds() - first_seen >=
                                                   std::chrono::nanoseconds(m_grace).count();
        if (everyone || waited || m_closed.load()) break;
        std::this_thread::sleep_for(kPollInterval);
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_fixed) {
        const std::uint64_t earliest = m_min_ticks.load();
        m_fixed = earliest == UINT64_MAX ? own_first : std::min(earliest, own_first);
    }
    return *m_fixed;
}

std::optional<std::uint64_t> TimeAxis::fixedStart() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_fixed;
}

}  // namespace zelt::cli
