// Channel tests run sealed to the loadable virtual cameras.
#include <gtest/gtest.h>

#include "gst_test_environment.h"

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::AddGlobalTestEnvironment(new zelt_test::GstTestEnvironment());
    return RUN_ALL_TESTS();
}
