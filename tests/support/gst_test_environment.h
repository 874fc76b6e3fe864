// A sealed GStreamer environment for test executables: only the virtual cameras are seen,
// whatever cameras the machine has.
//
// Use it from the test's main() (or a GoogleTest environment registered there):
//
//   #include "gst_test_environment.h"
//   int main(int argc, char** argv) {
//       ::testing::InitGoogleTest(&argc, argv);
//       ::testing::AddGlobalTestEnvironment(new zelt_test::GstTestEnvironment());
//       return RUN_ALL_TESTS();
//   }
//
// For the static route, pass the registration:
//   new zelt_test::GstTestEnvironment(zelt_test::Route::Static, [] { zelt_vcam_register_static();
//   })
//
// What it does, in SetUp (so that listing the tests does not initialise GStreamer):
//   - under a sanitizer, turns the registry's helper process off before gst_init (the
//     scanner would load our instrumented plug-in without the sanitizer runtime); the test
//     environment sets GST_REGISTRY_FORK=no as well;
//   - gst_init; the registration callback, if any;
//   - checks that the plug-in is there and came by the expected route (a loadable plug-in
//     from GST_PLUGIN_PATH, or a static one), and fails loudly otherwise;
//   - ranks every device provider factory but ours to GST_RANK_NONE in this process, so a
//     device monitor (which only asks providers of rank >= 1) sees the virtual cameras only.
//
// The rest of the seal comes from tests/CMakeLists.txt: GST_PLUGIN_PATH at the build tree and
// a private GST_REGISTRY file. A process uses one route only: GObject type names are
// process-wide, so the loadable plug-in and the static registration cannot both be in one
// process (a static-route executable sets GST_PLUGIN_PATH empty and keeps its own registry).
#pragma once

#include <gst/gst.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>

#include "gst_support/gst_ptr.h"
#include "vcam/vcam.h"
#include "vcam/vcam_seal.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ZELT_TEST_UNDER_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ZELT_TEST_UNDER_SANITIZER 1
#endif
#endif

namespace zelt_test {

/// How the virtual-camera plug-in reaches the registry in this process.
enum class Route {
    Loadable,  ///< libgstzeltvcam.so found on GST_PLUGIN_PATH
    Static     ///< zelt_vcam_register_static() from the static library
};

/// Ranks every device provider factory except `keep` to GST_RANK_NONE (in this process only).
/// Returns how many were ranked out.
inline int rankOutOtherDeviceProviders(const std::string& keep = ZELT_VCAM_PROVIDER_NAME) {
    return zelt::vcam::rankOutOtherDeviceProviders(keep.c_str());
}

/// Checks that the virtual-camera plug-in is registered by `route`; an empty text when it is,
/// else what is wrong.
inline std::string checkVirtualCameraPlugin(Route route) {
    gst_support::ObjectPtr<GstPlugin> plugin(
        gst_registry_find_plugin(gst_registry_get(), ZELT_VCAM_PLUGIN_NAME));
    if (!plugin) {
        return "plug-in '" ZELT_VCAM_PLUGIN_NAME "' is not registered (GST_PLUGIN_PATH=" +
               std::string(g_getenv("GST_PLUGIN_PATH") ? g_getenv("GST_PLUGIN_PATH") : "") + ")";
    }
    const gchar* filename = gst_plugin_get_filename(plugin.get());
    if (route == Route::Static && filename != nullptr) {
        return std::string("plug-in '" ZELT_VCAM_PLUGIN_NAME "' was loaded from ") + filename +
               " in a static-route process";
    }
    if (route == Route::Loadable && filename == nullptr) {
        return "plug-in '" ZELT_VCAM_PLUGIN_NAME "' is static in a loadable-route process";
    }
    gst_support::ObjectPtr<GstDeviceProviderFactory> factory(
        gst_device_provider_factory_find(ZELT_VCAM_PROVIDER_NAME));
    if (!factory) return "no device provider factory '" ZELT_VCAM_PROVIDER_NAME "'";
    return {};
}

/// Initialises GStreamer sealed for tests (see the top of this file). Aborts the test
/// program through a fatal GoogleTest failure when the plug-in is missing.
class GstTestEnvironment : public ::testing::Environment {
public:
    explicit GstTestEnvironment(Route route = Route::Loadable,
                                std::function<void()> register_plugins = {})
        : m_route(route), m_register_plugins(std::move(register_plugins)) {}

    void SetUp() override {
#ifdef ZELT_TEST_UNDER_SANITIZER
        gst_registry_fork_set_enabled(FALSE);
#endif
        gst_init(nullptr, nullptr);
        if (m_register_plugins) m_register_plugins();
        const std::string problem = checkVirtualCameraPlugin(m_route);
        ASSERT_TRUE(problem.empty()) << problem;
        rankOutOtherDeviceProviders();
    }

private:
    Route m_route;
    std::function<void()> m_register_plugins;
};

}  // namespace zelt_test
