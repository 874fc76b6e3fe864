// The bare copy: what one frame's memcpy costs on its own, the floor under every consumer.
#include <cstring>

#include "bench_clock.h"
#include "copy_buffers.h"
#include "frame_path_runs.h"

namespace zelt_bench {

RunFigures runMemcpy(const RunPlan& plan) {
    // Four sources, as a camera's buffer pool hands out a few buffers in turn, so that a frame
    // that does not fit the cache is not copied from the cache; page-backed like the pool's
    // memory, and the image buffer as the plug-in has it.
    constexpr std::size_t kSources = 4;
    const std::size_t bytes = plan.mode.frameBytes();
    CopyBuffers buffers(kSources, zelt_camera::kImageHeaderLead, zelt_camera::kImageHeaderLead,
                        bytes);
    std::uint8_t* const pixels = buffers.pixels();

    FrameWindow window(plan.warmup_frames, plan.frames);
    const std::uint64_t total = plan.warmup_frames + plan.frames;
    for (std::uint64_t i = 0; i < total; ++i) {
        std::memcpy(pixels, buffers.source(i % kSources), bytes);
        // Keeps the compiler from merging or dropping copies whose result nobody reads.
        asm volatile("" : : "r"(pixels) : "memory");
        window.onFrame();
    }
    return RunFigures{window.cpuMicrosecondsPerFrame(), window.framesPerSecond()};
}

}  // namespace zelt_bench
