// The system topology service: the XML description of a plug-in's measurement hardware.
#pragma once

#include <cstdint>
#include <mutex>
#include <pugixml.hpp>
#include <string>

#include "config_items/channel_types.h"
#include "zelt/daq_plugin.h"
#include "zelt/system_topology.h"
#include "zeltpu/namespace.h"

namespace zelt::plugin_util {

/// Element and attribute names of the topology document.
namespace topology {
inline constexpr const char* kMeasurementTree = "MeasurementTree";
inline constexpr const char* kMeasurementNode = "MeasurementNode";
inline constexpr const char* kEnclosure = "Enclosure";
inline constexpr const char* kSlot = "Slot";
inline constexpr const char* kChannel = "Channel";
inline constexpr const char* kName = "Name";
inline constexpr const char* kId = "Id";
inline constexpr const char* kIsLocalNode = "IsLocalNode";
inline constexpr const char* kPluginId = "PluginId";
inline constexpr const char* kChannelId = "ChannelID";
}  // namespace topology

/// The text of a channel id in the topology: "0x" and 16 upper-case hex digits of
/// (plug-in id x 2^32) + local id, such as "0x0000000500010000" for {5, 0x10000}.
std::string channel_id_text(const channel_config::ChannelID& id);

/// The generic part of a plug-in's topology service: builds the document, lets the plug-in
/// fill it, and hands its text to the host.
///
/// The service belongs to its plug-in (constructed with a pointer to it and destroyed by it),
/// so addRef and release do nothing. The document is rebuilt on every request. The base never
/// calls the listener itself; the listener pointer is guarded by a mutex because the host may
/// register it from any thread.
class SystemTopologyServiceBase : public zelt::IfSystemTopologyService {
public:
    /// `plugin` owns the service and outlives it.
    explicit SystemTopologyServiceBase(zelt::IfDAQPlugin* plugin) : m_plugin(plugin) {}
    SystemTopologyServiceBase(const SystemTopologyServiceBase&) = delete;
    SystemTopologyServiceBase& operator=(const SystemTopologyServiceBase&) = delete;

    /// No effect; returns 1.
    std::uint32_t addRef() override;
    /// No effect; returns 1.
    std::uint32_t release() override;
    /// Builds a document with the root "MeasurementTree", lets fillMeasurementTree() fill it,
    /// and calls `callback` once with (context, text, length) of the document saved with
    /// tab indentation and an XML declaration. `request` is not used. False only for a null
    /// callback (nothing is built then).
    bool getTopology(const char* request, zelt::TopologyCallback callback, void* context) override;
    /// False: the service does not push changes.
    bool isTopologyPushed() override;
    /// Stores `listener` and returns it.
    zelt::IfTopologyListener* setListener(zelt::IfTopologyListener* listener) override;
    /// Clears the listener when it is `listener`: 1, else 0.
    int removeListener(zelt::IfTopologyListener* listener) override;

    /// Writes the plug-in's hardware under `root` (the "MeasurementTree" element). Writes
    /// nothing here.
    virtual void fillMeasurementTree(pugi::xml_node root);
    virtual ~SystemTopologyServiceBase();

protected:
    /// The plug-in that owns the service.
    zelt::IfDAQPlugin* plugin() const noexcept { return m_plugin; }

private:
    zelt::IfDAQPlugin* m_plugin;
    zelt::IfTopologyListener* m_listener = nullptr;
    std::mutex m_mutex;
};

}  // namespace zelt::plugin_util
