// Camera faults as the host sees them: posted errors, "Valid", stream events.
#include "e2e_fixture.h"

namespace zelt_e2e {
namespace {

using zelt::host::Acquisition;
using zelt::host::AcquisitionOptions;
using FaultsTest = CameraE2eTest;

TEST_F(FaultsTest, CameraThatCannotLinkPostsSetUpThenStartErrors) {
    CameraDescription broken = small_camera("Broken cam", "/dev/zelt-broken");
    broken.fail_link = true;
    open({broken});
    ASSERT_EQ(m_host->channelIds(), (std::vector<std::uint32_t>{0, 0x10000}));
    auto posted = m_host->exceptions().posted();
    ASSERT_EQ(posted.size(), 1u);
    EXPECT_EQ(posted[0].source_tag, "ZELT_CAMERA");
    EXPECT_EQ(posted[0].message_template, "Could not set up camera %1");
    EXPECT_EQ(posted[0].text, "Could not set up camera Broken cam");
    EXPECT_EQ(text(0, "Valid"), "0");

    m_host->plugin().setChannelUsed(0, true);
    EXPECT_FALSE(m_host->plugin().prepareAcquisition());
    posted = m_host->exceptions().posted();
    ASSERT_EQ(posted.size(), 1u);
    EXPECT_EQ(posted[0].text, "Could not start camera Broken cam");
    EXPECT_EQ(text(0, "Valid"), "0");
    // A camera with an error counts as settled.
    EXPECT_TRUE(m_host->plugin().checkChannels());
    // Starting again runs the whole start again, and fails again.
    EXPECT_FALSE(m_host->plugin().prepareAcquisition());
    std::size_t start_posts = 0;
    for (const auto& record : m_host->exceptions().history())
        if (record.action == zelt::host::ExceptionRecord::Action::kPosted &&
            record.message_template == "Could not start camera %1")
            ++start_posts;
    EXPECT_EQ(start_posts, 2u);
    m_host->plugin().resetChannelsUsed();
}

TEST_F(FaultsTest, BusErrorPostsTheErrorAndOneStreamEventWhileTheOtherCameraGoesOn) {
    CameraDescription failing = small_camera("Failing cam", "/dev/zelt-failing");
    failing.error_after_frames = 20;
    open({failing, small_camera("Steady cam", "/dev/zelt-steady")});
    auto failing_sink = attachSink(0);
    auto steady_sink = attachSink(1);
    {
        Acquisition acquisition(*m_host, {0, 1});
        const auto error = m_host->exceptions().waitForPost(
            [](const zelt::host::ExceptionRecord& record) {
                return record.message_template == "Camera bus received an error: %1";
            },
            5s);
        ASSERT_TRUE(error.has_value());
        EXPECT_EQ(error->source_tag, "ZELT_CAMERA");
        EXPECT_FALSE(error->argument.empty());
        ASSERT_TRUE(failing_sink->waitForEvents(1, 5s));
        const std::size_t steady_then = steady_sink->sampleCount();
        ASSERT_TRUE(steady_sink->waitForSamples(steady_then + 20, 5s));
        EXPECT_EQ(text(0, "Valid"), "0");
        EXPECT_EQ(text(1, "Valid"), "1");
    }
    // Like a real unplug, the source reports the read error and then the stream's end
    // ("Internal data stream error."): one stream event per error on the bus.
    std::vector<std::string> bus_errors;
    for (const auto& record : m_host->exceptions().history())
        if (record.action == zelt::host::ExceptionRecord::Action::kPosted &&
            record.message_template == "Camera bus received an error: %1")
            bus_errors.push_back(record.argument);
    ASSERT_FALSE(bus_errors.empty());
    EXPECT_EQ(bus_errors.front(), "Could not read from resource.");
    const auto events = failing_sink->events();
    ASSERT_EQ(events.size(), bus_errors.size());
    for (const auto& event : events) EXPECT_EQ(event.kind, 2u);
    const auto steady = steady_sink->samples();
    for (std::size_t i = 1; i < steady.size(); ++i)
        ASSERT_EQ(sequence_of(steady[i]), sequence_of(steady[i - 1]) + 1) << "frame " << i;
}

TEST_F(FaultsTest, HotRemovalDuringAcquisitionLeavesTheOtherCameraWhole) {
    open({small_camera("Leaving cam", "/dev/zelt-leaving"),
          small_camera("Staying cam", "/dev/zelt-staying")});
    auto staying_sink = attachSink(1);
    {
        Acquisition acquisition(*m_host, {0, 1});
        ASSERT_TRUE(staying_sink->waitForSamples(10, 5s));
        zelt::vcam::ProviderControl control;
        ASSERT_TRUE(control.removeCamera("Leaving cam")) << control.lastError();
        const std::size_t then = staying_sink->sampleCount();
        ASSERT_TRUE(staying_sink->waitForSamples(then + 20, 5s));
    }
    const auto samples = staying_sink->samples();
    for (std::size_t i = 1; i < samples.size(); ++i)
        ASSERT_EQ(sequence_of(samples[i]), sequence_of(samples[i - 1]) + 1) << "frame " << i;
    m_host->plugin().updateChannels();
    EXPECT_EQ(m_host->channelIds(), (std::vector<std::uint32_t>{1, 0x10001}));
}

}  // namespace
}  // namespace zelt_e2e
