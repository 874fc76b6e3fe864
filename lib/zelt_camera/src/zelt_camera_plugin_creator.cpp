#include "zelt_camera_plugin_creator.h"

#include "zelt_camera_ids.h"
#include "zelt_camera_plugin.h"

namespace zelt_camera {

bool is_camera_kind(const char* kind) noexcept {
    if (kind == nullptr || *kind == '\0') return false;
    const char* expected = kPluginKind;
    for (; *kind != '\0'; ++kind, ++expected) {
        if (*expected == '\0' || *kind != *expected) return false;
    }
    return *expected == '\0';
}

std::uint32_t CameraPluginCreator::getPluginTypeCount() { return 1; }

bool CameraPluginCreator::supportsPluginType(std::int32_t index, const tsa::Uuid& type_id) {
    return index == 0 && type_id == parse_uuid(kPluginTypeIdText);
}

const char* CameraPluginCreator::getPluginTypeName(std::int32_t index) {
    return index == 0 ? kPluginKind : nullptr;
}

bool CameraPluginCreator::createPlugin(const char* kind, const tsa::Uuid& type_id,
                                       zelt::IfPluginCommon** plugin) {
    if (plugin == nullptr) return false;
    *plugin = nullptr;
    if (!is_camera_kind(kind) || type_id != parse_uuid(kPluginTypeIdText)) return false;
    *plugin = new CameraPlugin();
    return true;
}

bool CameraPluginCreator::destroyPlugin(const tsa::Uuid& type_id, zelt::IfPluginCommon* plugin) {
    if (plugin == nullptr) return true;
    if (type_id != parse_uuid(kPluginTypeIdText)) return false;
    delete plugin;
    return true;
}

CameraPluginCreator& CameraPluginCreator::instance() noexcept {
    static CameraPluginCreator creator;
    return creator;
}

}  // namespace zelt_camera
