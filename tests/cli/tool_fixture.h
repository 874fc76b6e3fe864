// The fixture of the tests that run the built tool on virtual cameras.
#pragma once

#include <gtest/gtest.h>

#include "cli_test_support.h"

namespace zelt_cli_test {

class ToolTest : public ::testing::Test {
protected:
    /// Two cameras: "Cam A" offers 64x48 YUY2 and 32x24 I420, "Cam B" 64x48 I420; 100 fps.
    static std::vector<zelt::vcam::CameraDescription> twoCameras() {
        auto cam_a = smallCamera("Cam A", "/dev/zelt-a");
        cam_a.caps->push_back(
            "video/x-raw, format=I420, width=32, height=24, framerate=100/1, "
            "pixel-aspect-ratio=1/1");
        return {cam_a, smallCamera("Cam B", "/dev/zelt-b", "I420")};
    }

    /// "--virtual=FILE" for `cameras`.
    std::string virtualCameras(const std::vector<zelt::vcam::CameraDescription>& cameras) {
        return "--virtual=" + cameraFile(m_scratch, cameras);
    }

    RunResult run(const std::vector<std::string>& arguments, const Environment& changes = {}) {
        return runTool(arguments, m_scratch.path(), changes);
    }

    TempDir m_scratch;
};

}  // namespace zelt_cli_test
