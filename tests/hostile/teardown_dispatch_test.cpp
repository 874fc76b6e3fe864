// A camera fails while the host takes it away: the bus watch is still reporting the error on
// the main context's thread (a "Valid" listener of the host is slow) when the host calls
// deinit, unplugs the camera and updates the channels, or destroys the plug-in. None of these
// may return while the report still runs on the channel they free.
#include "hostile_fixture.h"

namespace zelt_hostile {
namespace {

/// A "Valid" listener that, on the first error reported on the main context's thread, stays
/// there until the host's call returns (or for a few seconds, when the call waits for it).
class SlowValidListener {
public:
    explicit SlowValidListener(zelt::host::MainContextThread& main_context)
        : m_main_context(main_context) {}

    void onOption(const std::string& key, const config_items::ConfigItem& value) {
        if (key != "Valid" || config_items::toString(value) != "0") return;
        if (!m_main_context.isCurrentThread()) return;
        std::unique_lock<std::mutex> lock(m_mutex);
        if (m_entered) return;
        m_entered = true;
        m_inside = true;
        m_changed.notify_all();
        m_changed.wait_for(lock, 3s, [this] { return m_call_returned; });
        m_inside = false;
        m_changed.notify_all();
    }

    bool waitUntilEntered() {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, kDeadline, [this] { return m_entered; });
    }
    /// Whether the listener still runs; tells it that the host's call returned.
    bool callReturned() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_call_returned = true;
        m_changed.notify_all();
        return m_inside;
    }

private:
    zelt::host::MainContextThread& m_main_context;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_entered = false;
    bool m_inside = false;
    bool m_call_returned = false;
};

class TeardownDispatchTest : public HostileTest {
protected:
    /// One camera that fails after 20 frames, acquired with a sink and the slow listener;
    /// returns once the listener holds the main context's thread inside the error report.
    void failWhileAcquiring() {
        CameraDescription failing = small_camera("Failing cam", "/dev/zelt-failing");
        failing.error_after_frames = 20;
        open({failing});
        {
            auto camera = channel(0);
            ASSERT_NE(camera, nullptr);
            camera->addOptionChangeListener(
                [listener = m_listener](const std::string& key,
                                        const config_items::ConfigItem& value) {
                    listener->onOption(key, value);
                });
            camera->setSampleSink(m_sink);
        }
        startAcquisition({0});
        ASSERT_TRUE(m_listener->waitUntilEntered()) << "the bus error was not reported";
    }

    std::shared_ptr<SlowValidListener> m_listener =
        std::make_shared<SlowValidListener>(m_main_context);
    std::shared_ptr<zelt::host::RecordingSampleSink> m_sink = recording_sink();
};

TEST_F(TeardownDispatchTest, DeinitWaitsForTheBusErrorReportOfTheCamera) {
    ASSERT_NO_FATAL_FAILURE(failWhileAcquiring());
    plugin().finishAcquisition();
    plugin().stopAcquisition();
    plugin().deinit();
    EXPECT_FALSE(m_listener->callReturned())
        << "deinit returned while the bus watch was still reporting on the channel it freed";
}

TEST_F(TeardownDispatchTest, UpdateChannelsWaitsForTheBusErrorReportOfAnUnpluggedCamera) {
    ASSERT_NO_FATAL_FAILURE(failWhileAcquiring());
    zelt::vcam::ProviderControl control;
    ASSERT_TRUE(control.removeCamera("Failing cam")) << control.lastError();
    plugin().updateChannels();
    const bool still_reporting = m_listener->callReturned();
    EXPECT_TRUE(channelIds().empty());
    EXPECT_FALSE(still_reporting)
        << "updateChannels returned while the bus watch was still reporting on the channel it "
           "removed";
}

TEST_F(TeardownDispatchTest, DestroyingThePlugInWaitsForTheBusErrorReportOfTheCamera) {
    ASSERT_NO_FATAL_FAILURE(failWhileAcquiring());
    destroyPlugin();
    EXPECT_FALSE(m_listener->callReturned())
        << "destroyPlugin returned while the bus watch was still reporting on a channel it "
           "freed";
}

}  // namespace
}  // namespace zelt_hostile
