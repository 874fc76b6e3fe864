// The hostile-host suite runs in a sealed GStreamer environment with the loadable virtual
// cameras only.
#include <gtest/gtest.h>

#include "gst_test_environment.h"

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::AddGlobalTestEnvironment(new zelt_test::GstTestEnvironment());
    return RUN_ALL_TESTS();
}
