// The description of one virtual camera, and where descriptions come from: the default
// cameras, a JSON document, the environment variable.
#pragma once

#include <gst/gst.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "gst_support/gst_ptr.h"

namespace zelt::vcam {

/// Which of the plug-in's two providers offers the camera.
enum class ProviderRole {
    Main,   ///< zeltvcamdeviceprovider
    Hiding  ///< zeltvcamhidingprovider, which hides the main provider while it offers cameras
};

/// One camera as described; immutable once made and shared between the provider's table,
/// its devices and the elements they create.
struct VirtualCamera {
    std::string id;    ///< what "remove-camera" names; the "id" member, else the name
    std::string name;  ///< display name of the device
    /// GObject type name of the device; empty: ZeltVcamDevice. Any other name is registered
    /// as a subclass of ZeltVcamDevice (GstMFDevice, GstV4l2Device, ...).
    std::string device_type;
    std::string device_class = "Video/Source";  ///< the device class text
    /// What gst_device_get_properties() returns; null: no properties structure at all.
    /// Unset in a description: the provider's own ("device.api", "zelt-vcam.id", the paths).
    gst_support::StructurePtr properties;
    bool default_properties = true;  ///< the description did not say what its properties are
    ProviderRole provider = ProviderRole::Main;
    std::optional<std::string> path;         ///< property "path"; nullopt: it yields NULL
    std::optional<std::string> device_path;  ///< property "device-path"; likewise
    gst_support::CapsPtr caps;               ///< the device's caps, structures as written
    bool benchmark = false;                  ///< frames as fast as downstream takes them
    bool fail_link = false;                  ///< the source element offers no format at all
    bool never_first_frame = false;          ///< the source reaches PLAYING but never pushes
    std::int64_t error_after_frames = -1;    ///< post an unplug error after N frames; -1: never
    std::uint64_t serial = 0;  ///< unique in the process: tells two equal descriptions apart
};

using CameraSpecPtr = std::shared_ptr<const VirtualCamera>;
using CameraList = std::vector<CameraSpecPtr>;

/// The caps of a default camera: YUY2 and I420 at 1280x720 and 640x480, 30/1, square
/// pixels. (transfer full)
GstCaps* default_camera_caps();

/// `count` default cameras: "Virtual Camera i", device-path "/dev/zelt-vcam<i>", no path.
CameraList default_cameras(unsigned count);

/// Parses a JSON description: a document {"cameras": [...]} or, when `allow_single` is set,
/// also one camera object. Returns false and sets `error` when the text is not a valid
/// description; then `out` is left unchanged.
bool parse_cameras_json(const std::string& text, bool allow_single, CameraList& out,
                        std::string& error);

/// The cameras that the environment variable asks for: none when it is unset or empty; N
/// default cameras when it is a decimal count; else the cameras of the JSON file it names.
/// A file that cannot be read or parsed yields no cameras and sets `error`.
CameraList cameras_from_environment(std::string& error);

/// Parses caps as a device monitor prints them: every non-blank line of `text` holds one or
/// more structures (a trailing ';' of the older print style is allowed). The structures are
/// appended in order, not merged. Null when a line is not valid caps. (transfer full)
GstCaps* caps_from_monitor_text(const std::string& text, std::string& bad_line);

/// The text that the element puts into its unplug error: the device path, else the path,
/// else the name.
std::string unplug_device_text(const VirtualCamera& camera);

}  // namespace zelt::vcam
