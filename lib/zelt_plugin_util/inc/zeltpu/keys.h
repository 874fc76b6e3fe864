// The configuration keys shared by the plug-ins of this host and the host itself.
//
// Every key is spelled here once; plug-ins, channels and options name keys only through these
// constants. Keys are case-sensitive and compared byte for byte. A key is a plain word
// ("SampleRate"), a family-qualified name ("CAMERA/FrameSetting"), an identification key that
// tells channels apart across sessions ("ID:CAMERA/ChannelIndex") or an action
// ("ACTION:Camera/AutoGain"). "ID:" keys identify a channel; the other keys configure it, so
// "ID:CAMERA/ChannelIndex" and "CAMERA/Type" must never be confused.
#pragma once

#include "zeltpu/namespace.h"

namespace zelt::plugin_util::keys {

// Channel keys every channel kind answers.
inline constexpr const char* kUsed = "Used";
inline constexpr const char* kValid = "Valid";
inline constexpr const char* kChannelType = "ChannelType";
inline constexpr const char* kShortId = "ShortId";
inline constexpr const char* kAdditionalChannelInfo2 = "AdditionalChannelInfo2";
inline constexpr const char* kDefaultName = "DefaultName";
inline constexpr const char* kSampleUpdateType = "SampleUpdateType";
inline constexpr const char* kSampleRate = "SampleRate";
inline constexpr const char* kSampleResolution = "SampleResolution";
inline constexpr const char* kRange = "Range";

// Counter channel keys.
inline constexpr const char* kMode = "Mode";
inline constexpr const char* kUnit = "Unit";
inline constexpr const char* kCounterFilter = "Counter_Filter";
inline constexpr const char* kReTrigger = "ReTrigger";
inline constexpr const char* kThreshold = "Threshold";

// Plug-in keys.
inline constexpr const char* kPluginGodMode = "Plugin/GodMode";
inline constexpr const char* kFrameCounterChannels = "FrameCounterChannels";

// Identification keys of camera channels and their sub-channels.
inline constexpr const char* kIdCameraChannelIndex = "ID:CAMERA/ChannelIndex";
inline constexpr const char* kIdCameraSubChannelId = "ID:CAMERA/SubChannelId";

// Camera channel keys.
inline constexpr const char* kCameraFrameSetting = "CAMERA/FrameSetting";
inline constexpr const char* kCameraFrameSubsampling = "CAMERA/FrameSubsampling";
inline constexpr const char* kCameraType = "CAMERA/Type";
inline constexpr const char* kFrameWidth = "FrameWidth";
inline constexpr const char* kFrameHeight = "FrameHeight";
inline constexpr const char* kFrameOffsetX = "FrameOffsetX";
inline constexpr const char* kFrameOffsetY = "FrameOffsetY";
inline constexpr const char* kPixelAspectRatio = "PixelAspectRatio";
inline constexpr const char* kFrameFormat = "FrameFormat";

// Camera settings reserved by the host for later camera options (not offered yet). The
// spelling is the host's: lower-case "b" in "Whitebalance".
inline constexpr const char* kCameraExposure = "CAMERA/Exposure";
inline constexpr const char* kCameraExposureAuto = "CAMERA/ExposureAuto";
inline constexpr const char* kCameraGain = "CAMERA/Gain";
inline constexpr const char* kCameraGainAuto = "CAMERA/GainAuto";
inline constexpr const char* kCameraGainAutoAdjustTol = "CAMERA/GainAutoAdjustTol";
inline constexpr const char* kCameraGainAutoRate = "CAMERA/GainAutoRate";
inline constexpr const char* kCameraGamma = "CAMERA/Gamma";
inline constexpr const char* kCameraHue = "CAMERA/Hue";
inline constexpr const char* kCameraSaturation = "CAMERA/Saturation";
inline constexpr const char* kCameraTriggerMode = "CAMERA/TriggerMode";
inline constexpr const char* kCameraWhitebalanceAuto = "CAMERA/WhitebalanceAuto";
inline constexpr const char* kCameraWhitebalanceRed = "CAMERA/WhitebalanceRed";
inline constexpr const char* kCameraWhitebalanceBlue = "CAMERA/WhitebalanceBlue";

// Camera actions reserved by the host. The family is written "Camera" here, as the host does.
inline constexpr const char* kActionCameraAutoExposure = "ACTION:Camera/AutoExposure";
inline constexpr const char* kActionCameraAutoGain = "ACTION:Camera/AutoGain";
inline constexpr const char* kActionCameraAutoWhitebalance = "ACTION:Camera/AutoWhitebalance";

}  // namespace zelt::plugin_util::keys
