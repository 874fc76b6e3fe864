#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zeltpu/system_topology_service_base.h"

namespace {

namespace pu = zelt::plugin_util;
namespace topology = zelt::plugin_util::topology;

// Collects what the service hands to the host's callback.
struct Received {
    int calls = 0;
    std::vector<std::string> texts;
};

void receive(void* context, const char* text, std::size_t length) {
    auto* received = static_cast<Received*>(context);
    ++received->calls;
    received->texts.emplace_back(text, length);
}

// A service that writes one node with one channel and one sub-channel.
class OneNodeService : public pu::SystemTopologyServiceBase {
public:
    using SystemTopologyServiceBase::plugin;
    using SystemTopologyServiceBase::SystemTopologyServiceBase;

    void fillMeasurementTree(pugi::xml_node root) override {
        pugi::xml_node node = root.append_child(topology::kMeasurementNode);
        node.append_attribute(topology::kName) = "LocalNode";
        node.append_attribute(topology::kId) = "0";
        node.append_attribute(topology::kIsLocalNode) = "true";
        pugi::xml_node channel = node.append_child(topology::kChannel);
        channel.append_attribute(topology::kChannelId) = pu::channel_id_text({5, 0}).c_str();
        channel.append_attribute(topology::kName) = "Cam";
        pugi::xml_node sub_channel = channel.append_child(topology::kChannel);
        sub_channel.append_attribute(topology::kChannelId) =
            pu::channel_id_text({5, 0x10000}).c_str();
        sub_channel.append_attribute(topology::kName) = "Cam RcvdCNT";
    }
};

class Listener : public zelt::IfTopologyListener {
public:
    virtual ~Listener() = default;
    void topologyChanged() override { ++changes; }
    int changes = 0;
};

TEST(SystemTopologyServiceBaseTest, EmptyTreeIsTheDeclarationAndAnEmptyMeasurementTree) {
    pu::SystemTopologyServiceBase service(nullptr);
    Received received;
    EXPECT_TRUE(service.getTopology(nullptr, &receive, &received));
    ASSERT_EQ(received.calls, 1);
    EXPECT_EQ(received.texts[0], "<?xml version=\"1.0\"?>\n<MeasurementTree />\n");
}

TEST(SystemTopologyServiceBaseTest, FilledTreeIsSavedWithOneTabPerLevel) {
    OneNodeService service(nullptr);
    Received received;
    EXPECT_TRUE(service.getTopology(nullptr, &receive, &received));
    ASSERT_EQ(received.calls, 1);
    EXPECT_EQ(received.texts[0],
              "<?xml version=\"1.0\"?>\n"
              "<MeasurementTree>\n"
              "\t<MeasurementNode Name=\"LocalNode\" Id=\"0\" IsLocalNode=\"true\">\n"
              "\t\t<Channel ChannelID=\"0x0000000500000000\" Name=\"Cam\">\n"
              "\t\t\t<Channel ChannelID=\"0x0000000500010000\" Name=\"Cam RcvdCNT\" />\n"
              "\t\t</Channel>\n"
              "\t</MeasurementNode>\n"
              "</MeasurementTree>\n");
}

TEST(SystemTopologyServiceBaseTest, EveryRequestBuildsANewDocument) {
    OneNodeService service(nullptr);
    Received received;
    service.getTopology(nullptr, &receive, &received);
    service.getTopology("ignored", &receive, &received);
    ASSERT_EQ(received.calls, 2);
    EXPECT_EQ(received.texts[0], received.texts[1]);
}

TEST(SystemTopologyServiceBaseTest, NullCallbackAnswersFalse) {
    pu::SystemTopologyServiceBase service(nullptr);
    EXPECT_FALSE(service.getTopology(nullptr, nullptr, nullptr));
}

TEST(SystemTopologyServiceBaseTest, ReferenceCountingIsANoOpAnsweringOne) {
    pu::SystemTopologyServiceBase service(nullptr);
    EXPECT_EQ(service.addRef(), 1u);
    EXPECT_EQ(service.addRef(), 1u);
    EXPECT_EQ(service.release(), 1u);
    EXPECT_EQ(service.release(), 1u);
    EXPECT_FALSE(service.isTopologyPushed());
}

TEST(SystemTopologyServiceBaseTest, DerivedServiceReachesItsPlugin) {
    auto* const owner = reinterpret_cast<zelt::IfDAQPlugin*>(0x1000);
    OneNodeService service(owner);
    EXPECT_EQ(service.plugin(), owner);
}

TEST(SystemTopologyServiceBaseTest, SetListenerStoresAndReturnsIt) {
    pu::SystemTopologyServiceBase service(nullptr);
    Listener listener;
    EXPECT_EQ(service.setListener(&listener), &listener);
    EXPECT_EQ(listener.changes, 0);
}

TEST(SystemTopologyServiceBaseTest, RemoveListenerClearsOnlyTheRegisteredOne) {
    pu::SystemTopologyServiceBase service(nullptr);
    Listener registered;
    Listener other;
    service.setListener(&registered);
    EXPECT_EQ(service.removeListener(&other), 0);
    EXPECT_EQ(service.removeListener(&registered), 1);
    EXPECT_EQ(service.removeListener(&registered), 0);
}

TEST(ChannelIdTextTest, PluginFiveAndLocalId0x10000) {
    EXPECT_EQ(pu::channel_id_text({5, 0x10000}), "0x0000000500010000");
}

TEST(ChannelIdTextTest, SixteenZeroFilledUpperCaseDigits) {
    EXPECT_EQ(pu::channel_id_text({0, 0}), "0x0000000000000000");
    EXPECT_EQ(pu::channel_id_text({0xAB, 0xCDEF}), "0x000000AB0000CDEF");
    EXPECT_EQ(pu::channel_id_text({0xFFFFFFFF, 0xFFFFFFFF}), "0xFFFFFFFFFFFFFFFF");
    EXPECT_EQ(pu::channel_id_text({0xFFFFFFF6, 3}), "0xFFFFFFF600000003");
}

}  // namespace
