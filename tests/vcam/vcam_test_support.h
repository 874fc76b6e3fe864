// Shared pieces of the virtual-camera tests: the fixture that leaves the provider as it found
// it, device monitors with the capture filter, and capture pipelines built the way the camera
// plug-in builds them (the device's own element linked straight to an appsink).
#pragma once

#include <glib/gstdio.h>
#include <gst/app/gstappsink.h>
#include <gst/gst.h>
#include <gst/video/video.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "gst_support/gst_ptr.h"
#include "vcam/vcam.h"
#include "vcam/vcam_control.h"

namespace vcam_test {

using gst_support::BufferPtr;
using gst_support::BusPtr;
using gst_support::CapsPtr;
using gst_support::DeviceMonitorPtr;
using gst_support::DevicePtr;
using gst_support::ElementPtr;
using gst_support::GCharPtr;
using gst_support::MessagePtr;
using gst_support::SamplePtr;

constexpr GstClockTime kMessageTimeout = 5 * GST_SECOND;

/// The filter of camera discovery: raw video sources.
inline guint addCaptureFilter(GstDeviceMonitor* monitor) {
    CapsPtr caps(gst_caps_new_empty_simple("video/x-raw"));
    return gst_device_monitor_add_filter(monitor, "Video/Source", caps.get());
}

/// A device monitor with the capture filter, not started. (transfer full)
inline DeviceMonitorPtr newMonitor() {
    DeviceMonitorPtr monitor(gst_device_monitor_new());
    addCaptureFilter(monitor.get());
    return monitor;
}

/// The devices that `monitor` lists now, in its order.
inline std::vector<DevicePtr> devicesOf(GstDeviceMonitor* monitor) {
    std::vector<DevicePtr> devices;
    GList* list = gst_device_monitor_get_devices(monitor);
    for (GList* item = list; item != nullptr; item = item->next) {
        devices.push_back(gst_support::refObject(GST_DEVICE(item->data)));
    }
    g_list_free_full(list, gst_object_unref);
    return devices;
}

/// The devices that a fresh, stopped monitor with the capture filter lists (the providers
/// probe).
inline std::vector<DevicePtr> probeDevices() { return devicesOf(newMonitor().get()); }

/// The listed device with this display name, or null.
inline DevicePtr findDevice(const std::string& name) {
    for (DevicePtr& device : probeDevices()) {
        GCharPtr display_name(gst_device_get_display_name(device.get()));
        if (name == display_name.get()) return std::move(device);
    }
    return nullptr;
}

inline std::string displayName(GstDevice* device) {
    GCharPtr name(gst_device_get_display_name(device));
    return name ? name.get() : "";
}

inline std::string typeName(GstDevice* device) { return G_OBJECT_TYPE_NAME(device); }

/// A string property: nullopt when it yields NULL.
inline std::optional<std::string> stringProperty(GstDevice* device, const char* name) {
    gchar* raw = nullptr;
    g_object_get(device, name, &raw, nullptr);
    GCharPtr value(raw);
    if (!value) return std::nullopt;
    return std::string(value.get());
}

/// The structures of `caps`, each as gst_structure_to_string writes it (without its ';').
inline std::vector<std::string> structuresOf(const GstCaps* caps) {
    std::vector<std::string> structures;
    for (guint i = 0; caps != nullptr && i < gst_caps_get_size(caps); ++i) {
        GCharPtr text(gst_structure_to_string(gst_caps_get_structure(caps, i)));
        std::string structure = text.get();
        if (!structure.empty() && structure.back() == ';') structure.pop_back();
        structures.push_back(structure);
    }
    return structures;
}

/// The structures of the device's caps.
inline std::vector<std::string> capsStructures(GstDevice* device) {
    CapsPtr caps(gst_device_get_caps(device));
    return structuresOf(caps.get());
}

/// The device's properties structure as text.
inline std::string propertiesText(GstDevice* device) {
    gst_support::StructurePtr properties(gst_device_get_properties(device));
    if (!properties) return "";
    GCharPtr text(gst_structure_to_string(properties.get()));
    return text.get();
}

/// Waits for the next device-added or device-removed message on `bus`.
inline MessagePtr nextDeviceMessage(GstBus* bus, GstClockTime timeout = kMessageTimeout) {
    return MessagePtr(gst_bus_timed_pop_filtered(
        bus, timeout,
        static_cast<GstMessageType>(GST_MESSAGE_DEVICE_ADDED | GST_MESSAGE_DEVICE_REMOVED)));
}

/// The device of a device-added or device-removed message.
inline DevicePtr messageDevice(GstMessage* message) {
    GstDevice* device = nullptr;
    if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_DEVICE_ADDED) {
        gst_message_parse_device_added(message, &device);
    } else if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_DEVICE_REMOVED) {
        gst_message_parse_device_removed(message, &device);
    }
    return DevicePtr(device);
}

/// The fixture of every virtual-camera test: no environment cameras, no added ones, before
/// and after; a private directory for description files.
class VcamTest : public ::testing::Test {
protected:
    void SetUp() override {
        zelt::vcam::clearEnvironmentCameras();
        m_control.reset();
        m_hiding_control.reset();
        const GCharPtr dir(g_dir_make_tmp("zelt-vcam-test-XXXXXX", nullptr));
        ASSERT_TRUE(dir);
        m_dir = dir.get();
    }

    void TearDown() override {
        zelt::vcam::clearEnvironmentCameras();
        m_control.reset();
        m_hiding_control.reset();
        for (const std::string& file : m_files) g_remove(file.c_str());
        if (!m_dir.empty()) g_rmdir(m_dir.c_str());
    }

    /// Writes `cameras` to a description file and points the environment variable at it.
    void useCameras(const std::vector<zelt::vcam::CameraDescription>& cameras) {
        writeFile("cameras.json", zelt::vcam::camerasDocument(cameras));
        zelt::vcam::useCameraFile(m_files.back());
    }

    /// Writes `text` into the private directory; returns the path.
    std::string writeFile(const std::string& name, const std::string& text) {
        const std::string path = m_dir + "/" + name;
        EXPECT_TRUE(g_file_set_contents(path.c_str(), text.c_str(),
                                        static_cast<gssize>(text.size()), nullptr));
        m_files.push_back(path);
        return path;
    }

    zelt::vcam::ProviderControl m_control;
    zelt::vcam::ProviderControl m_hiding_control{ZELT_VCAM_HIDING_PROVIDER_NAME};
    std::string m_dir;
    std::vector<std::string> m_files;
};

/// A camera with these caps strings and nothing else special.
inline zelt::vcam::CameraDescription camera(const std::string& name,
                                            std::vector<std::string> caps) {
    zelt::vcam::CameraDescription description;
    description.name = name;
    description.device_path = "/dev/" + name;
    description.caps = std::move(caps);
    return description;
}

/// One well-formed raw mode.
inline std::string rawMode(const std::string& format, int width, int height, int rate) {
    return "video/x-raw, format=(string)" + format + ", width=(int)" + std::to_string(width) +
           ", height=(int)" + std::to_string(height) + ", framerate=(fraction)" +
           std::to_string(rate) + "/1, pixel-aspect-ratio=(fraction)1/1";
}

/// A camera's element linked straight to an appsink, as the camera plug-in builds it.
struct Capture {
    ElementPtr pipeline;
    ElementPtr source;
    ElementPtr appsink;
    bool linked = false;

    Capture() = default;
    Capture(Capture&&) = default;
    Capture& operator=(Capture&&) = delete;
    ~Capture() {
        if (pipeline) gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    }

    /// Frames arrive at the appsink from PLAYING on; false when the state change fails.
    bool play() {
        return gst_element_set_state(pipeline.get(), GST_STATE_PLAYING) != GST_STATE_CHANGE_FAILURE;
    }

    SamplePtr pull(GstClockTime timeout = kMessageTimeout) {
        return SamplePtr(gst_app_sink_try_pull_sample(GST_APP_SINK(appsink.get()), timeout));
    }

    /// The running time of the pipeline now.
    GstClockTime runningTime() const {
        gst_support::ClockPtr clock(gst_element_get_clock(pipeline.get()));
        if (!clock) return GST_CLOCK_TIME_NONE;
        return gst_clock_get_time(clock.get()) - gst_element_get_base_time(pipeline.get());
    }

    /// The next error message on the pipeline's bus, or null after `timeout`.
    MessagePtr nextError(GstClockTime timeout = kMessageTimeout) {
        BusPtr bus(gst_element_get_bus(pipeline.get()));
        return MessagePtr(gst_bus_timed_pop_filtered(bus.get(), timeout, GST_MESSAGE_ERROR));
    }
};

/// Builds the capture of `device`; `caps` (may be empty) goes to the appsink before linking.
inline Capture buildCapture(GstDevice* device, const std::string& caps = "") {
    Capture capture;
    capture.pipeline = gst_support::sinkObject(gst_pipeline_new("camerapipeline"));
    capture.source = gst_support::sinkObject(gst_device_create_element(device, nullptr));
    capture.appsink = gst_support::sinkObject(gst_element_factory_make("appsink", "asink"));
    if (!capture.source || !capture.appsink) return capture;
    if (!caps.empty()) {
        CapsPtr sink_caps(gst_caps_from_string(caps.c_str()));
        gst_app_sink_set_caps(GST_APP_SINK(capture.appsink.get()), sink_caps.get());
    }
    gst_bin_add_many(GST_BIN(capture.pipeline.get()), capture.source.get(), capture.appsink.get(),
                     nullptr);
    capture.linked = gst_element_link(capture.source.get(), capture.appsink.get()) != FALSE;
    return capture;
}

/// The video info of a sample's caps.
inline GstVideoInfo sampleInfo(GstSample* sample) {
    GstVideoInfo info;
    gst_video_info_init(&info);
    gst_video_info_from_caps(&info, gst_sample_get_caps(sample));
    return info;
}

/// The sequence number in the first 8 bytes of a frame's plane 0 (little-endian).
inline std::uint64_t sequenceNumber(GstSample* sample) {
    GstVideoInfo info = sampleInfo(sample);
    guint8 bytes[8] = {};
    gst_buffer_extract(gst_sample_get_buffer(sample), GST_VIDEO_INFO_PLANE_OFFSET(&info, 0), bytes,
                       sizeof bytes);
    std::uint64_t sequence = 0;
    for (int i = 7; i >= 0; --i) sequence = (sequence << 8) | bytes[i];
    return sequence;
}

/// The whole payload of a sample's buffer.
inline std::vector<guint8> payload(GstSample* sample) {
    GstBuffer* buffer = gst_sample_get_buffer(sample);
    std::vector<guint8> bytes(gst_buffer_get_size(buffer));
    gst_buffer_extract(buffer, 0, bytes.data(), bytes.size());
    return bytes;
}

}  // namespace vcam_test
