// The bounded queue between a camera's streaming thread and the tool's writer thread.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace zelt::cli {

/// One frame in the queue: a copy of the whole sample (image header and pixels), its host time
/// stamp and, once it arrived, the frame counter's value for it.
struct FrameSlot {
    std::uint64_t timestamp = 0;
    std::uint32_t size = 0;  ///< bytes used in `bytes`
    std::optional<std::uint32_t> counter;
    /// slotBytes() bytes, allocated with the queue and never initialised: a slot's pages are
    /// touched the first time a frame is copied in, not all at once on the streaming thread.
    std::unique_ptr<std::uint8_t[]> bytes;
};

/// How many slots the queue allocates for samples of a given size.
struct FrameQueueLimits {
    std::size_t byte_budget = 128u << 20;  ///< the slots together hold at most this much...
    std::size_t min_slots = 4;             ///< ...but never fewer slots than this...
    std::size_t max_slots = 120;           ///< ...nor more than this (4 s at 30 fps)
};

/// A fixed ring of preallocated frame slots with one producer (the camera's streaming thread)
/// and one consumer (the writer thread).
///
/// The producer never blocks and never allocates after the first sample: allocate() sizes
/// every slot once, from that sample; then beginWrite() hands out the next free slot, or null
/// when the writer has fallen behind and every slot is full (the caller counts the frame as
/// dropped); commit() publishes the slot written last. The consumer takes slots in order with
/// front() and pop(), and waits for more with waitForFrames(). close() says that nothing more
/// will be committed.
///
/// Slots are published with release/acquire on the two positions; the condition variable only
/// wakes the consumer (it also wakes itself every few milliseconds, so a notification that
/// races with its going to sleep costs at most that long).
class FrameQueue {
public:
    explicit FrameQueue(FrameQueueLimits limits = {});

    FrameQueue(const FrameQueue&) = delete;
    FrameQueue& operator=(const FrameQueue&) = delete;

    // Producer side.
    /// Whether allocate() ran.
    bool isAllocated() const noexcept { return m_slot_bytes != 0; }
    /// Allocates the slots for samples of `sample_bytes`; once (later calls do nothing).
    void allocate(std::size_t sample_bytes);
    /// Bytes each slot holds (0 before allocate()).
    std::size_t slotBytes() const noexcept { return m_slot_bytes; }
    /// Number of slots (0 before allocate()).
    std::size_t slotCount() const noexcept { return m_slot_count; }
    /// The next free slot, or null when every slot is full. The slot stays the producer's
    /// until commit().
    FrameSlot* beginWrite() noexcept;
    /// Publishes the slot of the last beginWrite().
    void commit() noexcept;
    /// No more commits follow; the consumer drains what is left and stops.
    void close() noexcept;

    // Consumer side.
    /// The oldest published slot, or null when none is waiting.
    FrameSlot* front() noexcept;
    /// Releases the slot front() returned.
    void pop() noexcept;
    /// Waits until a slot is published, the queue is closed, or `timeout` passed.
    void waitForFrames(std::chrono::milliseconds timeout);
    /// Closed and nothing left to take.
    bool isDrained() const noexcept;

    /// Published slots not yet taken.
    std::size_t size() const noexcept;

private:
    const FrameQueueLimits m_limits;
    std::vector<FrameSlot> m_slots;
    std::size_t m_slot_bytes = 0;
    std::size_t m_slot_count = 0;
    // Positions count slots ever written (tail) and taken (head); the slot of position p is
    // p % m_slot_count.
    std::atomic<std::uint64_t> m_head{0};
    std::atomic<std::uint64_t> m_tail{0};
    std::atomic<bool> m_closed{false};
    std::mutex m_wake_mutex;
    std::condition_variable m_wake;
};

}  // namespace zelt::cli
