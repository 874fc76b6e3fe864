#include "zelt_host/recording_exception_manager.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <sstream>
#include <thread>
#include <vector>

namespace zelt::host::test {
namespace {

using namespace std::chrono_literals;
using Action = ExceptionRecord::Action;

zelt::ErrorMessage startError(const std::string& camera) {
    return zelt::ErrorMessage("ZELT_CAMERA", "Could not start camera %1", camera);
}

TEST(RecordingExceptionManagerTest, RecordsTagTemplateArgumentAndText) {
    RecordingExceptionManager manager;
    const auto message = startError("Cam A");
    manager.postMessage(&message);

    const auto posted = manager.posted();
    ASSERT_EQ(posted.size(), 1u);
    EXPECT_EQ(posted[0].action, Action::kPosted);
    EXPECT_EQ(posted[0].source_tag, "ZELT_CAMERA");
    EXPECT_EQ(posted[0].message_template, "Could not start camera %1");
    EXPECT_EQ(posted[0].argument, "Cam A");
    EXPECT_EQ(posted[0].text, "Could not start camera Cam A");
    EXPECT_TRUE(posted[0].still_posted);
    EXPECT_EQ(manager.postCount(), 1u);
}

TEST(RecordingExceptionManagerTest, WithdrawHidesTheMessageAndKeepsTheHistory) {
    RecordingExceptionManager manager;
    auto message = std::make_unique<zelt::ErrorMessage>(
        "ZELT_CAMERA", "Camera bus received an error: %1", "Internal data stream error.");
    manager.postMessage(message.get());
    manager.withdrawMessage(message.get());
    message.reset();  // the plug-in deletes its message after withdrawing it

    EXPECT_TRUE(manager.posted().empty());
    const auto history = manager.history();
    ASSERT_EQ(history.size(), 2u);
    EXPECT_EQ(history[0].action, Action::kPosted);
    EXPECT_FALSE(history[0].still_posted);
    EXPECT_EQ(history[1].action, Action::kWithdrawn);
    EXPECT_EQ(history[1].text, "Camera bus received an error: Internal data stream error.");
    EXPECT_FALSE(history[1].still_posted);
    EXPECT_LE(history[0].time, history[1].time);
    EXPECT_EQ(manager.withdrawCount(), 1u);
}

TEST(RecordingExceptionManagerTest, PostsListsEveryPostWithdrawnOrNot) {
    RecordingExceptionManager manager;
    auto message = std::make_unique<zelt::ErrorMessage>(startError("Cam A"));
    manager.postMessage(message.get());
    manager.withdrawMessage(message.get());
    *message = startError("Cam B");
    manager.postMessage(message.get());

    const auto posts = manager.posts();
    ASSERT_EQ(posts.size(), 2u);
    EXPECT_EQ(posts[0].argument, "Cam A");
    EXPECT_FALSE(posts[0].still_posted);
    EXPECT_EQ(posts[1].argument, "Cam B");
    EXPECT_TRUE(posts[1].still_posted);
    EXPECT_EQ(manager.history().size(), 3u);
}

TEST(RecordingExceptionManagerTest, PrintsPostedErrorsOneLineEachAndNotWithdrawals) {
    std::ostringstream output;
    RecordingExceptionManager manager(&output);
    const auto a = startError("Cam A");
    const auto b = zelt::ErrorMessage("ZELT_CAMERA", "Could not stop camera %1", "Cam B");
    manager.postMessage(&a);
    manager.postMessage(&b);
    manager.withdrawMessage(&a);
    EXPECT_EQ(output.str(),
              "error [ZELT_CAMERA]: Could not start camera Cam A\n"
              "error [ZELT_CAMERA]: Could not stop camera Cam B\n");

    const std::string printed = output.str();
    manager.setOutput(nullptr);
    manager.postMessage(&a);
    EXPECT_EQ(output.str(), printed);
}

TEST(RecordingExceptionManagerTest, EveryPercentOneStandsForTheArgument) {
    RecordingExceptionManager manager;
    const zelt::ErrorMessage message("ZELT_CAMERA", "%1 and %1, 100%", "x");
    manager.postMessage(&message);
    EXPECT_EQ(manager.posted().at(0).text, "x and x, 100%");
}

TEST(RecordingExceptionManagerTest, WithdrawalOfAMessageNeverPostedIsRecorded) {
    RecordingExceptionManager manager;
    const auto message = startError("Cam A");
    manager.withdrawMessage(&message);
    const auto history = manager.history();
    ASSERT_EQ(history.size(), 1u);
    EXPECT_EQ(history[0].action, Action::kWithdrawn);
    EXPECT_EQ(history[0].argument, "Cam A");
    EXPECT_EQ(manager.postCount(), 0u);
}

TEST(RecordingExceptionManagerTest, NullMessagesAreIgnored) {
    RecordingExceptionManager manager;
    manager.postMessage(nullptr);
    manager.withdrawMessage(nullptr);
    EXPECT_TRUE(manager.history().empty());
}

TEST(RecordingExceptionManagerTest, WithdrawTouchesOnlyTheSameMessage) {
    RecordingExceptionManager manager;
    const auto a = startError("Cam A");
    const auto b = startError("Cam B");
    manager.postMessage(&a);
    manager.postMessage(&b);
    manager.withdrawMessage(&a);
    const auto posted = manager.posted();
    ASSERT_EQ(posted.size(), 1u);
    EXPECT_EQ(posted[0].argument, "Cam B");
}

TEST(RecordingExceptionManagerTest, AReusedAddressAfterWithdrawIsANewMessage) {
    RecordingExceptionManager manager;
    auto first = std::make_unique<zelt::ErrorMessage>(startError("Cam A"));
    manager.postMessage(first.get());
    manager.withdrawMessage(first.get());
    *first = startError("Cam B");  // same address, new message
    manager.postMessage(first.get());

    const auto posted = manager.posted();
    ASSERT_EQ(posted.size(), 1u);
    EXPECT_EQ(posted[0].argument, "Cam B");
}

TEST(RecordingExceptionManagerTest, WaitForPostsReturnsWhenAnotherThreadPosts) {
    RecordingExceptionManager manager;
    const auto message = startError("Cam A");
    std::thread poster([&] {
        std::this_thread::sleep_for(10ms);
        manager.postMessage(&message);
    });
    EXPECT_TRUE(manager.waitForPosts(1, 5s));
    poster.join();
}

TEST(RecordingExceptionManagerTest, WaitForPostsTimesOut) {
    RecordingExceptionManager manager;
    const auto started = std::chrono::steady_clock::now();
    EXPECT_FALSE(manager.waitForPosts(1, 20ms));
    EXPECT_GE(std::chrono::steady_clock::now() - started, 20ms);
}

TEST(RecordingExceptionManagerTest, WaitForPostFindsAPostAlreadyWithdrawn) {
    RecordingExceptionManager manager;
    const auto a = zelt::ErrorMessage("ZELT_CAMERA", "Could not stop camera %1", "Cam A");
    manager.postMessage(&a);
    manager.withdrawMessage(&a);

    const auto found = manager.waitForPost(
        [](const ExceptionRecord& record) {
            return record.message_template == "Could not stop camera %1";
        },
        0ms);
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(found->argument, "Cam A");
    EXPECT_FALSE(
        manager.waitForPost([](const ExceptionRecord& r) { return r.argument == "Cam Z"; }, 10ms)
            .has_value());
}

TEST(RecordingExceptionManagerTest, PostsFromManyThreadsAreAllRecorded) {
    RecordingExceptionManager manager;
    constexpr int kThreads = 4;
    constexpr int kPosts = 200;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&manager, t] {
            for (int i = 0; i < kPosts; ++i) {
                const auto message = startError(std::to_string(t));
                manager.postMessage(&message);
                manager.withdrawMessage(&message);
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(manager.postCount(), static_cast<std::size_t>(kThreads * kPosts));
    EXPECT_EQ(manager.withdrawCount(), static_cast<std::size_t>(kThreads * kPosts));
    EXPECT_TRUE(manager.posted().empty());
}

TEST(RecordingExceptionManagerTest, ClearKeepsOnlyMessagesStillShown) {
    RecordingExceptionManager manager;
    const auto a = startError("Cam A");
    const auto b = startError("Cam B");
    manager.postMessage(&a);
    manager.postMessage(&b);
    manager.withdrawMessage(&a);
    manager.clear();

    const auto history = manager.history();
    ASSERT_EQ(history.size(), 1u);
    EXPECT_EQ(history[0].argument, "Cam B");
    manager.withdrawMessage(&b);
    EXPECT_TRUE(manager.posted().empty());
}

}  // namespace
}  // namespace zelt::host::test
