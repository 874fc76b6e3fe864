#include "zelt_host/acquisition.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "config_items/config_items.h"
#include "fake_plugin_fixture.h"
#include "zelt_host/recording_sample_sink.h"

namespace zelt::host::test {
namespace {

using namespace std::chrono_literals;

class AcquisitionTest : public FakePluginTest {
protected:
    void setFlag(Host& host, const std::string& key, bool value) {
        ASSERT_TRUE(host.plugin().getConfig()->setConfigItem(
            key, config_items::SingleValueConfigItem<bool>(value)));
        m_hooks.clear();
    }

    /// Options for channels that never come up (the flag set on `host`), checked every 5 ms
    /// until `ready_timeout`.
    AcquisitionOptions neverReady(Host& host, std::chrono::milliseconds ready_timeout) {
        setFlag(host, "Fake/NeverReady", true);
        AcquisitionOptions options;
        options.ready_timeout = ready_timeout;
        options.poll_interval = 5ms;
        return options;
    }

    /// What start(`ids`) throws; a failure when it does not throw.
    static std::string startError(Acquisition& acquisition, const std::vector<std::uint32_t>& ids) {
        try {
            acquisition.start(ids);
        } catch (const HostError& error) {
            return error.what();
        }
        ADD_FAILURE() << "start succeeded";
        return {};
    }
};

TEST_F(AcquisitionTest, StartAndStopFollowTheHostCallSequence) {
    auto host = openHost();
    {
        Acquisition acquisition(*host, {0});
        EXPECT_TRUE(acquisition.isRunning());
        // getChannelIds, setTimeSource, resetChannelsUsed, setChannelUsed, prepareAcquisition,
        // checkChannels (polled), startAcquisition, canStopAcquisition.
        EXPECT_EQ(m_hooks.collapsedSlots(), (std::vector<int>{19, 31, 18, 17, 21, 23, 25, 27}));
        m_hooks.clear();
    }
    // finishAcquisition, stopAcquisition.
    EXPECT_EQ(m_hooks.slots(), (std::vector<int>{28, 26}));
    host->close();
    EXPECT_EQ(m_hooks.slots(), (std::vector<int>{28, 26, 9, 0}));
}

TEST_F(AcquisitionTest, EveryChosenChannelIsMarkedUsed) {
    auto host = openHost();
    Acquisition acquisition(*host, {0, 1});
    EXPECT_EQ(m_hooks.collapsedSlots(), (std::vector<int>{19, 31, 18, 17, 21, 23, 25, 27}));
    const auto slots = m_hooks.slots();
    EXPECT_EQ(std::count(slots.begin(), slots.end(), 17), 2);
    EXPECT_EQ(acquisition.channelIds(), (std::vector<std::uint32_t>{0, 1}));
}

TEST_F(AcquisitionTest, ReportSaysHowTheStartWent) {
    auto host = openHost();
    Acquisition acquisition(*host, {1});
    const AcquisitionReport& report = acquisition.report();
    EXPECT_TRUE(report.prepared);
    EXPECT_TRUE(report.ready);
    EXPECT_TRUE(report.delivering);
    const auto slots = m_hooks.slots();
    EXPECT_EQ(report.ready_checks,
              static_cast<std::size_t>(std::count(slots.begin(), slots.end(), 23)));
    EXPECT_LT(report.ready_after, 10000ms);
}

TEST_F(AcquisitionTest, SinksReceiveSamplesOnlyWhileDeliveryIsOn) {
    auto host = openHost();
    auto used = std::make_shared<RecordingSampleSink>();
    auto unused = std::make_shared<RecordingSampleSink>();
    host->setSampleSink(0, used);
    host->setSampleSink(1, unused);

    Acquisition acquisition(*host);
    // Prepared and producing, but delivery is not on before start() has finished.
    EXPECT_EQ(used->sampleCount(), 0u);
    acquisition.start({0});
    ASSERT_TRUE(used->waitForSamples(5, 5000ms));
    acquisition.stop();

    const std::size_t delivered = used->sampleCount();
    const unsigned long produced_before = std::stoul(host->itemText(0, "FramesProduced"));
    // The camera keeps producing (it stays used): wait until it has made a few more frames,
    // however busy the machine; none of them is delivered any more.
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    unsigned long produced = produced_before;
    while (produced < produced_before + 3 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(5ms);
        produced = std::stoul(host->itemText(0, "FramesProduced"));
    }
    EXPECT_GE(produced, produced_before + 3);
    EXPECT_EQ(used->sampleCount(), delivered);
    EXPECT_EQ(unused->sampleCount(), 0u);
}

TEST_F(AcquisitionTest, SamplesAreStampedInHostTicks) {
    HostOptions options;
    options.time_frequency = 1e6;
    auto host = openHost(options);
    auto sink = std::make_shared<RecordingSampleSink>();
    host->setSampleSink(0, sink);

    Acquisition acquisition(*host, {0});
    ASSERT_TRUE(sink->waitForSamples(3, 5000ms));
    acquisition.stop();
    const std::uint64_t now = host->timeSource()->getCurrentTicks();

    const auto samples = sink->samples();
    for (std::size_t i = 0; i < samples.size(); ++i) {
        EXPECT_LE(samples[i].timestamp, now);
        if (i > 0) {
            EXPECT_GE(samples[i].timestamp, samples[i - 1].timestamp);
        }
        ASSERT_TRUE(samples[i].header.has_value());
        EXPECT_EQ(*samples[i].header, (ImageDataHeader{0x59455247, 4, 2}));
        EXPECT_EQ(samples[i].size, 20u);
    }
}

TEST_F(AcquisitionTest, FailedPrepareThrowsWithThePostedErrors) {
    auto host = openHost();
    setFlag(*host, "Fake/FailPrepare", true);

    Acquisition acquisition(*host);
    EXPECT_EQ(startError(acquisition, {0}),
              "the plug-in could not prepare the acquisition: "
              "Could not start camera Fake camera 0");
    EXPECT_FALSE(acquisition.isRunning());
    EXPECT_FALSE(acquisition.report().prepared);
    EXPECT_EQ(m_hooks.slots(), (std::vector<int>{19, 31, 18, 17, 21}));

    const auto posted = host->exceptions().posted();
    ASSERT_EQ(posted.size(), 1u);
    EXPECT_EQ(posted[0].source_tag, "ZELT_CAMERA");
    EXPECT_EQ(posted[0].message_template, "Could not start camera %1");
    EXPECT_EQ(posted[0].argument, "Fake camera 0");

    host->close();
    EXPECT_TRUE(host->exceptions().posted().empty());
    EXPECT_EQ(host->exceptions().withdrawCount(), 1u);
}

TEST_F(AcquisitionTest, FailedPrepareIsToleratedWhenNotRequired) {
    auto host = openHost();
    setFlag(*host, "Fake/FailPrepare", true);
    AcquisitionOptions options;
    options.require_prepared = false;

    Acquisition acquisition(*host, {0}, options);
    EXPECT_TRUE(acquisition.isRunning());
    EXPECT_FALSE(acquisition.report().prepared);
    // A channel that posted its error counts as settled.
    EXPECT_TRUE(acquisition.report().ready);
}

TEST_F(AcquisitionTest, StepsPrepareOneCameraAtATimeAndReadyIsToldBeforeTheStart) {
    auto host = openHost();
    AcquisitionOptions options;
    options.prepare_steps = {{0}, {1}};
    std::vector<std::size_t> steps;
    std::vector<int> slots_when_ready;
    options.on_prepare_step = [&steps](std::size_t step) { steps.push_back(step); };
    options.on_ready = [this, &slots_when_ready] { slots_when_ready = m_hooks.slots(); };

    Acquisition acquisition(*host, options);
    acquisition.start({0, 1});
    EXPECT_EQ(steps, (std::vector<std::size_t>{0, 1}));
    // Each step marks its channel used and prepares again.
    EXPECT_EQ(m_hooks.collapsedSlots(), (std::vector<int>{19, 31, 18, 17, 21, 17, 21, 23, 25, 27}));
    ASSERT_FALSE(slots_when_ready.empty());
    EXPECT_EQ(slots_when_ready.back(), 23);  // ready, and not started yet
    EXPECT_EQ(acquisition.channelIds(), (std::vector<std::uint32_t>{0, 1}));
    EXPECT_TRUE(acquisition.report().failed_steps.empty());
}

TEST_F(AcquisitionTest, StepThatFailsIsLeftOutWhenNotRequired) {
    auto host = openHost();
    setFlag(*host, "Fake/FailPrepare", true);
    AcquisitionOptions options;
    options.require_prepared = false;
    options.prepare_steps = {{0}, {1}};

    Acquisition acquisition(*host, options);
    // Every step failed: nothing is left to acquire.
    const std::string error = startError(acquisition, {0, 1});
    EXPECT_EQ(error.rfind("the plug-in could not prepare the acquisition", 0), 0u) << error;
    EXPECT_EQ(acquisition.report().failed_steps, (std::vector<std::size_t>{0, 1}));
    // Each failed step's channel is marked unused again after its prepare.
    EXPECT_EQ(m_hooks.collapsedSlots(), (std::vector<int>{19, 31, 18, 17, 21, 17, 21, 17}));
    EXPECT_FALSE(acquisition.isRunning());
}

TEST_F(AcquisitionTest, CancelEndsTheWaitForTheChannels) {
    auto host = openHost();
    AcquisitionOptions options = neverReady(*host, 60000ms);
    int polls = 0;
    options.cancelled = [&polls] { return ++polls >= 3; };

    Acquisition acquisition(*host, options);
    EXPECT_EQ(startError(acquisition, {0}), "the start was cancelled");
    EXPECT_EQ(polls, 3);
    EXPECT_FALSE(acquisition.isRunning());
}

TEST_F(AcquisitionTest, ChannelsThatNeverComeUpTimeOut) {
    auto host = openHost();
    Acquisition acquisition(*host, neverReady(*host, 30ms));
    EXPECT_EQ(startError(acquisition, {0}), "the channels did not come up within 30 ms");
    EXPECT_FALSE(acquisition.isRunning());
    EXPECT_FALSE(acquisition.report().ready);
    // At least one check, however busy the machine (a second one needs the poll to wake within
    // the timeout); each of them reached the plug-in.
    const auto slots = m_hooks.slots();
    EXPECT_GE(acquisition.report().ready_checks, 1u);
    EXPECT_EQ(acquisition.report().ready_checks,
              static_cast<std::size_t>(std::count(slots.begin(), slots.end(), 23)));
    EXPECT_GE(acquisition.report().ready_after, 30ms);
    EXPECT_EQ(m_hooks.collapsedSlots(), (std::vector<int>{19, 31, 18, 17, 21, 23}));
}

TEST_F(AcquisitionTest, UnknownChannelIsRefusedBeforeAnyAcquisitionCall) {
    auto host = openHost();
    Acquisition acquisition(*host);
    EXPECT_EQ(startError(acquisition, {0, 5}), "the plug-in has no channel 5");
    EXPECT_EQ(m_hooks.slots(), (std::vector<int>{19}));
}

TEST_F(AcquisitionTest, CloseStopsARunningAcquisitionFirst) {
    auto host = openHost();
    Acquisition acquisition(*host, {0});
    m_hooks.clear();

    host->close();
    EXPECT_FALSE(acquisition.isRunning());
    EXPECT_EQ(m_hooks.slots(), (std::vector<int>{28, 26, 9, 0}));
    acquisition.stop();
    EXPECT_EQ(m_hooks.slots(), (std::vector<int>{28, 26, 9, 0}));
}

TEST_F(AcquisitionTest, OneRunningAcquisitionPerHost) {
    auto host = openHost();
    Acquisition first(*host, {0});
    Acquisition second(*host);
    EXPECT_EQ(startError(second, {1}), "another acquisition of this host is running");
    EXPECT_EQ(startError(first, {1}), "the acquisition is already running");
    first.stop();
    EXPECT_NO_THROW(second.start({1}));
}

TEST_F(AcquisitionTest, StopIsIdempotent) {
    auto host = openHost();
    Acquisition acquisition(*host, {0});
    m_hooks.clear();
    acquisition.stop();
    acquisition.stop();
    EXPECT_EQ(m_hooks.slots(), (std::vector<int>{28, 26}));
}

TEST_F(AcquisitionTest, StartOnAClosedHostThrows) {
    Host host;
    Acquisition acquisition(host);
    EXPECT_THROW(acquisition.start({0}), HostError);
}

TEST_F(AcquisitionTest, PostedErrorsArePrintedToTheHostsErrorOutput) {
    std::ostringstream output;
    HostOptions options;
    options.error_output = &output;
    auto host = openHost(options);
    setFlag(*host, "Fake/FailPrepare", true);

    Acquisition acquisition(*host);
    EXPECT_THROW(acquisition.start({1}), HostError);
    EXPECT_EQ(output.str(), "error [ZELT_CAMERA]: Could not start camera Fake camera 1\n");
}

}  // namespace
}  // namespace zelt::host::test
