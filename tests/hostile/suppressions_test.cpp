// The sanitizers' suppressions hide nothing of ours: each ThreadSanitizer and LeakSanitizer
// entry names one function of GLib's or GStreamer's own code with its reason, a race of our own
// against a GStreamer streaming thread is reported, and so is a device reference of our own
// that is never released.
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
        EXPECT_TRUE(std::regex_match(line, entry)) << "not one GLib or GStreamer function: " << line;
        EXPECT_TRUE(commented) << "no reason given for: " << line;
    }
    EXPECT_GT(entries, 0);
}

// Runs `program` with the suite's environment (so with its sanitizer options and
// suppressions); its standard error, and whether it exited 0 in `succeeded`.
[[maybe_unused]] std::string errorsOf(const char* program, bool& succeeded) {
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
    succeeded = spawned && g_spawn_check_wait_status(status, nullptr);
    return errors;
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
    bool succeeded = true;
    const std::string errors = errorsOf(ZELT_LEAK_CANARY, succeeded);
    EXPECT_NE(errors.find("ERROR: LeakSanitizer: detected memory leaks"), std::string::npos)
        << errors;
    EXPECT_NE(errors.find("make_forgotten_device"), std::string::npos) << errors;
    EXPECT_FALSE(succeeded) << "the canary's lost device went unreported";
#endif
}

TEST(SuppressionsTest, OurRaceAgainstAStreamingThreadIsReported) {
#ifndef ZELT_TEST_UNDER_TSAN
    GTEST_SKIP() << "needs the ThreadSanitizer build";
#else
    bool succeeded = true;
    const std::string errors = errorsOf(ZELT_RACE_CANARY, succeeded);
    EXPECT_NE(errors.find("WARNING: ThreadSanitizer: data race"), std::string::npos) << errors;
    EXPECT_NE(errors.find("on_sample"), std::string::npos) << errors;
    EXPECT_FALSE(succeeded) << "the canary's race went unreported";
#endif
}

}  // namespace
