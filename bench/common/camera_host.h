// The benchmarks as hosts: the camera plug-in loaded by the reference host runtime on
// described virtual cameras.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "vcam/vcam_control.h"
#include "zelt_host/host.h"

namespace zelt_bench {

/// One raw video mode.
struct VideoMode {
    std::string format;  // GStreamer format name: "YUY2", "I420"
    int width = 0;
    int height = 0;
    int fps = 30;

    /// "video/x-raw, format=YUY2, width=1920, height=1080, framerate=30/1,
    /// pixel-aspect-ratio=1/1": the camera's caps.
    std::string cameraCaps() const;
    /// "1920x1080 YUY2".
    std::string label() const;
    /// "1080p_yuy2": the part of a RESULT name that names the mode.
    std::string key() const;
    /// Bytes of one frame (the formats used here: YUY2 16 bits, I420 12 bits per pixel).
    std::size_t frameBytes() const;
};

/// A virtual camera with the single mode `mode`; `benchmark` selects benchmark mode (frames
/// as fast as they are taken) instead of a live camera.
zelt::vcam::CameraDescription describeCamera(const std::string& name,
                                             const std::string& device_path, const VideoMode& mode,
                                             bool benchmark);

/// A Host with the camera plug-in of this build tree loaded on `cameras` (written as a JSON
/// file into `folder` and named by ZELT_VIRTUAL_CAMERAS). Closing it unloads the plug-in and
/// withdraws the cameras.
class CameraHost {
public:
    CameraHost(const std::string& folder, const std::vector<zelt::vcam::CameraDescription>& cameras,
               double time_frequency = zelt::host::SteadyTimeSource::kDefaultFrequency);
    ~CameraHost();
    CameraHost(const CameraHost&) = delete;
    CameraHost& operator=(const CameraHost&) = delete;

    zelt::host::Host& host() noexcept { return *m_host; }

    /// Marks every channel unused and stops their pipelines. After an acquisition the plug-in
    /// keeps used cameras streaming (undelivered) so that the next one starts at once; a
    /// benchmark-mode camera would then run flat out in the background.
    void stopCameras();

private:
    std::string m_camera_file;
    std::unique_ptr<zelt::host::Host> m_host;
};

}  // namespace zelt_bench
