// The static route: the plug-in registered from zelt_vcam_static in process.
#include <gtest/gtest.h>

#include "gst_test_environment.h"
#include "vcam_test_support.h"

namespace vcam_test {
namespace {

TEST(StaticRouteTest, PluginIsRegisteredStaticallyAndRegisteringAgainIsHarmless) {
    gst_support::ObjectPtr<GstPlugin> plugin(
        gst_registry_find_plugin(gst_registry_get(), ZELT_VCAM_PLUGIN_NAME));
    ASSERT_TRUE(plugin);
    EXPECT_EQ(gst_plugin_get_filename(plugin.get()), nullptr);
    EXPECT_TRUE(zelt_vcam_register_static());
}

}  // namespace
}  // namespace vcam_test

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::AddGlobalTestEnvironment(new zelt_test::GstTestEnvironment(
        zelt_test::Route::Static, [] { zelt_vcam_register_static(); }));
    return RUN_ALL_TESTS();
}
