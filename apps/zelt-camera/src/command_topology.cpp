// zelt-camera topology
#include <iostream>
#include <memory>
#include <string>

#include "commands.h"
#include "plugin_session.h"
#include "zelt/system_topology.h"

namespace zelt::cli {
namespace {

// Releases one host-object reference when it goes out of scope.
struct Release {
    void operator()(tsa::IfApiObject* object) const noexcept {
        if (object != nullptr) object->release();
    }
};

}  // namespace

ExitCode runTopology(const CommandLine& command_line) {
    PluginSession session(command_line.global);
    reportPluginErrors(session);
    // The factory comes with one added reference, and so does the service it hands out.
    std::unique_ptr<plugin_api::IfServiceFactory, Release> factory(
        session.host().plugin().getServiceFactory());
    if (!factory) throw CliError(ExitCode::kFailure, "the plug-in offers no services");
    plugin_api::IfService* raw_service = nullptr;
    if (!factory->getService(zelt::kSystemTopologyServiceId, &raw_service) ||
        raw_service == nullptr) {
        throw CliError(ExitCode::kFailure, "the plug-in offers no topology service");
    }
    std::unique_ptr<plugin_api::IfService, Release> service(raw_service);
    auto* topology = dynamic_cast<zelt::IfSystemTopologyService*>(service.get());
    if (topology == nullptr) {
        throw CliError(ExitCode::kFailure, "the plug-in's topology service has the wrong type");
    }
    std::string document;
    const bool called = topology->getTopology(
        nullptr,
        [](void* context, const char* text, std::size_t length) {
            static_cast<std::string*>(context)->assign(text, length);
        },
        &document);
    if (!called) throw CliError(ExitCode::kFailure, "the plug-in did not hand over its topology");
    // Byte for byte as received: no line break is added.
    std::cout.write(document.data(), static_cast<std::streamsize>(document.size()));
    std::cout.flush();
    return ExitCode::kOk;
}

}  // namespace zelt::cli
