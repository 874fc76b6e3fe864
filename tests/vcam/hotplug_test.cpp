// Cameras that come and go while a device monitor runs: device-added and device-removed on
// the monitor's bus.
#include <gtest/gtest.h>

#include "vcam_test_support.h"

namespace vcam_test {
namespace {

class HotplugTest : public VcamTest {
protected:
    void SetUp() override {
        VcamTest::SetUp();
        m_monitor = newMonitor();
        m_bus.reset(gst_device_monitor_get_bus(m_monitor.get()));
    }
    void TearDown() override {
        if (m_monitor) gst_device_monitor_stop(m_monitor.get());
        VcamTest::TearDown();
    }

    void start() { ASSERT_TRUE(gst_device_monitor_start(m_monitor.get())); }

    /// The display names of the devices that the started monitor lists.
    std::vector<std::string> listedNames() {
        std::vector<std::string> names;
        for (const DevicePtr& device : devicesOf(m_monitor.get())) {
            names.push_back(displayName(device.get()));
        }
        return names;
    }

    DeviceMonitorPtr m_monitor;
    BusPtr m_bus;
};

TEST_F(HotplugTest, AddedCameraIsAnnouncedWithDeviceAdded) {
    start();
    ASSERT_FALSE(nextDeviceMessage(m_bus.get(), 0)) << "no camera before the add";
    ASSERT_TRUE(m_control.addCamera(camera("Hot", {rawMode("YUY2", 64, 48, 30)})));

    MessagePtr message = nextDeviceMessage(m_bus.get());
    ASSERT_TRUE(message);
    EXPECT_EQ(GST_MESSAGE_TYPE(message.get()), GST_MESSAGE_DEVICE_ADDED);
    DevicePtr device = messageDevice(message.get());
    EXPECT_EQ(displayName(device.get()), "Hot");
    EXPECT_EQ(stringProperty(device.get(), "device-path"), "/dev/Hot");
    EXPECT_EQ(listedNames(), std::vector<std::string>{"Hot"});
}

TEST_F(HotplugTest, RemovedCameraIsAnnouncedWithDeviceRemovedForTheSameDevice) {
    start();
    ASSERT_TRUE(m_control.addCamera(camera("Hot", {rawMode("YUY2", 64, 48, 30)})));
    MessagePtr added = nextDeviceMessage(m_bus.get());
    ASSERT_TRUE(added);
    DevicePtr device = messageDevice(added.get());

    EXPECT_TRUE(m_control.removeCamera("Hot"));
    MessagePtr removed = nextDeviceMessage(m_bus.get());
    ASSERT_TRUE(removed);
    EXPECT_EQ(GST_MESSAGE_TYPE(removed.get()), GST_MESSAGE_DEVICE_REMOVED);
    EXPECT_EQ(messageDevice(removed.get()).get(), device.get());
    EXPECT_TRUE(listedNames().empty());
}

TEST_F(HotplugTest, EnvironmentCameraCanBeUnpluggedAndResetBringsItBack) {
    zelt::vcam::useDefaultCameras(2);
    start();
    for (int i = 0; i < 2; ++i) ASSERT_TRUE(nextDeviceMessage(m_bus.get()));

    EXPECT_TRUE(m_control.removeCamera("Virtual Camera 0"));
    MessagePtr removed = nextDeviceMessage(m_bus.get());
    ASSERT_TRUE(removed);
    EXPECT_EQ(GST_MESSAGE_TYPE(removed.get()), GST_MESSAGE_DEVICE_REMOVED);
    EXPECT_EQ(displayName(messageDevice(removed.get()).get()), "Virtual Camera 0");
    EXPECT_EQ(listedNames(), std::vector<std::string>{"Virtual Camera 1"});

    m_control.reset();
    MessagePtr added = nextDeviceMessage(m_bus.get());
    ASSERT_TRUE(added);
    EXPECT_EQ(GST_MESSAGE_TYPE(added.get()), GST_MESSAGE_DEVICE_ADDED);
    EXPECT_EQ(displayName(messageDevice(added.get()).get()), "Virtual Camera 0");
}

TEST_F(HotplugTest, CamerasWithOneIdLeaveTogether) {
    zelt::vcam::CameraDescription first = camera("Twin A", {rawMode("YUY2", 64, 48, 30)});
    zelt::vcam::CameraDescription second = camera("Twin B", {rawMode("YUY2", 64, 48, 30)});
    first.id = second.id = "twins";
    start();
    ASSERT_TRUE(m_control.addJson(zelt::vcam::camerasDocument({first, second})));
    ASSERT_TRUE(nextDeviceMessage(m_bus.get()));
    ASSERT_TRUE(nextDeviceMessage(m_bus.get()));
    EXPECT_EQ(listedNames().size(), 2u);

    EXPECT_TRUE(m_control.removeCamera("twins"));
    for (int i = 0; i < 2; ++i) {
        MessagePtr removed = nextDeviceMessage(m_bus.get());
        ASSERT_TRUE(removed);
        EXPECT_EQ(GST_MESSAGE_TYPE(removed.get()), GST_MESSAGE_DEVICE_REMOVED);
    }
    EXPECT_TRUE(listedNames().empty());
}

TEST_F(HotplugTest, RemovingAnUnknownIdChangesNothing) {
    start();
    ASSERT_TRUE(m_control.addCamera(camera("Stays", {rawMode("YUY2", 64, 48, 30)})));
    ASSERT_TRUE(nextDeviceMessage(m_bus.get()));
    EXPECT_FALSE(m_control.removeCamera("Nobody"));
    EXPECT_FALSE(nextDeviceMessage(m_bus.get(), 100 * GST_MSECOND));
    EXPECT_EQ(listedNames(), std::vector<std::string>{"Stays"});
}

TEST_F(HotplugTest, AddedCameraIsListedByAStoppedMonitorToo) {
    ASSERT_TRUE(m_control.addCamera(camera("Probed", {rawMode("YUY2", 64, 48, 30)})));
    const std::vector<DevicePtr> devices = probeDevices();
    ASSERT_EQ(devices.size(), 1u);
    EXPECT_EQ(displayName(devices[0].get()), "Probed");
    m_control.reset();
    EXPECT_TRUE(probeDevices().empty());
}

TEST_F(HotplugTest, RefusedDescriptionAddsNothingAndSaysWhy) {
    EXPECT_FALSE(m_control.addJson("{\"name\": \"X\", \"device_type\": \"9 lives\"}"));
    EXPECT_EQ(m_control.lastError(),
              "camera.device_type must be \"default\" or a GObject type name");
    EXPECT_FALSE(m_control.addJson("{\"name\": \"X\", \"provider\": \"other\"}"));
    EXPECT_EQ(m_control.lastError(), "camera.provider must be \"main\" or \"hiding\"");
    EXPECT_FALSE(m_control.addJson("{\"name\": \"X\", \"properties\": {\"a\": [1]}}"));
    EXPECT_EQ(m_control.lastError(), "camera.properties.a must be a string, a number or a boolean");
    EXPECT_FALSE(m_control.addJson("{\"id\": \"nameless\"}"));
    EXPECT_EQ(m_control.lastError(), "camera has no \"name\"");
    EXPECT_FALSE(m_control.addJson("{\"name\": \"X\", \"error_after_frames\": -2}"));
    EXPECT_EQ(m_control.lastError(),
              "camera.error_after_frames must be a non-negative integer or null");
    EXPECT_TRUE(probeDevices().empty());
}

}  // namespace
}  // namespace vcam_test
