// What the plug-in reads of a GStreamer device: its path properties and the key made of them.
#pragma once

#include <gst/gst.h>

#include <optional>
#include <string>
#include <utility>

namespace zelt_camera {

/// The text of the device's string property `name`; nothing when the device has no such
/// property or its value is unset. GLib's copy is freed.
std::optional<std::string> device_string_property(GstDevice* device, const char* name);

/// The device path as discovery keys devices by: "path"; when that yields no text,
/// "device-path"; else empty. An empty but present "path" is taken as it is.
std::string get_device_path(GstDevice* device);

/// Name of the device provider factory whose started provider announced the device; empty
/// for a device that no provider holds (a probed one).
std::string device_provider_name(GstDevice* device);

/// Splits a device path at its last '#': (key, interface-class suffix). A path without '#' is
/// its own key with an empty suffix. Two providers reporting one camera yield one key.
std::pair<std::string, std::string> make_device_key(const std::string& path);

}  // namespace zelt_camera
