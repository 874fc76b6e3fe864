#include "zeltpu/daq_plugin_base.h"

namespace zelt::plugin_util {

std::uint32_t DAQPluginBase::getPluginId() { return m_plugin_id; }

void DAQPluginBase::setPluginId(std::uint32_t id) { m_plugin_id = id; }

}  // namespace zelt::plugin_util
