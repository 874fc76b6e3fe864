// The frame path measured three ways over the same virtual camera in benchmark mode: a bare
// GStreamer pipeline (the floor), the camera plug-in driven by the reference host, and
// OpenCV's GStreamer capture (the peer).
#pragma once

#include <cstdint>
#include <string>

#include "camera_host.h"

namespace zelt_bench {

/// What one run measures.
struct RunPlan {
    VideoMode mode;
    std::uint64_t warmup_frames = 200;  // consumed before the window opens
    std::uint64_t frames = 2000;        // in the window
    std::string folder;                 // for the camera description file
    std::size_t floor_offset = 0;       // where the floor's copy lands after a page start
};

/// One run's figures.
struct RunFigures {
    double cpu_us_per_frame = 0;  // process CPU time per frame, microseconds
    double fps = 0;               // frames per second of wall time
};

/// The launch text of the source all three share: "zeltvcamsrc benchmark=true
/// camera-caps=\"...\"" (the camera offers the one mode, so every consumer negotiates it).
std::string sourceLaunchText(const VideoMode& mode);

/// Floor: the source straight into an appsink whose new-sample callback maps each frame and
/// copies it once into a preallocated page-aligned buffer. Throws std::runtime_error when
/// the window does not close in time.
RunFigures runFloor(const RunPlan& plan);

/// Plug-in: the same camera described to the virtual-camera provider, found by the plug-in's
/// device monitor, acquired through the host's call sequence into a sink that reads the
/// image header only. Throws std::runtime_error on a wrong sample or a timeout.
RunFigures runPlugin(const RunPlan& plan);

/// Memcpy: the frame's bytes copied from page-backed sources (four in turn) into a
/// page-backed image buffer behind its header, nothing else; the cost of the copy alone.
RunFigures runMemcpy(const RunPlan& plan);

/// Whether the peer was built (OpenCV found at configure time).
bool peerAvailable();
/// OpenCV's version and its GStreamer line of cv::getBuildInformation() ("unavailable"
/// without OpenCV).
std::string peerDescription();
/// Peer: cv::VideoCapture(source ! appsink, cv::CAP_GSTREAMER) and read() in a loop.
/// With `bgr`, the pipeline converts to BGR first (videoconvert), as a user who wants
/// OpenCV's usual pixel layout writes it. Throws std::runtime_error when the capture does not
/// open or a frame has the wrong size; std::logic_error when the peer was not built.
RunFigures runPeer(const RunPlan& plan, bool bgr);

/// Whether valgrind can be run.
bool callgrindAvailable();
/// Instructions per frame of one variant ("floor" or "plugin"): bench_frame_path_counted (this
/// program without the peer) run under callgrind with --only=<variant> --modes=<mode_flag> ("hd" or
/// "vga"), `frames` in the window after `warmup`, counted over the frame window only (every
/// thread). Its dumps and log go to `folder` (callgrind.<variant>.<mode key>.out*). Throws
/// std::runtime_error when the run fails.
double instructionsPerFrame(const std::string& variant, const VideoMode& mode,
                            const std::string& mode_flag, std::uint64_t frames,
                            std::uint64_t warmup, const std::string& folder);

}  // namespace zelt_bench
