// The caps controller over real GStreamer devices: the offered list, frame rates, faulty
// structures.
#include "zelt_camera_caps_controller.h"

#include <gst/gst.h>
#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "zelt_camera_caps_controller_fixture.h"

namespace zelt_camera {
namespace {

using caps_test::CapsControllerTest;
using caps_test::kControllerSource;
using caps_test::makeDevice;
using caps_test::Rate;
using caps_test::rawStructure;

// ---------------------------------------------------------------------------------------
// Offered list and default.

TEST_F(CapsControllerTest, DuplicateAcrossFormatsKeepsThePreferredFormatAndDefaultsTo640) {
    const auto device = makeDevice(
        "video/x-raw, format=YUY2, width=1280, height=720, framerate=30/1, pixel-aspect-ratio=1/1;"
        "video/x-raw, format=I420, width=1280, height=720, framerate=30/1, pixel-aspect-ratio=1/1;"
        "video/x-raw, format=YUY2, width=640, height=480, framerate=30/1, pixel-aspect-ratio=1/1");
    auto controller = cameraController();
    controller->update(device.get());

    EXPECT_EQ(texts(*controller),
              (std::vector<std::string>{"1280 x 720 @ 30 fps", "640 x 480 @ 30 fps"}));
    EXPECT_EQ(controller->offered()[0].format, "I420");
    EXPECT_EQ(controller->current_string(), std::optional<std::string>("640 x 480 @ 30 fps"));
    ASSERT_EQ(m_changes.size(), 1u);
    EXPECT_EQ(m_changes[0].width, 640);
    EXPECT_EQ(m_changes[0].height, 480);
    EXPECT_EQ(m_changes[0].format, "YUY2");
    EXPECT_EQ(m_changes[0].pixel_aspect_ratio, 1.0);
    EXPECT_TRUE(records().empty());
}

TEST_F(CapsControllerTest, WidthsSixHundredAndSixHundredEightyTieAndTheEarlier680Wins) {
    const auto device = makeDevice(
        "video/x-raw, format=YUY2, width=600, height=400, framerate=30/1, pixel-aspect-ratio=1/1;"
        "video/x-raw, format=YUY2, width=680, height=400, framerate=30/1, pixel-aspect-ratio=1/1");
    auto controller = cameraController();
    controller->update(device.get());

    EXPECT_EQ(texts(*controller),
              (std::vector<std::string>{"680 x 400 @ 30 fps", "600 x 400 @ 30 fps"}));
    EXPECT_EQ(controller->current_string(), std::optional<std::string>("680 x 400 @ 30 fps"));
}

TEST_F(CapsControllerTest, DefaultIsTheWidthClosestTo640) {
    const auto device = makeDevice(
        "video/x-raw, format=NV12, width=1920, height=1080, framerate=30/1, pixel-aspect-ratio=1/1;"
        "video/x-raw, format=NV12, width=800, height=600, framerate=30/1, pixel-aspect-ratio=1/1;"
        "video/x-raw, format=NV12, width=352, height=288, framerate=30/1, pixel-aspect-ratio=1/1");
    auto controller = cameraController();
    controller->update(device.get());
    EXPECT_EQ(controller->current_string(), std::optional<std::string>("800 x 600 @ 30 fps"));
}

TEST_F(CapsControllerTest, SortsByWidthHeightRateAspectThenFormatOrder) {
    const auto device = makeDevice(
        "video/x-raw, format=RGB, width=640, height=360, framerate=30/1, pixel-aspect-ratio=1/1;"
        "video/x-raw, format=RGB, width=640, height=480, framerate=30000/1001, "
        "pixel-aspect-ratio=1/1;"
        "video/x-raw, format=BGR, width=640, height=480, framerate=30/1, pixel-aspect-ratio=1/1;"
        "video/x-raw, format=RGB, width=640, height=480, framerate=30/1, pixel-aspect-ratio=4/3;"
        "video/x-raw, format=MJPG, width=640, height=480, framerate=30/1, pixel-aspect-ratio=1/1;"
        "video/x-raw, format=RGB, width=640, height=480, framerate=30/1, pixel-aspect-ratio=1/1;"
        "video/x-raw, format=RGB, width=1024, height=768, framerate=5/1, pixel-aspect-ratio=1/1");
    auto controller = keepAllController();
    controller->update(device.get());

    const auto& offered = controller->offered();
    ASSERT_EQ(offered.size(), 5u);
    EXPECT_EQ(caps_to_string(offered[0]), "1024 x 768 @ 5 fps");
    EXPECT_EQ(caps_to_string(offered[1]), "640 x 480 @ 30 fps");
    EXPECT_EQ(offered[1].pixel_aspect_ratio, 4.0 / 3.0);
    EXPECT_EQ(caps_to_string(offered[2]), "640 x 480 @ 30 fps");
    EXPECT_EQ(offered[2].pixel_aspect_ratio, 1.0);
    EXPECT_EQ(offered[2].format, "RGB");  // before BGR, and an unknown MJPG ranks last
    EXPECT_EQ(caps_to_string(offered[3]), "640 x 480 @ 30000/1001 fps");
    EXPECT_EQ(caps_to_string(offered[4]), "640 x 360 @ 30 fps");
}

TEST_F(CapsControllerTest, UnknownFormatsRankAfterKnownOnesInDuplicates) {
    const auto device = makeDevice(
        "video/x-raw, format=GRAY8, width=640, height=480, framerate=30/1, pixel-aspect-ratio=1/1;"
        "video/x-raw, format=BGR, width=640, height=480, framerate=30/1, pixel-aspect-ratio=1/1");
    auto controller = keepAllController();
    controller->update(device.get());
    ASSERT_EQ(controller->offered().size(), 1u);
    EXPECT_EQ(controller->offered()[0].format, "BGR");
}

TEST_F(CapsControllerTest, FilterRemovesModesAndKeepsTheOthersInOrder) {
    const auto device = makeDevice(
        "video/x-raw, format=YUY2, width=640, height=480, framerate=30/1, pixel-aspect-ratio=1/1;"
        "video/x-raw, format=GRAY8, width=800, height=600, framerate=30/1, pixel-aspect-ratio=1/1;"
        "video/x-raw, format=NV12, width=320, height=240, framerate=0/1, pixel-aspect-ratio=1/1;"
        "video/x-raw, format=NV12, width=320, height=240, framerate=-15/1, pixel-aspect-ratio=1/1;"
        "video/x-raw, format=nv12, width=320, height=240, framerate=15/1, pixel-aspect-ratio=1/1;"
        "video/x-raw, format=I420, width=160, height=120, framerate=1/1000, "
        "pixel-aspect-ratio=1/1");
    std::vector<std::string> seen;
    CapsController controller(
        [&seen](const Caps& caps) {
            seen.push_back(caps.format);
            return camera_caps_filter(caps);
        },
        camera_format_less, [](const Caps&) { return true; });
    controller.update(device.get());

    // Every structure read, in device order, reaches the filter exactly once.
    EXPECT_EQ(seen, (std::vector<std::string>{"YUY2", "GRAY8", "NV12", "NV12", "nv12", "I420"}));
    EXPECT_EQ(texts(controller),
              (std::vector<std::string>{"640 x 480 @ 30 fps", "160 x 120 @ 1/1000 fps"}));
}

TEST_F(CapsControllerTest, Yv12ModeIsOfferedByTheCameraFilter) {
    const auto device = makeDevice(
        "video/x-raw, format=YV12, width=640, height=480, framerate=30/1, pixel-aspect-ratio=1/1");
    auto controller = cameraController();
    controller->update(device.get());
    ASSERT_EQ(controller->offered().size(), 1u);
    EXPECT_EQ(controller->offered()[0].format, "YV12");
    EXPECT_EQ(controller->current()->format, "YV12");
}

TEST_F(CapsControllerTest, NonRawStructuresAreNeverOfferedAndNotLogged) {
    const auto device = makeDevice(
        "image/jpeg, width=1920, height=1080, framerate=30/1, pixel-aspect-ratio=1/1;"
        "video/x-h264, stream-format=byte-stream, width=1280, height=720, framerate=30/1;"
        "video/x-bayer, format=rggb, width=800, height=600, framerate=30/1, "
        "pixel-aspect-ratio=1/1;"
        "image/jpeg;"
        "video/x-raw, format=YUY2, width=320, height=240, framerate=30/1, pixel-aspect-ratio=1/1");
    auto controller = keepAllController();
    controller->update(device.get());
    EXPECT_EQ(texts(*controller), (std::vector<std::string>{"320 x 240 @ 30 fps"}));
    EXPECT_TRUE(records().empty());
}

TEST_F(CapsControllerTest, DeviceWithoutModesOffersNothingAndChoosesNothing) {
    const auto device = makeDevice("image/jpeg, width=640, height=480, framerate=30/1");
    auto controller = cameraController();
    controller->update(device.get());
    EXPECT_TRUE(controller->offered().empty());
    EXPECT_FALSE(controller->current().has_value());
    EXPECT_TRUE(m_changes.empty());
}

TEST_F(CapsControllerTest, DeviceWithoutCapsOffersNothing) {
    const auto device = makeDevice(static_cast<GstCaps*>(nullptr));
    auto controller = cameraController();
    controller->update(device.get());
    EXPECT_TRUE(controller->offered().empty());
}

TEST_F(CapsControllerTest, UpdateWithNothingLeftKeepsThePreviousChoice) {
    auto controller = cameraController();
    controller->update(makeDevice("video/x-raw, format=YUY2, width=640, height=480, "
                                  "framerate=30/1, pixel-aspect-ratio=1/1")
                           .get());
    ASSERT_EQ(controller->current_string(), std::optional<std::string>("640 x 480 @ 30 fps"));

    controller->update(makeDevice("image/jpeg, width=1280, height=720, framerate=30/1").get());
    EXPECT_TRUE(controller->offered().empty());
    EXPECT_EQ(controller->current_string(), std::optional<std::string>("640 x 480 @ 30 fps"));
    EXPECT_EQ(m_changes.size(), 1u);
}

TEST_F(CapsControllerTest, UpdateReplacesTheListAndChoosesAgain) {
    auto controller = cameraController();
    controller->update(makeDevice("video/x-raw, format=YUY2, width=640, height=480, "
                                  "framerate=30/1, pixel-aspect-ratio=1/1")
                           .get());
    controller->update(makeDevice("video/x-raw, format=NV12, width=1280, height=720, "
                                  "framerate=60/1, pixel-aspect-ratio=1/1")
                           .get());
    EXPECT_EQ(texts(*controller), (std::vector<std::string>{"1280 x 720 @ 60 fps"}));
    EXPECT_EQ(controller->current_string(), std::optional<std::string>("1280 x 720 @ 60 fps"));
    EXPECT_EQ(m_changes.size(), 2u);
}

// ---------------------------------------------------------------------------------------
// Frame rates.

TEST_F(CapsControllerTest, FrameRateRangeGivesItsMaximum) {
    const auto device = makeDevice(
        "video/x-raw, format=YUY2, width=640, height=480, framerate=[1/1, 60/1], "
        "pixel-aspect-ratio=1/1");
    auto controller = cameraController();
    controller->update(device.get());
    ASSERT_EQ(controller->offered().size(), 1u);
    EXPECT_EQ(controller->offered()[0].framerate, Rate(60, 1));
    EXPECT_EQ(controller->current_string(), std::optional<std::string>("640 x 480 @ 60 fps"));
}

TEST_F(CapsControllerTest, FrameRateListGivesItsLargest) {
    const auto device = makeDevice(
        "video/x-raw, format=YUY2, width=640, height=480, framerate={15/1, 30/1, 25/1}, "
        "pixel-aspect-ratio=1/1");
    auto controller = cameraController();
    controller->update(device.get());
    ASSERT_EQ(controller->offered().size(), 1u);
    EXPECT_EQ(controller->offered()[0].framerate, Rate(30, 1));
}

TEST_F(CapsControllerTest, FrameRateListComparesExactFractions) {
    const auto device = makeDevice(
        "video/x-raw, format=YUY2, width=640, height=480, "
        "framerate={30000/1001, 2997/100, 30000/1000}, pixel-aspect-ratio=1/1");
    auto controller = cameraController();
    controller->update(device.get());
    ASSERT_EQ(controller->offered().size(), 1u);
    EXPECT_EQ(controller->offered()[0].framerate, Rate(30, 1));
}

TEST_F(CapsControllerTest, FrameRateListOfNegativeRatesGivesZero) {
    const auto device = makeDevice(
        "video/x-raw, format=YUY2, width=640, height=480, framerate={-15/1, -30/1}, "
        "pixel-aspect-ratio=1/1");
    auto controller = keepAllController();
    controller->update(device.get());
    ASSERT_EQ(controller->offered().size(), 1u);
    EXPECT_EQ(controller->offered()[0].framerate, Rate(0, 1));
}

TEST_F(CapsControllerTest, EmptyFrameRateListIsLoggedAsWarningAndGivesZero) {
    const gst_support::CapsPtr caps(gst_caps_new_empty());
    GstStructure* structure = rawStructure(640, 480, "YUY2");
    GValue empty_list = G_VALUE_INIT;
    g_value_init(&empty_list, GST_TYPE_LIST);
    gst_structure_take_value(structure, "framerate", &empty_list);
    gst_caps_append_structure(caps.get(), structure);
    const auto device = makeDevice(caps.get());

    auto controller = keepAllController();
    controller->update(device.get());
    ASSERT_EQ(controller->offered().size(), 1u);
    EXPECT_EQ(controller->offered()[0].framerate, Rate(0, 1));
    const auto logged = records();
    ASSERT_EQ(logged.size(), 1u);
    EXPECT_EQ(logged[0].severity, 5);
    EXPECT_EQ(logged[0].channel, "zelt_plugin_camera");
    EXPECT_EQ(logged[0].message, "Found an empty list of frame rates");

    // The camera's filter drops a mode of rate 0/1.
    auto camera = cameraController();
    camera->update(device.get());
    EXPECT_TRUE(camera->offered().empty());
}

// Builds a device whose only raw structure has the given field problem, after one good one
// and before another, so that the walk can be seen to go on.
gst_support::DevicePtr deviceWithFaultyMiddle(const char* middle) {
    const std::string text = std::string(
                                 "video/x-raw, format=YUY2, width=800, height=600, framerate=30/1, "
                                 "pixel-aspect-ratio=1/1;") +
                             middle +
                             ";video/x-raw, format=YUY2, width=320, height=240, framerate=30/1, "
                             "pixel-aspect-ratio=1/1";
    return makeDevice(text.c_str());
}

struct SkippedStructure {
    const char* name;
    const char* middle;
    const char* message;
};

class CapsControllerSkipsTest : public CapsControllerTest,
                                public ::testing::WithParamInterface<SkippedStructure> {};

TEST_P(CapsControllerSkipsTest, FaultyStructureIsLoggedAsErrorAndSkipped) {
    const auto device = deviceWithFaultyMiddle(GetParam().middle);
    auto controller = keepAllController();
    controller->update(device.get());

    EXPECT_EQ(texts(*controller),
              (std::vector<std::string>{"800 x 600 @ 30 fps", "320 x 240 @ 30 fps"}));
    const auto logged = records();
    ASSERT_EQ(logged.size(), 1u);
    EXPECT_EQ(logged[0].severity, 6);
    EXPECT_EQ(logged[0].channel, "zelt_plugin_camera");
    EXPECT_EQ(logged[0].message, GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Faults, CapsControllerSkipsTest,
    ::testing::Values(
        SkippedStructure{"MissingFrameRate",
                         "video/x-raw, format=YUY2, width=640, height=480, pixel-aspect-ratio=1/1",
                         "Cannot retrieve frame rate"},
        SkippedStructure{"IntegerFrameRate",
                         "video/x-raw, format=YUY2, width=640, height=480, framerate=(int)30, "
                         "pixel-aspect-ratio=1/1",
                         "Do not know how to extract frame rate"},
        SkippedStructure{"StringFrameRate",
                         "video/x-raw, format=YUY2, width=640, height=480, framerate=30/0, "
                         "pixel-aspect-ratio=1/1",
                         "Do not know how to extract frame rate"},
        SkippedStructure{"FrameRateListOfIntegers",
                         "video/x-raw, format=YUY2, width=640, height=480, framerate={30, 15}, "
                         "pixel-aspect-ratio=1/1",
                         "Do not know how to extract frame rate"},
        SkippedStructure{"FrameRateArray",
                         "video/x-raw, format=YUY2, width=640, height=480, "
                         "framerate=<30/1, 15/1>, pixel-aspect-ratio=1/1",
                         "Do not know how to extract frame rate"},
        SkippedStructure{"MissingPixelAspectRatio",
                         "video/x-raw, format=YUY2, width=640, height=480, framerate=30/1",
                         "Cannot retrieve pixel aspect ratio"},
        SkippedStructure{"PixelAspectRatioRange",
                         "video/x-raw, format=YUY2, width=640, height=480, framerate=30/1, "
                         "pixel-aspect-ratio=[1/2, 2/1]",
                         "Cannot retrieve pixel aspect ratio"},
        SkippedStructure{"MissingFormat",
                         "video/x-raw, width=640, height=480, framerate=30/1, "
                         "pixel-aspect-ratio=1/1",
                         "Cannot retrieve image format"},
        SkippedStructure{"FormatList",
                         "video/x-raw, format={YUY2, I420}, width=640, height=480, "
                         "framerate=30/1, pixel-aspect-ratio=1/1",
                         "Cannot retrieve image format"}),
    [](const ::testing::TestParamInfo<SkippedStructure>& info) { return info.param.name; });

TEST_F(CapsControllerTest, FrameRateIsCheckedBeforeAspectAndFormat) {
    const auto device = makeDevice("video/x-raw, width=640, height=480");
    auto controller = keepAllController();
    controller->update(device.get());
    const auto logged = records();
    ASSERT_EQ(logged.size(), 1u);
    EXPECT_EQ(logged[0].message, "Cannot retrieve frame rate");
}

// ---------------------------------------------------------------------------------------
// Errors that leave update().

TEST_F(CapsControllerTest, MissingWidthLeavesUpdateAsInvalidArgument) {
    auto controller = cameraController();
    controller->update(makeDevice("video/x-raw, format=YUY2, width=640, height=480, "
                                  "framerate=30/1, pixel-aspect-ratio=1/1")
                           .get());
    const auto device = deviceWithFaultyMiddle(
        "video/x-raw, format=YUY2, height=480, framerate=30/1, pixel-aspect-ratio=1/1");
    try {
        controller->update(device.get());
        ADD_FAILURE() << "update did not throw";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "Cannot retrieve value for width");
    }
    // The walk ended there: nothing after it was read, no default was chosen again.
    EXPECT_EQ(texts(*controller), (std::vector<std::string>{"800 x 600 @ 30 fps"}));
    EXPECT_EQ(controller->current_string(), std::optional<std::string>("640 x 480 @ 30 fps"));
    EXPECT_EQ(m_changes.size(), 1u);
    EXPECT_TRUE(records().empty());
}

TEST_F(CapsControllerTest, MissingHeightLeavesUpdateAsInvalidArgument) {
    const auto device =
        makeDevice("video/x-raw, format=YUY2, width=640, framerate=30/1, pixel-aspect-ratio=1/1");
    auto controller = cameraController();
    try {
        controller->update(device.get());
        ADD_FAILURE() << "update did not throw";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "Cannot retrieve value for height");
    }
}

TEST_F(CapsControllerTest, WidthRangeIsNoWidthAndLeavesUpdate) {
    const auto device = makeDevice(
        "video/x-raw, format=YUY2, width=[1, 1920], height=480, framerate=30/1, "
        "pixel-aspect-ratio=1/1");
    auto controller = cameraController();
    try {
        controller->update(device.get());
        ADD_FAILURE() << "update did not throw";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "Cannot retrieve value for width");
    }
}

TEST_F(CapsControllerTest, MissingSizeIsFoundBeforeAMissingFrameRate) {
    const auto device = makeDevice("video/x-raw, format=YUY2, height=480");
    auto controller = cameraController();
    EXPECT_THROW(controller->update(device.get()), std::invalid_argument);
    EXPECT_TRUE(records().empty());
}

TEST_F(CapsControllerTest, ZeroDenominatorFrameRateLeavesUpdateAsBadRational) {
    // GStreamer's own setters refuse a zero denominator; only a broken device provider could
    // hand one over. The fraction's storage (numerator, denominator) is written directly.
    GValue rate = G_VALUE_INIT;
    g_value_init(&rate, GST_TYPE_FRACTION);
    rate.data[0].v_int = 30;
    rate.data[1].v_int = 0;
    ASSERT_EQ(gst_value_get_fraction_denominator(&rate), 0);
    const gst_support::CapsPtr caps(gst_caps_new_empty());
    GstStructure* structure = rawStructure(640, 480, "YUY2");
    gst_structure_take_value(structure, "framerate", &rate);
    gst_caps_append_structure(caps.get(), structure);
    const auto device = makeDevice(caps.get());

    auto controller = cameraController();
    try {
        controller->update(device.get());
        ADD_FAILURE() << "update did not throw";
    } catch (const boost::bad_rational& error) {
        EXPECT_STREQ(error.what(), "bad rational: zero denominator");
    }
    EXPECT_TRUE(records().empty());
}

TEST_F(CapsControllerTest, NullControllerInTheWalkIsReportedAsData) {
    const gst_support::StructurePtr structure(rawStructure(640, 480, "YUY2"));
    EXPECT_EQ(CapsController::readStructureCallback(nullptr, structure.get(), nullptr), TRUE);
    const auto reports = m_assertions.reports();
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(reports[0].expression, "data");
    EXPECT_EQ(reports[0].source, kControllerSource);
    EXPECT_GT(reports[0].line, 0);
}

TEST_F(CapsControllerTest, EmptyChangeCallbackIsReportedAndEveryChoiceFails) {
    CapsController controller(camera_caps_filter, camera_format_less, CapsController::OnChange());
    const auto reports = m_assertions.reports();
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(reports[0].expression, "m_on_change_callback");
    EXPECT_EQ(reports[0].source, kControllerSource);
    EXPECT_GT(reports[0].line, 0);

    controller.update(makeDevice("video/x-raw, format=YUY2, width=640, height=480, "
                                 "framerate=30/1, pixel-aspect-ratio=1/1")
                          .get());
    EXPECT_EQ(controller.offered().size(), 1u);
    EXPECT_FALSE(controller.current().has_value());
    EXPECT_FALSE(controller.set_from_string("640 x 480 @ 30 fps"));
}

}  // namespace
}  // namespace zelt_camera
