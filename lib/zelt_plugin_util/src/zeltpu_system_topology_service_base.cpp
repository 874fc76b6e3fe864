#include <cinttypes>
#include <cstdio>
#include <sstream>

#include "zeltpu/system_topology_service_base.h"

namespace zelt::plugin_util {

std::string channel_id_text(const channel_config::ChannelID& id) {
    char text[sizeof "0x0123456789ABCDEF"];
    std::snprintf(text, sizeof text, "0x%016" PRIX64, id.value());
    return text;
}

std::uint32_t SystemTopologyServiceBase::addRef() { return 1; }

std::uint32_t SystemTopologyServiceBase::release() { return 1; }

bool SystemTopologyServiceBase::getTopology(const char*, zelt::TopologyCallback callback,
                                            void* context) {
    if (callback == nullptr) return false;
    pugi::xml_document document;
    fillMeasurementTree(document.append_child(topology::kMeasurementTree));

    std::ostringstream stream;
    document.save(stream, "\t", pugi::format_indent, pugi::encoding_auto);
    const std::string text = stream.str();
    callback(context, text.data(), text.size());
    return true;
}

bool SystemTopologyServiceBase::isTopologyPushed() { return false; }

zelt::IfTopologyListener* SystemTopologyServiceBase::setListener(
    zelt::IfTopologyListener* listener) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_listener = listener;
    return m_listener;
}

int SystemTopologyServiceBase::removeListener(zelt::IfTopologyListener* listener) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (listener != m_listener) return 0;
    m_listener = nullptr;
    return 1;
}

void SystemTopologyServiceBase::fillMeasurementTree(pugi::xml_node) {}

SystemTopologyServiceBase::~SystemTopologyServiceBase() = default;

}  // namespace zelt::plugin_util
