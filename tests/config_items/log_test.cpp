// Severity names and numbers, and the level read from the environment.
#include "uni/log.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <sstream>
#include <string>

namespace uni::log {
namespace {

TEST(LogSeverity, ParsesNames) {
    EXPECT_EQ(parseSeverity("warning"), ULS_WARNING);
    EXPECT_EQ(parseSeverity("trace"), ULS_TRACE);
    EXPECT_EQ(parseSeverity("debug"), ULS_DEBUG);
    EXPECT_EQ(parseSeverity("detail"), ULS_DETAIL);
    EXPECT_EQ(parseSeverity("info"), ULS_INFO);
    EXPECT_EQ(parseSeverity("notice"), ULS_NOTICE);
    EXPECT_EQ(parseSeverity("error"), ULS_ERROR);
    EXPECT_EQ(parseSeverity("fatal"), ULS_FATAL);
}

TEST(LogSeverity, ParsesNamesWhateverTheirCase) {
    EXPECT_EQ(parseSeverity("WARNING"), ULS_WARNING);
    EXPECT_EQ(parseSeverity("Error"), ULS_ERROR);
}

TEST(LogSeverity, ParsesSingleDigits) {
    EXPECT_EQ(parseSeverity("5"), ULS_WARNING);
    EXPECT_EQ(parseSeverity("0"), ULS_TRACE);
    EXPECT_EQ(parseSeverity("7"), ULS_FATAL);
}

TEST(LogSeverity, RejectsAnythingElse) {
    EXPECT_EQ(parseSeverity("8"), std::nullopt);
    EXPECT_EQ(parseSeverity("-1"), std::nullopt);
    EXPECT_EQ(parseSeverity("05"), std::nullopt);
    EXPECT_EQ(parseSeverity(" 5"), std::nullopt);
    EXPECT_EQ(parseSeverity("warn"), std::nullopt);
    EXPECT_EQ(parseSeverity("warnings"), std::nullopt);
    EXPECT_EQ(parseSeverity(""), std::nullopt);
}

TEST(LogSeverity, NamesEveryLevel) {
    EXPECT_STREQ(severityName(ULS_TRACE), "trace");
    EXPECT_STREQ(severityName(ULS_DEBUG), "debug");
    EXPECT_STREQ(severityName(ULS_DETAIL), "detail");
    EXPECT_STREQ(severityName(ULS_INFO), "info");
    EXPECT_STREQ(severityName(ULS_NOTICE), "notice");
    EXPECT_STREQ(severityName(ULS_WARNING), "warning");
    EXPECT_STREQ(severityName(ULS_ERROR), "error");
    EXPECT_STREQ(severityName(ULS_FATAL), "fatal");
    EXPECT_STREQ(severityName(static_cast<UniLogSeverityLevel>(8)), "unknown");
}

TEST(LogSeverity, StreamsItsName) {
    std::ostringstream out;
    out << ULS_ERROR << ' ' << ULS_DEBUG;
    EXPECT_EQ(out.str(), "error debug");
}

// Saves ZELT_LOG_LEVEL for one test and puts it back afterwards.
class LogLevelEnvironmentTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (const char* value = std::getenv(kVariable)) m_saved = value;
    }
    void TearDown() override {
        if (m_saved)
            setenv(kVariable, m_saved->c_str(), 1);
        else
            unsetenv(kVariable);
    }

    static constexpr const char* kVariable = "ZELT_LOG_LEVEL";

private:
    std::optional<std::string> m_saved;
};

TEST_F(LogLevelEnvironmentTest, ReadsNameOrNumberFromEnvironment) {
    setenv(kVariable, "debug", 1);
    EXPECT_EQ(levelFromEnvironment(), ULS_DEBUG);
    setenv(kVariable, "6", 1);
    EXPECT_EQ(levelFromEnvironment(), ULS_ERROR);
}

TEST_F(LogLevelEnvironmentTest, FallsBackToWarning) {
    unsetenv(kVariable);
    EXPECT_EQ(levelFromEnvironment(), ULS_WARNING);
    setenv(kVariable, "loud", 1);
    EXPECT_EQ(levelFromEnvironment(), ULS_WARNING);
}

}  // namespace
}  // namespace uni::log

namespace uni::log {
namespace {

// The console output of records written inside and outside a camera scope.
class CameraAttributeTest : public ::testing::Test {
protected:
    void SetUp() override {
        setLevel(ULS_ERROR);
        m_previous = std::clog.rdbuf(m_output.rdbuf());
    }
    void TearDown() override {
        std::clog.rdbuf(m_previous);
        setLevel(levelFromEnvironment());
    }
    std::ostringstream m_output;
    std::streambuf* m_previous = nullptr;
};

UNI_DEFINE_LOGGER(camera_attribute_test_logger, "zelt_plugin_camera")

TEST_F(CameraAttributeTest, RecordsInsideTheScopeNameTheCameraAndKeepTheirText) {
    {
        const ScopedCamera camera("HD Pro Webcam C920", "/dev/video0");
        UNI_LOG(camera_attribute_test_logger, ULS_ERROR) << "Cannot retrieve pixel aspect ratio";
        {
            const ScopedCamera inner("Other", "/dev/video2");
            UNI_LOG(camera_attribute_test_logger, ULS_ERROR) << "inner";
        }
        UNI_LOG(camera_attribute_test_logger, ULS_ERROR) << "after inner";
    }
    UNI_LOG(camera_attribute_test_logger, ULS_ERROR) << "outside";
    EXPECT_EQ(m_output.str(),
              "[zelt_plugin_camera] error: [camera 'HD Pro Webcam C920' at /dev/video0] Cannot "
              "retrieve pixel aspect ratio\n"
              "[zelt_plugin_camera] error: [camera 'HD Pro Webcam C920' at /dev/video0] inner\n"
              "[zelt_plugin_camera] error: [camera 'HD Pro Webcam C920' at /dev/video0] after "
              "inner\n"
              "[zelt_plugin_camera] error: outside\n");
}

}  // namespace
}  // namespace uni::log
