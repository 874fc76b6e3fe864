// bench_frame_path: process CPU time per frame and frames per second of the floor, the
// camera plug-in and the OpenCV peer, side by side, on one virtual camera in benchmark mode.
//
//   bench_frame_path [--reps=9] [--frames-hd=3000] [--frames-vga=20000] [--warmup=200]
//                    [--bgr=1] [--out-dir=DIR] [--modes=hd,vga] [--only=floor|plugin|peer]
//
// --only runs one variant (for a profiler: perf record -g -- bench_frame_path --only=plugin);
// the ratios are then not printed.
// Repetitions interleave the variants (the order rotates), so a slow phase of the machine
// touches all of them. The plug-in/floor and plug-in/peer ratios are of the medians; the
// spread printed with them is that of the per-repetition ratios. The last lines are the
// RESULT lines; cpu_ratio_floor and cpu_ratio_peer are the worse of the two modes.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <stdexcept>
#include <vector>

#include "bench_environment.h"
#include "bench_stats.h"
#include "frame_path_runs.h"

namespace zelt_bench {
namespace {

enum class Variant { Floor, Plugin, Peer, PeerBgr };

struct VariantNames {
    const char* name;  // in RESULT names and the CSV
    const char* text;  // in the table
};

const VariantNames& namesOf(Variant variant) {
    static const VariantNames names[] = {{"floor", "floor (appsink, one copy)"},
                                         {"plugin", "plug-in (host, header-only sink)"},
                                         {"peer", "peer (OpenCV, raw)"},
                                         {"peer_bgr", "peer (OpenCV, BGR via videoconvert)"}};
    return names[static_cast<int>(variant)];
}

const char* variantName(Variant variant) { return namesOf(variant).name; }
const char* variantText(Variant variant) { return namesOf(variant).text; }

struct Series {
    std::vector<double> cpu_us;
    std::vector<double> fps;
};

struct ModeFigures {
    double ratio_floor = NAN;
    double ratio_peer = NAN;
    double ratio_peer_bgr = NAN;  // against the peer that converts to BGR
};

RunFigures runVariant(Variant variant, const RunPlan& plan) {
    switch (variant) {
        case Variant::Floor:
            return runFloor(plan);
        case Variant::Plugin:
            return runPlugin(plan);
        case Variant::Peer:
            return runPeer(plan, false);
        case Variant::PeerBgr:
            return runPeer(plan, true);
    }
    return {};
}

ModeFigures measureMode(const VideoMode& mode, std::uint64_t frames, const Flags& flags,
                        const std::string& folder, std::ofstream& csv) {
    const std::uint64_t repetitions = flags.count("reps", 9);
    if (repetitions == 0 || frames == 0) {
        throw std::invalid_argument("--reps and the frame counts must be at least 1");
    }
    RunPlan plan;
    plan.mode = mode;
    plan.frames = frames;
    plan.warmup_frames = flags.count("warmup", 200);
    plan.folder = folder;
    RunPlan bgr_plan = plan;
    bgr_plan.frames = std::max<std::uint64_t>(frames / 10, 50);
    bgr_plan.warmup_frames = std::max<std::uint64_t>(plan.warmup_frames / 10, 10);

    std::vector<Variant> rotation{Variant::Floor, Variant::Plugin};
    if (peerAvailable()) rotation.push_back(Variant::Peer);
    bool with_bgr = peerAvailable() && flags.count("bgr", 1) != 0;
    if (flags.has("only")) {
        const std::string only = flags.text("only", "");
        rotation.erase(
            std::remove_if(rotation.begin(), rotation.end(),
                           [&](Variant variant) { return only != variantName(variant); }),
            rotation.end());
        if (rotation.empty()) throw std::invalid_argument("--only: floor, plugin or peer");
        with_bgr = false;
    }

    std::printf("\n%s: %llu frames a run after %llu of warm-up, %llu repetitions\n",
                mode.label().c_str(), static_cast<unsigned long long>(frames),
                static_cast<unsigned long long>(plan.warmup_frames),
                static_cast<unsigned long long>(repetitions));
    std::map<Variant, Series> series;
    std::vector<double> ratios_floor, ratios_peer;
    for (std::uint64_t repetition = 0; repetition < repetitions; ++repetition) {
        std::map<Variant, RunFigures> run;
        for (std::size_t i = 0; i < rotation.size(); ++i) {
            const Variant variant = rotation[(i + repetition) % rotation.size()];
            run[variant] = runVariant(variant, plan);
        }
        if (with_bgr) run[Variant::PeerBgr] = runVariant(Variant::PeerBgr, bgr_plan);
        std::printf("  repetition %llu:", static_cast<unsigned long long>(repetition + 1));
        for (const auto& [variant, figures] : run) {
            series[variant].cpu_us.push_back(figures.cpu_us_per_frame);
            series[variant].fps.push_back(figures.fps);
            std::printf(" %s %.1f us", variantName(variant), figures.cpu_us_per_frame);
            csv << mode.key() << ',' << variantName(variant) << ',' << repetition + 1 << ','
                << figures.cpu_us_per_frame << ',' << figures.fps << '\n';
        }
        std::printf("\n");
        if (run.count(Variant::Plugin) == 0) continue;
        if (run.count(Variant::Floor) != 0) {
            ratios_floor.push_back(run[Variant::Plugin].cpu_us_per_frame /
                                   run[Variant::Floor].cpu_us_per_frame);
        }
        if (run.count(Variant::Peer) != 0) {
            ratios_peer.push_back(run[Variant::Plugin].cpu_us_per_frame /
                                  run[Variant::Peer].cpu_us_per_frame);
        }
    }

    std::printf("  %-38s %-30s %s\n", "variant", "CPU us/frame median [min..max]",
                "frames/s median [min..max]");
    for (const auto& [variant, values] : series) {
        std::printf("  %-38s %-30s %s\n", variantText(variant),
                    formatSummary(summarize(values.cpu_us), 1).c_str(),
                    formatSummary(summarize(values.fps), 0).c_str());
    }

    for (const auto& [variant, values] : series) {
        printResult(std::string("cpu_us_") + variantName(variant) + "_" + mode.key(),
                    summarize(values.cpu_us).median, 2);
        printResult(std::string("fps_") + variantName(variant) + "_" + mode.key(),
                    summarize(values.fps).median, 0);
    }

    ModeFigures figures;
    if (series.count(Variant::Plugin) == 0 || series.count(Variant::Floor) == 0) return figures;
    const double plugin = summarize(series[Variant::Plugin].cpu_us).median;
    figures.ratio_floor = plugin / summarize(series[Variant::Floor].cpu_us).median;
    std::printf("  plug-in/floor CPU per frame: %.3f (per repetition %s), target <= 1.05\n",
                figures.ratio_floor, formatSummary(summarize(ratios_floor), 3).c_str());
    printResult("cpu_ratio_floor_" + mode.key(), figures.ratio_floor);
    if (series.count(Variant::Peer) != 0) {
        figures.ratio_peer = plugin / summarize(series[Variant::Peer].cpu_us).median;
        std::printf("  plug-in/peer CPU per frame:  %.3f (per repetition %s), target <= 0.70\n",
                    figures.ratio_peer, formatSummary(summarize(ratios_peer), 3).c_str());
        std::printf("  floor/peer CPU per frame:    %.3f\n",
                    summarize(series[Variant::Floor].cpu_us).median /
                        summarize(series[Variant::Peer].cpu_us).median);
        printResult("cpu_ratio_peer_" + mode.key(), figures.ratio_peer);
    }
    if (series.count(Variant::PeerBgr) != 0) {
        figures.ratio_peer_bgr = plugin / summarize(series[Variant::PeerBgr].cpu_us).median;
        std::printf("  plug-in/peer converting to BGR: %.3f\n", figures.ratio_peer_bgr);
        printResult("cpu_ratio_peer_bgr_" + mode.key(), figures.ratio_peer_bgr);
    }
    return figures;
}

int run(int argc, char** argv) {
    const Flags flags(argc, argv, "reps frames-hd frames-vga warmup bgr out-dir modes only");
    initSealedGStreamer();
    const std::string folder = outputDirectory(flags);
    std::printf("bench_frame_path on %s\n", machineLine().c_str());
    std::printf("peer: %s\n", peerDescription().c_str());
    std::printf("source: %s\n", sourceLaunchText({"YUY2", 1920, 1080, 30}).c_str());

    std::ofstream csv(folder + "/frame_path.csv");
    csv << "mode,variant,repetition,cpu_us_per_frame,fps\n";
    const std::string modes = flags.text("modes", "hd,vga");
    std::vector<ModeFigures> measured;
    if (modes.find("hd") != std::string::npos) {
        measured.push_back(measureMode({"YUY2", 1920, 1080, 30}, flags.count("frames-hd", 3000),
                                       flags, folder, csv));
    }
    if (modes.find("vga") != std::string::npos) {
        measured.push_back(measureMode({"I420", 640, 480, 30}, flags.count("frames-vga", 20000),
                                       flags, folder, csv));
    }
    std::printf("\nper-run figures: %s/frame_path.csv\n", folder.c_str());
    if (flags.has("only")) return 0;

    // The worse mode decides; a figure missing in one mode (NaN) never wins.
    const auto worst = [&measured](double ModeFigures::*ratio) {
        double value = NAN;
        for (const ModeFigures& figures : measured) {
            if (std::isnan(value) || figures.*ratio > value) value = figures.*ratio;
        }
        return value;
    };
    printResult("cpu_ratio_floor", worst(&ModeFigures::ratio_floor));
    if (peerAvailable()) {
        printResult("cpu_ratio_peer", worst(&ModeFigures::ratio_peer));
        const double bgr = worst(&ModeFigures::ratio_peer_bgr);
        if (!std::isnan(bgr)) printResult("cpu_ratio_peer_bgr", bgr);
    } else {
        printResult("cpu_ratio_peer", "unavailable");
    }
    return 0;
}

}  // namespace
}  // namespace zelt_bench

int main(int argc, char** argv) {
    return zelt_bench::runProgram("bench_frame_path", zelt_bench::run, argc, argv);
}
