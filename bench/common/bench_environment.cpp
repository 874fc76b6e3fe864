#include "bench_environment.h"

#include <glib.h>
#include <gst/gst.h>

#include <cstdio>
#include <exception>
#include <sstream>
#include <stdexcept>

#include "gst_support/gst_ptr.h"
#include "vcam/vcam.h"
#include "vcam/vcam_seal.h"

namespace zelt_bench {

Flags::Flags(int argc, char** argv, const std::string& known) {
    std::istringstream names(known);
    std::map<std::string, bool> allowed;
    for (std::string name; names >> name;) allowed[name] = true;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument.rfind("--", 0) != 0) throw std::invalid_argument("not a flag: " + argument);
        const auto equals = argument.find('=');
        const std::string name =
            argument.substr(2, equals == std::string::npos ? equals : equals - 2);
        if (allowed.count(name) == 0) {
            throw std::invalid_argument("unknown flag --" + name + " (known: " + known + ")");
        }
        m_values[name] = equals == std::string::npos ? "1" : argument.substr(equals + 1);
    }
}

std::string Flags::text(const std::string& name, const std::string& fallback) const {
    const auto found = m_values.find(name);
    return found == m_values.end() ? fallback : found->second;
}

namespace {

// Reads the whole of `value` with `parse` (std::stoull, std::stod); throws
// std::invalid_argument naming the flag otherwise.
template <typename T, typename Parse>
T parseFlag(const std::string& name, const std::string& value, Parse parse) {
    std::size_t used = 0;
    try {
        const T number = parse(value, &used);
        if (used == value.size() && value.find('-') == std::string::npos) return number;
    } catch (const std::exception&) {
    }
    throw std::invalid_argument("--" + name + ": not a number: '" + value + "'");
}

}  // namespace

std::uint64_t Flags::count(const std::string& name, std::uint64_t fallback) const {
    const auto found = m_values.find(name);
    if (found == m_values.end()) return fallback;
    return parseFlag<std::uint64_t>(
        name, found->second,
        [](const std::string& text, std::size_t* used) { return std::stoull(text, used); });
}

double Flags::number(const std::string& name, double fallback) const {
    const auto found = m_values.find(name);
    if (found == m_values.end()) return fallback;
    return parseFlag<double>(name, found->second, [](const std::string& text, std::size_t* used) {
        return std::stod(text, used);
    });
}

void initSealedGStreamer() {
    g_setenv("GST_PLUGIN_PATH", ZELT_BENCH_VCAM_DIR, TRUE);
    g_setenv("GST_REGISTRY", ZELT_BENCH_OUTPUT_DIR "/gst-registry.bin", TRUE);
    g_setenv("ZELT_LOG_LEVEL", "error", FALSE);
    gst_init(nullptr, nullptr);

    const gst_support::ObjectPtr<GstPlugin> plugin(
        gst_registry_find_plugin(gst_registry_get(), ZELT_VCAM_PLUGIN_NAME));
    if (!plugin || gst_plugin_get_filename(plugin.get()) == nullptr) {
        throw std::runtime_error("the virtual-camera plug-in '" ZELT_VCAM_PLUGIN_NAME
                                 "' is not in " ZELT_BENCH_VCAM_DIR);
    }
    zelt::vcam::rankOutOtherDeviceProviders();
}

int runProgram(const char* program, int (*body)(int, char**), int argc, char** argv) {
    try {
        return body(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", program, error.what());
        return 1;
    }
}

std::string cameraModulePath() {
    // Another build of the plug-in can be measured against the same floor (a before/after).
    const char* other = g_getenv("ZELT_BENCH_CAMERA_MODULE");
    return other != nullptr && *other != '\0' ? other : ZELT_BENCH_CAMERA_MODULE;
}

std::string outputDirectory(const Flags& flags) {
    const std::string folder = flags.text("out-dir", ZELT_BENCH_OUTPUT_DIR);
    if (g_mkdir_with_parents(folder.c_str(), 0755) != 0) {
        throw std::runtime_error("cannot create " + folder);
    }
    return folder;
}

}  // namespace zelt_bench
