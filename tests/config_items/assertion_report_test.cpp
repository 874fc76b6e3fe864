// The assertion report: handler installation, message formatting and the continue paths.
#include "uni/assertion_report.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <cstring>
#include <string>

namespace uni {
namespace {

struct Report {
    int calls = 0;
    std::string expression;
    bool has_message = false;
    std::string message;
    std::string source;
    int line = 0;
    int answer = 1;
};

// Installs a recording handler for one test and restores the previous handler afterwards.
class AssertionReportTest : public ::testing::Test {
protected:
    void SetUp() override {
        s_report = &m_report;
        m_previous = setAssertionHandler(&record);
    }
    void TearDown() override {
        setAssertionHandler(m_previous);
        s_report = nullptr;
    }

    static int record(const char* expression, const char* message, const char* source, int line) {
        ++s_report->calls;
        s_report->expression = expression ? expression : "<null>";
        s_report->has_message = message != nullptr;
        s_report->message = message ? message : "";
        s_report->source = source ? source : "<null>";
        s_report->line = line;
        return s_report->answer;
    }

    Report m_report;

private:
    static inline Report* s_report = nullptr;
    AssertionHandler m_previous = nullptr;
};

TEST_F(AssertionReportTest, HandlerReceivesExpressionFormattedMessageSourceAndLine) {
    reportAssertion("count > 0", "lib/zelt_camera/src/zelt_camera_channel", 77, "value %d of '%s'",
                    7, "Frame");
    EXPECT_EQ(m_report.calls, 1);
    EXPECT_EQ(m_report.expression, "count > 0");
    ASSERT_TRUE(m_report.has_message);
    EXPECT_EQ(m_report.message, "value 7 of 'Frame'");
    EXPECT_EQ(m_report.source, "lib/zelt_camera/src/zelt_camera_channel");
    EXPECT_EQ(m_report.line, 77);
}

TEST_F(AssertionReportTest, ReportWithoutFormatPassesNullMessage) {
    reportAssertion("ptr != nullptr", "lib/x", 12);
    EXPECT_EQ(m_report.calls, 1);
    EXPECT_FALSE(m_report.has_message);
    EXPECT_EQ(m_report.expression, "ptr != nullptr");
}

TEST_F(AssertionReportTest, MessageIsTruncatedTo255CharactersAndTerminator) {
    const std::string long_text(300, 'x');
    reportAssertion("false", "lib/x", 1, "%s", long_text.c_str());
    ASSERT_TRUE(m_report.has_message);
    EXPECT_EQ(m_report.message.size(), kAssertionMessageSize - 1);
    EXPECT_EQ(m_report.message, long_text.substr(0, 255));
}

TEST_F(AssertionReportTest, MessageOf255CharactersIsKeptWhole) {
    const std::string text(255, 'y');
    reportAssertion("false", "lib/x", 1, "%s", text.c_str());
    EXPECT_EQ(m_report.message, text);
}

TEST_F(AssertionReportTest, NonZeroAnswerContinues) {
    m_report.answer = 42;
    bool went_on = false;
    reportAssertion("a == b", "lib/x", 3, "continue");
    went_on = true;
    EXPECT_TRUE(went_on);
    EXPECT_EQ(m_report.calls, 1);
}

TEST_F(AssertionReportTest, WithoutHandlerReportContinuesSilently) {
    EXPECT_EQ(setAssertionHandler(nullptr), &record);
    EXPECT_EQ(assertionHandler(), nullptr);
    reportAssertion("a == b", "lib/x", 3, "never seen %d", 1);
    EXPECT_EQ(m_report.calls, 0);
}

TEST_F(AssertionReportTest, SetHandlerReturnsTheReplacedHandler) {
    EXPECT_EQ(assertionHandler(), &record);
    AssertionHandler other = [](const char*, const char*, const char*, int) { return 1; };
    EXPECT_EQ(setAssertionHandler(other), &record);
    EXPECT_EQ(assertionHandler(), other);
    reportAssertion("x", "lib/x", 1);
    EXPECT_EQ(m_report.calls, 0);
}

TEST_F(AssertionReportTest, CheckReportsOnlyFalseConditions) {
    EXPECT_TRUE(check(true, "ok", "lib/x", 5));
    EXPECT_EQ(m_report.calls, 0);
    EXPECT_FALSE(check(false, "index < size", "lib/y", 9));
    EXPECT_EQ(m_report.calls, 1);
    EXPECT_EQ(m_report.expression, "index < size");
    EXPECT_FALSE(m_report.has_message);
    EXPECT_EQ(m_report.source, "lib/y");
    EXPECT_EQ(m_report.line, 9);
}

using AssertionReportDeathTest = AssertionReportTest;

// Runs in the death-test child: no core file, a handler that answers zero.
void reportWithStoppingHandler() {
    const rlimit no_core{0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    setAssertionHandler([](const char*, const char*, const char*, int) { return 0; });
    reportAssertion("stop", "lib/x", 1);
}

TEST_F(AssertionReportDeathTest, ZeroAnswerStopsAtDebugBreak) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(reportWithStoppingHandler(), ::testing::KilledBySignal(SIGTRAP), "");
}

}  // namespace
}  // namespace uni
