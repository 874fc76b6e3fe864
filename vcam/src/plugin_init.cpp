#include "plugin_init.h"

#include "debug.h"
#include "vcam/vcam.h"
#include "vcam_device.h"
#include "vcam_provider.h"
#include "vcam_src.h"

GST_DEBUG_CATEGORY(zelt_vcam_debug);

gboolean zelt_vcam_plugin_init(GstPlugin* plugin) {
    GST_DEBUG_CATEGORY_INIT(zelt_vcam_debug, ZELT_VCAM_PLUGIN_NAME, 0, "Zelt virtual cameras");
    // Both device types exist as soon as the plug-in is loaded, so that type names can be
    // looked up before the first camera is offered.
    g_type_ensure(ZELT_TYPE_VCAM_DEVICE);
    g_type_ensure(zelt_vcam_mf_device_get_type());
    if (!gst_element_register(plugin, ZELT_VCAM_ELEMENT_NAME, GST_RANK_NONE, ZELT_TYPE_VCAM_SRC)) {
        return FALSE;
    }
    return gst_device_provider_register(plugin, ZELT_VCAM_PROVIDER_NAME, GST_RANK_MARGINAL,
                                        ZELT_TYPE_VCAM_DEVICE_PROVIDER) &&
           gst_device_provider_register(plugin, ZELT_VCAM_HIDING_PROVIDER_NAME, GST_RANK_MARGINAL,
                                        ZELT_TYPE_VCAM_HIDING_PROVIDER);
}
