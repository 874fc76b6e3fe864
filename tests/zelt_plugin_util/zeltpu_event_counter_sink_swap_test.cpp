// A host that replaces a frame counter's sample sink while events are counted on another
// thread: the sink being called must stay alive until its call returns.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

#include "zelt/sample_sink.h"
#include "zeltpu/event_counter_channel.h"

namespace {

namespace pu = zelt::plugin_util;
using namespace std::chrono_literals;

constexpr auto kDeadline = 30s;

/// What a test sees of sinks that may be gone: shared by the test and its sinks.
struct SinkWitness {
    std::mutex mutex;
    std::condition_variable changed;
    bool entered = false;     // a sink is inside addSample
    bool may_return = false;  // the test lets it return
    bool destroyed = false;   // a sink's destructor ran
    bool destroyed_during_call = false;
    std::uint32_t samples = 0;
};

/// A sink that, on its first sample, waits inside addSample until the test lets it go, and
/// then touches its own members: after a premature release that is a use after free.
class BlockingSink : public zelt::IfSampleSink {
public:
    explicit BlockingSink(std::shared_ptr<SinkWitness> witness) : m_witness(std::move(witness)) {}
    ~BlockingSink() override {
        std::lock_guard<std::mutex> lock(m_witness->mutex);
        m_witness->destroyed = true;
        m_witness->changed.notify_all();
    }

    void addSample(std::uint64_t, std::uint64_t, const void* data, std::uint32_t size) override {
        // Kept in a local: the member may be freed while this call waits.
        SinkWitness* witness = m_witness.get();
        std::unique_lock<std::mutex> lock(witness->mutex);
        witness->entered = true;
        witness->changed.notify_all();
        witness->changed.wait_for(lock, kDeadline, [witness] { return witness->may_return; });
        if (witness->destroyed) witness->destroyed_during_call = true;
        lock.unlock();
        m_last_size = size;  // the sink's own memory
        ++m_calls;
        static_cast<void>(data);
    }
    void addStreamEvent(std::uint32_t, std::uint64_t) override {}

private:
    std::shared_ptr<SinkWitness> m_witness;
    std::uint32_t m_last_size = 0;
    std::uint64_t m_calls = 0;
};

/// A sink that counts its samples, in its own member and in a total shared by several sinks,
/// and, once, replaces itself on its channel from inside addSample (a host that swaps sinks
/// from its own callback).
class CountingSink : public zelt::IfSampleSink {
public:
    CountingSink(pu::EventCounterChannel* channel,
                 std::shared_ptr<std::atomic<std::uint32_t>> total,
                 std::shared_ptr<zelt::IfSampleSink> next = nullptr)
        : m_channel(channel), m_total(std::move(total)), m_next(std::move(next)) {}

    void addSample(std::uint64_t, std::uint64_t, const void*, std::uint32_t) override {
        ++m_samples;
        ++*m_total;
        if (m_next) m_channel->setSampleSink(std::move(m_next));
    }
    void addStreamEvent(std::uint32_t, std::uint64_t) override {}

    std::uint32_t samples() const { return m_samples; }

private:
    pu::EventCounterChannel* m_channel;
    std::shared_ptr<std::atomic<std::uint32_t>> m_total;
    std::shared_ptr<zelt::IfSampleSink> m_next;
    std::atomic<std::uint32_t> m_samples{0};
};

class EventCounterSinkSwapTest : public ::testing::Test {
protected:
    pu::EventCounterChannel m_counter{"Cam RcvdCNT", "Cam RcvdCNT", "frames"};
};

TEST_F(EventCounterSinkSwapTest, SinkDroppedDuringItsCallStaysAliveUntilTheCallReturns) {
    auto witness = std::make_shared<SinkWitness>();
    m_counter.setSampleSink(std::make_shared<BlockingSink>(witness));

    std::thread acquisition([this] { m_counter.countEvent(1000); });
    {
        std::unique_lock<std::mutex> lock(witness->mutex);
        ASSERT_TRUE(witness->changed.wait_for(lock, kDeadline, [&] { return witness->entered; }))
            << "the count never reached the sink";
    }
    // The host drops the sink while the acquisition thread is inside it. With the only
    // reference gone, a sink kept by a plain pointer would be destroyed here.
    m_counter.setSampleSink(nullptr);
    {
        std::lock_guard<std::mutex> lock(witness->mutex);
        witness->may_return = true;
        witness->changed.notify_all();
    }
    acquisition.join();

    std::lock_guard<std::mutex> lock(witness->mutex);
    EXPECT_FALSE(witness->destroyed_during_call);
    // Released as soon as the call that used it returned.
    EXPECT_TRUE(witness->destroyed);
    EXPECT_EQ(m_counter.count(), 1u);
}

TEST_F(EventCounterSinkSwapTest, SinkReplacedFromAnotherThreadWhileCountingLosesNoEvent) {
    // At least this many events, and counting goes on until the host swapped at least this
    // many times during it, however the two threads are scheduled.
    constexpr std::uint32_t kEvents = 20000;
    constexpr std::uint32_t kSwaps = 200;
    auto total = std::make_shared<std::atomic<std::uint32_t>>(0);
    m_counter.setSampleSink(std::make_shared<CountingSink>(&m_counter, total));
    std::atomic<bool> counting{true};
    std::atomic<std::uint32_t> swaps{0};
    std::uint32_t events = 0;

    std::thread host([&] {
        // Replaces the sink over and over with a fresh one; the channel holds the only
        // reference, so each swap releases the sink it replaces.
        while (counting.load()) {
            m_counter.setSampleSink(std::make_shared<CountingSink>(&m_counter, total));
            swaps.fetch_add(1);
            std::this_thread::yield();
        }
    });
    std::thread acquisition([&] {
        while (events < kEvents || swaps.load() < kSwaps) m_counter.countEvent(events++);
        counting.store(false);
    });
    acquisition.join();
    host.join();

    // There was always a sink: every event was counted and written to exactly one of them.
    ASSERT_GE(swaps.load(), kSwaps);
    EXPECT_EQ(m_counter.count(), events);
    EXPECT_EQ(total->load(), events);
}

TEST_F(EventCounterSinkSwapTest, SinkMayReplaceItselfFromInsideAddSample) {
    auto total = std::make_shared<std::atomic<std::uint32_t>>(0);
    auto second = std::make_shared<CountingSink>(&m_counter, total);
    auto first = std::make_shared<CountingSink>(&m_counter, total, second);
    m_counter.setSampleSink(first);

    // Returns (no lock of the channel is held during the sink's call) and the next event
    // goes to the sink set from inside the first call.
    m_counter.countEvent(1);
    m_counter.countEvent(2);
    m_counter.countEvent(3);

    EXPECT_EQ(first->samples(), 1u);
    EXPECT_EQ(second->samples(), 2u);
    EXPECT_EQ(total->load(), 3u);
    EXPECT_EQ(m_counter.count(), 3u);
}

}  // namespace
