// bench_start: how long a camera takes from the host's prepare to the first delivered frame.
//
//   bench_start [--starts=20] [--fps=30] [--out-dir=DIR]
//
// One live virtual camera (1280x720 YUY2). Each start runs the host's whole sequence
// (setChannelUsed, prepareAcquisition, checkChannels until ready, startAcquisition,
// canStopAcquisition) and waits for the first sample at the sink; between starts the channel
// is marked unused and stopAcquisition stops its pipeline, so every start builds the stream
// anew. Printed, median and spread: prepare -> delivery on (the host's start returned: the
// camera's first frame reached the plug-in, checkChannels said ready) and prepare -> first
// delivered sample; and which camera frame was the first delivered.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <vector>

#include "bench_clock.h"
#include "bench_environment.h"
#include "bench_stats.h"
#include "camera_host.h"
#include "zelt_host/acquisition.h"
#include "zelt_host/image_data_header.h"

namespace zelt_bench {
namespace {

constexpr std::uint32_t kCameraChannel = 0;

/// Keeps the monotonic time and the camera's sequence number of the first sample since the
/// last arm().
class FirstSampleSink final : public zelt::IfSampleSink {
public:
    void arm() noexcept { m_first.store(0.0); }
    void addSample(std::uint64_t, std::uint64_t, const void* data, std::uint32_t size) override {
        if (m_first.load(std::memory_order_acquire) != 0.0) return;
        const double now = monotonicSeconds();
        std::uint64_t sequence = 0;
        const auto* payload =
            static_cast<const std::uint8_t*>(data) + zelt::host::kImageDataHeaderSize;
        for (int i = 0; i < 8 && zelt::host::kImageDataHeaderSize + i < size; ++i)
            sequence |= static_cast<std::uint64_t>(payload[i]) << (8 * i);
        m_sequence = sequence;
        m_first.store(now, std::memory_order_release);
    }
    void addStreamEvent(std::uint32_t, std::uint64_t) override {}
    /// 0 until the first sample arrived.
    double first() const noexcept { return m_first.load(std::memory_order_acquire); }
    /// The camera's sequence number of that sample (valid once first() is not 0).
    std::uint64_t sequence() const noexcept { return m_sequence; }

private:
    std::atomic<double> m_first{0.0};
    std::uint64_t m_sequence = 0;
};

int run(int argc, char** argv) {
    const Flags flags(argc, argv, "starts fps out-dir");
    const std::size_t starts = flags.count("starts", 20);
    const VideoMode mode{"YUY2", 1280, 720, static_cast<int>(flags.count("fps", 30))};
    initSealedGStreamer();
    const std::string folder = outputDirectory(flags);
    std::printf("bench_start on %s\n", machineLine().c_str());
    std::printf("live camera %s at %d fps, %zu starts\n", mode.label().c_str(), mode.fps, starts);

    CameraHost camera_host(folder,
                           {describeCamera("Start Camera", "/dev/zelt-start0", mode, false)});
    zelt::host::Host& host = camera_host.host();
    const auto sink = std::make_shared<FirstSampleSink>();
    host.setSampleSink(kCameraChannel, sink);

    std::vector<double> ready_ms, first_ms, sequences;
    for (std::size_t i = 0; i < starts; ++i) {
        sink->arm();
        const double prepared_at = monotonicSeconds();
        zelt::host::Acquisition acquisition(host, {kCameraChannel});
        const double ready_at = monotonicSeconds();
        while (sink->first() == 0.0) {
            if (monotonicSeconds() - prepared_at > 10) throw std::runtime_error("no first frame");
            g_usleep(200);
        }
        ready_ms.push_back((ready_at - prepared_at) * 1e3);
        first_ms.push_back((sink->first() - prepared_at) * 1e3);
        sequences.push_back(static_cast<double>(sink->sequence()));
        acquisition.stop();
        camera_host.stopCameras();
    }

    const Summary ready = summarize(ready_ms);
    const Summary first = summarize(first_ms);
    std::printf("milliseconds                         median [min .. max]\n");
    std::printf("prepare -> delivery on               %s\n", formatSummary(ready, 1).c_str());
    std::printf("prepare -> first delivered sample    %s\n", formatSummary(first, 1).c_str());
    std::printf("sequence number of the first delivered frame: %s (0 is the camera's first)\n",
                formatSummary(summarize(sequences), 0).c_str());
    std::printf("one frame period: %.1f ms\n", 1e3 / mode.fps);
    printResult("start_delivery_on_ms", ready.median, 1);
    printResult("start_latency_ms", first.median, 1);
    printResult("start_latency_max_ms", first.max, 1);
    return 0;
}

}  // namespace
}  // namespace zelt_bench

int main(int argc, char** argv) {
    return zelt_bench::runProgram("bench_start", zelt_bench::run, argc, argv);
}
