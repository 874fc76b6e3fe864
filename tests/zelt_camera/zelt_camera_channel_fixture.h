// A camera channel built straight from a virtual camera's GstDevice, with the assertion
// report recorded: for what a host cannot see through the plug-in's interfaces.
#pragma once

#include <gst/app/gstappsink.h>
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

    /// Polls `condition` until it holds or a generous deadline passes: for what the streaming
    /// thread does on its own time.
    template <typename Condition>
    static bool eventually(Condition condition, std::chrono::milliseconds deadline = 20s) {
        const auto end = std::chrono::steady_clock::now() + deadline;
        while (!condition()) {
            if (std::chrono::steady_clock::now() >= end) return false;
            std::this_thread::sleep_for(5ms);
        }
        return true;
    }

    /// Takes the channel's callbacks off its own appsink: the pipeline plays and the sink
    /// prerolls by itself, but the channel never sees a frame, as with a camera whose first
    /// frame has not come yet. Returns the sink.
    gst_support::ElementPtr silenceOwnSink() {
        gst_support::ElementPtr sink(gst_bin_get_by_name(GST_BIN(m_channel->pipeline()), "asink"));
        GstAppSinkCallbacks none{};
        gst_app_sink_set_callbacks(GST_APP_SINK(sink.get()), &none, nullptr, nullptr);
        return sink;
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
