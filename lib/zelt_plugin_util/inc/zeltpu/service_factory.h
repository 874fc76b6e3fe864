// The plug-in's registry of services, handed to the host by reference count.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string>

#include "plugin_api/service.h"
#include "tsa/api_object.h"
#include "zeltpu/namespace.h"

namespace zelt::plugin_util {

/// Services of one plug-in, found by UUID.
///
/// The factory starts with a reference count of 0: its creator takes the first reference
/// (addRef) and every hand-out to the host adds one more. The last release() destroys the
/// factory, so it must be allocated with new. Services are registered once, while the plug-in
/// initialises and before the factory is handed out; the map is not locked. The factory holds
/// one reference to each registered service and releases them when it is destroyed.
class ServiceFactory : public plugin_api::IfServiceFactory {
public:
    ServiceFactory() = default;
    ServiceFactory(const ServiceFactory&) = delete;
    ServiceFactory& operator=(const ServiceFactory&) = delete;

    /// Adds one reference; returns the count after the increment.
    std::uint32_t addRef() override;
    /// Drops one reference and destroys the factory when the count was 1; returns the count
    /// before the decrement. Releasing at a count of 0 is reported as an assertion; when the
    /// report continues, the count stays 0 and 0 is returned.
    std::uint32_t release() override;
    /// With a null `service`: whether a service is registered under `id` (no reference is
    /// added). Otherwise stores the service with one added reference, or null when there is
    /// none; true exactly when a service was stored.
    bool getService(const tsa::Uuid& id, plugin_api::IfService** service) override;
    /// Releases every registered service.
    ~ServiceFactory() override;

    /// Registers `service` under `id`, taking one reference to it. A second service under an
    /// id already present is not registered, and the reference taken for it is kept: that
    /// leak is accepted on purpose. A null service is reported as an assertion. Always true.
    bool registerService(const tsa::Uuid& id, plugin_api::IfService* service);

    /// The map key of `id`: its 16 bytes in storage order as 32 upper-case hex digits.
    static std::string serviceKey(const tsa::Uuid& id);

    /// The current reference count.
    std::uint32_t refCount() const noexcept { return m_ref_count.load(); }

private:
    std::map<std::string, plugin_api::IfService*> m_services;
    std::atomic<std::uint32_t> m_ref_count{0};
};

}  // namespace zelt::plugin_util
