// The loadable route: libgstzeltvcam.so found through GST_PLUGIN_PATH by the registry.
#include <gtest/gtest.h>

#include "gst_test_environment.h"
#include "vcam_test_support.h"

namespace vcam_test {
namespace {

TEST(LoadableRouteTest, PluginIsLoadedFromTheBuildTree) {
    gst_support::ObjectPtr<GstPlugin> plugin(
        gst_registry_find_plugin(gst_registry_get(), ZELT_VCAM_PLUGIN_NAME));
    ASSERT_TRUE(plugin);
    const std::string filename = gst_plugin_get_filename(plugin.get());
    const std::string expected = "/vcam/libgstzeltvcam.so";
    ASSERT_GE(filename.size(), expected.size());
    EXPECT_EQ(filename.substr(filename.size() - expected.size()), expected);
}

}  // namespace
}  // namespace vcam_test

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::AddGlobalTestEnvironment(new zelt_test::GstTestEnvironment());
    return RUN_ALL_TESTS();
}
