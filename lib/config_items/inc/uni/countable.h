// Live-instance counting for a family of classes.
#pragma once

#include <atomic>
#include <cstdint>

namespace uni {

/// Base that counts the live instances of every class derived from it, per `Tag`.
/// Every constructor (copy and move included) increments one process-wide atomic counter,
/// every destructor decrements it.
template <typename Tag>
class Countable {
public:
    static std::uint32_t liveCount() noexcept { return s_count.load(); }

protected:
    Countable() noexcept { ++s_count; }
    Countable(const Countable&) noexcept { ++s_count; }
    Countable(Countable&&) noexcept { ++s_count; }
    Countable& operator=(const Countable&) noexcept = default;
    Countable& operator=(Countable&&) noexcept = default;
    ~Countable() { --s_count; }

private:
    static inline std::atomic<std::uint32_t> s_count{0};
};

}  // namespace uni
