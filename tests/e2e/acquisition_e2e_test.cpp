// Two cameras through the whole host call sequence: discovery, options, acquisition, frames,
// stamps and frame counters.
#include <boost/variant/get.hpp>

#include "e2e_fixture.h"

namespace zelt_e2e {
namespace {

using zelt::host::Acquisition;
using zelt::host::RecordedSample;

constexpr std::uint32_t kYuy2 = 0x32595559;
constexpr std::uint32_t kI420 = 0x30323449;

class TwoCamerasTest : public CameraE2eTest {
protected:
    void SetUp() override {
        open({small_camera("Cam A", "/dev/zelt-a", "YUY2", 64, 48),
              small_camera("Cam B", "/dev/zelt-b", "I420", 32, 24)});
    }
};

TEST_F(TwoCamerasTest, DiscoveryOffersTwoCamerasAndTheirFrameCounters) {
    EXPECT_EQ(m_host->channelIds(), (std::vector<std::uint32_t>{0, 1, 0x10000, 0x10001}));
    EXPECT_EQ(text(0, "DefaultName"), "Cam A");
    EXPECT_EQ(text(1, "DefaultName"), "Cam B");
    EXPECT_EQ(text(0, "ID:CAMERA/ChannelIndex"), "/dev/zelt-a");
    EXPECT_EQ(text(0x10000, "DefaultName"), "Cam A RcvdCNT");
    EXPECT_EQ(text(0x10001, "ID:CAMERA/ChannelIndex"), "/dev/zelt-b");
    EXPECT_EQ(text(0x10001, "ID:CAMERA/SubChannelId"), "CntReceived");
    EXPECT_EQ(m_host->plugin().findChannelIndex({{"ID:CAMERA/ChannelIndex", "/dev/zelt-b"}}), 1u);
    EXPECT_EQ(m_host->plugin().findChannelIndex({{"ID:CAMERA/ChannelIndex", "/dev/zelt-b"},
                                                 {"ID:CAMERA/SubChannelId", "CntReceived"}}),
              0x10001u);
    EXPECT_EQ(m_host->plugin().findChannelIndex({{"ID:CAMERA/ChannelIndex", "/dev/none"}}),
              0xFFFFFFFFu);
}

TEST_F(TwoCamerasTest, CameraChannelListsItsOptionsInOrder) {
    const auto channel = m_host->requireChannel(0);
    EXPECT_EQ(channel->getKeys(),
              (std::vector<std::string>{
                  "Used", "Valid", "SampleRate", "FrameOffsetX", "FrameOffsetY", "FrameWidth",
                  "FrameHeight", "PixelAspectRatio", "FrameFormat", "CAMERA/FrameSubsampling",
                  "DefaultName", "ShortId", "AdditionalChannelInfo2", "ID:CAMERA/ChannelIndex",
                  "CAMERA/FrameSetting", "CAMERA/Type", "ChannelType", "SampleUpdateType",
                  "SampleResolution"}));
    expectTexts(0, {{"Used", "0"},
                    {"Valid", "1"},
                    {"ShortId", "Cam A"},
                    {"AdditionalChannelInfo2", "USB Camera"},
                    {"CAMERA/Type", "USB"},
                    {"CAMERA/FrameSetting", "64 x 48 @ 100 fps"},
                    {"CAMERA/FrameSubsampling", "1"},
                    {"ChannelType", "13"},
                    {"SampleUpdateType", "1"},
                    {"SampleResolution", "16"}});
}

TEST_F(TwoCamerasTest, GeometryOptionsAreZeroUntilTheFirstFrameThenTheNegotiatedValues) {
    expectTexts(0, {{"SampleRate", "0 fps"},
                    {"FrameWidth", "0 pixel"},
                    {"FrameHeight", "0 pixel"},
                    {"FrameFormat", ""}});

    Acquisition acquisition(*m_host, {0, 1});
    expectTexts(0, {{"SampleRate", "100 fps"},
                    {"FrameWidth", "64 pixel"},
                    {"FrameHeight", "48 pixel"},
                    {"PixelAspectRatio", "1"},
                    {"FrameFormat", "YUY2"}});
    expectTexts(1, {{"FrameFormat", "I420"}, {"FrameWidth", "32 pixel"}});
}

// Frames of one camera: header, size, consecutive sequence numbers, increasing stamps.
void expect_unbroken_frames(const std::vector<RecordedSample>& samples, std::uint32_t fourcc,
                            std::uint32_t width, std::uint32_t height, std::uint32_t payload) {
    ASSERT_FALSE(samples.empty());
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const auto& sample = samples[i];
        ASSERT_TRUE(sample.header.has_value());
        EXPECT_EQ(sample.header->format, fourcc);
        EXPECT_EQ(sample.header->width, width);
        EXPECT_EQ(sample.header->height, height);
        EXPECT_EQ(sample.size, payload + 12);
        EXPECT_EQ(sample.reserved, 0u);
        if (i > 0) {
            EXPECT_EQ(sequence_of(sample), sequence_of(samples[i - 1]) + 1) << "frame " << i;
            EXPECT_GT(sample.timestamp, samples[i - 1].timestamp) << "frame " << i;
        }
    }
}

TEST_F(TwoCamerasTest, DeliversEveryFrameWithHeaderSizePixelsAndIncreasingStamps) {
    auto sink_a = attachSink(0);
    auto sink_b = attachSink(1);
    {
        Acquisition acquisition(*m_host, {0, 1});
        ASSERT_TRUE(sink_a->waitForSamples(30, 5s));
        ASSERT_TRUE(sink_b->waitForSamples(30, 5s));
    }
    const auto a = sink_a->samples();
    const auto b = sink_b->samples();
    expect_unbroken_frames(a, kYuy2, 64, 48, 64 * 48 * 2);
    expect_unbroken_frames(b, kI420, 32, 24, 32 * 24 * 3 / 2);
    EXPECT_TRUE(m_host->exceptions().history().empty());
}

TEST_F(TwoCamerasTest, StampsAreOnTheHostTimeBase) {
    auto sink = attachSink(0);
    const auto before = m_host->timeSource()->getCurrentTicks();
    {
        Acquisition acquisition(*m_host, {0});
        ASSERT_TRUE(sink->waitForSamples(10, 5s));
    }
    const auto after = m_host->timeSource()->getCurrentTicks();
    const auto samples = sink->samples();
    const double frequency = m_host->timeSource()->getFrequency();
    for (const auto& sample : samples) {
        EXPECT_GT(sample.timestamp, before);
        EXPECT_LT(sample.timestamp, after);
    }
    // 100 fps: consecutive stamps about 10 ms apart in host ticks.
    const double interval =
        double(samples.back().timestamp - samples.front().timestamp) / (samples.size() - 1);
    EXPECT_NEAR(interval / frequency, 0.010, 0.002);
}

TEST_F(TwoCamerasTest, FrameCounterWritesZeroOneTwoAtTheFramesStamps) {
    auto frames = attachSink(0);
    auto counts = attachSink(0x10000);
    {
        Acquisition acquisition(*m_host, {0, 0x10000});
        ASSERT_TRUE(frames->waitForSamples(5, 5s));
    }
    const auto frame_samples = frames->samples();
    const auto count_samples = counts->samples();
    ASSERT_EQ(count_samples.size(), frame_samples.size());
    for (std::size_t i = 0; i < count_samples.size(); ++i) {
        EXPECT_EQ(count_samples[i].size, 4u);
        ASSERT_GE(count_samples[i].payload_head.size(), 4u);
        std::uint32_t count = 0;
        std::memcpy(&count, count_samples[i].payload_head.data(), 4);
        EXPECT_EQ(count, i);
        EXPECT_EQ(count_samples[i].timestamp, frame_samples[i].timestamp);
    }
}

TEST_F(TwoCamerasTest, NoFrameReachesASinkOutsideDelivery) {
    auto sink = attachSink(0);
    {
        Acquisition acquisition(*m_host, {0});
        ASSERT_TRUE(sink->waitForSamples(3, 5s));
    }
    const auto delivered = sink->sampleCount();
    // The used camera keeps streaming after the acquisition, undelivered.
    g_usleep(100'000);
    EXPECT_EQ(sink->sampleCount(), delivered);
}

TEST_F(TwoCamerasTest, SubsamplingThreeDeliversEveryThirdFrameAndAThirdOfTheRate) {
    ASSERT_TRUE(m_host->setItem(0, "CAMERA/FrameSubsampling",
                                config_items::SingleValueConfigItem<unsigned int>(3)));
    EXPECT_FALSE(m_host->setItem(0, "CAMERA/FrameSubsampling",
                                 config_items::SingleValueConfigItem<unsigned int>(0)));
    auto sink = attachSink(0);
    {
        Acquisition acquisition(*m_host, {0});
        ASSERT_TRUE(sink->waitForSamples(6, 5s));
        EXPECT_EQ(text(0, "SampleRate"), "33.333333333333336 fps");
    }
    const auto samples = sink->samples();
    for (std::size_t i = 1; i < samples.size(); ++i)
        EXPECT_EQ(sequence_of(samples[i]), sequence_of(samples[i - 1]) + 3) << "frame " << i;
}

TEST_F(TwoCamerasTest, UnusedCameraDeliversNothing) {
    auto sink_b = attachSink(1);
    auto sink_a = attachSink(0);
    {
        Acquisition acquisition(*m_host, {0});
        ASSERT_TRUE(sink_a->waitForSamples(5, 5s));
    }
    EXPECT_EQ(sink_b->sampleCount(), 0u);
}

class FrameSettingTest : public CameraE2eTest {
protected:
    void SetUp() override {
        CameraDescription camera = small_camera("Cam A", "/dev/zelt-a");
        camera.caps = std::vector<std::string>{
            "video/x-raw, format=YUY2, width=64, height=48, framerate=100/1, "
            "pixel-aspect-ratio=1/1",
            "video/x-raw, format=I420, width=32, height=24, framerate=100/1, "
            "pixel-aspect-ratio=1/1"};
        open({camera});
    }
};

TEST_F(FrameSettingTest, ChangedFrameSettingRestartsThePipelineAtTheNextPrepare) {
    auto sink = attachSink(0);
    EXPECT_EQ(text(0, "CAMERA/FrameSetting"), "64 x 48 @ 100 fps");
    {
        Acquisition acquisition(*m_host, {0});
        ASSERT_TRUE(sink->waitForSamples(3, 5s));
    }
    ASSERT_EQ(sink->samples().front().header->width, 64u);

    ASSERT_TRUE(m_host->setItem(0, "CAMERA/FrameSetting",
                                config_items::StringConfigItem("32 x 24 @ 100 fps")));
    EXPECT_EQ(text(0, "CAMERA/FrameSetting"), "32 x 24 @ 100 fps");
    sink->clear();
    {
        Acquisition acquisition(*m_host, {0});
        ASSERT_TRUE(sink->waitForSamples(3, 5s));
    }
    const auto samples = sink->samples();
    EXPECT_EQ(samples.front().header->format, kI420);
    EXPECT_EQ(samples.front().header->width, 32u);
    EXPECT_EQ(samples.front().size, 32u * 24 * 3 / 2 + 12);
    EXPECT_EQ(text(0, "FrameFormat"), "I420");
}

TEST_F(FrameSettingTest, FrameSettingOffersEveryModeAndRefusesOthers) {
    EXPECT_FALSE(m_host->setItem(0, "CAMERA/FrameSetting",
                                 config_items::StringConfigItem("1920 x 1080 @ 30 fps")));
    // A failed choice leaves no mode selected.
    EXPECT_THROW(text(0, "CAMERA/FrameSetting"), std::runtime_error);
    const auto constraints = m_host->requireChannel(0)->getConstraints("CAMERA/FrameSetting");
    ASSERT_EQ(constraints.size(), 3u);
    const auto* first =
        dynamic_cast<config_items::OptionConstraint<config_items::StringConfigItem>*>(
            constraints[0].get());
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->item().m_value, "64 x 48 @ 100 fps");
}

}  // namespace
}  // namespace zelt_e2e
