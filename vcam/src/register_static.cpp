// The static route: the same features registered from the static library.
#include <mutex>

#include "plugin_init.h"
#include "vcam/vcam.h"

gboolean zelt_vcam_register_static(void) {
    // Registering twice would run the init function twice; the first answer stands.
    static std::once_flag once;
    static gboolean registered = FALSE;
    std::call_once(once, [] {
        registered = gst_plugin_register_static(
            GST_VERSION_MAJOR, GST_VERSION_MINOR, ZELT_VCAM_PLUGIN_NAME, ZELT_VCAM_DESCRIPTION,
            zelt_vcam_plugin_init, ZELT_VCAM_VERSION, ZELT_VCAM_LICENSE, ZELT_VCAM_PACKAGE,
            ZELT_VCAM_PACKAGE, ZELT_VCAM_ORIGIN);
    });
    return registered;
}
