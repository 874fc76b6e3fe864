// The camera channel's pipeline and delivery, seen from inside the plug-in.
#include <gst/app/gstappsink.h>
#include <gst/app/gstappsrc.h>

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

#include "config_items/config_items.h"
#include "zelt_camera_channel_fixture.h"

namespace zelt_camera {
namespace {

constexpr const char* kSmall =
    "video/x-raw, format=YUY2, width=64, height=48, framerate=100/1, pixel-aspect-ratio=1/1";

constexpr std::size_t kSmallFrameBytes = 64 * 48 * 2;  // YUY2

/// Frames of the test's own making for a channel: an appsrc into an appsink whose callbacks
/// are the channel's, as its own pipeline's are. The channel's pipeline still gives the
/// running time (its sink's callbacks are taken away, so its camera never reaches the
/// channel); every frame here carries its number in its first pixel byte.
class FrameFeed {
public:
    explicit FrameFeed(CameraChannel& channel)
        : m_pipeline(
              gst_parse_launch("appsrc name=src format=time "
                               "caps=video/x-raw,format=YUY2,width=64,height=48,framerate=100/1,"
                               "pixel-aspect-ratio=1/1 ! appsink name=sink sync=false",
                               nullptr)) {
        gst_support::ElementPtr sink(gst_bin_get_by_name(GST_BIN(m_pipeline.get()), "sink"));
        m_src.reset(gst_bin_get_by_name(GST_BIN(m_pipeline.get()), "src"));
        GstAppSinkCallbacks callbacks{};
        callbacks.new_preroll = &CameraChannel::onNewPreroll;
        callbacks.new_sample = &CameraChannel::onNewSample;
        gst_app_sink_set_callbacks(GST_APP_SINK(sink.get()), &callbacks, &channel, nullptr);
    }
    ~FrameFeed() { gst_element_set_state(m_pipeline.get(), GST_STATE_NULL); }
    FrameFeed(const FrameFeed&) = delete;
    FrameFeed& operator=(const FrameFeed&) = delete;

    /// Plays from the start: the first frame pushed afterwards is a preroll again.
    void restart() {
        gst_element_set_state(m_pipeline.get(), GST_STATE_NULL);
        gst_element_set_state(m_pipeline.get(), GST_STATE_PLAYING);
    }
    /// Waits until the frames pushed so far have prerolled the feed's sink (and so run the
    /// channel's preroll callback).
    void waitForPreroll() {
        gst_element_get_state(m_pipeline.get(), nullptr, nullptr, GST_CLOCK_TIME_NONE);
    }
    /// Pushes frame `number` with the presentation time `pts` (ns).
    void push(std::uint8_t number, GstClockTime pts) {
        GstBuffer* buffer = gst_buffer_new_allocate(nullptr, kSmallFrameBytes, nullptr);
        gst_buffer_memset(buffer, 0, 0, kSmallFrameBytes);
        gst_buffer_memset(buffer, 0, number, 1);
        GST_BUFFER_PTS(buffer) = pts;
        gst_app_src_push_buffer(GST_APP_SRC(m_src.get()), buffer);  // takes the buffer
    }

private:
    gst_support::PipelinePtr m_pipeline;
    gst_support::ElementPtr m_src;
};

TEST_F(CameraChannelTest, OffersItsOwnRunningTimeAsATimeBaseInNanoseconds) {
    makeChannel(camera("timebase", kSmall));
    EXPECT_EQ(m_channel->getFrequency(), 1e9);
    EXPECT_EQ(m_channel->getAbsoluteStart(), zelt::DateTime{});
    EXPECT_EQ(m_channel->getCurrentTicks(), 0) << "no host time base yet";
    m_channel->synchronize();
}

TEST_F(CameraChannelTest, DeviceWithNeitherPathHasAnEmptyIndexAndNoPipeline) {
    auto description = camera("pathless", kSmall);
    description.path.reset();
    makeChannel(description);
    EXPECT_EQ(config_items::toString(m_channel->getConfigItem("ID:CAMERA/ChannelIndex")), "");
    EXPECT_FALSE(m_channel->isValid());
    EXPECT_EQ(m_channel->pipeline(), nullptr);
    m_channel->setUsed(true);
    // Its starts fail without a message.
    EXPECT_FALSE(m_channel->prepareAcquisition());
    EXPECT_TRUE(m_exceptions.history().empty());
}

TEST_F(CameraChannelTest, EmptyPathFallsBackToTheDevicePath) {
    auto description = camera("emptypath", kSmall);
    description.path = "";
    description.device_path = "/dev/fallback";
    makeChannel(description);
    EXPECT_EQ(config_items::toString(m_channel->getConfigItem("ID:CAMERA/ChannelIndex")),
              "/dev/fallback");
}

TEST_F(CameraChannelTest, WithNoFrameSettingSelectedTheSinkGetsEmptyCaps) {
    makeChannel(camera("nocaps", kSmall));
    gst_support::CapsPtr selected = m_channel->buildCaps();
    EXPECT_EQ(gst_caps_get_size(selected.get()), 1u);

    EXPECT_FALSE(m_channel->setConfigItem("CAMERA/FrameSetting",
                                          config_items::StringConfigItem("1 x 1 @ 1 fps")));
    gst_support::CapsPtr none = m_channel->buildCaps();
    EXPECT_TRUE(gst_caps_is_empty(none.get()));
}

TEST_F(CameraChannelTest, StartingAfterTheFirstFrameReturnsAtOnceWithoutTouchingTheCaps) {
    makeChannel(camera("twice", kSmall));
    ASSERT_TRUE(start(std::make_shared<zelt::host::RecordingSampleSink>()));
    ASSERT_TRUE(m_channel->pipelineRunning());
    EXPECT_TRUE(m_channel->startPipeline());
    EXPECT_TRUE(m_channel->pipelineRunning());
    EXPECT_TRUE(m_assertions.reports().empty());
}

TEST_F(CameraChannelTest, StopReleasesTheImageBufferAndBringsARunningPipelineToNull) {
    makeChannel(camera("stop", kSmall));
    ASSERT_TRUE(start(std::make_shared<zelt::host::RecordingSampleSink>()));
    EXPECT_EQ(m_channel->imageBufferSize(), 64u * 48 * 2 + 12);
    m_channel->stopPipeline();
    EXPECT_EQ(m_channel->imageBufferSize(), 0u);
    EXPECT_FALSE(m_channel->pipelineStarted());
    EXPECT_FALSE(m_channel->pipelineRunning());
    EXPECT_EQ(pipelineState(), GST_STATE_NULL);
}

TEST_F(CameraChannelTest, SecondPrerollWithoutAStopFailsTheEmptyBufferAssertion) {
    makeChannel(camera("preroll", kSmall));
    ASSERT_TRUE(start(std::make_shared<zelt::host::RecordingSampleSink>()));
    ASSERT_TRUE(m_assertions.reports().empty());
    // A second preroll from a feed of the test's own: pausing the live camera and playing it
    // again does not always make its sink preroll once more.
    silenceOwnSink();
    FrameFeed feed(*m_channel);
    feed.restart();
    feed.push(1, 0);
    feed.waitForPreroll();
    ASSERT_TRUE(m_assertions.contains("m_image_buffer.empty()"));
    const auto reports = m_assertions.reports();
    EXPECT_EQ(reports[0].source, "lib/zelt_camera/src/zelt_camera_channel");
    // The buffer is sized again all the same.
    EXPECT_EQ(m_channel->imageBufferSize(), 64u * 48 * 2 + 12);
}

TEST_F(CameraChannelTest, OddSizedTwelveBitFrameGivesAnImageSizeTruncatedToWholeBytes) {
    makeChannel(camera("odd",
                       "video/x-raw, format=I420, width=33, height=25, "
                       "framerate=100/1, pixel-aspect-ratio=1/1"));
    auto sink = std::make_shared<zelt::host::RecordingSampleSink>();
    ASSERT_TRUE(start(sink));
    // 12 x 33 x 25 = 9900 bits = 1237.5 bytes: the half byte is dropped.
    EXPECT_EQ(m_channel->imageBufferSize(), 1237u + 12);
    m_channel->beginDelivery();
    ASSERT_TRUE(sink->waitForSamples(2, 5s));
    m_channel->endDelivery();
    EXPECT_EQ(sink->samples()[0].size, 1249u);
    // Packed, the frame's rows take 33 x 25 + 2 x 17 x 13 = 1267 bytes (the chroma planes of
    // an odd size round up): the mismatch is reported, and the frame is delivered cut to the
    // image size.
    bool mismatch = false;
    for (const auto& report : m_assertions.reports()) {
        if (report.message ==
            "m_image_buffer.size() != buffer_size + "
            "sizeof(image::ImageDataHeader) (1249 != 1279)")
            mismatch = true;
    }
    EXPECT_TRUE(mismatch);
}

TEST_F(CameraChannelTest, SampleWhileDeliveryIsInactiveIsDroppedWithOkAndNoSampleGivesError) {
    makeChannel(camera("inactive", kSmall));
    gst_support::PipelinePtr pipeline(gst_parse_launch(
        "appsrc name=src caps=video/x-raw,format=YUY2,width=64,height=48,framerate=100/1 "
        "! appsink name=sink sync=false",
        nullptr));
    ASSERT_NE(pipeline, nullptr);
    gst_support::ElementPtr src(gst_bin_get_by_name(GST_BIN(pipeline.get()), "src"));
    gst_support::ElementPtr sink(gst_bin_get_by_name(GST_BIN(pipeline.get()), "sink"));
    auto* app_sink = GST_APP_SINK(sink.get());

    // Not playing: no sample to pull.
    EXPECT_EQ(CameraChannel::onNewSample(app_sink, m_channel.get()), GST_FLOW_ERROR);

    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    gst_app_src_push_buffer(GST_APP_SRC(src.get()),
                            gst_buffer_new_allocate(nullptr, 6144, nullptr));
    gst_support::SamplePtr preroll(gst_app_sink_pull_preroll(app_sink));
    ASSERT_NE(preroll, nullptr);
    EXPECT_EQ(CameraChannel::onNewSample(app_sink, m_channel.get()), GST_FLOW_OK);
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
}

TEST_F(CameraChannelTest, CounterStateWithoutCounterStopsThePipelineOnFalse) {
    makeChannel(camera("counterless", kSmall));
    ASSERT_TRUE(start(std::make_shared<zelt::host::RecordingSampleSink>()));
    m_channel->updateCounterState(true);
    EXPECT_TRUE(m_channel->pipelineStarted());
    m_channel->updateCounterState(false);
    EXPECT_FALSE(m_channel->pipelineStarted());
}

TEST_F(CameraChannelTest, CounterStateWithCounterSetsItsFlagsAndStopsOnFalse) {
    makeChannel(camera("counted", kSmall));
    m_channel->createCounterChannel();
    const auto& counter = m_channel->counterChannel();
    ASSERT_NE(counter, nullptr);
    counter->usage().setUsed(true);
    ASSERT_TRUE(start(std::make_shared<zelt::host::RecordingSampleSink>()));

    m_channel->updateCounterState(true);
    EXPECT_FALSE(counter->isActive());
    EXPECT_TRUE(m_channel->pipelineStarted());

    m_channel->updateCounterState(false);
    EXPECT_TRUE(counter->isActive());
    EXPECT_EQ(config_items::toString(counter->getConfigItem("Used")), "0");
    EXPECT_FALSE(m_channel->pipelineStarted());
}

TEST_F(CameraChannelTest, CounterChannelCarriesTheCameraIdentity) {
    makeChannel(camera("identity", kSmall));
    m_channel->createCounterChannel();
    const auto& counter = m_channel->counterChannel();
    EXPECT_EQ(config_items::toString(counter->getConfigItem("DefaultName")), "identity RcvdCNT");
    EXPECT_EQ(config_items::toString(counter->getConfigItem("Unit")), "frames");
    EXPECT_EQ(config_items::toString(counter->getConfigItem("ID:CAMERA/ChannelIndex")),
              "/dev/identity");
    EXPECT_EQ(config_items::toString(counter->getConfigItem("ID:CAMERA/SubChannelId")),
              "CntReceived");
    EXPECT_EQ(config_items::toString(counter->getConfigItem("AdditionalChannelInfo2")),
              "Received frames");
    EXPECT_EQ(counter->channelId(), (channel_config::ChannelID{5, 0x10000}));
    m_channel->setOwnerId(9);
    EXPECT_EQ(counter->channelId(), (channel_config::ChannelID{9, 0x10000}));
    EXPECT_EQ(m_channel->channelId(), (channel_config::ChannelID{9, 0}));
}

TEST_F(CameraChannelTest, OptionListenersHearTheGeometryLearntAtPreroll) {
    makeChannel(camera("listener", kSmall));
    std::vector<std::string> heard;
    m_channel->addOptionChangeListener(
        [&heard](const std::string& key, const config_items::ConfigItem& value) {
            heard.push_back(key + "=" + config_items::toString(value));
        });
    ASSERT_TRUE(start(std::make_shared<zelt::host::RecordingSampleSink>()));
    // The geometry at preroll, then "Valid" as the start clears the error state.
    EXPECT_EQ(heard, (std::vector<std::string>{"SampleRate=100 fps", "FrameWidth=64 pixel",
                                               "FrameHeight=48 pixel", "PixelAspectRatio=1",
                                               "FrameFormat=YUY2", "Valid=1"}));
    // Listeners are called until the channel is gone (its stop clears the error state too).
    m_channel.reset();
    EXPECT_EQ(heard.back(), "Valid=1");
}

}  // namespace
}  // namespace zelt_camera

namespace zelt_camera {

/// Reaches into a channel for states its camera reaches only by timing.
struct CameraChannelTestAccess {
    /// Gives the channel an image buffer of `size` bytes, as a preroll does.
    static void allocateImageBuffer(CameraChannel& channel, std::size_t size) {
        channel.m_image_buffer.resize(size);
    }
};

namespace {

TEST_F(CameraChannelTest, StoppingAPipelineThatNeverDeliveredFreesABufferItHolds) {
    // A real allocation held while no frame was delivered: the stop frees it, whatever made it.
    makeChannel(camera("silent", kSmall));
    silenceOwnSink();
    ASSERT_TRUE(start(std::make_shared<zelt::host::RecordingSampleSink>()));
    ASSERT_FALSE(m_channel->pipelineRunning());
    CameraChannelTestAccess::allocateImageBuffer(*m_channel, kSmallFrameBytes + 12);
    ASSERT_EQ(m_channel->imageBufferSize(), kSmallFrameBytes + 12);

    m_channel->stopPipeline();
    EXPECT_EQ(m_channel->imageBufferSize(), 0u);
    EXPECT_FALSE(m_channel->pipelineStarted());
    EXPECT_EQ(pipelineState(), GST_STATE_PLAYING);
}

TEST_F(CameraChannelTest, StoppingAPipelineThatNeverDeliveredLeavesItsStateButFreesTheBuffer) {
    makeChannel(camera("silent", kSmall));
    silenceOwnSink();
    ASSERT_TRUE(start(std::make_shared<zelt::host::RecordingSampleSink>()));
    ASSERT_TRUE(m_channel->pipelineStarted());
    ASSERT_FALSE(m_channel->pipelineRunning());

    m_channel->stopPipeline();
    EXPECT_FALSE(m_channel->pipelineStarted());
    EXPECT_EQ(m_channel->imageBufferSize(), 0u);
    EXPECT_EQ(pipelineState(), GST_STATE_PLAYING);
}

TEST_F(CameraChannelTest, FormatThatCannotBeDeliveredFailsTheStart) {
    makeChannel(camera("yv12",
                       "video/x-raw, format=YV12, width=64, height=48, framerate=100/1, "
                       "pixel-aspect-ratio=1/1"));
    EXPECT_FALSE(start(std::make_shared<zelt::host::RecordingSampleSink>()));
    EXPECT_FALSE(m_channel->pipelineStarted());
    EXPECT_FALSE(m_channel->pipelineRunning());
    EXPECT_EQ(m_channel->imageBufferSize(), 0u);
    const auto posted = m_exceptions.posted();
    ASSERT_EQ(posted.size(), 1u);
    EXPECT_EQ(posted[0].text, "Could not start camera yv12");
    // The format was learnt and published before the delivery refused it.
    EXPECT_EQ(config_items::toString(m_channel->getConfigItem("FrameFormat")), "YV12");
}

}  // namespace
}  // namespace zelt_camera

namespace zelt_camera {
namespace {

/// The numbers of the frames a sink received (first payload byte of each sample).
std::vector<int> frameNumbers(const zelt::host::RecordingSampleSink& sink) {
    std::vector<int> numbers;
    for (const auto& sample : sink.samples())
        numbers.push_back(sample.payload_head.empty() ? -1 : sample.payload_head[0]);
    return numbers;
}

class CameraChannelFedTest : public CameraChannelTest {
protected:
    /// A channel on a camera whose own frames never reach it, started (so its pipeline
    /// plays and gives the running time), used, with a recording sink.
    void startSilentChannel(std::shared_ptr<zelt::IfTimeSource> time_source) {
        makeChannel(camera("fed", kSmall));
        silenceOwnSink();
        m_channel->setUsed(true);
        m_channel->setSampleSink(m_sink);
        m_channel->setTimeSource(std::move(time_source));
        ASSERT_TRUE(m_channel->prepareAcquisition());
        ASSERT_TRUE(m_channel->pipelineStarted());
    }
    std::shared_ptr<zelt::host::RecordingSampleSink> m_sink =
        std::make_shared<zelt::host::RecordingSampleSink>(
            zelt::host::RecordingOptions{/*payload_head_bytes=*/1, /*keep_bytes=*/false});
};

TEST_F(CameraChannelTest, StartingTwiceWhileWaitingForTheFirstFrameRunsTheFullStartTwice) {
    makeChannel(camera("waiting", kSmall));
    const gst_support::ElementPtr sink = silenceOwnSink();
    ASSERT_TRUE(start(std::make_shared<zelt::host::RecordingSampleSink>()));
    ASSERT_TRUE(m_channel->pipelineStarted());
    ASSERT_FALSE(m_channel->pipelineRunning());
    gst_support::CapsPtr first_caps(gst_app_sink_get_caps(GST_APP_SINK(sink.get())));
    ASSERT_NE(first_caps, nullptr);

    // A frame-setting change marks the channel for a restart; only a full start clears it.
    ASSERT_TRUE(m_channel->setConfigItem("CAMERA/FrameSetting",
                                         config_items::StringConfigItem("64 x 48 @ 100 fps")));
    ASSERT_TRUE(m_channel->restartRequired());

    EXPECT_TRUE(m_channel->startPipeline());
    // The sink was given caps again (a fresh copy of the same mode), the restart mark was
    // cleared and the pipeline plays on.
    gst_support::CapsPtr second_caps(gst_app_sink_get_caps(GST_APP_SINK(sink.get())));
    ASSERT_NE(second_caps, nullptr);
    EXPECT_NE(first_caps.get(), second_caps.get());
    EXPECT_TRUE(gst_caps_is_equal(first_caps.get(), second_caps.get()));
    EXPECT_FALSE(m_channel->restartRequired());
    EXPECT_TRUE(m_channel->pipelineStarted());
    EXPECT_FALSE(m_channel->pipelineRunning());
    EXPECT_EQ(pipelineState(), GST_STATE_PLAYING);
    EXPECT_TRUE(m_assertions.reports().empty());
}

TEST_F(CameraChannelTest, WithNoFrameSettingSelectedTheSinkHasEmptyCapsAfterAStart) {
    makeChannel(camera("unselected", kSmall));
    // A refused frame setting leaves none selected.
    ASSERT_FALSE(m_channel->setConfigItem("CAMERA/FrameSetting",
                                          config_items::StringConfigItem("1 x 1 @ 1 fps")));
    m_channel->setUsed(true);
    m_channel->setSampleSink(std::make_shared<zelt::host::RecordingSampleSink>());
    // The start runs on its own thread: with empty caps on the sink the camera may never
    // negotiate, and a start that never returns must fail this test, not hang it.
    std::atomic<bool> returned{false};
    std::thread starter([this, &returned] {
        m_channel->startPipeline();
        returned = true;
    });
    const bool start_returned = eventually([&returned] { return returned.load(); });
    if (!start_returned) gst_element_set_state(m_channel->pipeline(), GST_STATE_NULL);
    starter.join();
    EXPECT_TRUE(start_returned) << "the start did not return";

    gst_support::ElementPtr sink(gst_bin_get_by_name(GST_BIN(m_channel->pipeline()), "asink"));
    gst_support::CapsPtr caps(gst_app_sink_get_caps(GST_APP_SINK(sink.get())));
    ASSERT_NE(caps, nullptr);
    EXPECT_TRUE(gst_caps_is_empty(caps.get()));
}

TEST_F(CameraChannelFedTest, SubsamplingThreeDeliversTheThirdFrameFirstAndAgainAfterARestart) {
    startSilentChannel(nullptr);
    ASSERT_TRUE(m_channel->setConfigItem("CAMERA/FrameSubsampling",
                                         config_items::SingleValueConfigItem<unsigned int>(3)));
    FrameFeed feed(*m_channel);
    feed.restart();
    m_channel->beginDelivery();
    for (std::uint8_t number = 1; number <= 7; ++number) feed.push(number, 0);
    ASSERT_TRUE(m_sink->waitForSamples(2, 20s));
    EXPECT_EQ(frameNumbers(*m_sink), (std::vector<int>{3, 6}));

    // A restart counts from zero again.
    m_channel->stopPipeline();
    ASSERT_FALSE(m_channel->pipelineRunning());
    ASSERT_TRUE(m_channel->startPipeline());
    m_sink->clear();
    feed.restart();
    m_channel->beginDelivery();
    for (std::uint8_t number = 11; number <= 14; ++number) feed.push(number, 0);
    ASSERT_TRUE(m_sink->waitForSamples(1, 20s));
    EXPECT_EQ(frameNumbers(*m_sink), (std::vector<int>{13}));
}

TEST_F(CameraChannelFedTest, FrameStampedAfterTheRunningTimeIsNeitherCountedNorDelivered) {
    startSilentChannel(m_time_source);
    m_channel->createCounterChannel();
    const auto counter = m_channel->counterChannel();
    auto counter_sink = std::make_shared<zelt::host::RecordingSampleSink>();
    counter->usage().setUsed(true);
    counter->setSampleSink(counter_sink);
    ASSERT_TRUE(m_channel->setConfigItem("CAMERA/FrameSubsampling",
                                         config_items::SingleValueConfigItem<unsigned int>(2)));
    FrameFeed feed(*m_channel);
    feed.restart();
    m_channel->beginDelivery();

    // Frame 1 is taken now; frame 2 claims to be taken ten seconds from now; frame 3 now.
    const auto now = [this] { return static_cast<GstClockTime>(m_channel->getCurrentTicks()); };
    feed.push(1, now());
    feed.push(2, now() + 10 * GST_SECOND);
    feed.push(3, now());
    feed.push(4, now());
    feed.push(5, now());
    ASSERT_TRUE(m_sink->waitForSamples(2, 20s));
    // Had frame 2 been counted, frames 2 and 4 would be the second of their pairs; frame 2
    // is skipped, so frames 3 and 5 are.
    EXPECT_EQ(frameNumbers(*m_sink), (std::vector<int>{3, 5}));
    // The counter wrote one count per delivered frame, at the frame's stamp.
    ASSERT_TRUE(counter_sink->waitForSamples(2, 20s));
    const auto counts = counter_sink->samples();
    EXPECT_EQ(counts.size(), 2u);
    EXPECT_EQ(counts[0].timestamp, m_sink->samples()[0].timestamp);
    EXPECT_EQ(counter->count(), 2u);
}

}  // namespace
}  // namespace zelt_camera
