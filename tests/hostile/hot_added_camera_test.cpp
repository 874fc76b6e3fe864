// A camera plugged in after the host handed over its time base: its frames are stamped on the
// host's time base like those of the cameras that were there before, without the host
// handing the time base over again.
#include "hostile_fixture.h"

namespace zelt_hostile {
namespace {

using HotAddedCameraTest = HostileTest;

TEST_F(HotAddedCameraTest, HotAddedCameraStampsItsFramesOnTheHostsTimeBase) {
    open({small_camera("First cam", "/dev/zelt-first")});
    const auto host_time = std::make_shared<zelt::host::SteadyTimeSource>(1e3);
    plugin().setTimeSource(host_time);

    zelt::vcam::ProviderControl control;
    ASSERT_TRUE(control.addCamera(small_camera("Added cam", "/dev/zelt-added")))
        << control.lastError();
    const auto deadline = std::chrono::steady_clock::now() + kDeadline;
    for (;;) {
        plugin().updateChannels();
        if (channelIds() == std::vector<std::uint32_t>{0, 1, 0x10000, 0x10001}) break;
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "the added camera is no channel";
        std::this_thread::sleep_for(10ms);
    }
    auto first_sink = recording_sink();
    auto added_sink = recording_sink();
    channel(0)->setSampleSink(first_sink);
    channel(1)->setSampleSink(added_sink);
    startAcquisition({0, 1}, /*hand_time_source=*/false);
    ASSERT_TRUE(first_sink->waitForSamples(5, kDeadline));
    ASSERT_TRUE(added_sink->waitForSamples(5, kDeadline));
    stopAcquisition();
    const std::uint64_t now = host_time->getCurrentTicks();
    // Both cameras stamp in milliseconds since the host's time base started: at most a few
    // seconds back from now, never the pipeline's nanoseconds.
    for (const auto& sink : {first_sink, added_sink}) {
        const auto stamp = sink->samples().back().timestamp;
        EXPECT_LE(stamp, now);
        EXPECT_LE(now - stamp, 5000u) << "stamp " << stamp << " at host time " << now;
    }
}

}  // namespace
}  // namespace zelt_hostile
