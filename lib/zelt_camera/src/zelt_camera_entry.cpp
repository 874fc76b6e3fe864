// The library's two exports: everything a host resolves in it. Nothing throws across them.
#include "platform/export.h"
#include "zelt_camera_ids.h"
#include "zelt_camera_plugin_creator.h"

ZELT_EXPORT const char* ZELT_getPluginDllName() { return zelt_camera::kPluginKind; }

ZELT_EXPORT plugin_api::IfPluginCreator* ZELT_getPluginFactory() {
    return &zelt_camera::CameraPluginCreator::instance();
}
