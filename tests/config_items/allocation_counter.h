// Counts the global allocations made by the calling thread while counting is on, so that a
// test can see how many allocations one call makes.
#pragma once

namespace test_support {

void startCountingAllocations() noexcept;
/// Stops counting; returns the allocations since startCountingAllocations().
int stopCountingAllocations() noexcept;

}  // namespace test_support
