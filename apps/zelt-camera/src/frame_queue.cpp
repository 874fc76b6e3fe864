#include "frame_queue.h"

#include <algorithm>

namespace zelt::cli {

FrameQueue::FrameQueue(FrameQueueLimits limits) : m_limits(limits) {}

void FrameQueue::allocate(std::size_t sample_bytes) {
    if (isAllocated()) return;
    const std::size_t bytes = std::max<std::size_t>(sample_bytes, 1);
    const std::size_t by_budget = m_limits.byte_budget / bytes;
    const std::size_t count = std::clamp(by_budget, std::max<std::size_t>(m_limits.min_slots, 1),
                                         std::max<std::size_t>(m_limits.max_slots, 1));
    m_slots.resize(count);
    for (FrameSlot& slot : m_slots) slot.bytes.reset(new std::uint8_t[bytes]);
    m_slot_count = count;
    m_slot_bytes = bytes;
}

FrameSlot* FrameQueue::beginWrite() noexcept {
    if (!isAllocated()) return nullptr;
    const std::uint64_t tail = m_tail.load(std::memory_order_relaxed);
    const std::uint64_t head = m_head.load(std::memory_order_acquire);
    if (tail - head >= m_slot_count) return nullptr;
    FrameSlot& slot = m_slots[tail % m_slot_count];
    slot.counter.reset();
    return &slot;
}

void FrameQueue::commit() noexcept {
    m_tail.fetch_add(1, std::memory_order_release);
    m_wake.notify_one();
}

void FrameQueue::close() noexcept {
    m_closed.store(true, std::memory_order_release);
    {
        // Under the mutex, so that a consumer between its check and its wait sees it.
        std::lock_guard<std::mutex> lock(m_wake_mutex);
    }
    m_wake.notify_all();
}

FrameSlot* FrameQueue::front() noexcept {
    const std::uint64_t head = m_head.load(std::memory_order_relaxed);
    if (head == m_tail.load(std::memory_order_acquire)) return nullptr;
    return &m_slots[head % m_slot_count];
}

void FrameQueue::pop() noexcept { m_head.fetch_add(1, std::memory_order_release); }

void FrameQueue::waitForFrames(std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(m_wake_mutex);
    m_wake.wait_for(lock, timeout, [this] {
        return m_closed.load(std::memory_order_acquire) ||
               m_head.load(std::memory_order_relaxed) != m_tail.load(std::memory_order_acquire);
    });
}

bool FrameQueue::isDrained() const noexcept {
    // Closed first: a commit before close() is then seen by the tail load.
    return m_closed.load(std::memory_order_acquire) &&
           m_head.load(std::memory_order_relaxed) == m_tail.load(std::memory_order_acquire);
}

std::size_t FrameQueue::size() const noexcept {
    return static_cast<std::size_t>(m_tail.load(std::memory_order_acquire) -
                                    m_head.load(std::memory_order_acquire));
}

}  // namespace zelt::cli
