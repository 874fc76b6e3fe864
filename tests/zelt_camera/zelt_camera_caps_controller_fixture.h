// Shared by the caps controller tests: devices of a small GstDevice type of our own holding
// real caps, a capture of log records, and a fixture with a recording change callback.
#pragma once

#include <gst/gst.h>
#include <gtest/gtest.h>

#include <boost/log/core.hpp>
#include <boost/log/expressions/message.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/make_shared.hpp>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "config_items/log.h"
#include "gst_support/gst_ptr.h"
#include "test_assertions.h"
#include "zelt_camera_caps_controller.h"
#include "zeltpu/log.h"

namespace zelt_camera::caps_test {

using Rate = boost::rational<int>;

inline constexpr const char* kControllerSource = "lib/zelt_camera/src/zelt_camera_caps_controller";

/// A device offering `caps` (transfer none; null for a device without caps). (transfer full)
gst_support::DevicePtr makeDevice(GstCaps* caps);
/// A device offering the caps of `text`. (transfer full)
gst_support::DevicePtr makeDevice(const char* text);
/// A raw-video structure of the given size, 1/1 pixels and format, without a frame rate.
/// (transfer full)
GstStructure* rawStructure(int width, int height, const char* format);

// ---------------------------------------------------------------------------------------
// Log records of both channels, captured for one test.

struct LogRecord {
    int severity;
    std::string channel;
    std::string message;
};

class CapturingBackend
    : public boost::log::sinks::basic_sink_backend<boost::log::sinks::synchronized_feeding> {
public:
    void consume(const boost::log::record_view& record) {
        LogRecord entry{-1, "", ""};
        if (auto severity = boost::log::extract<UniLogSeverityLevel>("Severity", record))
            entry.severity = static_cast<int>(*severity);
        if (auto channel = boost::log::extract<std::string>("Channel", record))
            entry.channel = *channel;
        if (auto message = record[boost::log::expressions::smessage]) entry.message = *message;
        std::lock_guard<std::mutex> lock(m_mutex);
        m_records.push_back(std::move(entry));
    }
    std::vector<LogRecord> records() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_records;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<LogRecord> m_records;
};

// ---------------------------------------------------------------------------------------
// The fixture: a controller with the camera channel's functions and a recording callback.

class CapsControllerTest : public ::testing::Test {
protected:
    void SetUp() override {
        // Both loggers read the level once, on first use; lower it afterwards so that the
        // warnings reach the capturing sink.
        unilogger_zelt_plugin_camera::get();
        unilogger_CONFIG_ITEMS::get();
        uni::log::setLevel(ULS_TRACE);
        m_backend = boost::make_shared<CapturingBackend>();
        m_sink = boost::make_shared<Sink>(m_backend);
        boost::log::core::get()->add_sink(m_sink);
    }
    void TearDown() override {
        boost::log::core::get()->remove_sink(m_sink);
        uni::log::setLevel(uni::log::levelFromEnvironment());
    }

    std::unique_ptr<CapsController> makeController(CapsController::Filter filter) {
        return std::make_unique<CapsController>(filter, camera_format_less,
                                                [this](const Caps& caps) {
                                                    m_changes.push_back(caps);
                                                    return m_accept;
                                                });
    }
    std::unique_ptr<CapsController> cameraController() {
        return makeController(camera_caps_filter);
    }
    std::unique_ptr<CapsController> keepAllController() {
        return makeController([](const Caps&) { return true; });
    }

    static std::vector<std::string> texts(const CapsController& controller) {
        std::vector<std::string> result;
        for (const Caps& caps : controller.offered()) result.push_back(caps_to_string(caps));
        return result;
    }
    std::vector<LogRecord> records() const { return m_backend->records(); }

    std::vector<Caps> m_changes;
    bool m_accept = true;
    test::RecordingAssertions m_assertions;

private:
    using Sink = boost::log::sinks::synchronous_sink<CapturingBackend>;
    boost::shared_ptr<CapturingBackend> m_backend;
    boost::shared_ptr<Sink> m_sink;
};

}  // namespace zelt_camera::caps_test
