// A host that still holds a channel after the plug-in let go of it: the camera was unplugged
// and updateChannels removed it, or the plug-in was destroyed without deinit. The channel's
// camera must stop: no sample reaches its sink or its frame counter's sink any more.
#include "hostile_fixture.h"

namespace zelt_hostile {
namespace {

class HeldChannelTest : public HostileTest {
protected:
    /// One camera acquired with its frame counter, both held by the test with sinks; returns
    /// once frames flow.
    void acquireHeldCamera() {
        open({small_camera("Held cam", "/dev/zelt-held")});
        m_camera = channel(0);
        m_counter = channel(0x10000);
        ASSERT_NE(m_camera, nullptr);
        ASSERT_NE(m_counter, nullptr);
        m_camera->setSampleSink(m_camera_sink);
        m_counter->setSampleSink(m_counter_sink);
        startAcquisition({0, 0x10000});
        ASSERT_TRUE(m_camera_sink->waitForSamples(10, kDeadline));
    }

    /// Requires that neither sink gets a sample while 50 frames of a 100 fps witness pass.
    void expectNoMoreSamples() {
        const std::size_t camera_samples = m_camera_sink->sampleCount();
        const std::size_t counter_samples = m_counter_sink->sampleCount();
        ASSERT_NO_FATAL_FAILURE(witnessFrames(50));
        EXPECT_EQ(m_camera_sink->sampleCount(), camera_samples);
        EXPECT_EQ(m_counter_sink->sampleCount(), counter_samples);
    }

    void TearDown() override {
        m_camera.reset();
        m_counter.reset();
        HostileTest::TearDown();
    }

    std::shared_ptr<channel_config::IfChannelConfig> m_camera;
    std::shared_ptr<channel_config::IfChannelConfig> m_counter;
    std::shared_ptr<zelt::host::RecordingSampleSink> m_camera_sink = recording_sink();
    std::shared_ptr<zelt::host::RecordingSampleSink> m_counter_sink = recording_sink();
};

TEST_F(HeldChannelTest, ChannelRemovedByUpdateChannelsDeliversNoMoreToTheHostHoldingIt) {
    ASSERT_NO_FATAL_FAILURE(acquireHeldCamera());
    zelt::vcam::ProviderControl control;
    ASSERT_TRUE(control.removeCamera("Held cam")) << control.lastError();
    plugin().updateChannels();
    ASSERT_TRUE(channelIds().empty());
    expectNoMoreSamples();
    stopAcquisition();
    expectNoMoreSamples();
    plugin().deinit();
    expectNoMoreSamples();
}

TEST_F(HeldChannelTest, PlugInDestroyedWithoutDeinitStopsTheChannelTheHostHolds) {
    ASSERT_NO_FATAL_FAILURE(acquireHeldCamera());
    destroyPlugin();
    expectNoMoreSamples();
}

TEST_F(HeldChannelTest, DeinitStopsTheChannelTheHostHolds) {
    ASSERT_NO_FATAL_FAILURE(acquireHeldCamera());
    plugin().deinit();
    expectNoMoreSamples();
}

}  // namespace
}  // namespace zelt_hostile
