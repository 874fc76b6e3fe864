// Built instead of the peer when OpenCV was not found at configure time.
#include <stdexcept>

#include "frame_path_runs.h"

namespace zelt_bench {

bool peerAvailable() { return false; }

std::string peerDescription() { return "unavailable (OpenCV not found when configuring)"; }

RunFigures runPeer(const RunPlan& /*plan*/, bool /*bgr*/) {
    throw std::logic_error("the OpenCV peer was not built");
}

}  // namespace zelt_bench
