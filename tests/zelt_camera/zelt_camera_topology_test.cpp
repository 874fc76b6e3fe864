// The camera topology's channel elements, written from stand-in channels.
#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <map>
#include <memory>
#include <sstream>

#include "zelt_camera_system_topology_service.h"
#include "zeltpu/simple_channel_config.h"
#include "zeltpu/simple_channel_config_options.h"

namespace zelt_camera {
namespace {

namespace pu = zelt::plugin_util;

std::shared_ptr<pu::SimpleChannelConfig> channel(const std::string& name, bool sub_channel) {
    auto config = std::make_shared<pu::SimpleChannelConfig>();
    config->addOption(
        boost::make_shared<pu::ConstantGenericOption<std::string>>("DefaultName", name));
    if (sub_channel)
        config->addOption(boost::make_shared<pu::ConstantGenericOption<std::string>>(
            "ID:CAMERA/SubChannelId", "CntReceived"));
    return config;
}

std::string write(
    const std::map<std::uint32_t, std::shared_ptr<pu::SimpleChannelConfig>>& channels) {
    pugi::xml_document document;
    pugi::xml_node slot = document.append_child("Slot");
    std::set<std::uint32_t> ids;
    for (const auto& entry : channels) ids.insert(entry.first);
    CameraSystemTopologyService::writeChannels(
        slot, 5, ids,
        [&channels](std::uint32_t id) -> std::shared_ptr<channel_config::IfChannelConfig> {
            const auto found = channels.find(id);
            return found == channels.end() ? nullptr : found->second;
        });
    std::ostringstream text;
    document.save(text, "", pugi::format_raw | pugi::format_no_declaration);
    return text.str();
}

TEST(CameraTopology, CameraWithCounterNestsTheCounterInsideTheCamera) {
    EXPECT_EQ(write({{0, channel("Cam", false)}, {0x10000, channel("Cam RcvdCNT", true)}}),
              "<Slot><Channel ChannelID=\"0x0000000500000000\" Name=\"Cam\">"
              "<Channel ChannelID=\"0x0000000500010000\" Name=\"Cam RcvdCNT\"/></Channel></Slot>");
}

TEST(CameraTopology, SubChannelWhoseCameraIsMissingProducesNoElement) {
    EXPECT_EQ(write({{0, channel("Cam", false)}, {0x10003, channel("Orphan RcvdCNT", true)}}),
              "<Slot><Channel ChannelID=\"0x0000000500000000\" Name=\"Cam\"/></Slot>");
}

TEST(CameraTopology, ChannelWhoseNameIsNoTextStopsTheWalkWithBadGet) {
    auto odd = std::make_shared<pu::SimpleChannelConfig>();
    odd->addOption(boost::make_shared<pu::ConstantGenericOption<bool>>("DefaultName", true));
    EXPECT_THROW(write({{0, odd}}), boost::bad_get);
}

TEST(CameraTopology, EnclosureIdIsTheCameraMarker) {
    EXPECT_EQ(CameraSystemTopologyService::kEnclosureId, 3390163473u);
}

}  // namespace
}  // namespace zelt_camera
