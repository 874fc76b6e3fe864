// The creator the library hands to the host through ZELT_getPluginFactory.
#pragma once

#include "plugin_api/service.h"

namespace zelt_camera {

/// Creates camera plug-ins. Stateless; one static instance lives as long as the library.
class CameraPluginCreator final : public plugin_api::IfPluginCreator {
public:
    std::uint32_t getPluginTypeCount() override;
    bool supportsPluginType(std::int32_t index, const tsa::Uuid& type_id) override;
    const char* getPluginTypeName(std::int32_t index) override;
    bool createPlugin(const char* kind, const tsa::Uuid& type_id,
                      zelt::IfPluginCommon** plugin) override;
    bool destroyPlugin(const tsa::Uuid& type_id, zelt::IfPluginCommon* plugin) override;

    /// The library's one creator. (transfer none)
    static CameraPluginCreator& instance() noexcept;
};

/// Exact, case-sensitive comparison of a kind with "CAMERA"; the empty kind never matches.
bool is_camera_kind(const char* kind) noexcept;

}  // namespace zelt_camera
