#include "camera_host.h"

#include <unistd.h>

#include <cctype>
#include <cstdio>

#include "bench_environment.h"

namespace zelt_bench {

std::string VideoMode::cameraCaps() const {
    return "video/x-raw, format=" + format + ", width=" + std::to_string(width) +
           ", height=" + std::to_string(height) + ", framerate=" + std::to_string(fps) +
           "/1, pixel-aspect-ratio=1/1";
}

std::string VideoMode::label() const {
    return std::to_string(width) + "x" + std::to_string(height) + " " + format;
}

std::string VideoMode::key() const {
    std::string name = std::to_string(height) + "p_" + format;
    for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return name;
}

std::size_t VideoMode::frameBytes() const {
    const std::size_t pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    return format == "I420" ? pixels * 3 / 2 : pixels * 2;
}

zelt::vcam::CameraDescription describeCamera(const std::string& name,
                                             const std::string& device_path, const VideoMode& mode,
                                             bool benchmark) {
    zelt::vcam::CameraDescription camera;
    camera.name = name;
    camera.device_path = device_path;
    camera.caps = std::vector<std::string>{mode.cameraCaps()};
    camera.benchmark = benchmark;
    return camera;
}

CameraHost::CameraHost(const std::string& folder,
                       const std::vector<zelt::vcam::CameraDescription>& cameras,
                       double time_frequency)
    : m_camera_file(folder + "/cameras-" + std::to_string(::getpid()) + ".json") {
    zelt::vcam::useCameras(m_camera_file, cameras);
    zelt::host::HostOptions options;
    options.time_frequency = time_frequency;
    m_host = std::make_unique<zelt::host::Host>(options);
    m_host->open(cameraModulePath());
}

CameraHost::~CameraHost() {
    m_host.reset();
    zelt::vcam::clearEnvironmentCameras();
    std::remove(m_camera_file.c_str());
}

void CameraHost::stopCameras() {
    zelt::IfDAQPlugin& plugin = m_host->plugin();
    plugin.resetChannelsUsed();
    plugin.stopAcquisition();
}

}  // namespace zelt_bench
