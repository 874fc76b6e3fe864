// Faults on demand: a camera that cannot link, one that is unplugged after N frames, one that
// never delivers.
#include <gtest/gtest.h>

#include "vcam_test_support.h"

namespace vcam_test {
namespace {

using FaultTest = VcamTest;

zelt::vcam::CameraDescription failingLink() {
    zelt::vcam::CameraDescription description = camera("No Link", {rawMode("YUY2", 64, 48, 30)});
    description.fail_link = true;
    return description;
}

TEST_F(FaultTest, FailLinkCameraCannotLinkToARawAppsink) {
    ASSERT_TRUE(m_control.addCamera(failingLink()));
    DevicePtr device = findDevice("No Link");
    ASSERT_TRUE(device) << "the camera is still listed with its raw caps";
    Capture capture = buildCapture(device.get(), "video/x-raw");
    ASSERT_TRUE(capture.source);
    EXPECT_FALSE(capture.linked);
}

TEST_F(FaultTest, FailLinkCameraCannotLinkEvenToAnAppsinkThatAcceptsAnything) {
    ASSERT_TRUE(m_control.addCamera(failingLink()));
    DevicePtr device = findDevice("No Link");
    ASSERT_TRUE(device);
    Capture capture = buildCapture(device.get());
    ASSERT_TRUE(capture.source);
    EXPECT_FALSE(capture.linked);
}

TEST_F(FaultTest, UnpluggedCameraPostsAReadErrorAfterExactlyTheGivenFrames) {
    zelt::vcam::CameraDescription description = camera("Unplugged", {rawMode("I420", 64, 48, 100)});
    description.device_path = "/dev/video9";
    description.error_after_frames = 5;
    ASSERT_TRUE(m_control.addCamera(description));
    DevicePtr device = findDevice("Unplugged");
    ASSERT_TRUE(device);
    Capture capture = buildCapture(device.get());
    ASSERT_TRUE(capture.linked);
    ASSERT_TRUE(capture.play());

    MessagePtr error = capture.nextError();
    ASSERT_TRUE(error);
    EXPECT_EQ(GST_MESSAGE_SRC(error.get()), GST_OBJECT(capture.source.get()));
    GError* raw_error = nullptr;
    gchar* raw_debug = nullptr;
    gst_message_parse_error(error.get(), &raw_error, &raw_debug);
    gst_support::GErrorPtr gerror(raw_error);
    GCharPtr debug(raw_debug);
    EXPECT_TRUE(g_error_matches(gerror.get(), GST_RESOURCE_ERROR, GST_RESOURCE_ERROR_READ));
    EXPECT_STREQ(gerror->message, "Could not read from resource.");
    ASSERT_NE(debug, nullptr);
    EXPECT_NE(std::string(debug.get()).find("Device '/dev/video9' was disconnected"),
              std::string::npos)
        << debug.get();

    // Then GStreamer's own report of the stopped stream ("Internal data stream error." in
    // English), as after a real camera's read error.
    MessagePtr stopped = capture.nextError();
    ASSERT_TRUE(stopped);
    gst_message_parse_error(stopped.get(), &raw_error, nullptr);
    gst_support::GErrorPtr stopped_error(raw_error);
    EXPECT_TRUE(g_error_matches(stopped_error.get(), GST_STREAM_ERROR, GST_STREAM_ERROR_FAILED));

    for (std::uint64_t i = 0; i < 5; ++i) {
        SamplePtr sample = capture.pull(0);
        ASSERT_TRUE(sample) << "frame " << i;
        EXPECT_EQ(sequenceNumber(sample.get()), i);
    }
    EXPECT_FALSE(capture.pull(100 * GST_MSECOND)) << "a frame after the unplug";
}

TEST_F(FaultTest, CameraUnpluggedBeforeItsFirstFramePostsTheErrorWithoutFrames) {
    zelt::vcam::CameraDescription description = camera("Gone", {rawMode("GRAY8", 64, 48, 100)});
    description.error_after_frames = 0;
    ASSERT_TRUE(m_control.addCamera(description));
    DevicePtr device = findDevice("Gone");
    ASSERT_TRUE(device);
    Capture capture = buildCapture(device.get());
    ASSERT_TRUE(capture.play());
    MessagePtr error = capture.nextError();
    ASSERT_TRUE(error);
    GError* raw_error = nullptr;
    gst_message_parse_error(error.get(), &raw_error, nullptr);
    gst_support::GErrorPtr gerror(raw_error);
    EXPECT_STREQ(gerror->message, "Could not read from resource.");
    EXPECT_FALSE(capture.pull(0));
}

TEST_F(FaultTest, SilentCameraReachesPlayingButNeverDeliversAFrame) {
    zelt::vcam::CameraDescription description = camera("Silent", {rawMode("YUY2", 64, 48, 100)});
    description.never_first_frame = true;
    ASSERT_TRUE(m_control.addCamera(description));
    DevicePtr device = findDevice("Silent");
    ASSERT_TRUE(device);
    Capture capture = buildCapture(device.get());
    ASSERT_TRUE(capture.linked);
    ASSERT_TRUE(capture.play());

    GstState state = GST_STATE_VOID_PENDING;
    EXPECT_EQ(gst_element_get_state(capture.source.get(), &state, nullptr, 2 * GST_SECOND),
              GST_STATE_CHANGE_SUCCESS);
    EXPECT_EQ(state, GST_STATE_PLAYING);
    EXPECT_FALSE(capture.pull(300 * GST_MSECOND));
    // The sink still waits for its first frame, so the pipeline as a whole stays pending.
    EXPECT_EQ(gst_element_get_state(capture.pipeline.get(), nullptr, nullptr, 0),
              GST_STATE_CHANGE_ASYNC);

    // Stopping interrupts the wait at once.
    const gint64 before = g_get_monotonic_time();
    EXPECT_EQ(gst_element_set_state(capture.pipeline.get(), GST_STATE_NULL),
              GST_STATE_CHANGE_SUCCESS);
    EXPECT_LT(g_get_monotonic_time() - before, G_USEC_PER_SEC);
}

}  // namespace
}  // namespace vcam_test
