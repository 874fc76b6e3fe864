// bench_stamps: how evenly the plug-in stamps a live camera's frames on the host time base,
// against stamps the host would take itself when each sample arrives.
//
//   bench_stamps [--frames=600] [--fps=30] [--out-dir=DIR]
//
// One live virtual camera (1280x720 YUY2) is acquired with a host time base of 1e9 ticks per
// second. For every sample the sink keeps the plug-in's stamp and reads the host clock at
// arrival. For both series it prints the standard deviation and the 99th percentile of
// |interval - 1/fps| and writes every interval error to stamps.csv (for the plot of
// docs/performance.md, bench/plot_stamps.gp).
#include <atomic>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <vector>

#include "bench_environment.h"
#include "bench_stats.h"
#include "camera_host.h"
#include "zelt_host/acquisition.h"

namespace zelt_bench {
namespace {

constexpr double kTicksPerSecond = 1e9;
constexpr std::uint32_t kCameraChannel = 0;

/// Keeps the plug-in's stamp and the host clock at arrival of the first `capacity` samples,
/// in memory reserved up front.
class StampSink final : public zelt::IfSampleSink {
public:
    StampSink(std::shared_ptr<zelt::IfTimeSource> clock, std::size_t capacity)
        : m_clock(std::move(clock)), m_stamps(capacity), m_arrivals(capacity) {}

    void addSample(std::uint64_t timestamp, std::uint64_t /*reserved*/, const void* /*data*/,
                   std::uint32_t /*size*/) override {
        const std::uint64_t arrival = m_clock->getCurrentTicks();
        const std::size_t index = m_count.load(std::memory_order_relaxed);
        if (index >= m_stamps.size()) return;
        m_stamps[index] = timestamp;
        m_arrivals[index] = arrival;
        m_count.store(index + 1, std::memory_order_release);
    }
    void addStreamEvent(std::uint32_t /*kind*/, std::uint64_t /*timestamp*/) override {}

    std::size_t count() const noexcept { return m_count.load(std::memory_order_acquire); }
    const std::vector<std::uint64_t>& stamps() const noexcept { return m_stamps; }
    const std::vector<std::uint64_t>& arrivals() const noexcept { return m_arrivals; }

private:
    std::shared_ptr<zelt::IfTimeSource> m_clock;
    std::vector<std::uint64_t> m_stamps;
    std::vector<std::uint64_t> m_arrivals;
    std::atomic<std::size_t> m_count{0};
};

/// Interval errors in microseconds: (t[i] - t[i-1]) / frequency - period.
std::vector<double> intervalErrors(const std::vector<std::uint64_t>& ticks, double period) {
    std::vector<double> errors;
    for (std::size_t i = 1; i < ticks.size(); ++i) {
        const double interval = static_cast<double>(ticks[i] - ticks[i - 1]) / kTicksPerSecond;
        errors.push_back((interval - period) * 1e6);
    }
    return errors;
}

std::vector<double> magnitudes(std::vector<double> values) {
    for (double& value : values) value = std::fabs(value);
    return values;
}

int run(int argc, char** argv) {
    const Flags flags(argc, argv, "frames fps out-dir");
    const std::size_t frames = flags.count("frames", 600);
    const int fps = static_cast<int>(flags.count("fps", 30));
    if (frames < 3) throw std::invalid_argument("--frames must be at least 3");
    initSealedGStreamer();
    const std::string folder = outputDirectory(flags);
    const VideoMode mode{"YUY2", 1280, 720, fps};
    std::printf("bench_stamps on %s\n", machineLine().c_str());
    std::printf("live camera %s at %d fps, %zu frames, host time base %.0f ticks/s\n",
                mode.label().c_str(), fps, frames, kTicksPerSecond);

    CameraHost camera_host(folder,
                           {describeCamera("Stamp Camera", "/dev/zelt-stamps0", mode, false)},
                           kTicksPerSecond);
    zelt::host::Host& host = camera_host.host();
    const auto sink = std::make_shared<StampSink>(host.timeSource(), frames);
    host.setSampleSink(kCameraChannel, sink);
    {
        zelt::host::Acquisition acquisition(host, {kCameraChannel});
        const double deadline = static_cast<double>(frames) / fps * 1.5 + 5;
        for (double waited = 0; sink->count() < frames && waited < deadline; waited += 0.05)
            g_usleep(50'000);
    }
    camera_host.stopCameras();
    if (sink->count() < frames) {
        throw std::runtime_error("only " + std::to_string(sink->count()) + " of " +
                                 std::to_string(frames) + " frames arrived");
    }

    const double period = 1.0 / fps;
    const std::vector<double> plugin_errors = intervalErrors(sink->stamps(), period);
    const std::vector<double> arrival_errors = intervalErrors(sink->arrivals(), period);

    std::ofstream csv(folder + "/stamps.csv");
    csv << "interval,plugin_error_us,arrival_error_us\n";
    for (std::size_t i = 0; i < plugin_errors.size(); ++i)
        csv << i + 1 << ',' << plugin_errors[i] << ',' << arrival_errors[i] << '\n';

    const double plugin_std = standardDeviation(plugin_errors);
    const double arrival_std = standardDeviation(arrival_errors);
    const double plugin_p99 = quantile(magnitudes(plugin_errors), 0.99);
    const double arrival_p99 = quantile(magnitudes(arrival_errors), 0.99);
    const Summary plugin_summary = summarize(plugin_errors);
    const Summary arrival_summary = summarize(arrival_errors);
    std::printf("interval - 1/fps in us    std        p99 |e|    min        max\n");
    std::printf("plug-in stamps            %-10.3f %-10.3f %-10.3f %-10.3f\n", plugin_std,
                plugin_p99, plugin_summary.min, plugin_summary.max);
    std::printf("stamps at arrival         %-10.3f %-10.3f %-10.3f %-10.3f\n", arrival_std,
                arrival_p99, arrival_summary.min, arrival_summary.max);
    std::printf("plug-in std / arrival std: %.4f (target: plug-in std <= 20 us and <= 0.1)\n",
                plugin_std / arrival_std);
    std::printf("intervals: %s/stamps.csv\n", folder.c_str());

    printResult("stamp_std_us", plugin_std);
    printResult("stamp_p99_us", plugin_p99);
    printResult("arrival_std_us", arrival_std);
    printResult("arrival_p99_us", arrival_p99);
    printResult("stamp_std_ratio", plugin_std / arrival_std, 4);
    return 0;
}

}  // namespace
}  // namespace zelt_bench

int main(int argc, char** argv) {
    return zelt_bench::runProgram("bench_stamps", zelt_bench::run, argc, argv);
}
