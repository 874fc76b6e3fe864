// Camera faults during acquisition, as the host sees them: what the faulty camera answers, and
// that the other cameras and the host go on unharmed.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "e2e_fixture.h"
#include "log_capture.h"
#include "zelt_host/sample_sinks.h"

namespace zelt_e2e {
namespace {

using zelt::host::Acquisition;
using zelt::host::AcquisitionOptions;
using zelt::host::ExceptionRecord;
using zelt::host::RecordedSample;
using zelt::host::RecordingSampleSink;

using CameraFaultsTest = CameraE2eTest;

/// Every sample of `samples` carries the sequence number after the one before.
void expect_consecutive(const std::vector<RecordedSample>& samples, const char* what) {
    for (std::size_t i = 1; i < samples.size(); ++i)
        ASSERT_EQ(sequence_of(samples[i]), sequence_of(samples[i - 1]) + 1)
            << what << " frame " << i;
}

/// The texts of the messages the plug-in posted, in order (withdrawn ones included).
std::vector<std::string> posted_texts(const zelt::host::Host& host) {
    std::vector<std::string> texts;
    for (const auto& record : host.exceptions().history())
        if (record.action == ExceptionRecord::Action::kPosted) texts.push_back(record.text);
    return texts;
}

/// An acquisition that goes on with the cameras that came up when one fails to start.
AcquisitionOptions tolerant() {
    AcquisitionOptions options;
    options.require_prepared = false;
    return options;
}

TEST_F(CameraFaultsTest, HotRemovalDuringAcquisitionCostsTheOtherCameraNoFrame) {
    open({small_camera("Leaving cam", "/dev/zelt-leaving"),
          small_camera("Staying cam", "/dev/zelt-staying")});
    auto leaving_sink = attachSink(0);
    auto staying_sink = attachSink(1);
    {
        Acquisition acquisition(*m_host, {0, 1});
        ASSERT_TRUE(leaving_sink->waitForSamples(10, 5s));
        ASSERT_TRUE(staying_sink->waitForSamples(10, 5s));

        zelt::vcam::ProviderControl control;
        ASSERT_TRUE(control.removeCamera("Leaving cam")) << control.lastError();
        ASSERT_TRUE(staying_sink->waitForSamples(staying_sink->sampleCount() + 20, 5s));

        // The host learns of the removal and updates its channels while acquiring: the gone
        // camera's channel is torn down, the other one is not touched.
        m_host->plugin().updateChannels();
        EXPECT_EQ(m_host->channelIds(), (std::vector<std::uint32_t>{1, 0x10001}));
        const std::size_t leaving_final = leaving_sink->sampleCount();
        ASSERT_TRUE(staying_sink->waitForSamples(staying_sink->sampleCount() + 20, 5s));
        EXPECT_EQ(leaving_sink->sampleCount(), leaving_final);
        EXPECT_TRUE(m_host->plugin().checkChannels());
    }
    expect_consecutive(staying_sink->samples(), "staying");
    expect_consecutive(leaving_sink->samples(), "leaving");
    EXPECT_TRUE(m_host->exceptions().history().empty());
}

// The start of a camera waits for its first frame without a time limit (by design), so a
// camera that never delivers one keeps prepareAcquisition from returning. The blocked call
// cannot be taken back, so the scenario runs in a child process that ends itself; the child
// checks what the host can still do meanwhile and exits 0 when every check held.
[[noreturn]] void child_failed(const std::string& why) {
    std::fprintf(stderr, "never-first-frame check failed: %s\n", why.c_str());
    std::fflush(stderr);
    std::_Exit(1);
}

void child_require(bool condition, const std::string& why) {
    if (!condition) child_failed(why);
}

template <typename Predicate>
bool eventually(Predicate predicate, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!predicate()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

class NeverFirstFrameTest : public CameraE2eTest {
protected:
    void runScenario() {
        CameraDescription silent = small_camera("Silent cam", "/dev/zelt-silent");
        silent.never_first_frame = true;
        open({small_camera("Early cam", "/dev/zelt-early"), silent,
              small_camera("Late cam", "/dev/zelt-late")});
        child_require(
            m_host->channelIds() == std::vector<std::uint32_t>{0, 1, 2, 0x10000, 0x10001, 0x10002},
            "three cameras with their counters");
        zelt::IfDAQPlugin& plugin = m_host->plugin();
        const auto early = m_host->requireChannel(0);
        const auto late = m_host->requireChannel(2);
        auto early_sink = attachSink(0);

        // A first acquisition of the early camera alone: it comes up and stays started.
        {
            Acquisition acquisition(*m_host, {0});
            child_require(early_sink->waitForSamples(5, 5s), "the early camera delivers");
        }
        child_require(config_items::toString(early->getConfigItem("FrameWidth")) == "64 pixel",
                      "the early camera's geometry is known");

        plugin.setTimeSource(m_host->timeSource());
        plugin.resetChannelsUsed();
        for (const std::uint32_t id : {0u, 1u, 2u}) plugin.setChannelUsed(id, true);
        std::atomic<bool> prepare_returned{false};
        std::thread([&plugin, &prepare_returned] {
            plugin.prepareAcquisition();
            prepare_returned = true;
        }).detach();

        const auto blocked_since = std::chrono::steady_clock::now();
        while (std::chrono::steady_clock::now() - blocked_since < 2s) {
            child_require(!prepare_returned, "prepareAcquisition returned");
            // Not locked: answers at once, false while a used camera is still coming up.
            child_require(!plugin.checkChannels(), "checkChannels answered true");
            std::this_thread::sleep_for(50ms);
        }
        child_require(!prepare_returned, "prepareAcquisition returned");

        // The slots that take no lock answer; the channels answer their items.
        child_require(!plugin.isAcquisitionRunning(), "isAcquisitionRunning");
        child_require(plugin.getChannelIds().size() == 6, "getChannelIds");
        child_require(plugin.findChannelIndex({{"ID:CAMERA/ChannelIndex", "/dev/zelt-late"}}) == 2,
                      "findChannelIndex");
        child_require(config_items::toString(early->getConfigItem("Valid")) == "1",
                      "the early camera stays valid");
        child_require(config_items::toString(early->getConfigItem("FrameWidth")) == "64 pixel",
                      "the early camera keeps its geometry");
        // Cameras after the silent one (in index order) are never started.
        child_require(config_items::toString(late->getConfigItem("FrameWidth")) == "0 pixel",
                      "the late camera was not started");
        child_require(m_host->exceptions().history().empty(), "nothing is posted");

        // getChannel does not wait for the blocked start: a host callback may look its channel
        // up while the plug-in waits for the callback's thread.
        std::atomic<bool> get_channel_returned{false};
        std::thread([&plugin, &get_channel_returned] {
            plugin.getChannel(0);
            get_channel_returned = true;
        }).detach();
        child_require(eventually([&] { return get_channel_returned.load(); }, 5s),
                      "getChannel waited for the blocked start");

        std::fprintf(stderr, "never-first-frame checks passed\n");
        std::fflush(stderr);
        // Nothing can be torn down while a thread is inside the plug-in: end the process.
        std::_Exit(0);
    }
};

TEST_F(NeverFirstFrameTest, PrepareWaitsWithoutLimitWhileUnlockedSlotsAndChannelsStillAnswer) {
    EXPECT_EXIT(runScenario(), ::testing::ExitedWithCode(0), "never-first-frame checks passed");
}

TEST_F(CameraFaultsTest, CameraThatCannotLinkFailsItsStartAndTheOtherCameraDelivers) {
    CameraDescription broken = small_camera("Broken cam", "/dev/zelt-broken");
    broken.fail_link = true;
    open({broken, small_camera("Good cam", "/dev/zelt-good")});
    auto broken_sink = attachSink(0);
    auto good_sink = attachSink(1);
    {
        Acquisition acquisition(*m_host, {0, 1}, tolerant());
        EXPECT_FALSE(acquisition.report().prepared);
        EXPECT_TRUE(acquisition.report().ready);  // a camera with an error counts as settled
        ASSERT_TRUE(good_sink->waitForSamples(30, 5s));
        EXPECT_EQ(text(0, "Valid"), "0");
        EXPECT_EQ(text(1, "Valid"), "1");
    }
    EXPECT_EQ(broken_sink->sampleCount(), 0u);
    expect_consecutive(good_sink->samples(), "good");
    EXPECT_EQ(posted_texts(*m_host),
              (std::vector<std::string>{"Could not set up camera Broken cam",
                                        "Could not start camera Broken cam"}));
    const auto posted = m_host->exceptions().posted();
    ASSERT_EQ(posted.size(), 1u);
    EXPECT_EQ(posted[0].text, "Could not start camera Broken cam");
}

// Frames that arrive before delivery is switched on are not delivered, so an acquisition's
// first delivered frame is not always frame 0; a camera started afresh shows by sequence
// numbers below the 20 after which it fails.
constexpr std::uint64_t kFailsAfter = 20;

class BusErrorTest : public CameraE2eTest {
protected:
    void SetUp() override {
        CameraDescription failing = small_camera("Failing cam", "/dev/zelt-failing");
        failing.error_after_frames = static_cast<std::int64_t>(kFailsAfter);
        open({failing, small_camera("Steady cam", "/dev/zelt-steady")});
        m_failing_sink = attachSink(0);
        m_steady_sink = attachSink(1);
    }

    /// One acquisition of both cameras that lasts until the failing camera's error arrived
    /// and the steady camera delivered 20 more frames.
    void acquireUntilTheError() {
        Acquisition acquisition(*m_host, {0, 1});
        ASSERT_TRUE(m_failing_sink->waitForEvents(1, 5s));
        ASSERT_TRUE(m_steady_sink->waitForSamples(m_steady_sink->sampleCount() + 20, 5s));
    }

    std::shared_ptr<RecordingSampleSink> m_failing_sink;
    std::shared_ptr<RecordingSampleSink> m_steady_sink;
};

TEST_F(BusErrorTest, FailedCameraStaysStartedAndSilentUntilTheHostLeavesItOutOnce) {
    acquireUntilTheError();
    ASSERT_FALSE(m_failing_sink->samples().empty());
    EXPECT_EQ(sequence_of(m_failing_sink->samples().back()), kFailsAfter - 1);
    EXPECT_EQ(text(0, "Valid"), "0");
    expect_consecutive(m_steady_sink->samples(), "steady");

    // The next acquisition finds the camera started and running: it is not restarted, looks
    // ready and delivers nothing.
    m_failing_sink->clear();
    {
        Acquisition acquisition(*m_host, {0, 1});
        EXPECT_TRUE(acquisition.report().prepared);
        EXPECT_TRUE(acquisition.report().ready);
        ASSERT_TRUE(m_steady_sink->waitForSamples(m_steady_sink->sampleCount() + 30, 5s));
    }
    EXPECT_EQ(m_failing_sink->sampleCount(), 0u);
    EXPECT_EQ(m_failing_sink->eventCount(), 0u);
    EXPECT_EQ(text(0, "Valid"), "0");

    // An acquisition without it stops its pipeline (stopAcquisition stops unused cameras);
    // the one after starts it afresh, from frame 0.
    { Acquisition acquisition(*m_host, {1}); }
    {
        Acquisition acquisition(*m_host, {0, 1});
        EXPECT_EQ(text(0, "Valid"), "1");
        ASSERT_TRUE(m_failing_sink->waitForSamples(10, 5s));
    }
    const auto again = m_failing_sink->samples();
    EXPECT_LT(sequence_of(again.front()), kFailsAfter);
    expect_consecutive(again, "restarted");
}

TEST_F(BusErrorTest, ChoosingTheFrameSettingAgainRestartsAFailedCamera) {
    acquireUntilTheError();
    const std::string setting = text(0, "CAMERA/FrameSetting");
    ASSERT_TRUE(m_host->setItem(0, "CAMERA/FrameSetting", config_items::StringConfigItem(setting)));
    m_failing_sink->clear();
    {
        Acquisition acquisition(*m_host, {0, 1});
        EXPECT_EQ(text(0, "Valid"), "1");
        ASSERT_TRUE(m_failing_sink->waitForSamples(10, 5s));
    }
    EXPECT_LT(sequence_of(m_failing_sink->samples().front()), kFailsAfter);
    expect_consecutive(m_failing_sink->samples(), "restarted");
}

TEST_F(CameraFaultsTest, Yv12IsOfferedButItsStartFailsAndTheOtherCameraDelivers) {
    open({small_camera("Planar cam", "/dev/zelt-yv12", "YV12"),
          small_camera("Good cam", "/dev/zelt-good")});
    EXPECT_EQ(text(0, "CAMERA/FrameSetting"), "64 x 48 @ 100 fps");
    auto yv12_sink = attachSink(0);
    auto good_sink = attachSink(1);
    zelt_test::LogCapture log;
    {
        Acquisition acquisition(*m_host, {0, 1}, tolerant());
        EXPECT_FALSE(acquisition.report().prepared);
        EXPECT_TRUE(acquisition.report().ready);
        ASSERT_TRUE(good_sink->waitForSamples(30, 5s));
    }
    EXPECT_EQ(yv12_sink->sampleCount(), 0u);
    expect_consecutive(good_sink->samples(), "good");
    EXPECT_TRUE(
        log.contains("CameraChannel::onNewPreroll cannot start processing: fourcc invalid: YV12"));

    // The negotiated geometry was published before the format was looked up.
    EXPECT_EQ(text(0, "FrameFormat"), "YV12");
    EXPECT_EQ(text(0, "FrameWidth"), "64 pixel");
    EXPECT_EQ(text(0, "Valid"), "0");
    // The failed preroll ends the stream: the start fails and posts its error. The stream's
    // error also reaches the bus; whether the main context reports it, and before or after the
    // start's, depends on when it dispatches the message against the failed start setting the
    // pipeline to NULL (which flushes the bus). One error is left posted, either of the two.
    const std::string start_failed = "Could not start camera Planar cam";
    const std::string bus_error = "Camera bus received an error: Internal data stream error.";
    const auto posted = m_host->exceptions().posted();
    ASSERT_EQ(posted.size(), 1u);
    EXPECT_TRUE(posted[0].text == start_failed || posted[0].text == bus_error) << posted[0].text;
    const auto texts = posted_texts(*m_host);
    EXPECT_NE(std::find(texts.begin(), texts.end(), start_failed), texts.end());
    for (const auto& text : texts) EXPECT_TRUE(text == start_failed || text == bus_error) << text;
}

TEST_F(CameraFaultsTest, SlowSinkDelaysItsOwnCameraWithoutLossAndLeavesTheOtherAlone) {
    open({small_camera("Slow cam", "/dev/zelt-slow"), small_camera("Fast cam", "/dev/zelt-fast")});
    struct Arrival {
        std::uint64_t sequence;
        std::uint64_t lag_ticks;  // host ticks from the frame's stamp to its arrival
    };
    std::mutex mutex;
    std::vector<Arrival> arrivals;
    const auto time_source = m_host->timeSource();
    constexpr auto kSinkTime = 30ms;  // three frame periods of a 100 fps camera
    auto slow_sink = std::make_shared<zelt::host::CallbackSampleSink>(
        [&](std::uint64_t timestamp, std::uint64_t, const void* data, std::uint32_t size) {
            std::uint64_t sequence = 0;
            if (size >= 20) std::memcpy(&sequence, static_cast<const std::uint8_t*>(data) + 12, 8);
            {
                std::lock_guard<std::mutex> lock(mutex);
                arrivals.push_back({sequence, time_source->getCurrentTicks() - timestamp});
            }
            std::this_thread::sleep_for(kSinkTime);
        });
    m_host->setSampleSink(0, slow_sink);
    auto fast_sink = attachSink(1);

    std::chrono::microseconds finish_took{0};
    {
        Acquisition acquisition(*m_host, {0, 1});
        // Enough frames in the slow sink to see its lag grow, however busy the machine.
        const auto deadline = std::chrono::steady_clock::now() + 30s;
        while (std::chrono::steady_clock::now() < deadline) {
            {
                std::lock_guard<std::mutex> lock(mutex);
                if (arrivals.size() >= 10) break;
            }
            std::this_thread::sleep_for(10ms);
        }
        const auto before = std::chrono::steady_clock::now();
        acquisition.stop();
        finish_took = std::chrono::duration_cast<std::chrono::microseconds>(
            std::chrono::steady_clock::now() - before);
    }
    std::vector<Arrival> slow;
    {
        std::lock_guard<std::mutex> lock(mutex);
        slow = arrivals;
    }
    const auto fast = fast_sink->samples();
    ASSERT_GE(slow.size(), 5u);
    // No frame of the slow camera is lost: the source waits for the sink.
    for (std::size_t i = 1; i < slow.size(); ++i)
        ASSERT_EQ(slow[i].sequence, slow[i - 1].sequence + 1) << "slow frame " << i;
    // It is delayed instead: every frame arrives later after its stamp than the one before.
    const double frequency = time_source->getFrequency();
    const double first_lag = slow.front().lag_ticks / frequency;
    const double last_lag = slow.back().lag_ticks / frequency;
    EXPECT_GT(last_lag - first_lag, 0.010 * (slow.size() - 1))
        << "lag from " << first_lag << " s to " << last_lag << " s over " << slow.size()
        << " frames";
    // The other camera keeps its own pace.
    expect_consecutive(fast, "fast");
    EXPECT_GT(fast.size(), 2 * slow.size());
    // Switching delivery off waits at most for the frame in the sink.
    EXPECT_LT(finish_took, 500ms);
    RecordProperty("slow_frames", static_cast<int>(slow.size()));
    RecordProperty("fast_frames", static_cast<int>(fast.size()));
    RecordProperty("last_lag_ms", static_cast<int>(last_lag * 1000));
    RecordProperty("finish_us", static_cast<int>(finish_took.count()));
}

}  // namespace
}  // namespace zelt_e2e
