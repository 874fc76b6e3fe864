// bench_frame_path: process CPU time per frame and frames per second of the floor, the
// camera plug-in and the OpenCV peer, side by side, on one virtual camera in benchmark mode;
// and the instructions per frame of the floor and the plug-in, counted under callgrind.
//
//   bench_frame_path [--reps=45] [--frames-hd=750] [--frames-vga=5000] [--warmup=200]
//                    [--bgr=1] [--peer=1] [--out-dir=DIR] [--modes=hd,vga]
//                    [--only=floor|plugin|peer] [--instructions=1] [--instr-frames-hd=200]
//                    [--instr-frames-vga=2000] [--memcpy=0] [--result-prefix=]
//                    [--floor-offset=0]
//
// Modes: hd (1920x1080 YUY2), vga (640x480 I420), and for a table against frame size 480p,
// 720p, 1080p, 2160p (YUY2); --frames-<mode> and --instr-frames-<mode> for each. --memcpy=1
// also times a bare memcpy of the same size (page-backed source and destination, the source
// rotating over four buffers as a camera's buffer pool does). --result-prefix goes in front of
// every RESULT name (for a second run in the same results file). --floor-offset puts the
// floor's copy that many bytes after a page start (64: where the plug-in's pixels are).
//
// --only runs one variant (for a profiler: perf record -g -- bench_frame_path --only=plugin);
// the ratios are then not printed.
// Every repetition runs each variant once, in an order that rotates, so a slow phase of the
// machine touches all of them; the ratios that decide are paired: plug-in / floor (and
// plug-in / peer) within each repetition, and their median over the repetitions, with the
// spread. The ratios of the medians are printed beside them, as before.
// --instructions=1 (the default, when valgrind is installed) runs the floor and the plug-in
// once more each under callgrind, over a short window, and prints instructions per frame: the
// figure that does not move with the load of the machine.
// The last lines are the RESULT lines; the ratios without a mode in their name are the worse
// of the two modes.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "bench_environment.h"
#include "bench_stats.h"
#include "frame_path_runs.h"

namespace zelt_bench {
namespace {

enum class Variant { Floor, Plugin, Peer, PeerBgr, Memcpy };

struct VariantNames {
    const char* name;  // in RESULT names and the CSV
    const char* text;  // in the table
};

const VariantNames& namesOf(Variant variant) {
    static const VariantNames names[] = {{"floor", "floor (appsink, one copy)"},
                                         {"plugin", "plug-in (host, header-only sink)"},
                                         {"peer", "peer (OpenCV, raw)"},
                                         {"peer_bgr", "peer (OpenCV, BGR via videoconvert)"},
                                         {"memcpy", "memcpy of the frame alone"}};
    return names[static_cast<int>(variant)];
}

// In front of every RESULT name (--result-prefix).
std::string g_result_prefix;

void result(const std::string& name, double value, int digits = 3) {
    printResult(g_result_prefix + name, value, digits);
}

const char* variantName(Variant variant) { return namesOf(variant).name; }
const char* variantText(Variant variant) { return namesOf(variant).text; }

struct Series {
    std::vector<double> cpu_us;
    std::vector<double> fps;
};

struct ModeFigures {
    double ratio_floor = NAN;  // of the medians
    double ratio_peer = NAN;
    double ratio_peer_bgr = NAN;  // against the peer that converts to BGR
    double paired_floor = NAN;    // median of the per-repetition ratios
    double paired_peer = NAN;
    double paired_peer_bgr = NAN;
    double instruction_ratio = NAN;  // plug-in / floor, instructions per frame
};

// The paired ratio of one mode: printed, and its median, quartiles and spread as RESULT lines.
double reportPaired(const std::string& what, const std::string& name,
                    const std::vector<double>& ratios) {
    if (ratios.empty()) return NAN;
    const Summary summary = summarize(ratios);
    std::printf("  %-34s median %.3f, quartiles %.3f .. %.3f, range %.3f .. %.3f (%zu pairs)\n",
                what.c_str(), summary.median, summary.q1, summary.q3, summary.min, summary.max,
                summary.count);
    result(name, summary.median);
    result(name + "_q1", summary.q1);
    result(name + "_q3", summary.q3);
    result(name + "_min", summary.min);
    result(name + "_max", summary.max);
    return summary.median;
}

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
        case Variant::Memcpy:
            return runMemcpy(plan);
    }
    return {};
}

constexpr const char* kModeNames[] = {"hd", "vga", "480p", "720p", "1080p", "2160p"};

VideoMode namedMode(const std::string& name) {
    if (name == "hd" || name == "1080p") return {"YUY2", 1920, 1080, 30};
    if (name == "vga") return {"I420", 640, 480, 30};
    if (name == "480p") return {"YUY2", 640, 480, 30};
    if (name == "720p") return {"YUY2", 1280, 720, 30};
    if (name == "2160p") return {"YUY2", 3840, 2160, 30};
    throw std::invalid_argument("--modes: hd, vga, 480p, 720p, 1080p or 2160p, not " + name);
}

// What the plug-in's CPU per frame is divided by within each repetition, in the order the
// paired ratios are printed; their RESULT names are cpu_ratio_<variant>_paired_<mode>.
struct PairedAgainst {
    Variant variant;
    const char* text;
    double ModeFigures::*figure;  // where the median goes; null: printed only
};
constexpr PairedAgainst kPairedAgainst[] = {
    {Variant::Floor, "plug-in / floor", &ModeFigures::paired_floor},
    {Variant::Peer, "plug-in / peer (raw)", &ModeFigures::paired_peer},
    {Variant::PeerBgr, "plug-in / peer (BGR)", &ModeFigures::paired_peer_bgr},
    {Variant::Memcpy, "plug-in / memcpy", nullptr}};

// As many frames of `mode` as `hd_frames` frames of 1080p YUY2 hold bytes, within [low, high].
std::uint64_t framesLike1080p(const VideoMode& mode, std::uint64_t hd_frames, std::uint64_t low,
                              std::uint64_t high) {
    return std::clamp<std::uint64_t>(
        hd_frames * namedMode("1080p").frameBytes() / mode.frameBytes(), low, high);
}

ModeFigures measureMode(const VideoMode& mode, const std::string& mode_flag, const Flags& flags,
                        const std::string& folder, std::ofstream& csv) {
    // Many short pairs rather than a few long ones: the machine's speed drifts over seconds, so
    // the two runs of a pair see the same machine only when they are close together. About a
    // quarter second of CPU a run: 750 frames of 1080p YUY2, 5000 of the smaller modes.
    const std::uint64_t default_frames = framesLike1080p(mode, 750, 200, 5000);
    const std::uint64_t frames = flags.count("frames-" + mode_flag, default_frames);
    const std::uint64_t repetitions = flags.count("reps", 45);
    if (repetitions == 0 || frames == 0) {
        throw std::invalid_argument("--reps and the frame counts must be at least 1");
    }
    RunPlan plan;
    plan.mode = mode;
    plan.frames = frames;
    plan.warmup_frames = flags.count("warmup", 200);
    plan.folder = folder;
    plan.floor_offset = flags.count("floor-offset", 0);
    RunPlan bgr_plan = plan;
    bgr_plan.frames = std::max<std::uint64_t>(frames / 10, 50);
    bgr_plan.warmup_frames = std::max<std::uint64_t>(plan.warmup_frames / 10, 10);

    std::vector<Variant> rotation{Variant::Floor, Variant::Plugin};
    const bool with_peer = peerAvailable() && flags.count("peer", 1) != 0;
    if (with_peer) rotation.push_back(Variant::Peer);
    bool with_bgr = with_peer && flags.count("bgr", 1) != 0;
    if (flags.count("memcpy", 0) != 0) rotation.push_back(Variant::Memcpy);
    if (flags.has("only")) {
        const std::string only = flags.text("only", "");
        rotation.erase(
            std::remove_if(rotation.begin(), rotation.end(),
                           [&](Variant variant) { return only != variantName(variant); }),
            rotation.end());
        if (rotation.empty()) throw std::invalid_argument("--only: floor, plugin, peer or memcpy");
        with_bgr = false;
    }

    std::printf("\n%s: %llu frames a run after %llu of warm-up, %llu repetitions\n",
                mode.label().c_str(), static_cast<unsigned long long>(frames),
                static_cast<unsigned long long>(plan.warmup_frames),
                static_cast<unsigned long long>(repetitions));
    std::map<Variant, Series> series;
    std::map<Variant, std::vector<double>> paired_ratios;
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
        const double plugin = run[Variant::Plugin].cpu_us_per_frame;
        for (const PairedAgainst& other : kPairedAgainst) {
            const auto found = run.find(other.variant);
            if (found != run.end())
                paired_ratios[other.variant].push_back(plugin / found->second.cpu_us_per_frame);
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
        result(std::string("cpu_us_") + variantName(variant) + "_" + mode.key(),
               summarize(values.cpu_us).median, 2);
        result(std::string("fps_") + variantName(variant) + "_" + mode.key(),
               summarize(values.fps).median, 0);
    }

    ModeFigures figures;
    if (series.count(Variant::Plugin) == 0 || series.count(Variant::Floor) == 0) return figures;
    const double plugin = summarize(series[Variant::Plugin].cpu_us).median;
    std::printf("  paired ratios of CPU per frame, within each repetition:\n");
    for (const PairedAgainst& other : kPairedAgainst) {
        const double median = reportPaired(
            other.text,
            std::string("cpu_ratio_") + variantName(other.variant) + "_paired_" + mode.key(),
            paired_ratios[other.variant]);
        if (other.figure != nullptr) figures.*(other.figure) = median;
    }

    std::printf("  ratios of the medians:\n");
    figures.ratio_floor = plugin / summarize(series[Variant::Floor].cpu_us).median;
    std::printf("  plug-in/floor CPU per frame: %.3f\n", figures.ratio_floor);
    result("cpu_ratio_floor_" + mode.key(), figures.ratio_floor);
    if (series.count(Variant::Peer) != 0) {
        figures.ratio_peer = plugin / summarize(series[Variant::Peer].cpu_us).median;
        std::printf("  plug-in/peer CPU per frame:  %.3f\n", figures.ratio_peer);
        std::printf("  floor/peer CPU per frame:    %.3f\n",
                    summarize(series[Variant::Floor].cpu_us).median /
                        summarize(series[Variant::Peer].cpu_us).median);
        result("cpu_ratio_peer_" + mode.key(), figures.ratio_peer);
    }
    if (series.count(Variant::PeerBgr) != 0) {
        figures.ratio_peer_bgr = plugin / summarize(series[Variant::PeerBgr].cpu_us).median;
        std::printf("  plug-in/peer converting to BGR: %.3f\n", figures.ratio_peer_bgr);
        result("cpu_ratio_peer_bgr_" + mode.key(), figures.ratio_peer_bgr);
    }

    if (flags.count("instructions", 1) != 0) {
        if (!callgrindAvailable()) {
            std::printf("  instructions per frame: valgrind not found, not counted\n");
            return figures;
        }
        // The count is exact, so a short window will do: 200 frames of 1080p, 2000 of VGA.
        const std::uint64_t counted =
            flags.count("instr-frames-" + mode_flag, framesLike1080p(mode, 200, 50, 2000));
        const std::uint64_t warmup = std::max<std::uint64_t>(counted / 10, 20);
        const double floor =
            instructionsPerFrame("floor", mode, mode_flag, counted, warmup, folder);
        const double plugin_instructions =
            instructionsPerFrame("plugin", mode, mode_flag, counted, warmup, folder);
        figures.instruction_ratio = plugin_instructions / floor;
        std::printf(
            "  instructions per frame (callgrind, %llu frames, every thread): floor %.0f, "
            "plug-in %.0f, plug-in/floor %.4f\n",
            static_cast<unsigned long long>(counted), floor, plugin_instructions,
            figures.instruction_ratio);
        result("instr_per_frame_floor_" + mode.key(), floor, 0);
        result("instr_per_frame_plugin_" + mode.key(), plugin_instructions, 0);
        result("instr_ratio_floor_" + mode.key(), figures.instruction_ratio, 4);
    }
    return figures;
}

int run(int argc, char** argv) {
    std::string known =
        "reps warmup bgr peer out-dir modes only instructions memcpy result-prefix floor-offset";
    for (const char* mode : kModeNames) {
        known += std::string(" frames-") + mode + " instr-frames-" + mode;
    }
    const Flags flags(argc, argv, known);
    initSealedGStreamer();
    const std::string folder = outputDirectory(flags);
    std::printf("bench_frame_path on %s\n", machineLine().c_str());
    std::printf("peer: %s\n", peerDescription().c_str());
    std::printf("source: %s\n", sourceLaunchText({"YUY2", 1920, 1080, 30}).c_str());

    g_result_prefix = flags.text("result-prefix", "");
    const std::string csv_path = folder + "/" + g_result_prefix + "frame_path.csv";
    std::ofstream csv(csv_path);
    csv << "mode,variant,repetition,cpu_us_per_frame,fps\n";
    std::vector<ModeFigures> measured;
    std::istringstream modes(flags.text("modes", "hd,vga"));
    for (std::string name; std::getline(modes, name, ',');) {
        measured.push_back(measureMode(namedMode(name), name, flags, folder, csv));
    }
    std::printf("\nper-run figures: %s\n", csv_path.c_str());
    if (flags.has("only")) return 0;

    // The worse mode decides; a figure missing in one mode (NaN) never wins.
    const auto worst = [&measured](double ModeFigures::*ratio) {
        double value = NAN;
        for (const ModeFigures& figures : measured) {
            if (std::isnan(value) || figures.*ratio > value) value = figures.*ratio;
        }
        return value;
    };
    result("cpu_ratio_floor", worst(&ModeFigures::ratio_floor));
    result("cpu_ratio_floor_paired", worst(&ModeFigures::paired_floor));
    if (peerAvailable() && flags.count("peer", 1) != 0) {
        result("cpu_ratio_peer", worst(&ModeFigures::ratio_peer));
        result("cpu_ratio_peer_paired", worst(&ModeFigures::paired_peer));
        const double bgr = worst(&ModeFigures::ratio_peer_bgr);
        if (!std::isnan(bgr)) result("cpu_ratio_peer_bgr", bgr);
        const double bgr_paired = worst(&ModeFigures::paired_peer_bgr);
        if (!std::isnan(bgr_paired)) result("cpu_ratio_peer_bgr_paired", bgr_paired);
    } else if (!peerAvailable()) {
        printResult(g_result_prefix + "cpu_ratio_peer", "unavailable");
    }
    const double instructions = worst(&ModeFigures::instruction_ratio);
    if (!std::isnan(instructions)) result("instr_ratio_floor", instructions, 4);
    return 0;
}

}  // namespace
}  // namespace zelt_bench

int main(int argc, char** argv) {
    return zelt_bench::runProgram("bench_frame_path", zelt_bench::run, argc, argv);
}
