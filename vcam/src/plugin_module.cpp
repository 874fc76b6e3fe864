// The loadable plug-in: libgstzeltvcam.so, found by the registry on GST_PLUGIN_PATH.
#include <gst/gst.h>

#include "plugin_init.h"

#ifndef PACKAGE
#define PACKAGE ZELT_VCAM_PACKAGE
#endif

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, zeltvcam, ZELT_VCAM_DESCRIPTION,
                  zelt_vcam_plugin_init, ZELT_VCAM_VERSION, ZELT_VCAM_LICENSE, ZELT_VCAM_PACKAGE,
                  ZELT_VCAM_ORIGIN)
