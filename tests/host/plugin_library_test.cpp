#include "zelt_host/plugin_library.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <optional>
#include <string>
#include <utility>

#include "plugin_api/service.h"

namespace zelt::host::test {
namespace {

/// Sets (or unsets) an environment variable for one test and restores it afterwards.
class ScopedEnvironment {
public:
    ScopedEnvironment(const char* name, const char* value) : m_name(name) {
        if (const char* old = std::getenv(name)) m_old = old;
        if (value != nullptr) {
            setenv(name, value, 1);
        } else {
            unsetenv(name);
        }
    }
    ~ScopedEnvironment() {
        if (m_old) {
            setenv(m_name, m_old->c_str(), 1);
        } else {
            unsetenv(m_name);
        }
    }

private:
    const char* m_name;
    std::optional<std::string> m_old;
};

bool endsWith(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() &&
           text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

std::string errorOf(const std::string& path) {
    try {
        PluginLibrary library(path);
    } catch (const HostError& error) {
        return error.what();
    }
    return {};
}

TEST(PluginLibraryTest, LoadsTheLibraryAndResolvesKindAndCreator) {
    PluginLibrary library(ZELT_TEST_FAKE_PLUGIN);
    EXPECT_EQ(library.path(), ZELT_TEST_FAKE_PLUGIN);
    EXPECT_EQ(library.kind(), "CAMERA");
    EXPECT_EQ(library.creator().getPluginTypeCount(), 1u);
    EXPECT_STREQ(library.creator().getPluginTypeName(0), "CAMERA");
}

TEST(PluginLibraryTest, WrongPathNamesThePathAndTheLoadersReason) {
    const std::string path = "/nonexistent/libzelt_nothing.so";
    EXPECT_EQ(errorOf(path), "cannot load plug-in library '" + path + "': " + path +
                                 ": cannot open shared object file: No such file or directory");
}

TEST(PluginLibraryTest, FileThatIsNoLibraryIsRefused) {
    const std::string path = std::string(ZELT_TEST_BINARY_DIR) + "/not_a_library.so";
    std::ofstream(path) << "this is text, not a shared object\n";
    const std::string error = errorOf(path);
    EXPECT_EQ(error.rfind("cannot load plug-in library '" + path + "': ", 0), 0u) << error;
}

TEST(PluginLibraryTest, MissingFactoryExportIsNamed) {
    const std::string path = ZELT_TEST_FAKE_PLUGIN_NO_FACTORY;
    const std::string error = errorOf(path);
    const std::string expected =
        "plug-in library '" + path + "' does not export ZELT_getPluginFactory: ";
    EXPECT_EQ(error.rfind(expected, 0), 0u) << error;
    EXPECT_NE(error.find("undefined symbol: ZELT_getPluginFactory"), std::string::npos) << error;
}

TEST(PluginLibraryTest, SymbolFindsOtherExportsAndNullForUnknownOnes) {
    PluginLibrary library(ZELT_TEST_FAKE_PLUGIN);
    EXPECT_NE(library.symbol("zelt_fake_slot_log"), nullptr);
    EXPECT_EQ(library.symbol("zelt_no_such_symbol"), nullptr);
}

TEST(PluginLibraryTest, MovedLibraryKeepsItsCreator) {
    PluginLibrary first(ZELT_TEST_FAKE_PLUGIN);
    plugin_api::IfPluginCreator* creator = &first.creator();
    PluginLibrary second(std::move(first));
    EXPECT_EQ(&second.creator(), creator);
    EXPECT_EQ(second.kind(), "CAMERA");
    EXPECT_EQ(first.symbol("zelt_fake_slot_log"), nullptr);  // NOLINT(bugprone-use-after-move)
}

TEST(PluginLibraryTest, LoadingTwiceGivesTheSameStaticCreator) {
    PluginLibrary first(ZELT_TEST_FAKE_PLUGIN);
    PluginLibrary second(ZELT_TEST_FAKE_PLUGIN);
    EXPECT_EQ(&first.creator(), &second.creator());
}

TEST(CameraPluginPathTest, DefaultResolvesToTheBuildTreeFile) {
    ScopedEnvironment unset(kCameraPluginEnvironment, nullptr);
    EXPECT_EQ(defaultCameraPluginPath(), ZELT_TEST_BUILD_TREE_CAMERA_PLUGIN);
    EXPECT_TRUE(endsWith(defaultCameraPluginPath(), "/lib/zelt_camera/libzelt_camera.so"));
    EXPECT_EQ(buildTreeCameraPluginPath(), ZELT_TEST_BUILD_TREE_CAMERA_PLUGIN);
}

TEST(CameraPluginPathTest, EnvironmentVariableWins) {
    ScopedEnvironment set(kCameraPluginEnvironment, "/opt/cameras/libzelt_camera.so");
    EXPECT_STREQ(kCameraPluginEnvironment, "ZELT_CAMERA_PLUGIN");
    EXPECT_EQ(defaultCameraPluginPath(), "/opt/cameras/libzelt_camera.so");
}

TEST(CameraPluginPathTest, EmptyEnvironmentVariableIsIgnored) {
    ScopedEnvironment set(kCameraPluginEnvironment, "");
    EXPECT_EQ(defaultCameraPluginPath(), ZELT_TEST_BUILD_TREE_CAMERA_PLUGIN);
}

TEST(CameraPluginPathTest, InstalledLayoutIsRelativeToTheExecutable) {
    EXPECT_EQ(executableDirectory(), ZELT_TEST_BINARY_DIR);
    const std::string installed = installedCameraPluginPath();
    EXPECT_EQ(installed.rfind(executableDirectory() + "/../", 0), 0u) << installed;
    EXPECT_TRUE(endsWith(installed, "/zelt/plugins/libzelt_camera.so")) << installed;
}

}  // namespace
}  // namespace zelt::host::test
