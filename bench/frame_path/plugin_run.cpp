// The plug-in: the same camera through libzelt_camera.so, driven by the reference host.
#include <memory>
#include <stdexcept>

#include "bench_clock.h"
#include "frame_path_runs.h"
#include "zelt_host/acquisition.h"
#include "zelt_host/image_data_header.h"
#include "zelt_host/sample_sinks.h"

namespace zelt_bench {
namespace {

constexpr std::uint32_t kCameraChannel = 0;

/// The host's counting sink (reads the image header, copies nothing) that also moves the
/// measurement window.
class HeaderOnlySink final : public zelt::IfSampleSink {
public:
    explicit HeaderOnlySink(FrameWindow& window) : m_window(window) {}

    void addSample(std::uint64_t timestamp, std::uint64_t reserved, const void* data,
                   std::uint32_t size) override {
        m_counting.addSample(timestamp, reserved, data, size);
        m_window.onFrame();
    }
    void addStreamEvent(std::uint32_t kind, std::uint64_t timestamp) override {
        m_counting.addStreamEvent(kind, timestamp);
    }
    const zelt::host::CountingSampleSink& counting() const noexcept { return m_counting; }

private:
    zelt::host::CountingSampleSink m_counting;
    FrameWindow& m_window;
};

}  // namespace

RunFigures runPlugin(const RunPlan& plan) {
    CameraHost camera_host(plan.folder,
                           {describeCamera("Bench Camera", "/dev/zelt-bench0", plan.mode, true)});
    zelt::host::Host& host = camera_host.host();
    FrameWindow window(plan.warmup_frames, plan.frames);
    const auto sink = std::make_shared<HeaderOnlySink>(window);
    host.setSampleSink(kCameraChannel, sink);

    bool closed = false;
    {
        zelt::host::Acquisition acquisition(host, {kCameraChannel});
        closed = window.wait(std::chrono::seconds(120));
    }
    camera_host.stopCameras();
    host.setSampleSink(kCameraChannel, nullptr);
    if (!closed) {
        throw std::runtime_error("plug-in: " + std::to_string(window.seen()) +
                                 " frames after 120 s");
    }

    const zelt::host::ImageDataHeader header = sink->counting().lastHeader();
    const std::size_t expected_size = plan.mode.frameBytes() + zelt::host::kImageDataHeaderSize;
    if (zelt::host::formatCodeText(header.format) != plan.mode.format ||
        header.width != static_cast<std::uint32_t>(plan.mode.width) ||
        header.height != static_cast<std::uint32_t>(plan.mode.height) ||
        sink->counting().lastSize() != expected_size) {
        throw std::runtime_error(
            "plug-in: unexpected sample " + zelt::host::formatCodeText(header.format) + " " +
            std::to_string(header.width) + "x" + std::to_string(header.height) + ", " +
            std::to_string(sink->counting().lastSize()) + " bytes");
    }
    return RunFigures{window.cpuMicrosecondsPerFrame(), window.framesPerSecond()};
}

}  // namespace zelt_bench
