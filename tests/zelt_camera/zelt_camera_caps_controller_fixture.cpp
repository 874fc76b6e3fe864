#include "zelt_camera_caps_controller_fixture.h"

// A device type of our own: GstDevice is abstract, and the controller only asks for caps.
struct ZeltTestDevice {
    GstDevice parent;
};
struct ZeltTestDeviceClass {
    GstDeviceClass parent_class;
};
G_DEFINE_TYPE(ZeltTestDevice, zelt_test_device, GST_TYPE_DEVICE)
static void zelt_test_device_class_init(ZeltTestDeviceClass*) {}
static void zelt_test_device_init(ZeltTestDevice*) {}

namespace zelt_camera::caps_test {
namespace {

// GStreamer is initialised once per test process.
class GStreamerEnvironment : public ::testing::Environment {
public:
    void SetUp() override { gst_init(nullptr, nullptr); }
};
const auto* const g_gstreamer = ::testing::AddGlobalTestEnvironment(new GStreamerEnvironment);

}  // namespace

gst_support::DevicePtr makeDevice(GstCaps* caps) {
    return gst_support::sinkObject(
        GST_DEVICE(g_object_new(zelt_test_device_get_type(), "caps", caps, "display-name",
                                "Test camera", "device-class", "Video/Source", nullptr)));
}

gst_support::DevicePtr makeDevice(const char* text) {
    const gst_support::CapsPtr caps(gst_caps_from_string(text));
    EXPECT_NE(caps, nullptr) << text;
    return makeDevice(caps.get());
}

GstStructure* rawStructure(int width, int height, const char* format) {
    return gst_structure_new("video/x-raw", "width", G_TYPE_INT, width, "height", G_TYPE_INT,
                             height, "pixel-aspect-ratio", GST_TYPE_FRACTION, 1, 1, "format",
                             G_TYPE_STRING, format, nullptr);
}

}  // namespace zelt_camera::caps_test
