// The camera plug-in's hardware description: one local node, one "USB-Cameras" enclosure with
// one slot, every camera channel and, inside it, its frame counter.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <pugixml.hpp>
#include <set>
#include <string>

#include "channel_config/channel_config.h"
#include "zeltpu/system_topology_service_base.h"

namespace zelt_camera {

class CameraPlugin;

/// The camera plug-in's topology service.
///
/// Reference counted for real: the plug-in, the service factory and the host each hold
/// references, and the service lives until the last is released, which may be after the
/// plug-in is gone. The plug-in detaches the service from itself before it is destroyed;
/// from then on the service describes no hardware (an empty "MeasurementTree"). Allocate it
/// with new; the count starts at 0.
class CameraSystemTopologyService final : public zelt::plugin_util::SystemTopologyServiceBase {
public:
    /// The enclosure's id: a fixed marker of the camera enclosure, not derived from a device.
    static constexpr std::uint32_t kEnclosureId = 0xCA11CA11;

    using ChannelLookup =
        std::function<std::shared_ptr<channel_config::IfChannelConfig>(std::uint32_t id)>;

    explicit CameraSystemTopologyService(CameraPlugin* plugin);

    /// Adds one reference; returns the count after the increment.
    std::uint32_t addRef() override;
    /// Drops one reference and destroys the service when the count was 1; returns the count
    /// before the decrement.
    std::uint32_t release() override;
    /// Forgets the plug-in; waits for a description that is being written from it.
    void detach();

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

    std::atomic<std::uint32_t> m_ref_count{0};
    std::mutex m_plugin_mutex;
    CameraPlugin* m_camera_plugin;  // under m_plugin_mutex; null once detached
};

}  // namespace zelt_camera
