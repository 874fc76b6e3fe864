// Keeps a process to the virtual cameras: every other device provider is ranked out, so that a
// device monitor (which asks providers of rank 1 and up only) sees the virtual cameras alone,
// whatever cameras the machine has. Used by the tests, the benchmarks and `zelt-camera
// --virtual`.
#pragma once

#include <glib.h>
#include <gst/gst.h>

#include "vcam/vcam.h"

namespace zelt::vcam {

/// Ranks every device provider factory except `keep` and the virtual cameras' own providers
/// to GST_RANK_NONE, in this process only. Requires gst_init. Returns how many were ranked out.
inline int rankOutOtherDeviceProviders(const char* keep = ZELT_VCAM_PROVIDER_NAME) {
    int ranked_out = 0;
    GList* factories = gst_device_provider_factory_list_get_device_providers(GST_RANK_NONE);
    for (GList* item = factories; item != nullptr; item = item->next) {
        GstPluginFeature* feature = GST_PLUGIN_FEATURE(item->data);
        if (g_strcmp0(gst_plugin_feature_get_name(feature), keep) == 0) continue;
        if (g_strcmp0(gst_plugin_feature_get_plugin_name(feature), ZELT_VCAM_PLUGIN_NAME) == 0)
            continue;
        gst_plugin_feature_set_rank(feature, GST_RANK_NONE);
        ++ranked_out;
    }
    gst_plugin_feature_list_free(factories);
    return ranked_out;
}

}  // namespace zelt::vcam
