// bench_micro: the hot spots of configuration and video-format code, with Google Benchmark.
//
//   bench_micro [Google Benchmark flags, e.g. --benchmark_filter=parse_caps]
//
// Linked against the plug-in's libraries directly (no host). After Google Benchmark's own
// table, one line per benchmark: "RESULT micro_<name>_ns=<CPU time per iteration>" (CPU time:
// on a shared machine it moves less than wall time).
#include <benchmark/benchmark.h>
#include <gst/gst.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "bench_environment.h"
#include "bench_stats.h"
#include "config_items/config_items.h"
#include "copy_buffers.h"
#include "vcam/vcam_control.h"
#include "zelt_camera_caps.h"
#include "zelt_camera_channel.h"
#include "zelt_camera_image_buffer.h"
#include "zeltpu/keys.h"

namespace {

using config_items::ConfigItem;
using zelt_camera::Caps;

// ---------------------------------------------------------------------------------------
// The frame copy: one frame's pixels from a page-aligned source into a page-backed image
// buffer, behind its 12-byte header. `lead` is where the header sits in the region: 52 puts
// the pixels on a cache line (the image buffer as it is), 0 puts them 12 bytes after a page
// start (the header at the start of the region), 4084 puts them on a page (as the floor's
// buffer). Both buffers stay in place over the iterations, as between frames.

void frame_copy(benchmark::State& state, std::size_t lead, std::size_t bytes) {
    std::unique_ptr<zelt_bench::CopyBuffers> buffers;
    try {
        buffers = std::make_unique<zelt_bench::CopyBuffers>(1, 0, lead, bytes);
    } catch (const std::runtime_error& error) {
        state.SkipWithError(error.what());
        return;
    }
    std::uint8_t* const pixels = buffers->pixels();
    const std::uint8_t* const source = buffers->source(0);
    for (auto _ : state) {
        std::memcpy(pixels, source, bytes);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(bytes));
}
constexpr std::size_t kVgaI420 = 640 * 480 * 3 / 2;
constexpr std::size_t kHdYuy2 = 1920 * 1080 * 2;
BENCHMARK_CAPTURE(frame_copy, vga_i420_pixels_on_cache_line, zelt_camera::kImageHeaderLead,
                  kVgaI420);
BENCHMARK_CAPTURE(frame_copy, vga_i420_pixels_page_plus_12, 0, kVgaI420);
BENCHMARK_CAPTURE(frame_copy, vga_i420_pixels_on_page, 4096 - 12, kVgaI420);
BENCHMARK_CAPTURE(frame_copy, hd_yuy2_pixels_on_cache_line, zelt_camera::kImageHeaderLead, kHdYuy2);
BENCHMARK_CAPTURE(frame_copy, hd_yuy2_pixels_page_plus_12, 0, kHdYuy2);
BENCHMARK_CAPTURE(frame_copy, hd_yuy2_pixels_on_page, 4096 - 12, kHdYuy2);

// ---------------------------------------------------------------------------------------
// Caps text form

void parse_caps(benchmark::State& state, const char* text) {
    const std::string caps_text = text;
    for (auto _ : state) benchmark::DoNotOptimize(zelt_camera::parse_caps(caps_text));
}
BENCHMARK_CAPTURE(parse_caps, whole_rate, "1280 x 720 @ 30 fps");
BENCHMARK_CAPTURE(parse_caps, fractional_rate, "1920 x 1080 @ 30000/1001 fps");

void caps_to_string(benchmark::State& state, int width, int height, int numerator,
                    int denominator) {
    Caps caps;
    caps.width = width;
    caps.height = height;
    caps.framerate = zelt_camera::make_framerate(numerator, denominator);
    for (auto _ : state) benchmark::DoNotOptimize(zelt_camera::caps_to_string(caps));
}
BENCHMARK_CAPTURE(caps_to_string, whole_rate, 1280, 720, 30, 1);
BENCHMARK_CAPTURE(caps_to_string, fractional_rate, 1920, 1080, 30000, 1001);

// ---------------------------------------------------------------------------------------
// FourCC names

void fourcc_from_string(benchmark::State& state, const char* name) {
    const std::string text = name;
    for (auto _ : state) benchmark::DoNotOptimize(zelt_camera::fourcc_from_string(text));
}
BENCHMARK_CAPTURE(fourcc_from_string, YUY2, "YUY2");
BENCHMARK_CAPTURE(fourcc_from_string, lower_case_nv12, "nv12");
BENCHMARK_CAPTURE(fourcc_from_string, Y800, "Y800");

// ---------------------------------------------------------------------------------------
// Text forms of configuration items (config_items::toString of the tagged union)

void item_to_string(benchmark::State& state, ConfigItem item) {
    for (auto _ : state) benchmark::DoNotOptimize(config_items::toString(item));
}
BENCHMARK_CAPTURE(item_to_string, string,
                  ConfigItem(config_items::StringConfigItem("Virtual Camera 0")));
BENCHMARK_CAPTURE(item_to_string, scalar, ConfigItem(config_items::ScalarConfigItem(29.97, "fps")));
BENCHMARK_CAPTURE(item_to_string, unsigned_int,
                  ConfigItem(config_items::SingleValueConfigItem<unsigned int>(3)));
BENCHMARK_CAPTURE(item_to_string, bool,
                  ConfigItem(config_items::SingleValueConfigItem<bool>(true)));
BENCHMARK_CAPTURE(item_to_string, range,
                  ConfigItem(config_items::RangeConfigItem<double>(0.5, 60, "fps", "fps")));
BENCHMARK_CAPTURE(item_to_string, string_list,
                  ConfigItem(config_items::ValueListConfigItem<std::string>(
                      {"1280 x 720 @ 30 fps", "640 x 480 @ 30 fps", "1920 x 1080 @ 30000/1001 fps",
                       "320 x 240 @ 15 fps"})));
BENCHMARK_CAPTURE(item_to_string, channel_id,
                  ConfigItem(config_items::SingleValueConfigItem<channel_config::ChannelID>(
                      channel_config::ChannelID{5, 0x10001})));

// ---------------------------------------------------------------------------------------
// Available keys of a camera channel: rebuilt after every set of an item

/// A camera channel over a virtual camera without a device path (so no pipeline is built):
/// every option of a camera channel is registered.
class MicroChannel {
public:
    static MicroChannel& get() {
        static MicroChannel channel;
        return channel;
    }
    zelt_camera::CameraChannel& channel() { return *m_channel; }

private:
    MicroChannel() {
        zelt::vcam::ProviderControl control;
        zelt::vcam::CameraDescription camera;
        camera.name = "Micro Camera";
        camera.caps = std::vector<std::string>{
            "video/x-raw, format=YUY2, width=1280, height=720, framerate=30/1, "
            "pixel-aspect-ratio=1/1",
            "video/x-raw, format=YUY2, width=640, height=480, framerate=30/1, "
            "pixel-aspect-ratio=1/1",
            "video/x-raw, format=I420, width=1280, height=720, framerate=30/1, "
            "pixel-aspect-ratio=1/1"};
        if (!control.addCamera(camera)) throw std::runtime_error(control.lastError());
        GList* devices = gst_device_provider_get_devices(control.provider());
        if (devices == nullptr) throw std::runtime_error("the virtual camera is not listed");
        m_channel = std::make_unique<zelt_camera::CameraChannel>(
            channel_config::ChannelID{0, 0}, GST_DEVICE(devices->data), nullptr);
        g_list_free_full(devices, gst_object_unref);
        control.reset();
    }
    std::unique_ptr<zelt_camera::CameraChannel> m_channel;
};

void channel_update_available_keys(benchmark::State& state) {
    zelt_camera::CameraChannel& channel = MicroChannel::get().channel();
    for (auto _ : state) {
        channel.updateAvailableKeys();
        benchmark::DoNotOptimize(channel.getKeys().data());
    }
    state.counters["keys"] = static_cast<double>(channel.getKeys().size());
}
BENCHMARK(channel_update_available_keys);

void channel_set_item_and_rebuild_keys(benchmark::State& state) {
    zelt_camera::CameraChannel& channel = MicroChannel::get().channel();
    const ConfigItem one(config_items::SingleValueConfigItem<unsigned int>(1));
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            channel.setConfigItem(zelt::plugin_util::keys::kCameraFrameSubsampling, one));
    }
}
BENCHMARK(channel_set_item_and_rebuild_keys);

// ---------------------------------------------------------------------------------------

/// Google Benchmark's console table (never coloured), and the RESULT lines after it.
class ResultReporter : public benchmark::ConsoleReporter {
public:
    // Tabular without colour, so that each RESULT line starts its line.
    ResultReporter() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
            std::string name = "micro_" + run.benchmark_name() + "_ns";
            for (char& c : name) {
                if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
            }
            m_results.emplace_back(name,
                                   run.GetAdjustedCPUTime() *
                                       benchmark::GetTimeUnitMultiplier(benchmark::kNanosecond) /
                                       benchmark::GetTimeUnitMultiplier(run.time_unit));
        }
    }
    void printResults() const {
        for (const auto& [name, value] : m_results) zelt_bench::printResult(name, value, 1);
    }

private:
    std::vector<std::pair<std::string, double>> m_results;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    zelt_bench::initSealedGStreamer();
    ResultReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    reporter.printResults();
    return 0;
}
