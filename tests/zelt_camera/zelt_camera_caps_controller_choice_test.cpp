// The caps controller: choosing a mode by its text, the constraints of the frame setting,
// and the camera channel's filter and format order.
#include <gst/gst.h>
#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "zelt_camera_caps_controller.h"
#include "zelt_camera_caps_controller_fixture.h"

namespace zelt_camera {
namespace {

using caps_test::CapsControllerTest;
using caps_test::makeDevice;
using caps_test::Rate;
using config_items::OptionConstraint;
using config_items::StringConfigItem;

// ---------------------------------------------------------------------------------------
// Choosing by text.

class CapsControllerChoiceTest : public CapsControllerTest {
protected:
    void SetUp() override {
        CapsControllerTest::SetUp();
        m_controller = cameraController();
        m_controller->update(
            makeDevice("video/x-raw, format=YUY2, width=640, height=480, framerate={15/1, 30/1}, "
                       "pixel-aspect-ratio=1/1;"
                       "video/x-raw, format=NV12, width=640, height=480, framerate=15/1, "
                       "pixel-aspect-ratio=1/1;"
                       "video/x-raw, format=I420, width=1280, height=720, framerate=10/1, "
                       "pixel-aspect-ratio=1/1")
                .get());
        m_changes.clear();
    }

    std::unique_ptr<CapsController> m_controller;
};

TEST_F(CapsControllerChoiceTest, ChoiceGoesBySizeAndTakesTheHighestRate) {
    ASSERT_EQ(texts(*m_controller),
              (std::vector<std::string>{"1280 x 720 @ 10 fps", "640 x 480 @ 30 fps",
                                        "640 x 480 @ 15 fps"}));
    EXPECT_TRUE(m_controller->set_from_string("640 x 480 @ 15 fps"));
    ASSERT_EQ(m_changes.size(), 1u);
    EXPECT_EQ(m_changes[0].framerate, Rate(30, 1));
    EXPECT_EQ(m_changes[0].format, "YUY2");
    EXPECT_EQ(m_controller->current()->framerate, Rate(30, 1));
    EXPECT_EQ(m_controller->current_string(), std::optional<std::string>("640 x 480 @ 30 fps"));
}

TEST_F(CapsControllerChoiceTest, ChoiceAcceptsAnyTextTheGrammarAccepts) {
    EXPECT_TRUE(m_controller->set_from_string("1280x720@99fps trailing"));
    EXPECT_EQ(m_controller->current_string(), std::optional<std::string>("1280 x 720 @ 10 fps"));
    EXPECT_EQ(m_controller->current()->format, "I420");
}

TEST_F(CapsControllerChoiceTest, UnknownSizeFailsAndForgetsTheChoice) {
    ASSERT_TRUE(m_controller->current().has_value());
    EXPECT_FALSE(m_controller->set_from_string("1024 x 768 @ 30 fps"));
    EXPECT_FALSE(m_controller->current().has_value());
    EXPECT_EQ(m_controller->current_string(), std::nullopt);
    EXPECT_TRUE(m_changes.empty());
}

TEST_F(CapsControllerChoiceTest, UnparsableTextFailsAndForgetsTheChoice) {
    EXPECT_FALSE(m_controller->set_from_string("640X480@30fps"));
    EXPECT_EQ(m_controller->current_string(), std::nullopt);
    EXPECT_EQ(m_assertions.reports().size(), 1u);  // the parser's "Could not parse" report
    EXPECT_FALSE(m_controller->set_from_string("640x480@30/0fps"));
    EXPECT_EQ(m_controller->current_string(), std::nullopt);
    EXPECT_TRUE(m_changes.empty());
    EXPECT_TRUE(records().empty());
}

TEST_F(CapsControllerChoiceTest, RefusedChoiceFailsAndForgetsTheChoice) {
    m_accept = false;
    EXPECT_FALSE(m_controller->set_from_string("1280 x 720 @ 10 fps"));
    EXPECT_EQ(m_changes.size(), 1u);
    EXPECT_EQ(m_controller->current_string(), std::nullopt);
    EXPECT_TRUE(records().empty());
}

TEST_F(CapsControllerTest, ThrowingCallbackFailsTheChoice) {
    CapsController controller(camera_caps_filter, camera_format_less,
                              [](const Caps&) -> bool { throw std::logic_error("refused"); });
    controller.update(makeDevice("video/x-raw, format=YUY2, width=640, height=480, "
                                 "framerate=30/1, pixel-aspect-ratio=1/1")
                          .get());
    EXPECT_EQ(controller.offered().size(), 1u);
    EXPECT_FALSE(controller.current().has_value());
    EXPECT_FALSE(controller.set_from_string("640 x 480 @ 30 fps"));
}

TEST_F(CapsControllerTest, RefusedDefaultLeavesNoChoice) {
    m_accept = false;
    auto controller = cameraController();
    controller->update(makeDevice("video/x-raw, format=YUY2, width=640, height=480, "
                                  "framerate=30/1, pixel-aspect-ratio=1/1")
                           .get());
    EXPECT_EQ(m_changes.size(), 1u);
    EXPECT_EQ(controller->current_string(), std::nullopt);
}

TEST_F(CapsControllerTest, FreshControllerHasNoChoice) {
    auto controller = cameraController();
    EXPECT_TRUE(controller->offered().empty());
    EXPECT_FALSE(controller->current().has_value());
    EXPECT_EQ(controller->current_string(), std::nullopt);
    EXPECT_FALSE(controller->set_from_string("640 x 480 @ 30 fps"));
    EXPECT_TRUE(m_changes.empty());
    EXPECT_TRUE(m_assertions.reports().empty());
}

// ---------------------------------------------------------------------------------------
// Constraints.

TEST_F(CapsControllerChoiceTest, ConstraintsAreOneOptionPerModeThenNotDuringAcquisition) {
    const auto constraints = m_controller->constraints();
    ASSERT_EQ(constraints.size(), 4u);
    const std::vector<std::string> expected{"1280 x 720 @ 10 fps", "640 x 480 @ 30 fps",
                                            "640 x 480 @ 15 fps"};
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const auto* option =
            dynamic_cast<const OptionConstraint<StringConfigItem>*>(constraints[i].get());
        ASSERT_NE(option, nullptr) << i;
        EXPECT_EQ(option->item().m_value, expected[i]);
        EXPECT_EQ(option->item().m_kind, 0);
        EXPECT_TRUE(option->valueType() == typeid(StringConfigItem));
    }
    const auto* during =
        dynamic_cast<const channel_config::ConfigurableDuringAcquisitionConstraint*>(
            constraints[3].get());
    ASSERT_NE(during, nullptr);
    EXPECT_FALSE(during->flag());
}

TEST_F(CapsControllerTest, ConstraintsOfAnEmptyListAreTheAcquisitionFlagOnly) {
    auto controller = cameraController();
    const auto constraints = controller->constraints();
    ASSERT_EQ(constraints.size(), 1u);
    const auto* during =
        dynamic_cast<const channel_config::ConfigurableDuringAcquisitionConstraint*>(
            constraints[0].get());
    ASSERT_NE(during, nullptr);
    EXPECT_FALSE(during->flag());
}

// ---------------------------------------------------------------------------------------
// The camera channel's functions.

Caps modeOf(Rate rate, const char* format) {
    Caps caps;
    caps.width = 640;
    caps.height = 480;
    caps.framerate = rate;
    caps.format = format;
    return caps;
}

TEST(CameraCapsFilter, AcceptsPositiveRatesOnly) {
    EXPECT_TRUE(camera_caps_filter(modeOf(Rate(30, 1), "YUY2")));
    EXPECT_TRUE(camera_caps_filter(modeOf(Rate(1, 1000), "YUY2")));
    EXPECT_FALSE(camera_caps_filter(modeOf(Rate(0, 1), "YUY2")));
    EXPECT_FALSE(camera_caps_filter(modeOf(Rate(-1, 2), "YUY2")));
    EXPECT_FALSE(camera_caps_filter(modeOf(Rate(-30, 1), "YUY2")));
}

TEST(CameraCapsFilter, AcceptsExactlyTheSixFormats) {
    for (const char* format : {"I420", "YV12", "NV12", "YUY2", "RGB", "BGR"})
        EXPECT_TRUE(camera_caps_filter(modeOf(Rate(30, 1), format))) << format;
    for (const char* format : {"", "yuy2", "UYVY", "GRAY8", "RGBA", "NV21", "MJPG", "RGB "})
        EXPECT_FALSE(camera_caps_filter(modeOf(Rate(30, 1), format))) << format;
}

TEST(CameraFormatLess, RanksByThePreferenceListWithUnknownNamesLast) {
    const std::vector<std::string> order{"I420", "YV12", "NV12", "YUY2", "RGB", "BGR"};
    for (std::size_t i = 0; i < order.size(); ++i) {
        EXPECT_FALSE(camera_format_less(order[i], order[i]));
        EXPECT_TRUE(camera_format_less(order[i], "GRAY8"));
        EXPECT_FALSE(camera_format_less("GRAY8", order[i]));
        for (std::size_t j = i + 1; j < order.size(); ++j) {
            EXPECT_TRUE(camera_format_less(order[i], order[j]));
            EXPECT_FALSE(camera_format_less(order[j], order[i]));
        }
    }
    EXPECT_FALSE(camera_format_less("GRAY8", "MJPG"));
    EXPECT_FALSE(camera_format_less("MJPG", "GRAY8"));
}

}  // namespace
}  // namespace zelt_camera
