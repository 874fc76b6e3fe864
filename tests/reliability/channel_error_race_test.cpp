// Errors reported from two threads at once: the bus watch (on the thread that dispatches
// GLib's main context) and the host's thread (a failed start) report errors of one camera
// concurrently. Whatever the interleaving, the host is left with exactly one posted message
// for the camera, and every message the camera deleted was withdrawn first.
#include <gst/gst.h>

#include <atomic>
#include <thread>

#include "gst_support/gst_ptr.h"
#include "host_input_fixture.h"
#include "zelt_camera_channel.h"

namespace zelt_reliability {
namespace {

using ErrorRaceTest = HostInputTest;

TEST_F(ErrorRaceTest, ConcurrentReportsLeaveOnePostedMessage) {
    auto camera = std::dynamic_pointer_cast<zelt_camera::CameraChannel>(channel(0));
    ASSERT_NE(camera, nullptr);
    GError* raw_error = g_error_new_literal(GST_RESOURCE_ERROR, GST_RESOURCE_ERROR_READ,
                                            "Could not read from resource.");
    const gst_support::GErrorPtr error(raw_error);
    const gst_support::MessagePtr message(gst_message_new_error(nullptr, error.get(), nullptr));

    constexpr int kReports = 2000;
    std::atomic<bool> go{false};
    const auto report = [&] {
        while (!go) std::this_thread::yield();
        for (int i = 0; i < kReports; ++i)
            zelt_camera::CameraChannel::onBusMessage(nullptr, message.get(), camera.get());
    };
    std::thread first(report);
    std::thread second(report);
    go = true;
    first.join();
    second.join();

    const auto posted = m_exceptions.posted();
    ASSERT_EQ(posted.size(), 1u);
    EXPECT_EQ(posted[0].text, "Camera bus received an error: Could not read from resource.");
    EXPECT_EQ(m_exceptions.postCount(), 2u * kReports);
    EXPECT_EQ(m_exceptions.withdrawCount(), 2u * kReports - 1);
    EXPECT_EQ(text(0, "Valid"), "0");
}

}  // namespace
}  // namespace zelt_reliability
