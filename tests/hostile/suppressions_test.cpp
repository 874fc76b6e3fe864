// The sanitizers' suppressions hide nothing of ours: each ThreadSanitizer entry names one
// function of GLib's or GStreamer's own code with its reason, and a race of our own against a
// GStreamer streaming thread is reported.
#include <gtest/gtest.h>
#include <glib.h>

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

TEST(SuppressionsTest, EveryThreadSanitizerEntryNamesOneGlibOrGStreamerFunctionWithItsReason) {
    const auto lines = lines_of(ZELT_TSAN_SUPPRESSIONS);
    ASSERT_FALSE(lines.empty()) << ZELT_TSAN_SUPPRESSIONS;
    // GLib, GObject and GStreamer name their functions g_..., gst_... (a C identifier, no
    // library file, no wildcard, nothing of ours).
    const std::regex entry(R"(^race:(g|gst)_[a-z0-9_]+$)");
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
        EXPECT_TRUE(std::regex_match(line, entry)) << "not one GLib or GStreamer function: " << line;
        EXPECT_TRUE(commented) << "no reason given for: " << line;
    }
    EXPECT_GT(entries, 0);
}

TEST(SuppressionsTest, OurRaceAgainstAStreamingThreadIsReported) {
#ifndef ZELT_TEST_UNDER_TSAN
    GTEST_SKIP() << "needs the ThreadSanitizer build";
#else
    // The canary runs with the suppressions and options of the suite's environment.
    gchar* out = nullptr;
    gchar* err = nullptr;
    gint status = 0;
    gchar* argv[] = {const_cast<gchar*>(ZELT_RACE_CANARY), nullptr};
    GError* error = nullptr;
    ASSERT_TRUE(g_spawn_sync(nullptr, argv, nullptr, G_SPAWN_DEFAULT, nullptr, nullptr, &out,
                             &err, &status, &error))
        << (error != nullptr ? error->message : "");
    const std::string errors(err != nullptr ? err : "");
    g_free(out);
    g_free(err);
    EXPECT_NE(errors.find("WARNING: ThreadSanitizer: data race"), std::string::npos) << errors;
    EXPECT_NE(errors.find("on_sample"), std::string::npos) << errors;
    EXPECT_FALSE(g_spawn_check_wait_status(status, nullptr)) << "the canary's race went unreported";
#endif
}

}  // namespace
