// A long acquisition of four virtual cameras through the reference host, without a recorder:
// the plug-in and the host runtime alone. Every frame's sequence number is checked on the
// streaming thread (no allocation there), and the process's resident memory, threads and open
// files are sampled every ten seconds.
//
// Usage: zelt_reliability_soak MINUTES CAMERA_FILE   (scripts/soak.sh MINUTES OUT host runs it
// in the test environment). Prints one line per sample and a summary; exits 0 when no frame
// was lost, none was posted and the resident memory grew by less than 1 MiB after the warm-up.
#include <gst/gst.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "vcam/vcam_control.h"
#include "vcam/vcam_seal.h"
#include "zelt_host/acquisition.h"
#include "zelt_host/host.h"
#include "zelt_host/sample_sinks.h"

namespace {

constexpr std::size_t kCameras = 4;
constexpr std::size_t kHeaderBytes = 12;

/// Frames of one camera: how many, and how many broke the sequence.
struct CameraTally {
    std::atomic<std::uint64_t> frames{0};
    std::atomic<std::uint64_t> gaps{0};
    std::atomic<std::uint64_t> last_sequence{0};
};

long resident_kib() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmRSS:", 0) == 0) return std::strtol(line.c_str() + 6, nullptr, 10);
    return 0;
}

long count_entries(const char* directory) {
    long count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        (void)entry;
        ++count;
    }
    return count;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s MINUTES CAMERA_FILE\n", argv[0]);
        return 2;
    }
    const auto duration = std::chrono::minutes(std::atol(argv[1]));
    zelt::vcam::useCameraFile(argv[2]);

    zelt::host::Host host;  // initialises GStreamer
    zelt::vcam::rankOutOtherDeviceProviders();
    host.openDefault();
    std::array<CameraTally, kCameras> tallies;
    std::vector<std::uint32_t> ids;
    for (std::uint32_t id = 0; id < kCameras; ++id) {
        CameraTally& tally = tallies[id];
        host.setSampleSink(
            id, std::make_shared<zelt::host::CallbackSampleSink>(
                    [&tally](std::uint64_t, std::uint64_t, const void* data, std::uint32_t size) {
                        if (size < kHeaderBytes + 8) return;
                        std::uint64_t sequence = 0;
                        std::memcpy(&sequence,
                                    static_cast<const std::uint8_t*>(data) + kHeaderBytes, 8);
                        const std::uint64_t seen = tally.frames.fetch_add(1);
                        if (seen > 0 && sequence != tally.last_sequence + 1)
                            tally.gaps.fetch_add(1);
                        tally.last_sequence = sequence;
                    }));
        ids.push_back(id);
    }

    const auto started = std::chrono::steady_clock::now();
    long rss_after_warm_up = -1;
    long rss_last = 0;
    long rss_max = 0;
    bool ok = true;
    {
        zelt::host::Acquisition acquisition(host, ids);
        std::printf("seconds,rss_kib,threads,fds,frames\n");
        while (true) {
            const auto elapsed = std::chrono::steady_clock::now() - started;
            const long seconds = static_cast<long>(
                std::chrono::duration_cast<std::chrono::seconds>(elapsed).count());
            std::uint64_t frames = 0;
            for (const auto& tally : tallies) frames += tally.frames;
            rss_last = resident_kib();
            if (seconds >= 120 && rss_after_warm_up < 0) rss_after_warm_up = rss_last;
            if (rss_after_warm_up >= 0) rss_max = std::max(rss_max, rss_last);
            std::printf("%ld,%ld,%ld,%ld,%llu\n", seconds, rss_last,
                        count_entries("/proc/self/task"), count_entries("/proc/self/fd") - 1,
                        static_cast<unsigned long long>(frames));
            std::fflush(stdout);
            if (elapsed >= duration) break;
            std::this_thread::sleep_for(std::chrono::seconds(10));
        }
    }
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    for (std::size_t i = 0; i < kCameras; ++i) {
        std::printf("camera %zu: %llu frames in %.0f s (%.3f fps), %llu sequence gaps\n", i,
                    static_cast<unsigned long long>(tallies[i].frames.load()), seconds,
                    tallies[i].frames / seconds,
                    static_cast<unsigned long long>(tallies[i].gaps.load()));
        ok = ok && tallies[i].gaps == 0 && tallies[i].frames > 0;
    }
    const std::size_t posted = host.exceptions().postCount();
    std::printf("messages posted: %zu\n", posted);
    if (rss_after_warm_up >= 0) {
        std::printf(
            "resident memory after the warm-up: %ld KiB, at the end %ld KiB, max %ld KiB, "
            "growth %ld KiB\n",
            rss_after_warm_up, rss_last, rss_max, rss_last - rss_after_warm_up);
        ok = ok && rss_last - rss_after_warm_up < 1024;
    }
    ok = ok && posted == 0;
    std::printf("soak: %s\n", ok ? "passed" : "FAILED");
    return ok ? 0 : 1;
}
