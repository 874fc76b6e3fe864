// The hostile host: the camera plug-in loaded with dlopen, driven call by call, so that a test
// can do what a careless or clever host does (destroy the plug-in without deinit, hold a
// channel across an unplug, call back from a callback, throw from a callback).
#pragma once

#include <glib.h>
#include <gst/gst.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "e2e_fixture.h"
#include "gst_support/gst_ptr.h"
#include "vcam/vcam_control.h"
#include "zelt/daq_plugin.h"
#include "zelt_host/host.h"
#include "zelt_host/main_context_thread.h"
#include "zelt_host/plugin_library.h"
#include "zelt_host/recording_exception_manager.h"
#include "zelt_host/recording_sample_sink.h"
#include "zelt_host/steady_time_source.h"

namespace zelt_hostile {

using namespace std::chrono_literals;
using zelt::vcam::CameraDescription;

/// Generous deadline for anything a test waits for.
inline constexpr auto kDeadline = 60s;

/// When a plug-in call or callback did not come back in time, the plug-in is stuck (a
/// deadlock): the process cannot be taken down cleanly any more, so the test ends it here
/// with a failure instead of letting it hang until ctest's timeout.
inline void requireOrExit(bool ok, const std::string& what) {
    if (ok) return;
    std::fprintf(stderr, "hostile host: %s within %lld s; the plug-in is stuck, ending the test\n",
                 what.c_str(), static_cast<long long>(kDeadline.count()));
    std::fflush(stderr);
    std::_Exit(1);
}

/// Runs `call` on a thread of its own and requires it to return within the deadline.
inline void callWithin(const std::string& what, const std::function<void()>& call) {
    struct State {
        std::mutex mutex;
        std::condition_variable done_changed;
        bool done = false;
    };
    auto state = std::make_shared<State>();
    std::thread([state, call] {
        call();
        std::lock_guard<std::mutex> lock(state->mutex);
        state->done = true;
        state->done_changed.notify_all();
    }).detach();
    std::unique_lock<std::mutex> lock(state->mutex);
    requireOrExit(state->done_changed.wait_for(lock, kDeadline, [&] { return state->done; }),
                  what + " did not return");
}

using zelt_e2e::sequence_of;
using zelt_e2e::small_camera;

/// A small camera offering YUY2 64x48 and then 80x60, both at 100 fps.
inline CameraDescription two_mode_camera(const std::string& name, const std::string& path) {
    CameraDescription camera = small_camera(name, path);
    camera.caps->push_back(
        "video/x-raw, format=YUY2, width=80, height=60, framerate=100/1, pixel-aspect-ratio=1/1");
    return camera;
}

/// A sink recording stamps, headers and the first 8 payload bytes.
inline std::shared_ptr<zelt::host::RecordingSampleSink> recording_sink() {
    zelt::host::RecordingOptions options;
    options.payload_head_bytes = 8;
    return std::make_shared<zelt::host::RecordingSampleSink>(options);
}

/// Lets `frames` frames of a live 100 fps test source pass, as a witness that time went by
/// in which a streaming camera of the same rate would have delivered as many frames.
inline void witnessFrames(int frames) {
    GError* raw_error = nullptr;
    const std::string description =
        "videotestsrc is-live=true num-buffers=" + std::to_string(frames) +
        " ! video/x-raw,width=16,height=16,framerate=100/1 ! fakesink";
    gst_support::ElementPtr pipeline(gst_parse_launch(description.c_str(), &raw_error));
    const gst_support::GErrorPtr error(raw_error);
    ASSERT_NE(pipeline, nullptr) << (error ? error->message : "");
    gst_support::BusPtr bus(gst_element_get_bus(pipeline.get()));
    ASSERT_NE(gst_element_set_state(pipeline.get(), GST_STATE_PLAYING), GST_STATE_CHANGE_FAILURE);
    const gst_support::MessagePtr message(gst_bus_timed_pop_filtered(
        bus.get(), static_cast<GstClockTime>(kDeadline.count()) * GST_SECOND,
        static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR)));
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    ASSERT_NE(message, nullptr) << "the witness source did not finish";
    ASSERT_EQ(GST_MESSAGE_TYPE(message.get()), GST_MESSAGE_EOS);
}

class HostileTest : public ::testing::Test {
protected:
    HostileTest() { zelt::host::ensureGStreamerInitialized(); }

    /// Describes the cameras, loads the plug-in and brings it up as a host does, with
    /// `manager` (the fixture's recording manager when null) as its exception manager.
    void open(const std::vector<CameraDescription>& cameras,
              zelt::IfExceptionManager* manager = nullptr) {
        m_camera_file = std::string(g_get_tmp_dir()) + "/zelt-hostile-cameras-" +
                        std::to_string(::getpid()) + ".json";
        zelt::vcam::useCameras(m_camera_file, cameras);
        m_library.emplace(ZELT_CAMERA_MODULE_PATH);
        zelt::IfPluginCommon* created = nullptr;
        ASSERT_TRUE(m_library->creator().createPlugin(zelt::host::kCameraPluginKind,
                                                      zelt::host::kCameraPluginTypeId, &created));
        m_plugin_object = created;
        m_plugin = dynamic_cast<zelt::IfDAQPlugin*>(created);
        ASSERT_NE(m_plugin, nullptr);
        m_plugin->setPluginId(5);
        m_plugin->setExceptionManager(manager != nullptr ? manager : &m_exceptions);
        ASSERT_TRUE(m_plugin->init());
        m_plugin->startDeviceMonitoring();
        m_plugin->updateChannels();
    }

    /// destroyPlugin, whether or not deinit came first.
    void destroyPlugin() {
        if (m_plugin_object == nullptr) return;
        zelt::IfPluginCommon* object = std::exchange(m_plugin_object, nullptr);
        m_plugin = nullptr;
        EXPECT_TRUE(m_library->creator().destroyPlugin(zelt::host::kCameraPluginTypeId, object));
    }

    void TearDown() override {
        if (m_plugin != nullptr) {
            m_plugin->finishAcquisition();
            m_plugin->stopAcquisition();
            m_plugin->deinit();
        }
        destroyPlugin();
        m_library.reset();
        m_main_context.stop();
        zelt::vcam::clearEnvironmentCameras();
        zelt::vcam::ProviderControl().reset();
        if (!m_camera_file.empty()) std::remove(m_camera_file.c_str());
    }

    zelt::IfDAQPlugin& plugin() { return *m_plugin; }

    /// A host object that must outlive the plug-in (an exception manager): kept by the
    /// fixture until after TearDown.
    template <typename T>
    T& keep() {
        auto object = std::make_shared<T>();
        m_kept.push_back(object);
        return *object;
    }

    std::shared_ptr<channel_config::IfChannelConfig> channel(std::uint32_t id) {
        auto found = m_plugin->getChannel(id);
        EXPECT_NE(found, nullptr) << "no channel " << id;
        return found;
    }

    std::vector<std::uint32_t> channelIds() {
        const auto ids = m_plugin->getChannelIds();
        return {ids.begin(), ids.end()};
    }

    static std::string text(const std::shared_ptr<channel_config::IfChannelConfig>& channel,
                            const std::string& key) {
        return config_items::toString(channel->getConfigItem(key));
    }

    /// The host's acquisition start: (the time base unless told not to), the used channels,
    /// prepare, wait until every camera is up, start, delivery on.
    void startAcquisition(const std::vector<std::uint32_t>& ids, bool hand_time_source = true) {
        if (hand_time_source) m_plugin->setTimeSource(m_time_source);
        m_plugin->resetChannelsUsed();
        for (const auto id : ids) m_plugin->setChannelUsed(id, true);
        bool prepared = false;
        callWithin("prepareAcquisition", [&] { prepared = m_plugin->prepareAcquisition(); });
        ASSERT_TRUE(prepared);
        ASSERT_NO_FATAL_FAILURE(waitForChannels());
        m_plugin->startAcquisition();
        ASSERT_TRUE(m_plugin->canStopAcquisition());
    }

    /// Waits until checkChannels says every used camera is up.
    void waitForChannels() {
        const auto deadline = std::chrono::steady_clock::now() + kDeadline;
        while (!m_plugin->checkChannels()) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "cameras did not come up";
            std::this_thread::sleep_for(2ms);
        }
    }

    /// Delivery off, then the end of the acquisition.
    void stopAcquisition() {
        callWithin("finishAcquisition", [&] { m_plugin->finishAcquisition(); });
        m_plugin->stopAcquisition();
    }

    // Declared in the order they must outlive each other: the plug-in uses the exception
    // managers and the time source; the main context's thread outlives the bus watches.
    std::vector<std::shared_ptr<void>> m_kept;
    zelt::host::MainContextThread m_main_context;
    zelt::host::RecordingExceptionManager m_exceptions;
    std::shared_ptr<zelt::host::SteadyTimeSource> m_time_source =
        std::make_shared<zelt::host::SteadyTimeSource>(1e6);
    std::optional<zelt::host::PluginLibrary> m_library;
    zelt::IfPluginCommon* m_plugin_object = nullptr;
    zelt::IfDAQPlugin* m_plugin = nullptr;
    std::string m_camera_file;
};

}  // namespace zelt_hostile
