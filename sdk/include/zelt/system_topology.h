// The description of a plug-in's measurement hardware as an XML document.
#pragma once

#include <cstddef>
#include <cstdint>

#include "plugin_api/service.h"

namespace zelt {

/// Receives the document: `text` holds `length` bytes and is valid only during the call.
using TopologyCallback = void (*)(void* context, const char* text, std::size_t length);

/// Told when a plug-in's topology changes.
class IfTopologyListener {
public:
    virtual void topologyChanged() = 0;

protected:
    ~IfTopologyListener() = default;
};

/// The system topology service, found in the plug-in's service factory under
/// kSystemTopologyServiceId. Its reference count belongs to the plug-in: the service lives as
/// long as the plug-in.
class IfSystemTopologyService : public plugin_api::IfService {
public:
    /// Builds the document and passes it to `callback` once, with `context`. `request` is
    /// reserved (pass null). Returns true when the callback was called.
    virtual bool getTopology(const char* request, TopologyCallback callback, void* context) = 0;
    /// Whether the service pushes changes by itself (through the listener).
    virtual bool isTopologyPushed() = 0;
    /// Registers the one listener; returns it.
    virtual IfTopologyListener* setListener(IfTopologyListener* listener) = 0;
    /// Removes `listener` if it is the registered one: 1, else 0.
    virtual int removeListener(IfTopologyListener* listener) = 0;

protected:
    ~IfSystemTopologyService() = default;
};

/// {A5C594EA-1C7F-41BF-A588-9AC316FB5973}
inline constexpr tsa::Uuid kSystemTopologyServiceId = {{0xA5, 0xC5, 0x94, 0xEA, 0x1C, 0x7F, 0x41,
                                                        0xBF, 0xA5, 0x88, 0x9A, 0xC3, 0x16, 0xFB,
                                                        0x59, 0x73}};

}  // namespace zelt
