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

/// Which GObject type the camera's device object has.
enum class DeviceKind {
    Default,         ///< ZeltVcamDevice
    MediaFoundation  ///< GstMFDevice, as the Media Foundation provider would report it
};

/// One camera as described; immutable once made and shared between the provider's table,
/// its devices and the elements they create.
struct VirtualCamera {
    std::string id;    ///< what "remove-camera" names; the "id" member, else the name
    std::string name;  ///< display name of the device
    DeviceKind kind = DeviceKind::Default;
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

/// The text that the element puts into its unplug error: the device path, else the path,
/// else the name.
std::string unplug_device_text(const VirtualCamera& camera);

}  // namespace zelt::vcam
