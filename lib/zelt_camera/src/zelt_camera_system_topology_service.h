// The camera plug-in's hardware description: one local node, one "USB-Cameras" enclosure with
// one slot, every camera channel and, inside it, its frame counter.
#pragma once

#include <pugixml.hpp>

#include <cstdint>
#include <string>

#include "zeltpu/system_topology_service_base.h"

namespace zelt_camera {

class CameraPlugin;

class CameraSystemTopologyService final : public zelt::plugin_util::SystemTopologyServiceBase {
public:
    /// The enclosure's id: a fixed marker of the camera enclosure, not derived from a device.
    static constexpr std::uint32_t kEnclosureId = 0xCA11CA11;

    explicit CameraSystemTopologyService(CameraPlugin* plugin);

protected:
    void fillMeasurementTree(pugi::xml_node root) override;

private:
    static pugi::xml_node writeMeasurementNode(pugi::xml_node parent, const std::string& name,
                                               std::uint32_t id, bool is_local);
    static pugi::xml_node writeEnclosure(pugi::xml_node parent, const std::string& plugin_id,
                                         const std::string& name, std::uint32_t id);
    static pugi::xml_node writeSlot(pugi::xml_node parent, std::uint32_t id);
    void writeChannels(CameraPlugin& plugin, pugi::xml_node slot);
};

}  // namespace zelt_camera
