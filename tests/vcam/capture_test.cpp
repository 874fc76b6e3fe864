// Frames through an appsink: every raw format, live pacing, benchmark mode, negotiation.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "tsan_annotations.h"
#include "vcam_test_support.h"

namespace vcam_test {
namespace {

constexpr GstClockTime kFramePeriod100 = GST_SECOND / 100;

struct FormatCase {
    const char* format;
    gsize frame_bytes;  // of a 64x48 frame
};

// Every raw format that the camera plug-in meets, at 64x48.
const FormatCase kFormats[] = {{"YUY2", 64 * 48 * 2},     {"I420", 64 * 48 * 3 / 2},
                               {"NV12", 64 * 48 * 3 / 2}, {"YV12", 64 * 48 * 3 / 2},
                               {"RGB", 64 * 48 * 3},      {"BGR", 64 * 48 * 3},
                               {"UYVY", 64 * 48 * 2},     {"GRAY8", 64 * 48}};

void PrintTo(const FormatCase& format, std::ostream* out) { *out << format.format; }

std::vector<std::string> allFormatModes() {
    std::vector<std::string> modes;
    for (const FormatCase& format : kFormats) modes.push_back(rawMode(format.format, 64, 48, 100));
    return modes;
}

class FormatCaptureTest : public VcamTest, public ::testing::WithParamInterface<FormatCase> {};

TEST_P(FormatCaptureTest, DeliversFramesOfVideoInfoSizeWithConsecutiveSequenceNumbers) {
    const FormatCase& format = GetParam();
    ASSERT_TRUE(m_control.addCamera(camera("All Formats", allFormatModes())));
    DevicePtr device = findDevice("All Formats");
    ASSERT_TRUE(device);
    Capture capture = buildCapture(device.get(), rawMode(format.format, 64, 48, 100));
    ASSERT_TRUE(capture.linked);
    ASSERT_TRUE(capture.play());

    constexpr std::uint64_t kFrames = 10;
    for (std::uint64_t i = 0; i < kFrames; ++i) {
        SamplePtr sample = capture.pull();
        ASSERT_TRUE(sample) << "frame " << i;
        const GstVideoInfo info = sampleInfo(sample.get());
        EXPECT_STREQ(gst_video_format_to_string(GST_VIDEO_INFO_FORMAT(&info)), format.format);
        EXPECT_EQ(GST_VIDEO_INFO_WIDTH(&info), 64);
        EXPECT_EQ(GST_VIDEO_INFO_HEIGHT(&info), 48);
        EXPECT_EQ(GST_VIDEO_INFO_SIZE(&info), format.frame_bytes);
        EXPECT_EQ(gst_buffer_get_size(gst_sample_get_buffer(sample.get())), format.frame_bytes);
        EXPECT_EQ(sequenceNumber(sample.get()), i);
    }
}

INSTANTIATE_TEST_SUITE_P(RawFormats, FormatCaptureTest, ::testing::ValuesIn(kFormats),
                         [](const ::testing::TestParamInfo<FormatCase>& info) {
                             return std::string(info.param.format);
                         });

using CaptureTest = VcamTest;

// Modes as real devices print them: stepwise sizes with a rate range, a size list with a format
// list, and a structure with caps features; each is produced in system memory.
TEST_F(CaptureTest, DeliversEveryModeOfRangesListsAndFeaturedStructures) {
    ASSERT_TRUE(m_control.addCamera(camera(
        "Real Modes",
        {"video/x-raw, format=NV12, width=[ 16, 1920, 2 ], height=[ 16, 1080, 2 ], "
         "framerate=[ 1/1, 100/1 ]\n"
         "video/x-raw, width=640, height={ (int)360, (int)480 }, format={ (string)UYVY, "
         "(string)YUY2 }, framerate={ (fraction)25/1, (fraction)100/1 }\n"
         "video/x-raw(memory:GLMemory), width=64, height=48, format=BGR, framerate=100/1"})));
    DevicePtr device = findDevice("Real Modes");
    ASSERT_TRUE(device);
    struct Mode {
        const char* caps;
        const char* format;
        int width;
        int height;
    };
    for (const Mode& mode :
         {Mode{"video/x-raw, format=NV12, width=320, height=240", "NV12", 320, 240},
          Mode{"video/x-raw, format=YUY2, width=640, height=360", "YUY2", 640, 360},
          Mode{"video/x-raw, format=BGR, width=64, height=48", "BGR", 64, 48}}) {
        Capture capture = buildCapture(device.get(), mode.caps);
        ASSERT_TRUE(capture.linked) << mode.caps;
        ASSERT_TRUE(capture.play()) << mode.caps;
        for (std::uint64_t i = 0; i < 3; ++i) {
            SamplePtr sample = capture.pull();
            ASSERT_TRUE(sample) << mode.caps << ", frame " << i;
            const GstVideoInfo info = sampleInfo(sample.get());
            EXPECT_STREQ(gst_video_format_to_string(GST_VIDEO_INFO_FORMAT(&info)), mode.format);
            EXPECT_EQ(GST_VIDEO_INFO_WIDTH(&info), mode.width);
            EXPECT_EQ(GST_VIDEO_INFO_HEIGHT(&info), mode.height);
            EXPECT_EQ(GST_VIDEO_INFO_FPS_N(&info), 100);
            EXPECT_EQ(sequenceNumber(sample.get()), i);
        }
    }
}

TEST_F(CaptureTest, LiveFramesArePacedByThePipelineClockAtTheNegotiatedRate) {
    ASSERT_TRUE(m_control.addCamera(camera("Live", {rawMode("YUY2", 64, 48, 100)})));
    DevicePtr device = findDevice("Live");
    ASSERT_TRUE(device);
    Capture capture = buildCapture(device.get());
    ASSERT_TRUE(capture.linked);
    const gint64 started = g_get_monotonic_time();
    ASSERT_TRUE(capture.play());

    std::vector<GstClockTime> stamps;
    for (int i = 0; i < 10; ++i) {
        SamplePtr sample = capture.pull();
        ASSERT_TRUE(sample);
        GstBuffer* buffer = gst_sample_get_buffer(sample.get());
        EXPECT_EQ(GST_BUFFER_DURATION(buffer), kFramePeriod100);
        // A frame is handed over once it is complete: its whole period lies in the past.
        EXPECT_LE(GST_BUFFER_PTS(buffer) + kFramePeriod100, capture.runningTime());
        stamps.push_back(GST_BUFFER_PTS(buffer));
    }
    const gint64 elapsed_us = g_get_monotonic_time() - started;
    for (size_t i = 0; i < stamps.size(); ++i) {
        EXPECT_EQ(stamps[i] - stamps[0], i * kFramePeriod100) << "frame " << i;
    }
    // Ten frames at 100 per second take 100 ms of the clock; allow for a late start only.
    EXPECT_GE(elapsed_us, 90000);
}

TEST_F(CaptureTest, LiveFramesShowAMovingPattern) {
    ASSERT_TRUE(m_control.addCamera(camera("Pattern", {rawMode("GRAY8", 64, 48, 100)})));
    DevicePtr device = findDevice("Pattern");
    ASSERT_TRUE(device);
    Capture capture = buildCapture(device.get());
    ASSERT_TRUE(capture.play());
    SamplePtr first = capture.pull();
    SamplePtr second = capture.pull();
    ASSERT_TRUE(first && second);
    std::vector<guint8> a = payload(first.get());
    std::vector<guint8> b = payload(second.get());
    ASSERT_EQ(a.size(), b.size());
    // Beyond the sequence number, the picture changed from one frame to the next...
    EXPECT_FALSE(std::equal(a.begin() + 8, a.end(), b.begin() + 8));
    // ...and is not flat.
    EXPECT_NE(*std::min_element(a.begin() + 8, a.end()), *std::max_element(a.begin() + 8, a.end()));
}

TEST_F(CaptureTest, DefaultCameraDeliversItsVgaI420Mode) {
    zelt::vcam::useDefaultCameras(1);
    DevicePtr device = findDevice("Virtual Camera 0");
    ASSERT_TRUE(device);
    Capture capture = buildCapture(
        device.get(), "video/x-raw, format=I420, width=640, height=480, framerate=30/1");
    ASSERT_TRUE(capture.linked);
    ASSERT_TRUE(capture.play());
    for (std::uint64_t i = 0; i < 3; ++i) {
        SamplePtr sample = capture.pull();
        ASSERT_TRUE(sample);
        EXPECT_EQ(gst_buffer_get_size(gst_sample_get_buffer(sample.get())), 460800u);
        EXPECT_EQ(sequenceNumber(sample.get()), i);
    }
}

TEST_F(CaptureTest, SinkWithoutCapsGetsTheHighestRateOfARange) {
    ASSERT_TRUE(m_control.addCamera(camera(
        "Range", {"video/x-raw, format=GRAY8, width=64, height=48, framerate=[ 1/1, 120/1 ], "
                  "pixel-aspect-ratio=1/1"})));
    DevicePtr device = findDevice("Range");
    ASSERT_TRUE(device);
    Capture capture = buildCapture(device.get());
    ASSERT_TRUE(capture.linked);
    ASSERT_TRUE(capture.play());
    SamplePtr sample = capture.pull();
    ASSERT_TRUE(sample);
    EXPECT_EQ(structuresOf(gst_sample_get_caps(sample.get())),
              (std::vector<std::string>{
                  "video/x-raw, format=(string)GRAY8, width=(int)64, height=(int)48, "
                  "framerate=(fraction)120/1, pixel-aspect-ratio=(fraction)1/1"}));
}

TEST_F(CaptureTest, SinkAskingForARateOfAListGetsIt) {
    ASSERT_TRUE(m_control.addCamera(camera(
        "Rates", {"video/x-raw, format=NV12, width=64, height=48, framerate={ 15/1, 100/1, 60/1 }, "
                  "pixel-aspect-ratio=1/1"})));
    DevicePtr device = findDevice("Rates");
    ASSERT_TRUE(device);
    Capture capture = buildCapture(device.get(), rawMode("NV12", 64, 48, 60));
    ASSERT_TRUE(capture.play());
    SamplePtr sample = capture.pull();
    ASSERT_TRUE(sample);
    const GstVideoInfo info = sampleInfo(sample.get());
    EXPECT_EQ(GST_VIDEO_INFO_FPS_N(&info), 60);
    EXPECT_EQ(GST_VIDEO_INFO_FPS_D(&info), 1);
    EXPECT_EQ(GST_BUFFER_DURATION(gst_sample_get_buffer(sample.get())), GST_SECOND / 60);
}

TEST_F(CaptureTest, ElementOffersOnlyTheWellFormedRawModesOfItsCamera) {
    ASSERT_TRUE(m_control.addCamera(camera(
        "Mixed",
        {rawMode("YUY2", 640, 480, 30),
         "video/x-raw, format=YUY2, height=480, framerate=30/1, pixel-aspect-ratio=1/1",
         "video/x-raw, format=YUY2, width=640, height=480, pixel-aspect-ratio=1/1",
         "video/x-raw, format=YUY2, width=320, height=240, framerate={ }, pixel-aspect-ratio=1/1",
         "video/x-raw, width=640, height=480, framerate=30/1, pixel-aspect-ratio=1/1",
         "image/jpeg, width=640, height=480, framerate=30/1",
         "video/x-raw, format=I420, width=320, height=240, framerate=15/1"})));
    DevicePtr device = findDevice("Mixed");
    ASSERT_TRUE(device);
    ElementPtr element = gst_support::sinkObject(gst_device_create_element(device.get(), nullptr));
    ASSERT_TRUE(element);
    gst_support::PadPtr pad(gst_element_get_static_pad(element.get(), "src"));
    CapsPtr caps(gst_pad_query_caps(pad.get(), nullptr));
    EXPECT_EQ(structuresOf(caps.get()),
              (std::vector<std::string>{
                  rawMode("YUY2", 640, 480, 30),
                  "video/x-raw, format=(string)I420, width=(int)320, height=(int)240, "
                  "framerate=(fraction)15/1"}));
}

TEST_F(CaptureTest, ElementOfADeviceCarriesTheCameraSettings) {
    zelt::vcam::CameraDescription description = camera("Settings", {rawMode("RGB", 64, 48, 30)});
    description.benchmark = true;
    description.error_after_frames = 7;
    ASSERT_TRUE(m_control.addCamera(description));
    DevicePtr device = findDevice("Settings");
    ASSERT_TRUE(device);
    ElementPtr element = gst_support::sinkObject(gst_device_create_element(device.get(), "named"));
    ASSERT_TRUE(element);
    GstElementFactory* factory = gst_element_get_factory(element.get());
    EXPECT_STREQ(GST_OBJECT_NAME(factory), ZELT_VCAM_ELEMENT_NAME);
    EXPECT_STREQ(GST_OBJECT_NAME(element.get()), "named");
    gboolean benchmark = FALSE;
    gint64 error_after = 0;
    gchar* raw_path = nullptr;
    g_object_get(element.get(), "benchmark", &benchmark, "error-after-frames", &error_after,
                 "device-path", &raw_path, nullptr);
    GCharPtr path(raw_path);
    EXPECT_TRUE(benchmark);
    EXPECT_EQ(error_after, 7);
    EXPECT_STREQ(path.get(), "/dev/Settings");
}

TEST_F(CaptureTest, BenchmarkDeliversFastFromReusedMemoryWithIncreasingTimestamps) {
    zelt::vcam::CameraDescription description = camera("Bench", {rawMode("YUY2", 640, 480, 30)});
    description.benchmark = true;
    ASSERT_TRUE(m_control.addCamera(description));
    DevicePtr device = findDevice("Bench");
    ASSERT_TRUE(device);
    Capture capture = buildCapture(device.get());  // appsink keeps its default clock sync
    ASSERT_TRUE(capture.linked);
    const gint64 started = g_get_monotonic_time();
    ASSERT_TRUE(capture.play());

    constexpr std::uint64_t kFrames = 300;  // ten seconds of a live 30/1 camera
    GstClockTime previous = GST_CLOCK_TIME_NONE;
    std::map<const guint8*, std::vector<guint8>> first_content;  // by memory address
    std::uint64_t repeated_content = 0;
    for (std::uint64_t i = 0; i < kFrames; ++i) {
        SamplePtr sample = capture.pull();
        ASSERT_TRUE(sample) << "frame " << i;
        // The buffer and its memory came from the streaming thread through the appsink.
        const zelt_test::HandedOverReads handed_over;
        GstBuffer* buffer = gst_sample_get_buffer(sample.get());
        ASSERT_EQ(sequenceNumber(sample.get()), i);
        const GstClockTime pts = GST_BUFFER_PTS(buffer);
        ASSERT_TRUE(GST_CLOCK_TIME_IS_VALID(pts));
        if (GST_CLOCK_TIME_IS_VALID(previous)) {
            ASSERT_GT(pts, previous);
        }
        // Stamped when made (less the sink's latency): in the past, but not far.
        const GstClockTime now = capture.runningTime();
        ASSERT_LE(pts, now);
        ASSERT_GE(pts + GST_SECOND, now);
        previous = pts;

        GstMapInfo map;
        ASSERT_TRUE(gst_buffer_map(buffer, &map, GST_MAP_READ));
        auto known = first_content.find(map.data);
        if (known == first_content.end()) {
            first_content.emplace(map.data, std::vector<guint8>(map.data, map.data + map.size));
        } else {
            // The same memory again, not painted again: only the sequence number changed.
            EXPECT_TRUE(std::equal(known->second.begin() + 8, known->second.end(), map.data + 8));
            ++repeated_content;
        }
        gst_buffer_unmap(buffer, &map);
    }
    const gint64 elapsed_us = g_get_monotonic_time() - started;
    EXPECT_LE(first_content.size(), 8u);
    EXPECT_GE(repeated_content, kFrames - 8);
    EXPECT_LT(elapsed_us, 3 * G_USEC_PER_SEC) << "benchmark mode was throttled";
}

}  // namespace
}  // namespace vcam_test
