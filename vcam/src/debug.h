// The plug-in's GStreamer debug category ("zeltvcam"; GST_DEBUG=zeltvcam:5 shows it).
#pragma once

#include <gst/gst.h>

GST_DEBUG_CATEGORY_EXTERN(zelt_vcam_debug);
#define GST_CAT_DEFAULT zelt_vcam_debug
