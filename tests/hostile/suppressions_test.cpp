// The sanitizers' suppressions hide nothing of ours: each ThreadSanitizer and LeakSanitizer
// entry names one function of GLib's or GStreamer's own code with its reason, a race of our own
// against a GStreamer streaming thread is reported, and so is a device reference of our own
// that is never released.
#include <glib.h>
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "tsan_annotations.h"

namespace {

std::vector<std::string> lines_of(const std::string& path) {
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
}

// Every entry of `path` is <kind>:g_... or <kind>:gst_... (GLib, GObject and GStreamer name
// their functions so: a C identifier, no library file, no wildcard, nothing of ours), under a
// comment that gives its reason.
void expectOneGlibOrGStreamerFunctionPerEntry(const std::string& path, const std::string& kind) {
    const auto lines = lines_of(path);
    ASSERT_FALSE(lines.empty()) << path;
    const std::regex entry("^" + kind + R"(:(g|gst)_[a-z0-9_]+$)");
    bool commented = false;
    int entries = 0;
    for (const auto& line : lines) {
        if (line.empty()) {
            commented = false;
            continue;
        }
        if (line[0] == '#') {
            commented = true;
            continue;
        }
        ++entries;
        EXPECT_TRUE(std::regex_match(line, entry))
            << "not one GLib or GStreamer function: " << line;
        EXPECT_TRUE(commented) << "no reason given for: " << line;
    }
    EXPECT_GT(entries, 0);
}

// Runs the canary `program` with the suite's environment (so with its sanitizer options and
// suppressions) and expects the sanitizer's `report` line, the canary's own function
// `culprit` in its stack, and a failed exit.
[[maybe_unused]] void expectReported(const char* program, const char* report, const char* culprit) {
    gchar* out = nullptr;
    gchar* err = nullptr;
    gint status = 0;
    gchar* argv[] = {const_cast<gchar*>(program), nullptr};
    GError* error = nullptr;
    const bool spawned = g_spawn_sync(nullptr, argv, nullptr, G_SPAWN_DEFAULT, nullptr, nullptr,
                                      &out, &err, &status, &error);
    EXPECT_TRUE(spawned) << (error != nullptr ? error->message : "");
    if (error != nullptr) g_error_free(error);
    const std::string errors(err != nullptr ? err : "");
    g_free(out);
    g_free(err);
    EXPECT_NE(errors.find(report), std::string::npos) << errors;
    EXPECT_NE(errors.find(culprit), std::string::npos) << errors;
    EXPECT_FALSE(spawned && g_spawn_check_wait_status(status, nullptr))
        << program << " exited 0: what it does went unreported";
}

TEST(SuppressionsTest, EveryThreadSanitizerEntryNamesOneGlibOrGStreamerFunctionWithItsReason) {
    expectOneGlibOrGStreamerFunctionPerEntry(ZELT_TSAN_SUPPRESSIONS, "race");
}

TEST(SuppressionsTest, EveryLeakSanitizerEntryNamesOneGlibOrGStreamerFunctionWithItsReason) {
    expectOneGlibOrGStreamerFunctionPerEntry(ZELT_LSAN_SUPPRESSIONS, "leak");
}

TEST(SuppressionsTest, OurForgottenDeviceReferenceIsReported) {
#ifndef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "needs the AddressSanitizer build";
#else
    expectReported(ZELT_LEAK_CANARY, "ERROR: LeakSanitizer: detected memory leaks",
                   "make_forgotten_device");
#endif
}

TEST(SuppressionsTest, OurRaceAgainstAStreamingThreadIsReported) {
#ifndef ZELT_TEST_UNDER_TSAN
    GTEST_SKIP() << "needs the ThreadSanitizer build";
#else
    expectReported(ZELT_RACE_CANARY, "WARNING: ThreadSanitizer: data race", "on_sample");
#endif
}

}  // namespace
