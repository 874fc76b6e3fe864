// The topology document as the host receives it through the plug-in's service factory.
#include <fstream>
#include <sstream>

#include "e2e_fixture.h"
#include "zelt/system_topology.h"

namespace zelt_e2e {
namespace {

class TopologyTest : public CameraE2eTest {
protected:
    std::string topology() {
        plugin_api::IfServiceFactory* factory = m_host->plugin().getServiceFactory();
        EXPECT_NE(factory, nullptr);
        plugin_api::IfService* service = nullptr;
        EXPECT_TRUE(factory->getService(zelt::kSystemTopologyServiceId, &service));
        auto* topology_service = dynamic_cast<zelt::IfSystemTopologyService*>(service);
        std::string document;
        EXPECT_TRUE(topology_service->getTopology(
            nullptr,
            [](void* context, const char* text, std::size_t length) {
                static_cast<std::string*>(context)->assign(text, length);
            },
            &document));
        service->release();
        factory->release();
        return document;
    }

    static std::string golden(const std::string& name) {
        std::ifstream file(std::string(ZELT_TEST_DATA_DIR) + "/" + name, std::ios::binary);
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }
};

TEST_F(TopologyTest, TwoCamerasWithCountersForPluginIdFiveMatchTheExpectedDocument) {
    open({small_camera("Cam A", "/dev/zelt-a"), small_camera("Cam B", "/dev/zelt-b")}, 5);
    EXPECT_EQ(topology(), golden("topology_two_cameras.xml"));
}

TEST_F(TopologyTest, NoChannelsGiveTheDeclarationAndAnEmptyTree) {
    open({}, 5);
    EXPECT_EQ(topology(), "<?xml version=\"1.0\"?>\n<MeasurementTree />\n");
}

TEST_F(TopologyTest, EnclosureIdIsTheFixedMarkerWhateverTheCameras) {
    open({small_camera("Other", "/dev/zelt-x")}, 77);
    const std::string document = topology();
    EXPECT_NE(document.find("Name=\"USB-Cameras\" Id=\"3390163473\""), std::string::npos);
    EXPECT_NE(document.find("ChannelID=\"0x0000004D00000000\" Name=\"Other\""), std::string::npos);
}

}  // namespace
}  // namespace zelt_e2e
