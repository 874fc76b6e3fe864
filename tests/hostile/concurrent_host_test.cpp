// Several host threads and the plug-in's own threads at once: a frame setting changed while
// another thread prepares, listeners added while the channel notifies, items read and written
// while the camera starts and stops.
#include <atomic>

#include "hostile_fixture.h"

namespace zelt_hostile {
namespace {

using config_items::StringConfigItem;

/// One-shot signal between two threads.
class Signal {
public:
    void set() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_set = true;
        m_changed.notify_all();
    }
    bool wait() {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, kDeadline, [this] { return m_set; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_set = false;
};

class ConcurrentHostTest : public HostileTest {
protected:
    /// One prepare-and-release cycle of camera 0: used, prepared, up; then unused and stopped.
    void cycleCamera() {
        plugin().setChannelUsed(0, true);
        ASSERT_TRUE(plugin().prepareAcquisition());
        ASSERT_NO_FATAL_FAILURE(waitForChannels());
        plugin().resetChannelsUsed();
        plugin().stopAcquisition();
    }

    /// Holds the streaming thread inside `camera`'s first notification of `key` until the
    /// host thread of prepareWhileNotifying has done what it does meanwhile.
    void pauseAtFirstNotification(const std::shared_ptr<channel_config::IfChannelConfig>& camera,
                                  const std::string& key) {
        camera->addOptionChangeListener(
            [key, notifying = m_notifying, resumed = m_resumed,
             once = std::make_shared<std::atomic<bool>>(false)](const std::string& changed,
                                                                const config_items::ConfigItem&) {
                if (changed != key || once->exchange(true)) return;
                notifying->set();
                resumed->wait();
            });
    }

    /// Uses camera 0 and prepares; while the streaming thread is held in the paused
    /// notification, a second host thread runs `meanwhile`. Whether the preparation succeeded.
    bool prepareWhileNotifying(const std::function<void()>& meanwhile) {
        std::thread other_host_thread([&] {
            if (!m_notifying->wait()) return;
            meanwhile();
            m_resumed->set();
        });
        plugin().setChannelUsed(0, true);
        bool prepared = false;
        callWithin("prepareAcquisition", [&] { prepared = plugin().prepareAcquisition(); });
        other_host_thread.join();
        return prepared;
    }

    std::shared_ptr<Signal> m_notifying = std::make_shared<Signal>();
    std::shared_ptr<Signal> m_resumed = std::make_shared<Signal>();
};

TEST_F(ConcurrentHostTest, FrameSettingChangedWhilePreparingTakesEffectAtTheNextPreparation) {
    open({two_mode_camera("Two-mode cam", "/dev/zelt-two-mode")});
    auto camera = channel(0);
    ASSERT_EQ(text(camera, "CAMERA/FrameSetting"), "80 x 60 @ 100 fps");
    // At the first frame (the host's other thread is inside prepareAcquisition meanwhile),
    // a second host thread selects the other mode.
    pauseAtFirstNotification(camera, "FrameWidth");
    bool prepared = prepareWhileNotifying([&] {
        EXPECT_TRUE(
            camera->setConfigItem("CAMERA/FrameSetting", StringConfigItem("64 x 48 @ 100 fps")));
    });
    ASSERT_TRUE(prepared);
    EXPECT_EQ(text(camera, "FrameWidth"), "80 pixel");
    EXPECT_EQ(text(camera, "CAMERA/FrameSetting"), "64 x 48 @ 100 fps");

    // The change came after the pipeline's caps were chosen: the next preparation restarts.
    callWithin("prepareAcquisition", [&] { prepared = plugin().prepareAcquisition(); });
    ASSERT_TRUE(prepared);
    EXPECT_EQ(text(camera, "FrameWidth"), "64 pixel");
    EXPECT_EQ(text(camera, "FrameHeight"), "48 pixel");
    plugin().resetChannelsUsed();
}

TEST_F(ConcurrentHostTest, ListenersAddedWhileTheChannelNotifiesAreSafe) {
    open({small_camera("Listened cam", "/dev/zelt-listened")});
    auto camera = channel(0);
    pauseAtFirstNotification(camera, "SampleRate");
    constexpr int kListeners = 5000;
    auto early_calls = std::make_shared<std::atomic<int>>(0);
    auto late_calls = std::make_shared<std::atomic<int>>(0);
    for (int i = 0; i < kListeners; ++i)
        camera->addOptionChangeListener(
            [early_calls](const std::string&, const config_items::ConfigItem&) { ++*early_calls; });
    // While the streaming thread is inside the first notification, another host thread
    // registers as many listeners again.
    ASSERT_TRUE(prepareWhileNotifying([&] {
        for (int i = 0; i < kListeners; ++i)
            camera->addOptionChangeListener(
                [late_calls](const std::string&, const config_items::ConfigItem&) {
                    ++*late_calls;
                });
    }));
    // The first frame's five options reached every early listener; the four after the first
    // reached the late ones as well.
    EXPECT_GE(early_calls->load(), 5 * kListeners);
    EXPECT_GE(late_calls->load(), 4 * kListeners);
    plugin().resetChannelsUsed();
}

TEST_F(ConcurrentHostTest, ItemsReadWhileTheCameraStartsAndStops) {
    open({small_camera("Read cam", "/dev/zelt-read")});
    auto camera = channel(0);
    std::atomic<bool> done{false};
    std::atomic<int> rounds{0};
    std::thread reading([&] {
        while (!done) {
            const std::vector<std::string> keys = camera->getKeys();
            for (const auto& key : keys) {
                camera->getConfigItem(key);
                camera->getConstraints(key);
            }
            ++rounds;
        }
    });
    for (int i = 0; i < 10 && !HasFatalFailure(); ++i) cycleCamera();
    done = true;
    reading.join();
    EXPECT_GT(rounds.load(), 0);
    EXPECT_EQ(text(camera, "FrameWidth"), "64 pixel");
    EXPECT_EQ(text(camera, "FrameFormat"), "YUY2");
}

TEST_F(ConcurrentHostTest, ConfigurationFromOneThreadWhileAnotherPrepares) {
    open({two_mode_camera("Configured cam", "/dev/zelt-configured")});
    auto camera = channel(0);
    std::atomic<bool> done{false};
    std::thread configuring([&] {
        for (unsigned i = 0; !done; ++i) {
            camera->setConfigItem(
                "CAMERA/FrameSetting",
                StringConfigItem(i % 2 ? "64 x 48 @ 100 fps" : "80 x 60 @ 100 fps"));
            camera->setConfigItem("CAMERA/FrameSubsampling",
                                  config_items::SingleValueConfigItem<unsigned int>(1 + i % 2));
            camera->getConfigItem("Used");
        }
    });
    for (int i = 0; i < 10 && !HasFatalFailure(); ++i) cycleCamera();
    done = true;
    configuring.join();
    // After the last change, one more preparation brings the camera to the selected mode.
    camera->setConfigItem("CAMERA/FrameSetting", StringConfigItem("64 x 48 @ 100 fps"));
    plugin().setChannelUsed(0, true);
    ASSERT_TRUE(plugin().prepareAcquisition());
    EXPECT_EQ(text(camera, "FrameWidth"), "64 pixel");
    plugin().resetChannelsUsed();
}

}  // namespace
}  // namespace zelt_hostile
