#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "zeltpu/keys.h"

namespace keys = zelt::plugin_util::keys;

namespace {

// Every key with the host's spelling.
const std::vector<std::pair<const char*, const char*>>& keyTable() {
    static const std::vector<std::pair<const char*, const char*>> table = {
        {keys::kUsed, "Used"},
        {keys::kValid, "Valid"},
        {keys::kChannelType, "ChannelType"},
        {keys::kShortId, "ShortId"},
        {keys::kAdditionalChannelInfo2, "AdditionalChannelInfo2"},
        {keys::kDefaultName, "DefaultName"},
        {keys::kSampleUpdateType, "SampleUpdateType"},
        {keys::kSampleRate, "SampleRate"},
        {keys::kSampleResolution, "SampleResolution"},
        {keys::kRange, "Range"},
        {keys::kMode, "Mode"},
        {keys::kUnit, "Unit"},
        {keys::kCounterFilter, "Counter_Filter"},
        {keys::kReTrigger, "ReTrigger"},
        {keys::kThreshold, "Threshold"},
        {keys::kPluginGodMode, "Plugin/GodMode"},
        {keys::kFrameCounterChannels, "FrameCounterChannels"},
        {keys::kIdCameraChannelIndex, "ID:CAMERA/ChannelIndex"},
        {keys::kIdCameraSubChannelId, "ID:CAMERA/SubChannelId"},
        {keys::kCameraFrameSetting, "CAMERA/FrameSetting"},
        {keys::kCameraFrameSubsampling, "CAMERA/FrameSubsampling"},
        {keys::kCameraType, "CAMERA/Type"},
        {keys::kFrameWidth, "FrameWidth"},
        {keys::kFrameHeight, "FrameHeight"},
        {keys::kFrameOffsetX, "FrameOffsetX"},
        {keys::kFrameOffsetY, "FrameOffsetY"},
        {keys::kPixelAspectRatio, "PixelAspectRatio"},
        {keys::kFrameFormat, "FrameFormat"},
        {keys::kCameraExposure, "CAMERA/Exposure"},
        {keys::kCameraExposureAuto, "CAMERA/ExposureAuto"},
        {keys::kCameraGain, "CAMERA/Gain"},
        {keys::kCameraGainAuto, "CAMERA/GainAuto"},
        {keys::kCameraGainAutoAdjustTol, "CAMERA/GainAutoAdjustTol"},
        {keys::kCameraGainAutoRate, "CAMERA/GainAutoRate"},
        {keys::kCameraGamma, "CAMERA/Gamma"},
        {keys::kCameraHue, "CAMERA/Hue"},
        {keys::kCameraSaturation, "CAMERA/Saturation"},
        {keys::kCameraTriggerMode, "CAMERA/TriggerMode"},
        {keys::kCameraWhitebalanceAuto, "CAMERA/WhitebalanceAuto"},
        {keys::kCameraWhitebalanceRed, "CAMERA/WhitebalanceRed"},
        {keys::kCameraWhitebalanceBlue, "CAMERA/WhitebalanceBlue"},
        {keys::kActionCameraAutoExposure, "ACTION:Camera/AutoExposure"},
        {keys::kActionCameraAutoGain, "ACTION:Camera/AutoGain"},
        {keys::kActionCameraAutoWhitebalance, "ACTION:Camera/AutoWhitebalance"},
    };
    return table;
}

TEST(KeysTest, EveryKeyIsSpelledAsTheHostSpellsIt) {
    for (const auto& [constant, text] : keyTable()) EXPECT_STREQ(constant, text);
}

TEST(KeysTest, NoTwoKeysAreEqual) {
    std::set<std::string> distinct;
    for (const auto& entry : keyTable()) distinct.insert(entry.first);
    EXPECT_EQ(distinct.size(), keyTable().size());
}

TEST(KeysTest, CameraTypeAndChannelIndexAreNeverConfused) {
    const std::string type = keys::kCameraType;
    const std::string index = keys::kIdCameraChannelIndex;
    EXPECT_EQ(type, "CAMERA/Type");
    EXPECT_EQ(index, "ID:CAMERA/ChannelIndex");
    EXPECT_NE(type, index);
    // Only the identification key carries the "ID:" prefix.
    EXPECT_EQ(index.rfind("ID:", 0), 0u);
    EXPECT_NE(type.rfind("ID:", 0), 0u);
    EXPECT_EQ(std::string(keys::kIdCameraSubChannelId).rfind("ID:", 0), 0u);
}

TEST(KeysTest, WhitebalanceKeysKeepTheLowerCaseB) {
    EXPECT_STREQ(keys::kCameraWhitebalanceAuto, "CAMERA/WhitebalanceAuto");
    EXPECT_STRNE(keys::kCameraWhitebalanceAuto, "CAMERA/WhiteBalanceAuto");
    EXPECT_STREQ(keys::kActionCameraAutoWhitebalance, "ACTION:Camera/AutoWhitebalance");
}

TEST(KeysTest, ActionKeysWriteTheFamilyAsCamera) {
    for (const char* action : {keys::kActionCameraAutoExposure, keys::kActionCameraAutoGain,
                               keys::kActionCameraAutoWhitebalance}) {
        EXPECT_EQ(std::string(action).rfind("ACTION:Camera/", 0), 0u) << action;
    }
}

}  // namespace
