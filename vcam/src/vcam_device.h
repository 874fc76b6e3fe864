// The device objects of the virtual cameras: ZeltVcamDevice, and GstMFDevice, a subclass that
// carries the Media Foundation provider's type name so that a consumer's handling of that
// provider's duplicates can be exercised on any system.
#pragma once

#include <gst/gst.h>

#include <string>

#include "virtual_camera.h"

G_BEGIN_DECLS

#define ZELT_TYPE_VCAM_DEVICE (zelt_vcam_device_get_type())
#define ZELT_VCAM_DEVICE(obj) \
    (G_TYPE_CHECK_INSTANCE_CAST((obj), ZELT_TYPE_VCAM_DEVICE, ZeltVcamDevice))
#define ZELT_IS_VCAM_DEVICE(obj) (G_TYPE_CHECK_INSTANCE_TYPE((obj), ZELT_TYPE_VCAM_DEVICE))

struct ZeltVcamDevicePrivate;

/// A virtual camera as the device monitor reports it. Properties "path" and "device-path"
/// are strings (NULL when the description leaves them out or sets them to null).
struct ZeltVcamDevice {
    GstDevice parent;
    ZeltVcamDevicePrivate* priv;
};

struct ZeltVcamDeviceClass {
    GstDeviceClass parent_class;
};

GType zelt_vcam_device_get_type(void);

/// The type registered under the name "GstMFDevice" (a subclass of ZeltVcamDevice), or
/// ZeltVcamDevice itself when a type of that name already exists in the process.
GType zelt_vcam_mf_device_get_type(void);

G_END_DECLS

namespace zelt::vcam {

/// The device type called `name`: ZeltVcamDevice for an empty name, else a subclass of it
/// registered under that name on first use. When a type of that name exists already and is
/// not one of ours (the real provider is loaded in this process), ZeltVcamDevice.
GType device_type_named(const std::string& name);

/// A new device for `camera`, of the type its description names. (transfer floating)
GstDevice* make_device(const CameraSpecPtr& camera);

/// The description a device was made from; null for other devices.
CameraSpecPtr device_spec(GstDevice* device);

}  // namespace zelt::vcam
