// What every benchmark program does first: its flags, a GStreamer sealed to the build tree's
// virtual cameras, and where its files go.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace zelt_bench {

/// Flags of the form --name=value (or --name for "1"). Unknown names are refused so that a
/// typing error does not silently run the default.
class Flags {
public:
    /// Throws std::invalid_argument for an argument that is not a flag or not in `known`
    /// (a text of names separated by blanks).
    Flags(int argc, char** argv, const std::string& known);

    bool has(const std::string& name) const { return m_values.count(name) != 0; }
    std::string text(const std::string& name, const std::string& fallback) const;
    std::uint64_t count(const std::string& name, std::uint64_t fallback) const;
    double number(const std::string& name, double fallback) const;

private:
    std::map<std::string, std::string> m_values;
};

/// Seals GStreamer for a benchmark process, then initialises it: GST_PLUGIN_PATH at the build
/// tree's virtual-camera plug-in, a private registry file in the benchmark output folder,
/// the plug-in's log level at "error" unless ZELT_LOG_LEVEL says otherwise; gst_init; checks
/// that the virtual-camera plug-in is registered; ranks every other device provider to
/// GST_RANK_NONE in this process, so that a real camera never changes a figure. Throws
/// std::runtime_error when the plug-in is missing.
void initSealedGStreamer();

/// The camera plug-in module of this build tree (libzelt_camera.so), or the one the
/// environment variable ZELT_BENCH_CAMERA_MODULE names (to measure another build of it).
std::string cameraModulePath();

/// Runs a benchmark program's `body`; an exception becomes "<program>: <what>" on stderr and
/// exit code 1.
int runProgram(const char* program, int (*body)(int, char**), int argc, char** argv);

/// The folder where benchmarks write their files (CSV, camera descriptions); created.
/// --out-dir overrides the build tree's bench/ folder.
std::string outputDirectory(const Flags& flags);

}  // namespace zelt_bench
