#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "zeltpu/daq_plugin_base.h"

namespace {

// The smallest plug-in: every host operation answered trivially.
class StubPlugin : public zelt::plugin_util::DAQPluginBase {
public:
    std::string getPluginName() override { return "Stub"; }
    tsa::Uuid getPluginInstanceTypeId() override { return {}; }
    tsa::Uuid getPluginTypeId() override { return {}; }
    bool init() override { return true; }
    bool startDeviceMonitoring() override { return true; }
    bool stopDeviceMonitoring() override { return true; }
    void deinit() override {}
    std::shared_ptr<zelt::IfPluginConfig> getConfig() override { return nullptr; }
    void configChanged() override {}
    void updateChannels() override {}
    bool hasChannelsChanged() override { return false; }
    plugin_api::IfServiceFactory* getServiceFactory() override { return nullptr; }
    void setExceptionManager(zelt::IfExceptionManager*) override {}
    bool isLicensed() override { return true; }
    void setChannelUsed(std::uint32_t, bool) override {}
    void resetChannelsUsed() override {}
    std::set<std::uint32_t> getChannelIds() override { return {}; }
    std::uint32_t findChannelIndex(const zelt::ChannelIdentification&) override {
        return zelt::kNoChannel;
    }
    bool prepareAcquisition() override { return true; }
    bool isAcquisitionRunning() override { return false; }
    bool checkChannels() override { return true; }
    bool isClockMaster() override { return false; }
    void startAcquisition() override {}
    bool stopAcquisition() override { return true; }
    bool canStopAcquisition() override { return true; }
    bool finishAcquisition() override { return true; }
    bool cleanupAcquisition() override { return true; }
    std::shared_ptr<zelt::IfTimeBaseProvider> getTimeBaseProvider(std::uint32_t) override {
        return nullptr;
    }
    void setTimeSource(std::shared_ptr<zelt::IfTimeSource>) override {}
    bool synchronizeTimeSource() override { return true; }
    std::shared_ptr<channel_config::IfChannelConfig> getChannel(std::uint32_t) override {
        return nullptr;
    }
    double getSampleRate() override { return std::nan(""); }
};

// A plug-in that passes its id on, as the camera plug-in passes it to its channels.
class ForwardingPlugin : public StubPlugin {
public:
    void setPluginId(std::uint32_t id) override {
        DAQPluginBase::setPluginId(id);
        forwarded.push_back(getPluginId());
    }
    std::vector<std::uint32_t> forwarded;
};

TEST(DAQPluginBaseTest, PluginIdBeforeTheHostSetsOneIs0xFFFFFFF6) {
    StubPlugin plugin;
    EXPECT_EQ(plugin.getPluginId(), 0xFFFFFFF6u);
}

TEST(DAQPluginBaseTest, SetPluginIdIsAnsweredByGetPluginId) {
    StubPlugin plugin;
    zelt::IfPluginCommon& common = plugin;
    common.setPluginId(5);
    EXPECT_EQ(common.getPluginId(), 5u);
}

TEST(DAQPluginBaseTest, DerivedPluginExtendsSetPluginIdAfterTheBaseStoredIt) {
    ForwardingPlugin plugin;
    zelt::IfPluginCommon& common = plugin;
    common.setPluginId(7);
    EXPECT_EQ(plugin.forwarded, std::vector<std::uint32_t>{7});
    EXPECT_EQ(common.getPluginId(), 7u);
}

}  // namespace
