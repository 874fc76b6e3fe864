#include "zelt_host/main_context_thread.h"

#include <glib.h>
#include <gst/gst.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>

#include "gst_support/gst_ptr.h"
#include "zelt_host/host.h"
#include "zelt_host/host_error.h"

namespace zelt::host::test {
namespace {

using namespace std::chrono_literals;

// Polls `condition` until it holds or a generous deadline passes.
template <typename Condition>
bool eventually(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

// Sets the promise with the id of the thread that dispatched the source, once.
gboolean reportThread(gpointer data) {
    static_cast<std::promise<std::thread::id>*>(data)->set_value(std::this_thread::get_id());
    return G_SOURCE_REMOVE;
}

TEST(MainContextThreadTest, IdleAddedFromAnotherThreadRunsOnTheLoopThread) {
    MainContextThread loop;
    std::promise<std::thread::id> ran;
    std::thread([&ran] { g_idle_add(&reportThread, &ran); }).join();

    auto future = ran.get_future();
    ASSERT_EQ(future.wait_for(5s), std::future_status::ready);
    EXPECT_EQ(future.get(), loop.threadId());
    EXPECT_NE(loop.threadId(), std::this_thread::get_id());
}

TEST(MainContextThreadTest, TimeoutAddedFromAnotherThreadFires) {
    MainContextThread loop;
    std::promise<std::thread::id> ran;
    const auto added = std::chrono::steady_clock::now();
    std::thread([&ran] { g_timeout_add(20, &reportThread, &ran); }).join();

    auto future = ran.get_future();
    ASSERT_EQ(future.wait_for(5s), std::future_status::ready);
    EXPECT_EQ(future.get(), loop.threadId());
    EXPECT_GE(std::chrono::steady_clock::now() - added, 20ms);
}

// What a camera plug-in does: a bus watch added from a host thread, a message posted from
// another thread; the watch must run on the loop thread.
TEST(MainContextThreadTest, BusWatchAddedFromAHostThreadIsDispatched) {
    ensureGStreamerInitialized();
    MainContextThread loop;
    const gst_support::BusPtr bus(gst_bus_new());
    std::promise<std::thread::id> ran;
    const auto watch = [](GstBus*, GstMessage* message, gpointer data) -> gboolean {
        if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_APPLICATION) reportThread(data);
        return G_SOURCE_CONTINUE;
    };
    gst_bus_add_watch(bus.get(), watch, &ran);
    std::thread([&bus] {
        gst_bus_post(bus.get(),
                     gst_message_new_application(nullptr, gst_structure_new_empty("zelt-test")));
    }).join();

    auto future = ran.get_future();
    ASSERT_EQ(future.wait_for(5s), std::future_status::ready);
    EXPECT_EQ(future.get(), loop.threadId());
    gst_bus_remove_watch(bus.get());
}

TEST(MainContextThreadTest, InvokeRunsOnTheLoopThreadAndWaits) {
    MainContextThread loop;
    std::thread::id where;
    bool done = false;
    loop.invoke([&] {
        std::this_thread::sleep_for(10ms);
        where = std::this_thread::get_id();
        done = true;
    });
    EXPECT_TRUE(done);
    EXPECT_EQ(where, loop.threadId());
}

TEST(MainContextThreadTest, InvokeRethrowsWhatTheFunctionThrows) {
    MainContextThread loop;
    EXPECT_THROW(loop.invoke([] { throw std::logic_error("inside"); }), std::logic_error);
    // The loop survives it.
    bool ran = false;
    loop.invoke([&] { ran = true; });
    EXPECT_TRUE(ran);
}

TEST(MainContextThreadTest, InvokeFromTheLoopThreadRunsAtOnce) {
    MainContextThread loop;
    int depth = 0;
    loop.invoke([&] {
        EXPECT_TRUE(loop.isCurrentThread());
        loop.invoke([&] { depth = 2; });
    });
    EXPECT_EQ(depth, 2);
    EXPECT_FALSE(loop.isCurrentThread());
}

TEST(MainContextThreadTest, OnlyOneThreadOwnsTheDefaultContext) {
    MainContextThread loop;
    try {
        MainContextThread second;
        FAIL() << "a second owner started";
    } catch (const HostError& error) {
        EXPECT_STREQ(error.what(),
                     "cannot run GLib's default main context: another thread of this process "
                     "owns it");
    }
    EXPECT_TRUE(loop.isRunning());
}

TEST(MainContextThreadTest, StopReleasesTheDefaultContext) {
    MainContextThread loop;
    loop.stop();
    EXPECT_FALSE(loop.isRunning());
    GMainContext* context = MainContextThread::context();
    ASSERT_TRUE(g_main_context_acquire(context));
    g_main_context_release(context);
    EXPECT_THROW(loop.invoke([] {}), HostError);
    loop.stop();  // idempotent
}

TEST(MainContextThreadTest, FunctionsQueuedBeforeStopStillRun) {
    MainContextThread loop;
    std::promise<void> entered;
    std::promise<void> release;
    auto released = release.get_future().share();
    std::atomic<int> ran{0};
    // The first function holds the loop; the second queues behind it; then stop() is asked.
    std::thread first([&] {
        loop.invoke([&] {
            entered.set_value();
            released.wait();
            ++ran;
        });
    });
    entered.get_future().wait();
    std::thread second([&] { loop.invoke([&] { ++ran; }); });
    // Waits for each step itself: the second function is queued, then stop() has been asked
    // (the loop no longer accepts functions) while the first still holds the loop.
    EXPECT_TRUE(eventually([&] { return loop.queuedCount() == 1; }));
    std::thread stopper([&] { loop.stop(); });
    EXPECT_TRUE(eventually([&] { return !loop.isRunning(); }));
    EXPECT_EQ(ran.load(), 0);
    release.set_value();
    first.join();
    second.join();
    stopper.join();
    EXPECT_EQ(ran.load(), 2);
    EXPECT_FALSE(loop.isRunning());
}

TEST(MainContextThreadTest, ANewThreadCanOwnTheContextAfterStop) {
    { MainContextThread first; }
    MainContextThread second;
    std::promise<std::thread::id> ran;
    g_idle_add(&reportThread, &ran);
    auto future = ran.get_future();
    ASSERT_EQ(future.wait_for(5s), std::future_status::ready);
    EXPECT_EQ(future.get(), second.threadId());
}

}  // namespace
}  // namespace zelt::host::test
