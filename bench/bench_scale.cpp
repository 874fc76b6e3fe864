// bench_scale: several live cameras at once; every frame a camera produces while delivery is
// on must reach the host; the process's CPU share and the memory traffic of the frame copies
// (computed from the counts) are printed.
//
//   bench_scale [--cameras=16] [--seconds=60] [--width=1920] [--height=1080] [--fps=30]
//               [--out-dir=DIR]
//
// scripts/bench.sh runs it twice: 16 cameras 1920x1080 YUY2 and 4 cameras 3840x2160 YUY2,
// both at 30 fps for 60 s. RESULT names end in the setup: frames_lost_16x1080p_yuy2.
// Each camera's sink reads the sequence number the virtual camera writes into the first 8
// payload bytes (little-endian) and counts deliveries, gaps, repeats and reorders without
// allocating. Produced = last - first + 1 of the sequence numbers seen during delivery;
// frames_lost = produced - delivered, summed over the cameras (and the worst camera's).
// CPU share = process CPU time / wall time / cores over the delivery period. The copy traffic
// is what the plug-in's one copy per frame moves through memory: frame bytes read and written
// per delivered frame, per second (a figure computed from the counts: this virtual machine
// offers no memory-controller counters). The virtual cameras paint every frame of a live
// camera, so the CPU share is mostly theirs.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
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

/// Checks the sequence numbers of one camera's samples.
class SequenceSink final : public zelt::IfSampleSink {
public:
    void addSample(std::uint64_t /*timestamp*/, std::uint64_t /*reserved*/, const void* data,
                   std::uint32_t size) override {
        if (size < zelt::host::kImageDataHeaderSize + 8) {
            m_malformed.fetch_add(1, std::memory_order_relaxed);
            return;
        }
        const auto* payload =
            static_cast<const std::uint8_t*>(data) + zelt::host::kImageDataHeaderSize;
        std::uint64_t sequence = 0;
        for (int i = 0; i < 8; ++i) sequence |= static_cast<std::uint64_t>(payload[i]) << (8 * i);

        const std::uint64_t delivered = m_delivered.load(std::memory_order_relaxed);
        if (delivered == 0) {
            m_first.store(sequence, std::memory_order_relaxed);
        } else {
            const std::uint64_t last = m_last.load(std::memory_order_relaxed);
            if (sequence <= last) {
                m_repeats.fetch_add(1, std::memory_order_relaxed);
            } else if (sequence != last + 1) {
                m_gaps.fetch_add(1, std::memory_order_relaxed);
            }
        }
        if (delivered == 0 || sequence > m_last.load(std::memory_order_relaxed))
            m_last.store(sequence, std::memory_order_relaxed);
        m_delivered.store(delivered + 1, std::memory_order_release);
    }
    void addStreamEvent(std::uint32_t /*kind*/, std::uint64_t /*timestamp*/) override {
        m_events.fetch_add(1, std::memory_order_relaxed);
    }

    std::uint64_t delivered() const noexcept { return m_delivered.load(std::memory_order_acquire); }
    std::uint64_t produced() const noexcept {
        return delivered() == 0 ? 0 : m_last.load() - m_first.load() + 1;
    }
    std::uint64_t gaps() const noexcept { return m_gaps.load(); }
    std::uint64_t repeats() const noexcept { return m_repeats.load(); }
    std::uint64_t malformed() const noexcept { return m_malformed.load(); }
    std::uint64_t events() const noexcept { return m_events.load(); }

private:
    std::atomic<std::uint64_t> m_delivered{0};
    std::atomic<std::uint64_t> m_first{0};
    std::atomic<std::uint64_t> m_last{0};
    std::atomic<std::uint64_t> m_gaps{0};
    std::atomic<std::uint64_t> m_repeats{0};
    std::atomic<std::uint64_t> m_malformed{0};
    std::atomic<std::uint64_t> m_events{0};
};

int run(int argc, char** argv) {
    const Flags flags(argc, argv, "cameras seconds width height fps out-dir");
    const std::size_t cameras = flags.count("cameras", 16);
    const double seconds = flags.number("seconds", 60);
    const VideoMode mode{"YUY2", static_cast<int>(flags.count("width", 1920)),
                         static_cast<int>(flags.count("height", 1080)),
                         static_cast<int>(flags.count("fps", 30))};
    initSealedGStreamer();
    const std::string folder = outputDirectory(flags);
    const long cores = sysconf(_SC_NPROCESSORS_ONLN);
    std::printf("bench_scale on %s\n", machineLine().c_str());
    std::printf("%zu live cameras %s at %d fps for %.0f s\n", cameras, mode.label().c_str(),
                mode.fps, seconds);

    std::vector<zelt::vcam::CameraDescription> descriptions;
    for (std::size_t i = 0; i < cameras; ++i) {
        descriptions.push_back(describeCamera("Scale Camera " + std::to_string(i),
                                              "/dev/zelt-scale" + std::to_string(i), mode, false));
    }
    CameraHost camera_host(folder, descriptions);
    zelt::host::Host& host = camera_host.host();
    std::vector<std::uint32_t> ids;
    std::vector<std::shared_ptr<SequenceSink>> sinks;
    for (std::uint32_t id = 0; id < cameras; ++id) {
        if (!host.channel(id)) throw std::runtime_error("no camera channel " + std::to_string(id));
        ids.push_back(id);
        sinks.push_back(std::make_shared<SequenceSink>());
        host.setSampleSink(id, sinks.back());
    }

    double cpu = 0, wall = 0;
    {
        zelt::host::Acquisition acquisition(host, ids);
        const double cpu_start = processCpuSeconds();
        const double wall_start = monotonicSeconds();
        g_usleep(static_cast<gulong>(seconds * 1e6));
        cpu = processCpuSeconds() - cpu_start;
        wall = monotonicSeconds() - wall_start;
    }
    camera_host.stopCameras();

    std::uint64_t delivered = 0, produced = 0, gaps = 0, repeats = 0, faults = 0, worst = 0;
    std::printf("camera  delivered  produced  lost  gaps  repeats\n");
    for (std::size_t i = 0; i < sinks.size(); ++i) {
        const SequenceSink& sink = *sinks[i];
        const std::uint64_t lost =
            sink.produced() > sink.delivered() ? sink.produced() - sink.delivered() : 0;
        std::printf("%-7zu %-10llu %-9llu %-5llu %-5llu %llu\n", i,
                    static_cast<unsigned long long>(sink.delivered()),
                    static_cast<unsigned long long>(sink.produced()),
                    static_cast<unsigned long long>(lost),
                    static_cast<unsigned long long>(sink.gaps()),
                    static_cast<unsigned long long>(sink.repeats()));
        worst = std::max(worst, lost);
        delivered += sink.delivered();
        produced += sink.produced();
        gaps += sink.gaps();
        repeats += sink.repeats();
        faults += sink.malformed() + sink.events();
    }
    const double expected = static_cast<double>(cameras) * mode.fps * wall;
    const double share = cpu / wall / static_cast<double>(cores) * 100;
    const double copy_megabytes_per_second =
        static_cast<double>(delivered) * static_cast<double>(mode.frameBytes()) * 2 / wall / 1e6;
    std::printf(
        "delivered %llu of %llu produced (%.0f expected from the rate), %.1f%% CPU of %ld "
        "cores (%.1f%% of one core), %.1f us CPU per delivered frame\n",
        static_cast<unsigned long long>(delivered), static_cast<unsigned long long>(produced),
        expected, share, cores, cpu / wall * 100,
        delivered == 0 ? 0.0 : cpu * 1e6 / static_cast<double>(delivered));
    std::printf("memory traffic of the frame copies (read + write), computed: %.0f MB/s\n",
                copy_megabytes_per_second);
    if (faults != 0)
        std::printf("malformed samples or error events: %llu\n",
                    static_cast<unsigned long long>(faults));

    const std::string setup = std::to_string(cameras) + "x" + mode.key();
    printResult("frames_lost_" + setup,
                static_cast<double>(produced - std::min(produced, delivered)), 0);
    printResult("frames_lost_worst_camera_" + setup, static_cast<double>(worst), 0);
    printResult("frames_delivered_" + setup, static_cast<double>(delivered), 0);
    printResult("frames_produced_" + setup, static_cast<double>(produced), 0);
    printResult("frames_expected_" + setup, expected, 0);
    printResult("sequence_faults_" + setup, static_cast<double>(gaps + repeats + faults), 0);
    printResult("cpu_share_percent_" + setup, share, 2);
    printResult("copy_traffic_computed_mb_s_" + setup, copy_megabytes_per_second, 0);
    return 0;
}

}  // namespace
}  // namespace zelt_bench

int main(int argc, char** argv) {
    return zelt_bench::runProgram("bench_scale", zelt_bench::run, argc, argv);
}
