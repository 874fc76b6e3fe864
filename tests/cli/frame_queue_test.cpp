#include "frame_queue.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

namespace zelt::cli {
namespace {

FrameQueueLimits slots(std::size_t count) {
    FrameQueueLimits limits;
    limits.min_slots = count;
    limits.max_slots = count;
    return limits;
}

bool push(FrameQueue& queue, std::uint64_t stamp) {
    FrameSlot* slot = queue.beginWrite();
    if (slot == nullptr) return false;
    slot->timestamp = stamp;
    slot->size = 8;
    std::memcpy(slot->bytes.get(), &stamp, 8);
    queue.commit();
    return true;
}

TEST(FrameQueueTest, SlotCountFollowsTheBudgetWithinTheLimits) {
    FrameQueueLimits limits;
    limits.byte_budget = 1000;
    limits.min_slots = 2;
    limits.max_slots = 8;
    FrameQueue middle(limits);
    middle.allocate(200);
    EXPECT_EQ(middle.slotCount(), 5u);
    EXPECT_EQ(middle.slotBytes(), 200u);
    FrameQueue large_frames(limits);
    large_frames.allocate(5000);
    EXPECT_EQ(large_frames.slotCount(), 2u);
    FrameQueue small_frames(limits);
    small_frames.allocate(10);
    EXPECT_EQ(small_frames.slotCount(), 8u);
    // Only the first allocation counts.
    small_frames.allocate(500);
    EXPECT_EQ(small_frames.slotBytes(), 10u);
}

TEST(FrameQueueTest, NothingIsWrittenBeforeAllocation) {
    FrameQueue queue(slots(2));
    EXPECT_EQ(queue.beginWrite(), nullptr);
    EXPECT_EQ(queue.front(), nullptr);
}

TEST(FrameQueueTest, FullQueueRefusesUntilTheConsumerTakesASlot) {
    FrameQueue queue(slots(3));
    queue.allocate(8);
    EXPECT_TRUE(push(queue, 1));
    EXPECT_TRUE(push(queue, 2));
    EXPECT_TRUE(push(queue, 3));
    EXPECT_FALSE(push(queue, 4));
    EXPECT_EQ(queue.size(), 3u);
    ASSERT_NE(queue.front(), nullptr);
    EXPECT_EQ(queue.front()->timestamp, 1u);
    queue.pop();
    EXPECT_TRUE(push(queue, 5));
    std::vector<std::uint64_t> taken;
    while (FrameSlot* slot = queue.front()) {
        taken.push_back(slot->timestamp);
        queue.pop();
    }
    EXPECT_EQ(taken, (std::vector<std::uint64_t>{2, 3, 5}));
}

TEST(FrameQueueTest, UncommittedSlotStaysInvisible) {
    FrameQueue queue(slots(2));
    queue.allocate(8);
    FrameSlot* slot = queue.beginWrite();
    ASSERT_NE(slot, nullptr);
    slot->timestamp = 7;
    EXPECT_EQ(queue.front(), nullptr);
    slot->counter = 41;
    queue.commit();
    ASSERT_NE(queue.front(), nullptr);
    EXPECT_EQ(queue.front()->counter, 41u);
}

TEST(FrameQueueTest, ClosedQueueIsDrainedOnlyWhenEmpty) {
    FrameQueue queue(slots(2));
    queue.allocate(8);
    push(queue, 1);
    queue.close();
    EXPECT_FALSE(queue.isDrained());
    queue.waitForFrames(std::chrono::milliseconds(1));  // returns at once
    queue.pop();
    EXPECT_TRUE(queue.isDrained());
}

TEST(FrameQueueTest, ConsumerThreadReceivesEveryFrameInOrder) {
    FrameQueue queue(slots(4));
    queue.allocate(8);
    constexpr std::uint64_t kFrames = 20000;
    std::vector<std::uint64_t> taken;
    std::thread consumer([&] {
        while (!queue.isDrained()) {
            FrameSlot* slot = queue.front();
            if (slot == nullptr) {
                queue.waitForFrames(std::chrono::milliseconds(5));
                continue;
            }
            std::uint64_t value = 0;
            std::memcpy(&value, slot->bytes.get(), 8);
            EXPECT_EQ(value, slot->timestamp);
            taken.push_back(value);
            queue.pop();
        }
    });
    std::uint64_t dropped = 0;
    for (std::uint64_t i = 0; i < kFrames; ++i) {
        if (!push(queue, i)) ++dropped;
    }
    queue.close();
    consumer.join();
    EXPECT_EQ(taken.size() + dropped, kFrames);
    for (std::size_t i = 1; i < taken.size(); ++i) ASSERT_GT(taken[i], taken[i - 1]);
}

}  // namespace
}  // namespace zelt::cli
