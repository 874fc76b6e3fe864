// Records the assertion reports of one test and restores the previous handler afterwards.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "uni/assertion_report.h"

namespace test {

struct AssertionReport {
    std::string expression;
    std::string message;
    std::string source;
    int line = 0;
};

/// Installs a handler that records every report and lets execution continue. One instance
/// at a time (the handler is process-wide); reports from any thread are kept.
class RecordingAssertions {
public:
    RecordingAssertions() : m_previous(uni::setAssertionHandler(&RecordingAssertions::handle)) {
        current() = this;
    }
    ~RecordingAssertions() {
        uni::setAssertionHandler(m_previous);
        current() = nullptr;
    }
    RecordingAssertions(const RecordingAssertions&) = delete;
    RecordingAssertions& operator=(const RecordingAssertions&) = delete;

    std::vector<AssertionReport> reports() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_reports;
    }
    bool contains(const std::string& expression) const {
        for (const auto& report : reports())
            if (report.expression == expression) return true;
        return false;
    }

private:
    static RecordingAssertions*& current() {
        static RecordingAssertions* instance = nullptr;
        return instance;
    }
    static int handle(const char* expression, const char* message, const char* source, int line) {
        if (RecordingAssertions* self = current()) {
            std::lock_guard<std::mutex> lock(self->m_mutex);
            self->m_reports.push_back(
                {expression ? expression : "", message ? message : "", source ? source : "", line});
        }
        return 1;
    }

    uni::AssertionHandler m_previous;
    mutable std::mutex m_mutex;
    std::vector<AssertionReport> m_reports;
};

}  // namespace test
