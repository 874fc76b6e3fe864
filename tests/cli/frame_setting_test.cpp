#include "frame_setting.h"

#include <gtest/gtest.h>

namespace zelt::cli {
namespace {

TEST(FrameSettingTest, ReadsTheTextFormWithOrWithoutBlanks) {
    const auto spaced = parseFrameSetting("640 x 480 @ 30 fps");
    const auto tight = parseFrameSetting("640x480@30fps");
    ASSERT_TRUE(spaced.has_value());
    EXPECT_EQ(spaced, tight);
    EXPECT_EQ(spaced->width, 640);
    EXPECT_EQ(spaced->height, 480);
    EXPECT_EQ(spaced->rate_numerator, 30);
    EXPECT_EQ(spaced->rate_denominator, 1);
    EXPECT_TRUE(parseFrameSetting("  640x480 @30/1fps  ").has_value());
    // "fps" may be left out.
    EXPECT_EQ(parseFrameSetting("640x480@30"), tight);
}

TEST(FrameSettingTest, ReducesTheRate) {
    const auto setting = parseFrameSetting("1920 x 1080 @ 60000/2002 fps");
    ASSERT_TRUE(setting.has_value());
    EXPECT_EQ(setting->rate_numerator, 30000);
    EXPECT_EQ(setting->rate_denominator, 1001);
    EXPECT_EQ(frameSettingText(*setting), "1920 x 1080 @ 30000/1001 fps");
    EXPECT_EQ(frameSettingText(*parseFrameSetting("640x480@60/2fps")), "640 x 480 @ 30 fps");
}

TEST(FrameSettingTest, RefusesWhatIsNotAFrameSetting) {
    for (const char* text :
         {"", "   ", "640X480@30fps", "640x480@fps", "640*480@30fps", "640x480@30/0fps",
          "640x480@30/ 1fps", "640x480@30fps trailing", "-640x480@30fps", "640x480@30FPS"}) {
        EXPECT_FALSE(parseFrameSetting(text).has_value()) << text;
    }
}

TEST(FrameSettingTest, FindsTheOfferedSettingWithTheSameSizeAndRate) {
    const std::vector<std::string> offered{"1280 x 720 @ 30 fps", "640 x 480 @ 30 fps",
                                           "640 x 480 @ 15 fps"};
    EXPECT_EQ(findOfferedSetting(offered, "640x480@30fps"), "640 x 480 @ 30 fps");
    EXPECT_EQ(findOfferedSetting(offered, "640 x 480 @ 30/2 fps"), "640 x 480 @ 15 fps");
    // The size alone is not enough: another rate is another setting.
    EXPECT_FALSE(findOfferedSetting(offered, "640 x 480 @ 60 fps").has_value());
    EXPECT_FALSE(findOfferedSetting(offered, "320 x 240 @ 30 fps").has_value());
    EXPECT_FALSE(findOfferedSetting(offered, "nonsense").has_value());
}

}  // namespace
}  // namespace zelt::cli
