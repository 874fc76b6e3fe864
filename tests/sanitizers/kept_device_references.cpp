// The device references the camera plug-in keeps, handed back when the process exits.
//
// The plug-in's device-monitor bus watch takes the device out of every device-added and
// device-removed message and never releases that reference: the channel set changes only when
// the host calls updateChannels, and the reference stays with the process by design. Each such
// device (and what it holds: caps, properties, names) is therefore never freed, and a leak
// checker reports it at exit with the stack that made the device, which is the camera
// provider's, not the plug-in's.
//
// Linked into the test executables (and, under AddressSanitizer, into every executable), the
// definitions below take the place of GStreamer's two parse functions for every call from
// another library or from the executable's own code. Each calls GStreamer's own function; when
// the caller is the plug-in's watch, the reference it was given is written down. When the
// process exits, before LeakSanitizer (or memcheck) looks for leaks, each reference written
// down is released once. Every other device reference, of the plug-in or of anyone else, is
// still checked: a device that some code forgot to release stays unreachable and is reported.
//
// The watch is recognised by where the call returns to: into the plug-in library (whose own
// symbols are hidden; nothing else in it parses device messages), or into an executable that
// links the plug-in's code, whose watch is then found through a weak reference (no other code
// of such an executable parses device messages; the virtual cameras' tests, which do and
// release what they take, never link the plug-in's code).

#include <dlfcn.h>
#include <gst/gst.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <vector>

#include "interposition.h"

// CameraPlugin::onDeviceMonitorMessage, when this executable links the plug-in's code; null
// otherwise.
extern "C" gboolean
_ZN11zelt_camera12CameraPlugin22onDeviceMonitorMessageEP7_GstBusP11_GstMessagePv(GstBus*,
                                                                                 GstMessage*,
                                                                                 gpointer)
    __attribute__((weak));

namespace {

constexpr const char kPluginLibrary[] = "libzelt_camera.so";

struct KeptReferences {
    std::mutex mutex;
    std::vector<GstDevice*> devices;  // one entry per reference kept
};

KeptReferences& kept() {
    // Never destroyed: the release at exit must find it whatever order destructors run in.
    static KeptReferences* const references = new KeptReferences;
    return *references;
}

void releaseKeptReferences() {
    std::vector<GstDevice*> devices;
    {
        std::lock_guard<std::mutex> lock(kept().mutex);
        devices.swap(kept().devices);
    }
    for (GstDevice* device : devices) gst_object_unref(device);
}

bool endsWith(const char* text, const char* tail) {
    const std::size_t length = std::strlen(text);
    const std::size_t tail_length = std::strlen(tail);
    return length >= tail_length && std::strcmp(text + length - tail_length, tail) == 0;
}

const void* linkedWatch() {
    return reinterpret_cast<const void*>(
        &_ZN11zelt_camera12CameraPlugin22onDeviceMonitorMessageEP7_GstBusP11_GstMessagePv);
}

bool calledByPluginWatch(const void* return_address) {
    Dl_info caller{};
    if (dladdr(return_address, &caller) == 0) return false;
    if (caller.dli_fname != nullptr && endsWith(caller.dli_fname, kPluginLibrary)) return true;
    const void* watch = linkedWatch();
    Dl_info watch_module{};
    return watch != nullptr && dladdr(watch, &watch_module) != 0 &&
           watch_module.dli_fbase == caller.dli_fbase;
}

void keep(GstDevice* device) {
    if (device == nullptr) return;
    static std::once_flag registered;
    // Registered after the sanitizer runtime's own exit handler, so it runs before the leak
    // check.
    std::call_once(registered, [] { std::atexit(&releaseKeptReferences); });
    std::lock_guard<std::mutex> lock(kept().mutex);
    kept().devices.push_back(device);
}

}  // namespace

ZELT_SHOWN void gst_message_parse_device_added(GstMessage* message, GstDevice** device) {
    ZELT_REAL(gst_message_parse_device_added)(message, device);
    if (device != nullptr && calledByPluginWatch(__builtin_return_address(0))) keep(*device);
}

ZELT_SHOWN void gst_message_parse_device_removed(GstMessage* message, GstDevice** device) {
    ZELT_REAL(gst_message_parse_device_removed)(message, device);
    if (device != nullptr && calledByPluginWatch(__builtin_return_address(0))) keep(*device);
}
