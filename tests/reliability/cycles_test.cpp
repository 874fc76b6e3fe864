// Long lifecycles with two virtual cameras: 1,000 acquisitions that start and stop both
// pipelines, and 100 whole plug-in lifetimes. After a warm-up, the resident memory may grow by
// less than 1 MiB, and the open file descriptors and threads come back to where they were.
// Label slow: scripts/test-slow.sh runs them; the default test command leaves them out.
#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>

#include "e2e_fixture.h"
#include "zelt_host/sample_sinks.h"

namespace zelt_e2e {
namespace {

using zelt::host::Acquisition;
using zelt::host::CountingSampleSink;

constexpr long kMiB = 1024 * 1024;

/// What the process holds at one moment.
struct Resources {
    long rss_bytes = 0;
    long open_fds = 0;
    long threads = 0;
};

long count_entries(const char* directory) {
    long count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        (void)entry;
        ++count;
    }
    return count;
}

/// Resident memory, descriptors and threads of this process. Freed heap memory is given back
/// to the system first (malloc_trim), so that the figure is the memory still in use rather
/// than what the allocator keeps for later.
Resources measure() {
    malloc_trim(0);
    Resources resources;
    long pages_total = 0;
    long pages_resident = 0;
    std::ifstream statm("/proc/self/statm");
    statm >> pages_total >> pages_resident;
    resources.rss_bytes = pages_resident * sysconf(_SC_PAGESIZE);
    resources.open_fds = count_entries("/proc/self/fd") - 1;  // the directory iterator's own
    resources.threads = count_entries("/proc/self/task");
    return resources;
}

std::ostream& operator<<(std::ostream& out, const Resources& resources) {
    return out << "rss " << resources.rss_bytes / 1024 << " KiB, " << resources.open_fds << " fds, "
               << resources.threads << " threads";
}

/// Measures once the thread count has stopped falling for a second: GStreamer hands its
/// streaming threads back to GLib's thread pool, which ends them after they idled a while.
Resources settle() {
    Resources now = measure();
    auto steady_since = std::chrono::steady_clock::now();
    const auto deadline = steady_since + 30s;
    while (std::chrono::steady_clock::now() < deadline &&
           std::chrono::steady_clock::now() - steady_since < 1s) {
        std::this_thread::sleep_for(100ms);
        const Resources next = measure();
        if (next.threads != now.threads) steady_since = std::chrono::steady_clock::now();
        now = next;
    }
    return now;
}

void expect_back_to(const Resources& baseline, const Resources& after, const char* what) {
    std::cout << what << ": baseline " << baseline << "; after " << after << "; rss growth "
              << (after.rss_bytes - baseline.rss_bytes) / 1024 << " KiB" << std::endl;
    EXPECT_LT(after.rss_bytes - baseline.rss_bytes, kMiB) << what;
    EXPECT_EQ(after.open_fds, baseline.open_fds) << what;
    EXPECT_EQ(after.threads, baseline.threads) << what;
    ::testing::Test::RecordProperty(
        "rss_growth_kib", static_cast<int>((after.rss_bytes - baseline.rss_bytes) / 1024));
    ::testing::Test::RecordProperty("fds", static_cast<int>(after.open_fds));
    ::testing::Test::RecordProperty("threads", static_cast<int>(after.threads));
}

std::vector<CameraDescription> two_cameras() {
    return {small_camera("Cycle cam A", "/dev/zelt-cycle-a"),
            small_camera("Cycle cam B", "/dev/zelt-cycle-b")};
}

class CyclesTest : public CameraE2eTest {
protected:
    /// One acquisition of both cameras until each delivered a frame, then both pipelines
    /// stopped: the cameras are left out of a stop (stopAcquisition stops unused cameras).
    void acquireOnce(CountingSampleSink& a, CountingSampleSink& b) {
        const auto a_before = a.sampleCount();
        const auto b_before = b.sampleCount();
        {
            Acquisition acquisition(*m_host, {0, 1});
            ASSERT_TRUE(a.waitForSamples(a_before + 1, 5s));
            ASSERT_TRUE(b.waitForSamples(b_before + 1, 5s));
        }
        m_host->plugin().resetChannelsUsed();
        m_host->plugin().stopAcquisition();
    }
};

TEST_F(CyclesTest, ThousandAcquisitionsOfTwoCamerasHoldMemoryDescriptorsAndThreads) {
    constexpr int kWarmUp = 50;
    constexpr int kCycles = 1000;
    open(two_cameras());
    auto a = std::make_shared<CountingSampleSink>();
    auto b = std::make_shared<CountingSampleSink>();
    m_host->setSampleSink(0, a);
    m_host->setSampleSink(1, b);

    for (int i = 0; i < kWarmUp; ++i) ASSERT_NO_FATAL_FAILURE(acquireOnce(*a, *b));
    const Resources baseline = settle();
    const auto started = std::chrono::steady_clock::now();
    for (int i = 0; i < kCycles; ++i) ASSERT_NO_FATAL_FAILURE(acquireOnce(*a, *b)) << "cycle " << i;
    const auto took = std::chrono::steady_clock::now() - started;
    const Resources after = settle();

    std::cout << kCycles << " acquisitions in "
              << std::chrono::duration_cast<std::chrono::milliseconds>(took).count() << " ms; "
              << a->sampleCount() << " + " << b->sampleCount() << " frames" << std::endl;
    expect_back_to(baseline, after, "acquisition cycles");
    EXPECT_TRUE(m_host->exceptions().history().empty());
}

TEST_F(CyclesTest, HundredPluginLifetimesHoldMemoryDescriptorsAndThreads) {
    constexpr int kWarmUp = 10;
    constexpr int kLifetimes = 100;
    // Each lifetime: create, init, update, one acquisition, deinit, destroy.
    open(two_cameras());
    m_host->close();
    const auto lifetime = [this] {
        m_host->open(ZELT_CAMERA_MODULE_PATH, 5);
        auto a = std::make_shared<CountingSampleSink>();
        auto b = std::make_shared<CountingSampleSink>();
        m_host->setSampleSink(0, a);
        m_host->setSampleSink(1, b);
        {
            Acquisition acquisition(*m_host, {0, 1});
            ASSERT_TRUE(a->waitForSamples(1, 5s));
            ASSERT_TRUE(b->waitForSamples(1, 5s));
        }
        ASSERT_TRUE(m_host->exceptions().history().empty());
        m_host->close();
    };

    for (int i = 0; i < kWarmUp; ++i) ASSERT_NO_FATAL_FAILURE(lifetime());
    const Resources baseline = settle();
    const auto started = std::chrono::steady_clock::now();
    for (int i = 0; i < kLifetimes; ++i) ASSERT_NO_FATAL_FAILURE(lifetime()) << "lifetime " << i;
    const auto took = std::chrono::steady_clock::now() - started;
    const Resources after = settle();

    std::cout << kLifetimes << " lifetimes in "
              << std::chrono::duration_cast<std::chrono::milliseconds>(took).count() << " ms"
              << std::endl;
    expect_back_to(baseline, after, "plug-in lifetimes");
}

}  // namespace
}  // namespace zelt_e2e
