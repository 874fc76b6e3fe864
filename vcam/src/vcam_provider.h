// The device provider of the virtual cameras ("zeltvcamdeviceprovider"). It offers the
// cameras of the environment variable (read at every probe and every start) and those added
// in process through its action signals; while started, it announces every change with
// device-added and device-removed on its bus, which a device monitor relays.
#pragma once

#include <gst/gst.h>

G_BEGIN_DECLS

#define ZELT_TYPE_VCAM_DEVICE_PROVIDER (zelt_vcam_device_provider_get_type())
#define ZELT_VCAM_DEVICE_PROVIDER(obj) \
    (G_TYPE_CHECK_INSTANCE_CAST((obj), ZELT_TYPE_VCAM_DEVICE_PROVIDER, ZeltVcamDeviceProvider))

struct ZeltVcamDeviceProviderPrivate;

struct ZeltVcamDeviceProvider {
    GstDeviceProvider parent;
    ZeltVcamDeviceProviderPrivate* priv;
};

struct ZeltVcamDeviceProviderClass {
    GstDeviceProviderClass parent_class;
    // Class handlers of the action signals (see vcam/vcam.h).
    gboolean (*add_camera)(ZeltVcamDeviceProvider* provider, const gchar* json);
    gboolean (*remove_camera)(ZeltVcamDeviceProvider* provider, const gchar* id);
    void (*reset)(ZeltVcamDeviceProvider* provider);
};

GType zelt_vcam_device_provider_get_type(void);

#define ZELT_TYPE_VCAM_HIDING_PROVIDER (zelt_vcam_hiding_provider_get_type())

/// The second provider ("zeltvcamhidingprovider"): offers the cameras described for it and,
/// while it offers any, hides the main provider.
struct ZeltVcamHidingProvider {
    ZeltVcamDeviceProvider parent;
};

struct ZeltVcamHidingProviderClass {
    ZeltVcamDeviceProviderClass parent_class;
};

GType zelt_vcam_hiding_provider_get_type(void);

G_END_DECLS
