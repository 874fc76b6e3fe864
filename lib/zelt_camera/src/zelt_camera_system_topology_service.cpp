#include "zelt_camera_system_topology_service.h"

#include <boost/variant/get.hpp>
#include <exception>

#include "zelt_camera_ids.h"
#include "zelt_camera_plugin.h"
#include "zeltpu/keys.h"
#include "zeltpu/log.h"

namespace zelt_camera {
namespace {

namespace keys = zelt::plugin_util::keys;

}  // namespace

CameraSystemTopologyService::CameraSystemTopologyService(CameraPlugin* plugin)
    : SystemTopologyServiceBase(plugin), m_camera_plugin(plugin) {}

std::uint32_t CameraSystemTopologyService::addRef() { return m_ref_count.fetch_add(1) + 1; }

std::uint32_t CameraSystemTopologyService::release() {
    const std::uint32_t previous = m_ref_count.fetch_sub(1);
    if (previous == 1) delete this;
    return previous;
}

void CameraSystemTopologyService::detach() {
    std::lock_guard<std::mutex> lock(m_plugin_mutex);
    m_camera_plugin = nullptr;
}

pugi::xml_node CameraSystemTopologyService::writeMeasurementNode(pugi::xml_node parent,
                                                                 const std::string& name,
                                                                 std::uint32_t id, bool is_local) {
    pugi::xml_node node = parent.append_child("MeasurementNode");
    node.append_attribute("Name") = name.c_str();
    node.append_attribute("Id") = std::to_string(id).c_str();
    node.append_attribute("IsLocalNode") = is_local ? "true" : "false";
    return node;
}

pugi::xml_node CameraSystemTopologyService::writeEnclosure(pugi::xml_node parent,
                                                           const std::string& plugin_id,
                                                           const std::string& name,
                                                           std::uint32_t id) {
    pugi::xml_node enclosure = parent.append_child("Enclosure");
    enclosure.append_attribute("PluginId") = plugin_id.c_str();
    enclosure.append_attribute("Name") = name.c_str();
    enclosure.append_attribute("Id") = std::to_string(id).c_str();
    return enclosure;
}

pugi::xml_node CameraSystemTopologyService::writeSlot(pugi::xml_node parent, std::uint32_t id) {
    pugi::xml_node slot = parent.append_child("Slot");
    slot.append_attribute("Id") = std::to_string(id).c_str();
    return slot;
}

void CameraSystemTopologyService::fillMeasurementTree(pugi::xml_node root) {
    // Held while the plug-in is read, so that the plug-in's destruction (which detaches the
    // service first) waits for this description.
    std::lock_guard<std::mutex> lock(m_plugin_mutex);
    CameraPlugin* camera_plugin = m_camera_plugin;
    if (camera_plugin == nullptr) return;
    try {
        const std::set<std::uint32_t> ids = camera_plugin->getChannelIds();
        if (ids.empty()) return;
        // The "PluginId" attribute carries the identifier the plug-in answers as its instance
        // type, in the 36-character lower-case form.
        pugi::xml_node node = writeMeasurementNode(root, "LocalNode", 0, true);
        pugi::xml_node enclosure =
            writeEnclosure(node, uuid_to_string(camera_plugin->getPluginInstanceTypeId()),
                           "USB-Cameras", kEnclosureId);
        writeChannels(writeSlot(enclosure, 0), camera_plugin->getPluginId(), ids,
                      [camera_plugin](std::uint32_t id) { return camera_plugin->getChannel(id); });
    } catch (const std::exception& error) {
        UNI_LOG(unilogger_zelt_plugin_camera, ULS_ERROR)
            << "Could not describe the camera topology: " << error.what();
    }
}

void CameraSystemTopologyService::writeChannels(pugi::xml_node slot, std::uint32_t plugin_id,
                                                const std::set<std::uint32_t>& ids,
                                                const ChannelLookup& lookup) {
    for (const std::uint32_t id : ids) {
        const auto channel = lookup(id);
        if (!channel) continue;
        pugi::xml_node element;
        if (channel->hasKey(keys::kIdCameraSubChannelId)) {
            const std::string parent_id =
                zelt::plugin_util::channel_id_text({plugin_id, id & 0xFFFFu});
            pugi::xml_node parent =
                slot.find_child_by_attribute("Channel", "ChannelID", parent_id.c_str());
            if (!parent) continue;
            element = parent.append_child("Channel");
        } else {
            element = slot.append_child("Channel");
        }
        element.append_attribute("ChannelID") =
            zelt::plugin_util::channel_id_text({plugin_id, id}).c_str();
        const auto name = channel->getConfigItem(keys::kDefaultName);
        element.append_attribute("Name") =
            boost::get<config_items::StringConfigItem>(name).m_value.c_str();
    }
}

}  // namespace zelt_camera
