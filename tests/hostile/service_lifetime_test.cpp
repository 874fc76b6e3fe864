// The plug-in's services outlive the plug-in: a host that still holds the service factory or
// the topology service after destroyPlugin may use them and release them; the topology
// service then describes no hardware, since the plug-in that had it is gone.
#include "hostile_fixture.h"
#include "plugin_api/service.h"
#include "zelt/system_topology.h"

namespace zelt_hostile {
namespace {

using ServiceLifetimeTest = HostileTest;

std::string topologyText(zelt::IfSystemTopologyService& service) {
    std::string text;
    EXPECT_TRUE(service.getTopology(
        "",
        [](void* context, const char* data, std::size_t size) {
            static_cast<std::string*>(context)->assign(data, size);
        },
        &text));
    return text;
}

TEST_F(ServiceLifetimeTest, FactoryAndTopologyServiceOutliveTheDestroyedPlugIn) {
    open({small_camera("Described cam", "/dev/zelt-described")});
    plugin_api::IfServiceFactory* factory = plugin().getServiceFactory();
    ASSERT_NE(factory, nullptr);
    plugin_api::IfService* service = nullptr;
    ASSERT_TRUE(factory->getService(zelt::kSystemTopologyServiceId, &service));
    auto* topology = dynamic_cast<zelt::IfSystemTopologyService*>(service);
    ASSERT_NE(topology, nullptr);
    EXPECT_NE(topologyText(*topology).find("Described cam"), std::string::npos);

    plugin().deinit();
    destroyPlugin();

    EXPECT_TRUE(factory->getService(zelt::kSystemTopologyServiceId, nullptr));
    EXPECT_EQ(topologyText(*topology), "<?xml version=\"1.0\"?>\n<MeasurementTree />\n");
    // The host's reference and the factory's keep the service; the host's keeps the factory.
    EXPECT_EQ(service->release(), 2u);
    EXPECT_EQ(factory->release(), 1u);
}

}  // namespace
}  // namespace zelt_hostile
