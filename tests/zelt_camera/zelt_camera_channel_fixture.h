// A camera channel built straight from a virtual camera's GstDevice, with the assertion
// report recorded: for what a host cannot see through the plug-in's interfaces.
#pragma once

#include <gst/gst.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "gst_support/gst_ptr.h"
#include "test_assertions.h"
#include "vcam/vcam_control.h"
#include "zelt/time_base.h"
#include "zelt_camera_channel.h"
#include "zelt_host/recording_exception_manager.h"
#include "zelt_host/recording_sample_sink.h"
#include "zelt_host/steady_time_source.h"

namespace zelt_camera {

using namespace std::chrono_literals;

inline zelt::vcam::CameraDescription camera(const std::string& name, const std::string& caps) {
    zelt::vcam::CameraDescription description;
    description.name = name;
    description.path = "/dev/" + name;
    description.caps = std::vector<std::string>{caps};
    return description;
}

class CameraChannelTest : public ::testing::Test {
protected:
    void TearDown() override {
        m_channel.reset();
        zelt::vcam::clearEnvironmentCameras();
        if (!m_camera_file.empty()) std::remove(m_camera_file.c_str());
    }

    /// Describes one camera and builds a channel with index 0 of plug-in 5 on its device.
    void makeChannel(const zelt::vcam::CameraDescription& description) {
        m_camera_file = std::string(g_get_tmp_dir()) + "/zelt-channel-test-" +
                        std::to_string(::getpid()) + ".json";
        zelt::vcam::useCameras(m_camera_file, {description});
        gst_support::DeviceMonitorPtr monitor(gst_device_monitor_new());
        gst_support::CapsPtr raw(gst_caps_new_empty_simple("video/x-raw"));
        gst_device_monitor_add_filter(monitor.get(), "Video/Source", raw.get());
        GList* devices = gst_device_monitor_get_devices(monitor.get());
        ASSERT_NE(devices, nullptr) << "no virtual camera";
        m_channel = std::make_shared<CameraChannel>(channel_config::ChannelID{5, 0},
                                                    GST_DEVICE(devices->data), &m_exceptions);
        g_list_free_full(devices, gst_object_unref);
    }

    /// Marks the channel used with a sink and the host's time base, and starts it.
    bool start(std::shared_ptr<zelt::IfSampleSink> sink) {
        m_channel->setUsed(true);
        m_channel->setSampleSink(std::move(sink));
        m_channel->setTimeSource(m_time_source);
        return m_channel->prepareAcquisition();
    }

    GstState pipelineState() const {
        GstState state = GST_STATE_VOID_PENDING;
        gst_element_get_state(m_channel->pipeline(), &state, nullptr, 0);
        return state;
    }

    test::RecordingAssertions m_assertions;
    zelt::host::RecordingExceptionManager m_exceptions;
    std::shared_ptr<zelt::host::SteadyTimeSource> m_time_source =
        std::make_shared<zelt::host::SteadyTimeSource>(1e9);
    std::shared_ptr<CameraChannel> m_channel;
    std::string m_camera_file;
};

}  // namespace zelt_camera
