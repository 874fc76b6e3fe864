// Services, service factories and plug-in creators: how the host finds what a plug-in offers.
#pragma once

#include <cstdint>

#include "tsa/api_object.h"

namespace zelt {
class IfPluginCommon;
}

namespace plugin_api {

/// A service a plug-in offers to the host, looked up by identifier in its service factory.
class IfService : public tsa::IfApiObject {
protected:
    ~IfService() = default;
};

/// The plug-in's registry of services. The host gets it with one added reference
/// (IfDAQPlugin::getServiceFactory) and releases it when done.
class IfServiceFactory : public IfService {
public:
    /// With a null `service`: answers whether a service is registered under `id` (no
    /// reference is added). Otherwise stores the service with one added reference, or null
    /// when there is none; returns true exactly when a service was stored.
    virtual bool getService(const tsa::Uuid& id, IfService** service) = 0;
    virtual ~IfServiceFactory() = default;
};

/// The object a plug-in library hands out through its exported factory function. It is
/// static and lives as long as the library; the host never frees it.
class IfPluginCreator {
public:
    /// Number of plug-in types this library offers.
    virtual std::uint32_t getPluginTypeCount() = 0;
    /// Whether the type at `index` has the type identifier `type_id`.
    virtual bool supportsPluginType(std::int32_t index, const tsa::Uuid& type_id) = 0;
    /// The kind of the type at `index` (such as "CAMERA"), or null for an unknown index.
    /// (transfer none)
    virtual const char* getPluginTypeName(std::int32_t index) = 0;
    /// Creates a plug-in of `kind` and `type_id`. On success `*plugin` owns a new plug-in
    /// that the host returns through destroyPlugin; on failure `*plugin` is null.
    virtual bool createPlugin(const char* kind, const tsa::Uuid& type_id,
                              zelt::IfPluginCommon** plugin) = 0;
    /// Destroys a plug-in created by createPlugin. True for a null plug-in; false, and the
    /// plug-in left alive, when `type_id` is not its type.
    virtual bool destroyPlugin(const tsa::Uuid& type_id, zelt::IfPluginCommon* plugin) = 0;

protected:
    ~IfPluginCreator() = default;
};

}  // namespace plugin_api
