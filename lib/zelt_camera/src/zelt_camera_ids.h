// Identifiers of the camera plug-in and of its channels.
#pragma once

#include <cstdint>
#include <string>

#include "tsa/api_object.h"

namespace zelt_camera {

/// The plug-in's kind, as the host asks for it.
inline constexpr const char* kPluginKind = "CAMERA";
/// The plug-in's name (slot getPluginName).
inline constexpr const char* kPluginName = "Camera";
/// Plug-in type identifier, answered by the creator and the plug-in.
inline constexpr const char* kPluginTypeIdText = "{D40250C7-33F6-4ECE-9A88-BAE8EE6D5FA5}";
/// Plug-in instance type identifier.
inline constexpr const char* kPluginInstanceTypeIdText = "{E55F6703-E783-4504-A46B-35AC2E8239EB}";

/// Parses an identifier text with Boost's UUID string generator (called each time an
/// identifier is needed, as the host contract has it).
tsa::Uuid parse_uuid(const char* text);
/// The 36-character lower-case form with hyphens ("d40250c7-33f6-...").
std::string uuid_to_string(const tsa::Uuid& id);

/// Channel id of the frame counter of the camera with index `camera_index`.
constexpr std::uint32_t counter_channel_id(std::uint32_t camera_index) noexcept {
    return (camera_index & 0xFFFFu) | 0x10000u;
}

}  // namespace zelt_camera
