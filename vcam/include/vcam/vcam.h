// Virtual cameras: a GStreamer plug-in ("zeltvcam") whose device provider offers test cameras
// that are enumerated, opened and streamed exactly like real ones.
//
// The provider offers nothing unless it is enabled, either
//   - by the environment variable ZELT_VIRTUAL_CAMERAS: a count N ("2": N default cameras) or
//     the path of a JSON file describing each camera (docs/virtual-cameras.md has the format);
//     the variable is read anew at every probe and at every start of the provider, or
//   - in process, through the provider's action signals (below), reachable through the
//     registry alone: gst_device_provider_factory_get_by_name(ZELT_VCAM_PROVIDER_NAME) returns
//     the one provider instance of the process (providers are per-factory singletons).
//
// Two ways to register the plug-in, one per process (GObject type names are process-wide):
//   - loadable: libgstzeltvcam.so on GST_PLUGIN_PATH, found by the registry scan;
//   - static: link zelt_vcam_static and call zelt_vcam_register_static() after gst_init().
//
// Action signals of the provider (g_signal_emit_by_name on the instance):
//   "add-camera"    gboolean (const gchar* json): one camera object, or a document
//                   {"cameras": [...]}; the cameras are offered until removed or reset, and a
//                   started provider announces each with device-added. FALSE when the text is
//                   not a valid description (the property "last-error" says why).
//   "remove-camera" gboolean (const gchar* id): withdraws every camera with this id (a
//                   camera's id is its "id" member, else its name), whether it came through
//                   "add-camera" or from the environment; a started provider announces each
//                   with device-removed. FALSE when no offered camera has the id.
//   "reset"         void (): forgets the added cameras and the withdrawn ids.
// vcam/vcam_control.h wraps these, and the environment variable, for C++ tests.
#pragma once

#include <glib.h>

/// The environment variable that enables the provider.
#define ZELT_VCAM_ENVIRONMENT_VARIABLE "ZELT_VIRTUAL_CAMERAS"
/// Name of the plug-in as the registry knows it.
#define ZELT_VCAM_PLUGIN_NAME "zeltvcam"
/// Name of the device provider factory.
#define ZELT_VCAM_PROVIDER_NAME "zeltvcamdeviceprovider"
/// Name of the second device provider factory: it offers the cameras described with
/// "provider": "hiding" and, while it offers any, hides the main provider from device
/// monitors that do not show all devices (as PipeWire's and libcamera's providers hide v4l2's).
#define ZELT_VCAM_HIDING_PROVIDER_NAME "zeltvcamhidingprovider"
/// Name of the source element factory that the devices create.
#define ZELT_VCAM_ELEMENT_NAME "zeltvcamsrc"
/// GObject type name of an ordinary virtual camera device.
#define ZELT_VCAM_DEVICE_TYPE_NAME "ZeltVcamDevice"
/// GObject type name of the devices that stand in for the Media Foundation provider's.
#define ZELT_VCAM_MF_DEVICE_TYPE_NAME "GstMFDevice"

/// Action signal names of the provider (see above).
#define ZELT_VCAM_SIGNAL_ADD_CAMERA "add-camera"
#define ZELT_VCAM_SIGNAL_REMOVE_CAMERA "remove-camera"
#define ZELT_VCAM_SIGNAL_RESET "reset"
/// Read-only string property of the provider: why the last description was refused.
#define ZELT_VCAM_PROPERTY_LAST_ERROR "last-error"

G_BEGIN_DECLS

/// Registers the plug-in from the static library in this process (call after gst_init).
/// Returns TRUE when the plug-in is registered; calling it again is harmless.
/// Only in processes that link zelt_vcam_static and never load libgstzeltvcam.so.
gboolean zelt_vcam_register_static(void);

G_END_DECLS
