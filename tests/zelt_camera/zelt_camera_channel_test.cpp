// The camera channel's pipeline and delivery, seen from inside the plug-in.
#include <gst/app/gstappsink.h>
#include <gst/app/gstappsrc.h>

#include "config_items/config_items.h"
#include "zelt_camera_channel_fixture.h"

namespace zelt_camera {
namespace {

constexpr const char* kSmall =
    "video/x-raw, format=YUY2, width=64, height=48, framerate=100/1, pixel-aspect-ratio=1/1";

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
    // Pausing a live pipeline and playing it again makes the sink preroll once more.
    gst_element_set_state(m_channel->pipeline(), GST_STATE_PAUSED);
    gst_element_get_state(m_channel->pipeline(), nullptr, nullptr, GST_CLOCK_TIME_NONE);
    gst_element_set_state(m_channel->pipeline(), GST_STATE_PLAYING);
    gst_element_get_state(m_channel->pipeline(), nullptr, nullptr, GST_CLOCK_TIME_NONE);
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
namespace {

TEST_F(CameraChannelTest, StoppingAPipelineThatNeverDeliveredLeavesItsStateButFreesTheBuffer) {
    makeChannel(camera("silent", kSmall));
    // Without its callbacks the sink prerolls by itself: the pipeline plays, but the channel
    // never sees a frame, as with a camera whose first frame has not come yet.
    gst_support::ElementPtr sink(gst_bin_get_by_name(GST_BIN(m_channel->pipeline()), "asink"));
    GstAppSinkCallbacks none{};
    gst_app_sink_set_callbacks(GST_APP_SINK(sink.get()), &none, nullptr, nullptr);
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
