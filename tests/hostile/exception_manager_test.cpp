// A host that replaces its exception manager after the channels exist (and may free the old
// one): the channels' errors go to the new manager from then on, and an error shown at the
// moment of the change moves with them.
#include "hostile_fixture.h"

namespace zelt_hostile {
namespace {

using ExceptionManagerTest = HostileTest;

TEST_F(ExceptionManagerTest, ManagerSetAfterTheChannelsExistReceivesTheirErrors) {
    auto& first = keep<zelt::host::RecordingExceptionManager>();
    CameraDescription broken = small_camera("Broken cam", "/dev/zelt-broken");
    broken.fail_link = true;
    CameraDescription failing = small_camera("Failing cam", "/dev/zelt-failing");
    failing.error_after_frames = 20;
    open({broken, failing}, &first);
    ASSERT_EQ(first.posted().size(), 1u);
    EXPECT_EQ(first.posted()[0].text, "Could not set up camera Broken cam");

    auto& second = keep<zelt::host::RecordingExceptionManager>();
    plugin().setExceptionManager(&second);
    EXPECT_TRUE(first.posted().empty()) << "the shown error stayed with the replaced manager";
    auto moved = second.posted();
    ASSERT_EQ(moved.size(), 1u);
    EXPECT_EQ(moved[0].text, "Could not set up camera Broken cam");
    const std::size_t first_posts = first.postCount();

    startAcquisition({1});
    const auto error = second.waitForPost(
        [](const zelt::host::ExceptionRecord& record) {
            return record.message_template == "Camera bus received an error: %1";
        },
        kDeadline);
    ASSERT_TRUE(error.has_value()) << "the new manager did not get the camera's bus error";
    EXPECT_EQ(error->source_tag, "ZELT_CAMERA");
    stopAcquisition();
    EXPECT_EQ(first.postCount(), first_posts) << "a channel posted to the replaced manager";
    // Whatever the plug-in still posts or withdraws goes to the manager it has now.
    plugin().deinit();
    EXPECT_EQ(first.postCount(), first_posts);
}

}  // namespace
}  // namespace zelt_hostile
