// Which cameras a real device monitor with the capture filter lists, with which type names,
// properties and caps.
#include <gtest/gtest.h>

#include "vcam_test_support.h"

namespace vcam_test {
namespace {

using zelt::vcam::CameraDescription;

const std::vector<std::string> kDefaultCaps = {
    "video/x-raw, format=(string)YUY2, width=(int)1280, height=(int)720, "
    "framerate=(fraction)30/1, pixel-aspect-ratio=(fraction)1/1",
    "video/x-raw, format=(string)YUY2, width=(int)640, height=(int)480, "
    "framerate=(fraction)30/1, pixel-aspect-ratio=(fraction)1/1",
    "video/x-raw, format=(string)I420, width=(int)1280, height=(int)720, "
    "framerate=(fraction)30/1, pixel-aspect-ratio=(fraction)1/1",
    "video/x-raw, format=(string)I420, width=(int)640, height=(int)480, "
    "framerate=(fraction)30/1, pixel-aspect-ratio=(fraction)1/1",
};

using DeviceListingTest = VcamTest;

TEST_F(DeviceListingTest, NothingIsListedWithoutTheVariableOrTheApi) {
    EXPECT_TRUE(probeDevices().empty());

    DeviceMonitorPtr monitor = newMonitor();
    ASSERT_TRUE(gst_device_monitor_start(monitor.get()));
    EXPECT_TRUE(devicesOf(monitor.get()).empty());
    gst_device_monitor_stop(monitor.get());
}

TEST_F(DeviceListingTest, EmptyVariableAndZeroCountListNothing) {
    g_setenv(ZELT_VCAM_ENVIRONMENT_VARIABLE, "", TRUE);
    EXPECT_TRUE(probeDevices().empty());
    zelt::vcam::useDefaultCameras(0);
    EXPECT_TRUE(probeDevices().empty());
    EXPECT_EQ(m_control.lastError(), "");
}

TEST_F(DeviceListingTest, TwoDefaultCamerasAreListedWithTheirNamesTypesPropertiesAndCaps) {
    zelt::vcam::useDefaultCameras(2);
    const std::vector<DevicePtr> devices = probeDevices();
    ASSERT_EQ(devices.size(), 2u);
    for (size_t i = 0; i < devices.size(); ++i) {
        GstDevice* device = devices[i].get();
        const std::string index = std::to_string(i);
        EXPECT_EQ(displayName(device), "Virtual Camera " + index);
        EXPECT_EQ(typeName(device), ZELT_VCAM_DEVICE_TYPE_NAME);
        GCharPtr device_class(gst_device_get_device_class(device));
        EXPECT_STREQ(device_class.get(), "Video/Source");
        EXPECT_EQ(stringProperty(device, "path"), std::nullopt);
        EXPECT_EQ(stringProperty(device, "device-path"), "/dev/zelt-vcam" + index);
        EXPECT_EQ(capsStructures(device), kDefaultCaps);
        EXPECT_EQ(propertiesText(device),
                  "zeltvcamdeviceprovider, device.api=(string)zelt-vcam, "
                  "zelt-vcam.id=(string)\"Virtual\\ Camera\\ " +
                      index + "\", device-path=(string)/dev/zelt-vcam" + index + ";");
    }
}

TEST_F(DeviceListingTest, StartedMonitorAnnouncesAndListsTheDefaultCamerasInOrder) {
    zelt::vcam::useDefaultCameras(2);
    DeviceMonitorPtr monitor = newMonitor();
    BusPtr bus(gst_device_monitor_get_bus(monitor.get()));
    ASSERT_TRUE(gst_device_monitor_start(monitor.get()));

    for (const char* name : {"Virtual Camera 0", "Virtual Camera 1"}) {
        MessagePtr message = nextDeviceMessage(bus.get());
        ASSERT_TRUE(message);
        EXPECT_EQ(GST_MESSAGE_TYPE(message.get()), GST_MESSAGE_DEVICE_ADDED);
        EXPECT_EQ(displayName(messageDevice(message.get()).get()), name);
    }
    const std::vector<DevicePtr> devices = devicesOf(monitor.get());
    ASSERT_EQ(devices.size(), 2u);
    EXPECT_EQ(displayName(devices[0].get()), "Virtual Camera 0");
    EXPECT_EQ(displayName(devices[1].get()), "Virtual Camera 1");
    EXPECT_EQ(capsStructures(devices[1].get()), kDefaultCaps);
    gst_device_monitor_stop(monitor.get());
}

TEST_F(DeviceListingTest, OnlyOurProvidersAreAskedInTheSealedProcess) {
    DeviceMonitorPtr monitor = newMonitor();
    const std::unique_ptr<gchar*, decltype(&g_strfreev)> providers(
        gst_device_monitor_get_providers(monitor.get()), &g_strfreev);
    ASSERT_TRUE(providers);
    ASSERT_EQ(g_strv_length(providers.get()), 2u);
    EXPECT_STREQ(providers.get()[0], ZELT_VCAM_PROVIDER_NAME);
    EXPECT_STREQ(providers.get()[1], ZELT_VCAM_HIDING_PROVIDER_NAME);

    gst_support::ObjectPtr<GstDeviceProviderFactory> factory(
        gst_device_provider_factory_find(ZELT_VCAM_PROVIDER_NAME));
    ASSERT_TRUE(factory);
    EXPECT_GE(gst_plugin_feature_get_rank(GST_PLUGIN_FEATURE(factory.get())), GST_RANK_MARGINAL);
}

TEST_F(DeviceListingTest, JsonCamerasAreListedWithTypePathsAndCapsAsWritten) {
    // The same camera reported twice, as Media Foundation and another provider would.
    CameraDescription mf;
    mf.name = "USB Camera";
    mf.id = "usb-mf";
    mf.media_foundation = true;
    mf.path = "\\\\?\\usb#vid_1&pid_2#inst#{guid}\\global";
    mf.device_path = "";
    mf.caps = std::vector<std::string>{
        "video/x-raw, format=NV12, width=640, height=480, framerate={ 15/1, 30/1, 25/1 }, "
        "pixel-aspect-ratio=1/1",
        "image/jpeg, width=1280, height=720, framerate=30/1"};
    CameraDescription other;
    other.name = "USB Camera";
    other.id = "usb-other";
    other.device_path = "\\\\?\\usb#vid_1&pid_2#inst#{other}";
    other.caps = std::vector<std::string>{
        "video/x-raw, format=YUY2, width=640, height=480, framerate=[ 1/1, 60/1 ], "
        "pixel-aspect-ratio=1/1",
        "video/x-raw, format=YUY2, width=320, height=240, framerate={ }, pixel-aspect-ratio=1/1"};
    CameraDescription broken;
    broken.name = "Broken Camera";
    broken.path = "";
    broken.caps = std::vector<std::string>{
        "video/x-raw, format=YUY2, height=480, framerate=30/1, pixel-aspect-ratio=1/1",
        "video/x-raw, format=YUY2, width=640, framerate=30/1, pixel-aspect-ratio=1/1",
        "video/x-raw, format=YUY2, width=640, height=480, pixel-aspect-ratio=1/1",
        "video/x-raw, format=YUY2, width=640, height=480, framerate=30/1",
        "video/x-raw, width=640, height=480, framerate=30/1, pixel-aspect-ratio=1/1",
        "video/x-raw, format=YUY2, width=640, height=480, framerate=30/1, "
        "pixel-aspect-ratio=1/1",
        "video/x-raw, format=YUY2, width=640, height=480, framerate=30/1, "
        "pixel-aspect-ratio=1/1"};
    useCameras({mf, other, broken});

    const std::vector<DevicePtr> devices = probeDevices();
    ASSERT_EQ(devices.size(), 3u);

    GstDevice* first = devices[0].get();
    EXPECT_EQ(displayName(first), "USB Camera");
    EXPECT_EQ(typeName(first), "GstMFDevice");
    EXPECT_TRUE(g_type_is_a(G_OBJECT_TYPE(first), GST_TYPE_DEVICE));
    EXPECT_EQ(stringProperty(first, "path"), "\\\\?\\usb#vid_1&pid_2#inst#{guid}\\global");
    EXPECT_EQ(stringProperty(first, "device-path"), "");
    EXPECT_EQ(capsStructures(first),
              (std::vector<std::string>{
                  "video/x-raw, format=(string)NV12, width=(int)640, height=(int)480, "
                  "framerate=(fraction){ 15/1, 30/1, 25/1 }, pixel-aspect-ratio=(fraction)1/1",
                  "image/jpeg, width=(int)1280, height=(int)720, framerate=(fraction)30/1"}));

    GstDevice* second = devices[1].get();
    EXPECT_EQ(displayName(second), "USB Camera");
    EXPECT_EQ(typeName(second), ZELT_VCAM_DEVICE_TYPE_NAME);
    EXPECT_EQ(stringProperty(second, "path"), std::nullopt);
    EXPECT_EQ(stringProperty(second, "device-path"), "\\\\?\\usb#vid_1&pid_2#inst#{other}");
    const std::vector<std::string> second_caps = capsStructures(second);
    ASSERT_EQ(second_caps.size(), 2u);
    EXPECT_EQ(second_caps[0],
              "video/x-raw, format=(string)YUY2, width=(int)640, height=(int)480, "
              "framerate=(fraction)[ 1/1, 60/1 ], pixel-aspect-ratio=(fraction)1/1");
    CapsPtr caps(gst_device_get_caps(second));
    const GValue* empty_rates =
        gst_structure_get_value(gst_caps_get_structure(caps.get(), 1), "framerate");
    ASSERT_NE(empty_rates, nullptr);
    ASSERT_TRUE(GST_VALUE_HOLDS_LIST(empty_rates));
    EXPECT_EQ(gst_value_list_get_size(empty_rates), 0u);

    GstDevice* third = devices[2].get();
    EXPECT_EQ(displayName(third), "Broken Camera");
    EXPECT_EQ(stringProperty(third, "path"), "");
    EXPECT_EQ(stringProperty(third, "device-path"), std::nullopt);
    EXPECT_EQ(capsStructures(third),
              (std::vector<std::string>{
                  "video/x-raw, format=(string)YUY2, height=(int)480, framerate=(fraction)30/1, "
                  "pixel-aspect-ratio=(fraction)1/1",
                  "video/x-raw, format=(string)YUY2, width=(int)640, framerate=(fraction)30/1, "
                  "pixel-aspect-ratio=(fraction)1/1",
                  "video/x-raw, format=(string)YUY2, width=(int)640, height=(int)480, "
                  "pixel-aspect-ratio=(fraction)1/1",
                  "video/x-raw, format=(string)YUY2, width=(int)640, height=(int)480, "
                  "framerate=(fraction)30/1",
                  "video/x-raw, width=(int)640, height=(int)480, framerate=(fraction)30/1, "
                  "pixel-aspect-ratio=(fraction)1/1",
                  "video/x-raw, format=(string)YUY2, width=(int)640, height=(int)480, "
                  "framerate=(fraction)30/1, pixel-aspect-ratio=(fraction)1/1",
                  "video/x-raw, format=(string)YUY2, width=(int)640, height=(int)480, "
                  "framerate=(fraction)30/1, pixel-aspect-ratio=(fraction)1/1"}));
}

TEST_F(DeviceListingTest, DescribedCameraHasItsTypeClassPropertiesAndMonitorPrintedCaps) {
    // Caps as a device monitor prints them: one structure a line, the older style's ';'.
    const std::string monitor_caps =
        "video/x-raw, format=(string)YUY2, width=(int)1280, height=(int)720, "
        "pixel-aspect-ratio=(fraction)1/1, framerate=(fraction){ 10/1, 15/2, 5/1 };\n"
        "        video/x-raw(memory:DMABuf), format=NV12, width=[ 16, 1920, 2 ], "
        "height=[ 16, 1080, 2 ], framerate=[ 1/1, 30/1 ]\n"
        "        image/jpeg, width=640, height=480, framerate=30/1\n";
    const std::string document =
        "{\"cameras\": [{\"name\": \"Webcam\", \"device_type\": \"GstKsDevice\", "
        "\"class\": \"Source/Video\", \"path\": \"ks:usb#vid_1#x#{g}\", "
        "\"properties\": {\"device.api\": \"ks\", \"device.strid\": \"x\", "
        "\"device.index\": 2, \"is-default\": true}, \"caps\": " +
        zelt::vcam::jsonQuote(monitor_caps) +
        "}, {\"name\": \"Bare\", \"properties\": null, \"caps\": [" +
        zelt::vcam::jsonQuote(rawMode("I420", 64, 48, 30)) + "]}]}";
    zelt::vcam::useCameraFile(writeFile("described.json", document));

    const std::vector<DevicePtr> devices = probeDevices();
    ASSERT_EQ(devices.size(), 2u) << m_control.lastError();
    GstDevice* webcam = devices[0].get();
    EXPECT_EQ(typeName(webcam), "GstKsDevice");
    const GCharPtr device_class(gst_device_get_device_class(webcam));
    EXPECT_STREQ(device_class.get(), "Source/Video");
    EXPECT_EQ(stringProperty(webcam, "path"), "ks:usb#vid_1#x#{g}");
    EXPECT_EQ(propertiesText(webcam),
              "properties, device.api=(string)ks, device.strid=(string)x, "
              "device.index=(gint64)2, is-default=(boolean)true;");
    EXPECT_EQ(capsStructures(webcam),
              (std::vector<std::string>{
                  "video/x-raw, format=(string)YUY2, width=(int)1280, height=(int)720, "
                  "pixel-aspect-ratio=(fraction)1/1, framerate=(fraction){ 10/1, 15/2, 5/1 }",
                  "video/x-raw, format=(string)NV12, width=(int)[ 16, 1920, 2 ], "
                  "height=(int)[ 16, 1080, 2 ], framerate=(fraction)[ 1/1, 30/1 ]",
                  "image/jpeg, width=(int)640, height=(int)480, framerate=(fraction)30/1"}));
    const CapsPtr caps(gst_device_get_caps(webcam));
    const GCharPtr features(gst_caps_features_to_string(gst_caps_get_features(caps.get(), 1)));
    EXPECT_STREQ(features.get(), "memory:DMABuf");

    const gst_support::StructurePtr bare_properties(gst_device_get_properties(devices[1].get()));
    EXPECT_EQ(bare_properties, nullptr);
}

TEST_F(DeviceListingTest, HidingProviderHidesTheMainOneFromMonitorsThatDoNotShowAll) {
    CameraDescription v4l2 = camera("Desk", {rawMode("YUY2", 64, 48, 30)});
    v4l2.device_type = "GstV4l2Device";
    CameraDescription duplicate = camera("Desk", {rawMode("YUY2", 64, 48, 30)});
    duplicate.device_path.reset();
    duplicate.device_type = "GstPipeWireDevice";
    duplicate.hiding_provider = true;
    useCameras({v4l2, duplicate});

    for (const bool show_all : {false, true}) {
        DeviceMonitorPtr monitor = newMonitor();
        gst_device_monitor_set_show_all_devices(monitor.get(), show_all);
        ASSERT_TRUE(gst_device_monitor_start(monitor.get()));
        std::vector<std::string> types;
        for (const DevicePtr& device : devicesOf(monitor.get()))
            types.push_back(typeName(device.get()));
        gst_device_monitor_stop(monitor.get());
        const std::vector<std::string> expected =
            show_all ? std::vector<std::string>{"GstV4l2Device", "GstPipeWireDevice"}
                     : std::vector<std::string>{"GstPipeWireDevice"};
        EXPECT_EQ(types, expected) << "show all: " << show_all;
    }
}

TEST_F(DeviceListingTest, MainProviderIsNotHiddenWhileTheHidingOneOffersNothing) {
    useCameras({camera("Alone", {rawMode("YUY2", 64, 48, 30)})});
    DeviceMonitorPtr monitor = newMonitor();
    ASSERT_TRUE(gst_device_monitor_start(monitor.get()));
    const std::vector<DevicePtr> devices = devicesOf(monitor.get());
    gst_device_monitor_stop(monitor.get());
    ASSERT_EQ(devices.size(), 1u);
    EXPECT_EQ(displayName(devices[0].get()), "Alone");
}

TEST_F(DeviceListingTest, CameraWithoutRawModesIsNotListedByTheCaptureFilter) {
    useCameras({camera("Jpeg Camera", {"image/jpeg, width=640, height=480, framerate=30/1"}),
                camera("Raw Camera", {rawMode("YUY2", 64, 48, 30)})});
    const std::vector<DevicePtr> devices = probeDevices();
    ASSERT_EQ(devices.size(), 1u);
    EXPECT_EQ(displayName(devices[0].get()), "Raw Camera");
}

TEST_F(DeviceListingTest, CameraWithoutCapsMemberHasTheDefaultModes) {
    CameraDescription plain;
    plain.name = "Plain";
    useCameras({plain});
    DevicePtr device = findDevice("Plain");
    ASSERT_TRUE(device);
    EXPECT_EQ(capsStructures(device.get()), kDefaultCaps);
    EXPECT_EQ(stringProperty(device.get(), "path"), std::nullopt);
    EXPECT_EQ(stringProperty(device.get(), "device-path"), std::nullopt);
}

TEST_F(DeviceListingTest, EnvironmentIsReadAgainAtEveryProbe) {
    zelt::vcam::useDefaultCameras(1);
    EXPECT_EQ(probeDevices().size(), 1u);
    zelt::vcam::useDefaultCameras(3);
    EXPECT_EQ(probeDevices().size(), 3u);
    zelt::vcam::clearEnvironmentCameras();
    EXPECT_TRUE(probeDevices().empty());
}

TEST_F(DeviceListingTest, MissingDescriptionFileListsNothingAndSaysWhy) {
    zelt::vcam::useCameraFile(m_dir + "/absent.json");
    EXPECT_TRUE(probeDevices().empty());
    EXPECT_EQ(m_control.lastError().rfind("cannot read " + m_dir + "/absent.json: ", 0), 0u)
        << m_control.lastError();
}

TEST_F(DeviceListingTest, InvalidDescriptionFileListsNothingAndSaysWhy) {
    zelt::vcam::useCameraFile(writeFile("bad.json", "{\"cameras\": [{\"name\": \"A\", }]}"));
    EXPECT_TRUE(probeDevices().empty());
    EXPECT_NE(m_control.lastError().find("not valid JSON"), std::string::npos)
        << m_control.lastError();

    const std::string typo = writeFile("typo.json",
                                       "{\"cameras\": [{\"name\": \"A\", "
                                       "\"colour\": \"red\"}]}");
    zelt::vcam::useCameraFile(typo);
    EXPECT_TRUE(probeDevices().empty());
    EXPECT_EQ(m_control.lastError(), typo + ": cameras[0].colour is not a camera member");

    zelt::vcam::useCameraFile(writeFile("caps.json",
                                        "{\"cameras\": [{\"name\": \"A\", "
                                        "\"caps\": [\"video/x-raw, width=\"]}]}"));
    EXPECT_TRUE(probeDevices().empty());
    EXPECT_NE(m_control.lastError().find("cameras[0].caps[0] is not valid caps"), std::string::npos)
        << m_control.lastError();
}

TEST_F(DeviceListingTest, UnreasonableCountListsNothing) {
    zelt::vcam::useDefaultCameras(65);
    EXPECT_TRUE(probeDevices().empty());
    EXPECT_EQ(m_control.lastError(),
              ZELT_VCAM_ENVIRONMENT_VARIABLE "=65 asks for more than 64 cameras");
}

}  // namespace
}  // namespace vcam_test
