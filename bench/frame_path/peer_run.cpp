// The peer: OpenCV's GStreamer capture reading the same camera, as OpenCV users read one.
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/videoio.hpp>
#include <sstream>
#include <stdexcept>

#include "bench_clock.h"
#include "frame_path_runs.h"

namespace zelt_bench {

bool peerAvailable() { return true; }

std::string peerDescription() {
    std::istringstream information(cv::getBuildInformation());
    std::string gstreamer = "GStreamer: not listed";
    for (std::string entry; std::getline(information, entry);) {
        const auto at = entry.find("GStreamer:");
        if (at != std::string::npos) {
            gstreamer = entry.substr(at);
            // "GStreamer:                   YES (1.22.0)" -> one blank after the colon.
            const auto value = gstreamer.find_first_not_of(' ', 10);
            gstreamer = "GStreamer: " + gstreamer.substr(value == std::string::npos ? 10 : value);
            break;
        }
    }
    return std::string("OpenCV ") + CV_VERSION + ", " + gstreamer;
}

RunFigures runPeer(const RunPlan& plan, bool bgr) {
    // OpenCV sets its own appsink caps (BGR or GRAY8, else the raw YUV layouts it can hand
    // out unconverted) and one buffer of queue; the camera offers the one mode.
    const std::string pipeline =
        sourceLaunchText(plan.mode) +
        (bgr ? " ! videoconvert ! video/x-raw, format=BGR ! appsink" : " ! appsink");
    cv::VideoCapture capture(pipeline, cv::CAP_GSTREAMER);
    if (!capture.isOpened()) throw std::runtime_error("peer: cannot open " + pipeline);

    const std::size_t expected = bgr ? static_cast<std::size_t>(plan.mode.width) *
                                           static_cast<std::size_t>(plan.mode.height) * 3
                                     : plan.mode.frameBytes();
    FrameWindow window(plan.warmup_frames, plan.frames);
    cv::Mat frame;
    const std::uint64_t total = plan.warmup_frames + plan.frames;
    for (std::uint64_t i = 0; i < total; ++i) {
        if (!capture.read(frame)) {
            throw std::runtime_error("peer: read failed after " + std::to_string(i) + " frames");
        }
        window.onFrame();
    }
    if (frame.total() * frame.elemSize() != expected) {
        throw std::runtime_error("peer: frame of " +
                                 std::to_string(frame.total() * frame.elemSize()) +
                                 " bytes, expected " + std::to_string(expected));
    }
    return RunFigures{window.cpuMicrosecondsPerFrame(), window.framesPerSecond()};
}

}  // namespace zelt_bench
