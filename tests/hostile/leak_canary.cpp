// A device reference of the application's own that is never released, on purpose: the program
// takes the device out of a device-added message, as the camera plug-in's watch does, and
// forgets it. Under AddressSanitizer, with the project's suppressions and the release of the
// plug-in's kept references linked in, the device must be reported lost: neither may hide a
// device that code other than the plug-in's watch keeps.
#include <gst/gst.h>

#include "gst_support/gst_ptr.h"

namespace {

struct ZeltCanaryDevice {
    GstDevice parent;
};
struct ZeltCanaryDeviceClass {
    GstDeviceClass parent_class;
};

G_DEFINE_TYPE(ZeltCanaryDevice, zelt_canary_device, GST_TYPE_DEVICE)

void zelt_canary_device_class_init(ZeltCanaryDeviceClass*) {}
void zelt_canary_device_init(ZeltCanaryDevice*) {}

__attribute__((noinline)) GstDevice* make_forgotten_device() {
    return GST_DEVICE(g_object_new(zelt_canary_device_get_type(), "display-name", "Canary Camera",
                                   "device-class", "Video/Source", nullptr));
}

// Takes the device out of the message and drops the pointer: the reference is lost.
__attribute__((noinline)) bool take_and_forget(GstMessage* message) {
    GstDevice* taken = nullptr;
    gst_message_parse_device_added(message, &taken);
    return taken != nullptr;
}

}  // namespace

int main(int argc, char** argv) {
    gst_init(&argc, &argv);
    GstDevice* device = make_forgotten_device();
    gst_object_ref_sink(device);
    const gst_support::MessagePtr message(gst_message_new_device_added(nullptr, device));
    gst_object_unref(device);  // the message holds the device now

    if (!take_and_forget(message.get())) return 2;
    g_print("took the device of a device-added message and forgot it\n");
    return 0;
}
