// Replaces the global operator new of the test program. Kept in its own translation unit so
// that no caller inlines the replacement.
#include "allocation_counter.h"

#include <cstdlib>
#include <new>

namespace {
thread_local bool t_counting = false;
thread_local int t_allocations = 0;
}  // namespace

namespace test_support {

void startCountingAllocations() noexcept {
    t_allocations = 0;
    t_counting = true;
}

int stopCountingAllocations() noexcept {
    t_counting = false;
    return t_allocations;
}

}  // namespace test_support

void* operator new(std::size_t size) {
    if (t_counting) ++t_allocations;
    if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
