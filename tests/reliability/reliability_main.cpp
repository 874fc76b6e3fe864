// The reliability suites run in a sealed GStreamer environment with the loadable virtual
// cameras only.
#include <gtest/gtest.h>

#include "gst_test_environment.h"

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    // Death tests re-run this program for the one test (threads of GStreamer and of the host
    // are running, so a bare fork would copy them half-way).
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    ::testing::AddGlobalTestEnvironment(new zelt_test::GstTestEnvironment());
    return RUN_ALL_TESTS();
}
