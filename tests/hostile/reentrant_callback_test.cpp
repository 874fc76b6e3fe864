// Callbacks that call back: an exception manager that reads the channel's "Valid" while a
// message is posted, a sample sink that reads every item of its channel or replaces itself
// from inside addSample. None of them may deadlock the plug-in.
#include <atomic>

#include "hostile_fixture.h"

namespace zelt_hostile {
namespace {

/// Records like the host's manager, and first reads "Valid" of camera 0 through the plug-in,
/// once the plug-in is set (from inside postMessage, as a host refreshing its display does).
class ValidReadingManager final : public zelt::IfExceptionManager {
public:
    void postMessage(const zelt::ErrorMessage* message) override {
        if (zelt::IfDAQPlugin* plugin = m_plugin.load()) {
            if (auto camera = plugin->getChannel(0)) {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_valid_seen.push_back(config_items::toString(camera->getConfigItem("Valid")));
            }
        }
        m_records.postMessage(message);
    }
    void withdrawMessage(const zelt::ErrorMessage* message) override {
        m_records.withdrawMessage(message);
    }

    std::vector<std::string> validSeen() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_valid_seen;
    }

    std::atomic<zelt::IfDAQPlugin*> m_plugin{nullptr};
    zelt::host::RecordingExceptionManager m_records;

private:
    std::mutex m_mutex;
    std::vector<std::string> m_valid_seen;
};

/// A sink that calls `on_sample` before recording each sample.
class CallingBackSink final : public zelt::IfSampleSink {
public:
    explicit CallingBackSink(std::function<void()> on_sample) : m_on_sample(std::move(on_sample)) {}
    void addSample(std::uint64_t timestamp, std::uint64_t reserved, const void* data,
                   std::uint32_t size) override {
        m_on_sample();
        m_records->addSample(timestamp, reserved, data, size);
    }
    void addStreamEvent(std::uint32_t kind, std::uint64_t timestamp) override {
        m_records->addStreamEvent(kind, timestamp);
    }
    const std::shared_ptr<zelt::host::RecordingSampleSink> m_records = recording_sink();

private:
    std::function<void()> m_on_sample;
};

/// Owned by its channel alone. On its first sample it replaces itself with `next` and then
/// goes on using its own members; its destructor, which runs on the streaming thread at the
/// end of that hand-over, sets `next` once more.
class SelfReplacingSink final : public zelt::IfSampleSink {
public:
    SelfReplacingSink(std::weak_ptr<channel_config::IfChannelConfig> camera,
                      std::shared_ptr<zelt::IfSampleSink> next, std::atomic<int>& destroyed)
        : m_camera(std::move(camera)), m_next(std::move(next)), m_destroyed(destroyed) {}
    ~SelfReplacingSink() override {
        if (const auto camera = m_camera.lock()) camera->setSampleSink(m_next);
        ++m_destroyed;
    }
    void addSample(std::uint64_t timestamp, std::uint64_t reserved, const void* data,
                   std::uint32_t size) override {
        if (!m_replaced) {
            m_replaced = true;
            if (const auto camera = m_camera.lock()) camera->setSampleSink(m_next);
        }
        m_records->addSample(timestamp, reserved, data, size);
    }
    void addStreamEvent(std::uint32_t kind, std::uint64_t timestamp) override {
        m_records->addStreamEvent(kind, timestamp);
    }
    const std::shared_ptr<zelt::host::RecordingSampleSink> m_records = recording_sink();

private:
    std::weak_ptr<channel_config::IfChannelConfig> m_camera;
    std::shared_ptr<zelt::IfSampleSink> m_next;
    std::atomic<int>& m_destroyed;
    bool m_replaced = false;
};

using ReentrantCallbackTest = HostileTest;

TEST_F(ReentrantCallbackTest, ExceptionManagerReadingValidWhileAStartFailsLetsPrepareReturn) {
    auto& manager = keep<ValidReadingManager>();
    CameraDescription broken = small_camera("Broken cam", "/dev/zelt-broken");
    broken.fail_link = true;
    open({broken}, &manager);
    manager.m_plugin = &plugin();
    plugin().setChannelUsed(0, true);
    bool prepared = true;
    callWithin("prepareAcquisition of a camera that cannot start",
               [&] { prepared = plugin().prepareAcquisition(); });
    EXPECT_FALSE(prepared);
    EXPECT_EQ(manager.validSeen(), std::vector<std::string>{"0"});
    const auto posted = manager.m_records.posted();
    ASSERT_EQ(posted.size(), 1u);
    EXPECT_EQ(posted[0].text, "Could not start camera Broken cam");
    plugin().resetChannelsUsed();
}

TEST_F(ReentrantCallbackTest, ExceptionManagerReadingValidOnABusErrorKeepsTheMainContextRunning) {
    auto& manager = keep<ValidReadingManager>();
    CameraDescription failing = small_camera("Failing cam", "/dev/zelt-failing");
    failing.error_after_frames = 20;
    open({failing}, &manager);
    manager.m_plugin = &plugin();
    startAcquisition({0});
    const auto error = manager.m_records.waitForPost(
        [](const zelt::host::ExceptionRecord& record) {
            return record.message_template == "Camera bus received an error: %1";
        },
        kDeadline);
    requireOrExit(error.has_value(), "the bus error was not posted");
    callWithin("a function on the main context's thread", [&] { m_main_context.invoke([] {}); });
    const auto seen = manager.validSeen();
    ASSERT_FALSE(seen.empty());
    EXPECT_EQ(seen.back(), "0");
    stopAcquisition();
}

TEST_F(ReentrantCallbackTest, SampleSinkReadingEveryItemOfItsChannelKeepsReceiving) {
    open({small_camera("Read cam", "/dev/zelt-read")});
    std::weak_ptr<channel_config::IfChannelConfig> weak_camera = channel(0);
    std::atomic<int> reads{0};
    auto sink = std::make_shared<CallingBackSink>([&reads, weak_camera] {
        const auto camera = weak_camera.lock();
        if (!camera) return;
        const std::vector<std::string> keys = camera->getKeys();
        for (const auto& key : keys) camera->getConfigItem(key);
        camera->getConfigItem("CAMERA/FrameSubsampling");
        ++reads;
    });
    channel(0)->setSampleSink(sink);
    startAcquisition({0});
    requireOrExit(sink->m_records->waitForSamples(20, kDeadline),
                  "20 samples to a sink that reads its channel's items did not arrive");
    stopAcquisition();
    EXPECT_GE(reads.load(), 20);
}

TEST_F(ReentrantCallbackTest, SampleSinkReplacingItselfFromInsideAddSampleHandsOverToTheNewSink) {
    open({small_camera("Swap cam", "/dev/zelt-swap")});
    std::weak_ptr<channel_config::IfChannelConfig> weak_camera = channel(0);
    auto next = recording_sink();
    std::atomic<int> swaps{0};
    auto first = std::make_shared<CallingBackSink>([&swaps, weak_camera, next] {
        if (swaps++ != 0) return;
        if (const auto camera = weak_camera.lock()) camera->setSampleSink(next);
    });
    channel(0)->setSampleSink(first);
    startAcquisition({0});
    requireOrExit(next->waitForSamples(10, kDeadline),
                  "10 samples to the sink set from inside addSample did not arrive");
    stopAcquisition();
    EXPECT_EQ(first->m_records->sampleCount(), 1u);
    EXPECT_EQ(swaps.load(), 1);
    const auto samples = next->samples();
    const auto replaced = first->m_records->samples();
    ASSERT_EQ(replaced.size(), 1u);
    EXPECT_EQ(sequence_of(samples.front()), sequence_of(replaced.front()) + 1);
}

// The sink that replaces itself is the channel's only owner of it: it must live until its
// own call returns, and be released when that frame's hand-over ends, not kept until the
// channel goes.
TEST_F(ReentrantCallbackTest, SampleSinkOwnedByItsChannelAloneOutlivesItsOwnReplacement) {
    open({small_camera("Swap cam", "/dev/zelt-swap")});
    auto next = recording_sink();
    std::atomic<int> destroyed{0};
    auto first = std::make_shared<SelfReplacingSink>(channel(0), next, destroyed);
    const std::shared_ptr<zelt::host::RecordingSampleSink> first_records = first->m_records;
    channel(0)->setSampleSink(std::move(first));
    startAcquisition({0});
    requireOrExit(next->waitForSamples(10, kDeadline),
                  "10 samples to the sink set from inside addSample did not arrive");
    // Released when that frame's hand-over ended, not kept until the channel goes.
    EXPECT_EQ(destroyed.load(), 1);
    stopAcquisition();
    ASSERT_EQ(first_records->sampleCount(), 1u);
    EXPECT_EQ(sequence_of(next->samples().front()),
              sequence_of(first_records->samples().front()) + 1);
}

}  // namespace
}  // namespace zelt_hostile
