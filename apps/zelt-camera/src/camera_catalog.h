// The cameras of the plug-in as the tool presents them, read through the host interfaces.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "zelt_host/host.h"

namespace zelt::cli {

/// Keys the tool reads; the channel's own words.
namespace keys {
inline constexpr const char* kDefaultName = "DefaultName";
inline constexpr const char* kChannelIndex = "ID:CAMERA/ChannelIndex";
inline constexpr const char* kSubChannelId = "ID:CAMERA/SubChannelId";
inline constexpr const char* kFrameSetting = "CAMERA/FrameSetting";
inline constexpr const char* kFrameSubsampling = "CAMERA/FrameSubsampling";
inline constexpr const char* kValid = "Valid";
inline constexpr const char* kSampleRate = "SampleRate";
inline constexpr const char* kFrameFormat = "FrameFormat";
}  // namespace keys

/// One camera channel and what the tool shows of it.
struct CameraEntry {
    std::uint32_t id = 0;
    std::string name;         ///< "DefaultName"
    std::string device_path;  ///< "ID:CAMERA/ChannelIndex"
    bool valid = true;        ///< "Valid": false once the camera posted an error
    /// The frame settings offered, in the camera's order (the options of "CAMERA/FrameSetting").
    std::vector<std::string> settings;
    /// The selected frame setting; nothing when none is selected (the camera then answers
    /// "Could not retrieve current caps value").
    std::optional<std::string> current_setting;
    /// The frame counter channel, (id & 0xFFFF) | 0x10000, when the plug-in offers it.
    std::optional<std::uint32_t> counter_id;
    std::string counter_name;
};

/// The frame counter channel id of the camera channel `id`.
constexpr std::uint32_t counterChannelId(std::uint32_t id) noexcept {
    return (id & 0xFFFFu) | 0x10000u;
}

/// Every camera channel of the open plug-in, ascending by id. Sub-channels (those with the
/// key "ID:CAMERA/SubChannelId") are listed with their camera, not on their own.
std::vector<CameraEntry> listCameras(const zelt::host::Host& host);

/// The text form of `key` on channel `id`; nothing when the channel answers with an exception
/// (the frame setting does when no mode is selected).
std::optional<std::string> itemTextOrNothing(const zelt::host::Host& host, std::uint32_t id,
                                             const std::string& key);

/// The channel `wanted` names: a decimal channel id of any channel (sub-channels included),
/// else a camera's device path, else a camera's name (exactly). Throws CliError
/// (kUnknownChannel) listing the cameras, or (kNoCamera) when there are none.
std::uint32_t resolveChannel(const zelt::host::Host& host, const std::vector<CameraEntry>& cameras,
                             const std::string& wanted);

/// The camera `wanted` names (as resolveChannel, but a frame counter channel is refused).
const CameraEntry& resolveCamera(const zelt::host::Host& host,
                                 const std::vector<CameraEntry>& cameras,
                                 const std::string& wanted);

/// The error for a plug-in without cameras, suggesting --virtual unless it was used.
[[noreturn]] void throwNoCamera(bool virtual_cameras);

}  // namespace zelt::cli
