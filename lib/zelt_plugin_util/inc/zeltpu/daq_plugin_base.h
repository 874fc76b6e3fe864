// The part of a DAQ plug-in that every plug-in kind shares: its id given by the host.
#pragma once

#include <cstdint>

#include "zelt/daq_plugin.h"
#include "zeltpu/namespace.h"

namespace zelt::plugin_util {

/// Base of the DAQ plug-ins: keeps the plug-in id that the host assigns.
///
/// A derived plug-in that must pass the id on (to its channels) overrides setPluginId and
/// calls this class's version first.
class DAQPluginBase : public zelt::IfDAQPlugin {
public:
    /// The id a plug-in answers until the host sets one.
    static constexpr std::uint32_t kInitialPluginId = 0xFFFFFFF6;

    std::uint32_t getPluginId() override;
    void setPluginId(std::uint32_t id) override;

private:
    std::uint32_t m_plugin_id = kInitialPluginId;
};

}  // namespace zelt::plugin_util
