// The plug-in library as a host sees it: loaded with dlopen, reached through its two exports
// and the host kit's interfaces only.
#include <dlfcn.h>
#include <gst/gst.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>

#include "plugin_api/service.h"
#include "zelt/daq_plugin.h"
#include "zelt/plugin_exports.h"
#include "zelt/system_topology.h"

namespace {

// {D40250C7-33F6-4ECE-9A88-BAE8EE6D5FA5}
constexpr tsa::Uuid kTypeId = {{0xD4, 0x02, 0x50, 0xC7, 0x33, 0xF6, 0x4E, 0xCE, 0x9A, 0x88, 0xBA,
                                0xE8, 0xEE, 0x6D, 0x5F, 0xA5}};
// {E55F6703-E783-4504-A46B-35AC2E8239EB}
constexpr tsa::Uuid kInstanceTypeId = {{0xE5, 0x5F, 0x67, 0x03, 0xE7, 0x83, 0x45, 0x04, 0xA4, 0x6B,
                                        0x35, 0xAC, 0x2E, 0x82, 0x39, 0xEB}};

struct LibraryClose {
    void operator()(void* handle) const { dlclose(handle); }
};

class CameraModuleTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { gst_init(nullptr, nullptr); }

    void SetUp() override {
        m_library.reset(dlopen(ZELT_CAMERA_MODULE_PATH, RTLD_NOW | RTLD_LOCAL));
        ASSERT_NE(m_library, nullptr) << dlerror();
        m_dll_name = reinterpret_cast<zelt::GetPluginDllNameFunction>(
            dlsym(m_library.get(), zelt::kGetPluginDllNameSymbol));
        m_factory = reinterpret_cast<zelt::GetPluginFactoryFunction>(
            dlsym(m_library.get(), zelt::kGetPluginFactorySymbol));
        ASSERT_NE(m_dll_name, nullptr);
        ASSERT_NE(m_factory, nullptr);
    }

    zelt::IfDAQPlugin* createPlugin() {
        zelt::IfPluginCommon* common = nullptr;
        EXPECT_TRUE(m_factory()->createPlugin("CAMERA", kTypeId, &common));
        return dynamic_cast<zelt::IfDAQPlugin*>(common);
    }

    std::unique_ptr<void, LibraryClose> m_library;
    zelt::GetPluginDllNameFunction m_dll_name = nullptr;
    zelt::GetPluginFactoryFunction m_factory = nullptr;
};

TEST_F(CameraModuleTest, ExportsNameCameraAndOneStaticCreator) {
    EXPECT_STREQ(m_dll_name(), "CAMERA");
    EXPECT_EQ(m_factory(), m_factory());
    EXPECT_EQ(m_factory()->getPluginTypeCount(), 1u);
    EXPECT_STREQ(m_factory()->getPluginTypeName(0), "CAMERA");
}

TEST_F(CameraModuleTest, ResolvesNoOtherSymbolOfOurs) {
    EXPECT_EQ(dlsym(m_library.get(), "_ZN11zelt_camera19CameraPluginCreator8instanceEv"), nullptr);
    EXPECT_EQ(dlsym(m_library.get(), "_ZN3uni19setAssertionHandlerEPFiPKcS1_S1_iE"), nullptr);
}

TEST_F(CameraModuleTest, DrivesEverySlotOfTheDaqPluginOverNoChannels) {
    zelt::IfDAQPlugin* plugin = createPlugin();
    ASSERT_NE(plugin, nullptr);

    EXPECT_EQ(plugin->getPluginName(), "Camera");                   // 1
    EXPECT_EQ(plugin->getPluginInstanceTypeId(), kInstanceTypeId);  // 2
    EXPECT_EQ(plugin->getPluginId(), 0xFFFFFFF6u);                  // 3
    plugin->setPluginId(7);                                         // 4
    EXPECT_EQ(plugin->getPluginId(), 7u);
    EXPECT_EQ(plugin->getPluginTypeId(), kTypeId);  // 5
    EXPECT_TRUE(plugin->init());                    // 6
    EXPECT_TRUE(plugin->startDeviceMonitoring());   // 7
    EXPECT_TRUE(plugin->stopDeviceMonitoring());    // 8
    const auto config = plugin->getConfig();        // 10
    ASSERT_NE(config, nullptr);
    EXPECT_TRUE(config->hasConfigItem("FrameCounterChannels"));
    plugin->configChanged();                                              // 11
    plugin->updateChannels();                                             // 12
    EXPECT_FALSE(plugin->hasChannelsChanged());                           // 13
    plugin_api::IfServiceFactory* factory = plugin->getServiceFactory();  // 14
    ASSERT_NE(factory, nullptr);
    EXPECT_TRUE(factory->getService(zelt::kSystemTopologyServiceId, nullptr));
    EXPECT_EQ(factory->release(), 2u);
    plugin->setExceptionManager(nullptr);                                                      // 15
    EXPECT_TRUE(plugin->isLicensed());                                                         // 16
    plugin->setChannelUsed(0, true);                                                           // 17
    plugin->resetChannelsUsed();                                                               // 18
    EXPECT_TRUE(plugin->getChannelIds().empty());                                              // 19
    EXPECT_EQ(plugin->findChannelIndex({{"ID:CAMERA/ChannelIndex", "x"}}), zelt::kNoChannel);  // 20
    EXPECT_TRUE(plugin->prepareAcquisition());                                                 // 21
    EXPECT_FALSE(plugin->isAcquisitionRunning());                                              // 22
    EXPECT_TRUE(plugin->checkChannels());                                                      // 23
    EXPECT_FALSE(plugin->isClockMaster());                                                     // 24
    plugin->startAcquisition();                                                                // 25
    EXPECT_TRUE(plugin->isAcquisitionRunning());
    EXPECT_TRUE(plugin->canStopAcquisition());  // 27
    EXPECT_TRUE(plugin->finishAcquisition());   // 28
    EXPECT_TRUE(plugin->stopAcquisition());     // 26
    EXPECT_FALSE(plugin->isAcquisitionRunning());
    EXPECT_TRUE(plugin->cleanupAcquisition());                    // 29
    EXPECT_EQ(plugin->getTimeBaseProvider(0xFFFFFFFF), nullptr);  // 30
    EXPECT_EQ(plugin->getTimeBaseProvider(0), nullptr);
    plugin->setTimeSource(nullptr);                            // 31
    EXPECT_TRUE(plugin->synchronizeTimeSource());              // 32
    EXPECT_EQ(plugin->getChannel(5), nullptr);                 // 33
    EXPECT_TRUE(std::isnan(plugin->getSampleRate()));          // 34
    plugin->deinit();                                          // 9
    EXPECT_TRUE(m_factory()->destroyPlugin(kTypeId, plugin));  // 0
}

TEST_F(CameraModuleTest, TopologyOfAPluginWithoutChannelsIsAnEmptyTree) {
    zelt::IfDAQPlugin* plugin = createPlugin();
    ASSERT_NE(plugin, nullptr);
    ASSERT_TRUE(plugin->init());
    plugin_api::IfServiceFactory* factory = plugin->getServiceFactory();
    plugin_api::IfService* service = nullptr;
    ASSERT_TRUE(factory->getService(zelt::kSystemTopologyServiceId, &service));
    auto* topology = dynamic_cast<zelt::IfSystemTopologyService*>(service);
    ASSERT_NE(topology, nullptr);
    std::string document;
    EXPECT_TRUE(topology->getTopology(
        nullptr,
        [](void* context, const char* text, std::size_t length) {
            static_cast<std::string*>(context)->assign(text, length);
        },
        &document));
    EXPECT_EQ(document, "<?xml version=\"1.0\"?>\n<MeasurementTree />\n");
    service->release();
    factory->release();
    plugin->deinit();
    EXPECT_TRUE(m_factory()->destroyPlugin(kTypeId, plugin));
}

}  // namespace
