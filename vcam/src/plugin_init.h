// Registers the plug-in's features (source element, device provider, device types) in one
// plug-in; shared by the loadable module and the static registration.
#pragma once

#include <gst/gst.h>

G_BEGIN_DECLS

/// The plug-in's init function. (plugin: transfer none)
gboolean zelt_vcam_plugin_init(GstPlugin* plugin);

G_END_DECLS

/// Version, licence and origin texts of the plug-in description.
#define ZELT_VCAM_DESCRIPTION "Virtual cameras for tests and demonstrations"
#define ZELT_VCAM_LICENSE "Proprietary"
#define ZELT_VCAM_PACKAGE "zelt-camera"
#define ZELT_VCAM_ORIGIN "zelt-camera"
