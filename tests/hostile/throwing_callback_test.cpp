// Host callbacks that throw: a sample sink, an option listener at the first frame, an
// exception manager on a bus error. The exception must not cross GStreamer's or GLib's C
// frames (that ends the process); it costs the one frame or message and nothing else.
#include <atomic>
#include <stdexcept>

#include "hostile_fixture.h"

namespace zelt_hostile {
namespace {

/// Records every sample, then throws on every fourth call.
class ThrowingSink final : public zelt::IfSampleSink {
public:
    void addSample(std::uint64_t timestamp, std::uint64_t reserved, const void* data,
                   std::uint32_t size) override {
        m_calls->addSample(timestamp, reserved, data, size);
        if (m_calls->sampleCount() % 4 == 0) throw std::runtime_error("sink is full");
    }
    void addStreamEvent(std::uint32_t, std::uint64_t) override {}
    const std::shared_ptr<zelt::host::RecordingSampleSink> m_calls = recording_sink();
};

/// Records like the host's manager, then throws from every post.
class ThrowingManager final : public zelt::IfExceptionManager {
public:
    void postMessage(const zelt::ErrorMessage* message) override {
        m_records.postMessage(message);
        throw std::runtime_error("display is gone");
    }
    void withdrawMessage(const zelt::ErrorMessage* message) override {
        m_records.withdrawMessage(message);
    }
    zelt::host::RecordingExceptionManager m_records;
};

using ThrowingCallbackTest = HostileTest;

TEST_F(ThrowingCallbackTest, SampleSinkThatThrowsLosesOnlyThatFrame) {
    open({small_camera("Throw cam", "/dev/zelt-throw")});
    auto sink = std::make_shared<ThrowingSink>();
    auto counter_sink = recording_sink();
    channel(0)->setSampleSink(sink);
    channel(0x10000)->setSampleSink(counter_sink);
    startAcquisition({0, 0x10000});
    ASSERT_TRUE(sink->m_calls->waitForSamples(40, kDeadline));
    ASSERT_TRUE(counter_sink->waitForSamples(40, kDeadline));
    stopAcquisition();
    // Every frame reached the sink once, the ones after a throw too.
    const auto calls = sink->m_calls->samples();
    for (std::size_t i = 1; i < calls.size(); ++i)
        ASSERT_EQ(sequence_of(calls[i]), sequence_of(calls[i - 1]) + 1) << "call " << i;
    // The frame counter counted every frame, thrown or not.
    const auto counts = counter_sink->samples();
    for (std::size_t i = 0; i < counts.size(); ++i) {
        std::uint32_t count = 0;
        for (std::size_t b = 0; b < 4 && b < counts[i].payload_head.size(); ++b)
            count |= static_cast<std::uint32_t>(counts[i].payload_head[b]) << (8 * b);
        ASSERT_EQ(count, i) << "count sample " << i;
    }
}

TEST_F(ThrowingCallbackTest, OptionListenerThatThrowsAtTheFirstFrameLeavesTheCameraWorking) {
    open({small_camera("Listened cam", "/dev/zelt-listened")});
    auto camera = channel(0);
    struct Keys {
        std::mutex mutex;
        std::vector<std::string> seen;
    };
    auto keys = std::make_shared<Keys>();
    camera->addOptionChangeListener([](const std::string& key, const config_items::ConfigItem&) {
        throw std::runtime_error("listener of " + key + " failed");
    });
    camera->addOptionChangeListener(
        [keys](const std::string& key, const config_items::ConfigItem&) {
            std::lock_guard<std::mutex> lock(keys->mutex);
            if (key != "Valid") keys->seen.push_back(key);
        });
    auto sink = recording_sink();
    camera->setSampleSink(sink);
    startAcquisition({0});
    ASSERT_TRUE(sink->waitForSamples(10, kDeadline));
    stopAcquisition();
    {
        std::lock_guard<std::mutex> lock(keys->mutex);
        EXPECT_EQ(keys->seen, (std::vector<std::string>{"SampleRate", "FrameWidth", "FrameHeight",
                                                        "PixelAspectRatio", "FrameFormat"}));
    }
    EXPECT_EQ(text(camera, "FrameWidth"), "64 pixel");
    EXPECT_EQ(text(camera, "FrameFormat"), "YUY2");
}

TEST_F(ThrowingCallbackTest, ExceptionManagerThatThrowsOnABusErrorLeavesTheOtherCameraRunning) {
    auto& manager = keep<ThrowingManager>();
    CameraDescription failing = small_camera("Failing cam", "/dev/zelt-failing");
    failing.error_after_frames = 20;
    open({failing, small_camera("Steady cam", "/dev/zelt-steady")}, &manager);
    auto steady_sink = recording_sink();
    channel(1)->setSampleSink(steady_sink);
    startAcquisition({0, 1});
    const auto error = manager.m_records.waitForPost(
        [](const zelt::host::ExceptionRecord& record) {
            return record.message_template == "Camera bus received an error: %1";
        },
        kDeadline);
    ASSERT_TRUE(error.has_value());
    const std::size_t then = steady_sink->sampleCount();
    ASSERT_TRUE(steady_sink->waitForSamples(then + 20, kDeadline));
    EXPECT_EQ(text(channel(0), "Valid"), "0");
    EXPECT_EQ(text(channel(1), "Valid"), "1");
    stopAcquisition();
}

}  // namespace
}  // namespace zelt_hostile
