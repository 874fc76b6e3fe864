// End-to-end fixture: the camera plug-in loaded by the reference host, on virtual cameras
// found through the real device monitor.
#pragma once

#include <glib.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "vcam/vcam_control.h"
#include "zelt_host/acquisition.h"
#include "zelt_host/host.h"
#include "zelt_host/recording_sample_sink.h"

namespace zelt_e2e {

using namespace std::chrono_literals;
using zelt::vcam::CameraDescription;

/// The sequence number a virtual camera writes into the first pixel bytes of each frame.
inline std::uint64_t sequence_of(const zelt::host::RecordedSample& sample) {
    std::uint64_t sequence = 0;
    for (std::size_t i = 0; i < 8 && i < sample.payload_head.size(); ++i)
        sequence |= static_cast<std::uint64_t>(sample.payload_head[i]) << (8 * i);
    return sequence;
}

/// A small, fast camera: one raw mode at 100 fps.
inline CameraDescription small_camera(const std::string& name, const std::string& path,
                                      const std::string& format = "YUY2", int width = 64,
                                      int height = 48) {
    CameraDescription camera;
    camera.name = name;
    camera.path = path;
    camera.caps = std::vector<std::string>{
        "video/x-raw, format=" + format + ", width=" + std::to_string(width) +
        ", height=" + std::to_string(height) + ", framerate=100/1, pixel-aspect-ratio=1/1"};
    return camera;
}

class CameraE2eTest : public ::testing::Test {
protected:
    /// Describes the cameras, then loads the plug-in with id `plugin_id`.
    void open(const std::vector<CameraDescription>& cameras, std::uint32_t plugin_id = 5) {
        m_camera_file = std::string(g_get_tmp_dir()) + "/zelt-e2e-cameras-" +
                        std::to_string(::getpid()) + ".json";
        zelt::vcam::useCameras(m_camera_file, cameras);
        m_host = std::make_unique<zelt::host::Host>();
        m_host->open(ZELT_CAMERA_MODULE_PATH, plugin_id);
    }

    void TearDown() override {
        m_host.reset();
        zelt::vcam::clearEnvironmentCameras();
        zelt::vcam::ProviderControl().reset();
        zelt::vcam::ProviderControl(ZELT_VCAM_HIDING_PROVIDER_NAME).reset();
        if (!m_camera_file.empty()) std::remove(m_camera_file.c_str());
    }

    /// A sink recording stamps, headers and the first 8 payload bytes, attached to `id`.
    std::shared_ptr<zelt::host::RecordingSampleSink> attachSink(std::uint32_t id) {
        zelt::host::RecordingOptions options;
        options.payload_head_bytes = 8;
        auto sink = std::make_shared<zelt::host::RecordingSampleSink>(options);
        m_host->setSampleSink(id, sink);
        return sink;
    }

    std::string text(std::uint32_t id, const std::string& key) { return m_host->itemText(id, key); }

    /// Checks the text forms of several items of channel `id`: {key, expected text}.
    void expectTexts(std::uint32_t id,
                     const std::vector<std::pair<std::string, std::string>>& expected) {
        for (const auto& [key, value] : expected) EXPECT_EQ(text(id, key), value) << key;
    }

    std::unique_ptr<zelt::host::Host> m_host;
    std::string m_camera_file;
};

}  // namespace zelt_e2e
