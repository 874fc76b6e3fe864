// The bare copy: what one frame's memcpy costs on its own, the floor under every consumer.
#include <cstring>
#include <stdexcept>
#include <vector>

#include "bench_clock.h"
#include "frame_path_runs.h"
#include "zelt_camera_image_buffer.h"

namespace zelt_bench {

RunFigures runMemcpy(const RunPlan& plan) {
    // Four sources, as a camera's buffer pool hands out a few buffers in turn, so that a frame
    // that does not fit the cache is not copied from the cache; page-backed like the pool's
    // memory and the image buffer.
    constexpr std::size_t kSources = 4;
    const std::size_t bytes = plan.mode.frameBytes();
    std::vector<zelt_camera::PageBuffer> sources(kSources);
    for (zelt_camera::PageBuffer& source : sources) {
        source.resize(bytes);
        if (source.empty()) throw std::runtime_error("memcpy: no page-backed memory");
        std::memset(source.data(), 0x5A, bytes);
    }
    zelt_camera::PageBuffer target(zelt_camera::kImageHeaderLead);
    target.resize(bytes + sizeof(image::ImageDataHeader));
    if (target.empty()) throw std::runtime_error("memcpy: no page-backed memory");
    std::uint8_t* const pixels = target.data() + sizeof(image::ImageDataHeader);

    FrameWindow window(plan.warmup_frames, plan.frames);
    const std::uint64_t total = plan.warmup_frames + plan.frames;
    for (std::uint64_t i = 0; i < total; ++i) {
        std::memcpy(pixels, sources[i % kSources].data(), bytes);
        // Keeps the compiler from merging or dropping copies whose result nobody reads.
        asm volatile("" : : "r"(pixels) : "memory");
        window.onFrame();
    }
    return RunFigures{window.cpuMicrosecondsPerFrame(), window.framesPerSecond()};
}

}  // namespace zelt_bench
