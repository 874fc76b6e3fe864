// The camera plug-in's hardware description: one local node, one "USB-Cameras" enclosure with
// one slot, every camera channel and, inside it, its frame counter.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <pugixml.hpp>
#include <set>
#include <string>

#include "channel_config/channel_config.h"
#include "zeltpu/system_topology_service_base.h"

namespace zelt_camera {

class CameraPlugin;

class CameraSystemTopologyService final : public zelt::plugin_util::SystemTopologyServiceBase {
public:
    /// The enclosure's id: a fixed marker of the camera enclosure, not derived from a device.
    static constexpr std::uint32_t kEnclosureId = 0xCA11CA11;

    using ChannelLookup =
        std::function<std::shared_ptr<channel_config::IfChannelConfig>(std::uint32_t id)>;

    explicit CameraSystemTopologyService(CameraPlugin* plugin);

    /// Writes a "Channel" element per id into `slot`, ascending: a camera channel directly
    /// under the slot, a sub-channel (one with "ID:CAMERA/SubChannelId") inside the element of
    /// the camera with the id's low 16 bits; a sub-channel whose camera has no element is left
    /// out.
    static void writeChannels(pugi::xml_node slot, std::uint32_t plugin_id,
                              const std::set<std::uint32_t>& ids, const ChannelLookup& channel);

protected:
    void fillMeasurementTree(pugi::xml_node root) override;

private:
    static pugi::xml_node writeMeasurementNode(pugi::xml_node parent, const std::string& name,
                                               std::uint32_t id, bool is_local);
    static pugi::xml_node writeEnclosure(pugi::xml_node parent, const std::string& plugin_id,
                                         const std::string& name, std::uint32_t id);
    static pugi::xml_node writeSlot(pugi::xml_node parent, std::uint32_t id);
};

}  // namespace zelt_camera
