// Captures every log record of a chosen severity or above (error unless told) in the process
// while it lives: its message text and the camera it names, if any.
//
// The camera plug-in logs through the process-wide Boost.Log core (the library is shared by
// every module of the process, the plug-in loaded with dlopen included), so a sink added here
// sees the plug-in's records too. The core's filter applies to every sink: while capturing it
// lets the chosen severity through whatever ZELT_LOG_LEVEL says (the console shows them too),
// and afterwards it is set back from ZELT_LOG_LEVEL.
#pragma once

#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/sinks/text_ostream_backend.hpp>
#include <boost/make_shared.hpp>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "uni/log.h"

namespace zelt_test {

class LogCapture {
public:
    explicit LogCapture(UniLogSeverityLevel level = ULS_ERROR)
        : m_stream(boost::make_shared<std::ostringstream>()) {
        namespace logging = boost::log;
        namespace expr = logging::expressions;
        auto backend = boost::make_shared<logging::sinks::text_ostream_backend>();
        backend->add_stream(m_stream);
        m_sink = boost::make_shared<Sink>(backend);
        m_sink->set_formatter(expr::stream << expr::smessage);
        m_sink->set_filter(expr::attr<UniLogSeverityLevel>("Severity") >= level);
        logging::core::get()->add_sink(m_sink);
        // Records that name a camera, as "camera|message", for cameraMessages().
        m_camera_stream = boost::make_shared<std::ostringstream>();
        auto camera_backend = boost::make_shared<logging::sinks::text_ostream_backend>();
        camera_backend->add_stream(m_camera_stream);
        m_camera_sink = boost::make_shared<Sink>(camera_backend);
        m_camera_sink->set_formatter(expr::stream
                                     << expr::attr<std::string>(uni::log::kCameraAttribute) << "|"
                                     << expr::smessage);
        m_camera_sink->set_filter(expr::has_attr<std::string>(uni::log::kCameraAttribute) &&
                                  expr::attr<UniLogSeverityLevel>("Severity") >= level);
        logging::core::get()->add_sink(m_camera_sink);
        // A module that sets its logging up later (the plug-in, at its first record) reads the
        // level from the environment: it is lowered there too while capturing.
        if (uni::log::levelFromEnvironment() > level) {
            if (const char* previous = std::getenv(kLevelVariable)) m_previous_level = previous;
            ::setenv(kLevelVariable, uni::log::severityName(level), 1);
            m_level_changed = true;
            uni::log::setLevel(level);
        }
    }
    ~LogCapture() {
        boost::log::core::get()->remove_sink(m_camera_sink);
        boost::log::core::get()->remove_sink(m_sink);
        if (m_level_changed) {
            if (m_previous_level)
                ::setenv(kLevelVariable, m_previous_level->c_str(), 1);
            else
                ::unsetenv(kLevelVariable);
        }
        uni::log::setLevel(uni::log::levelFromEnvironment());
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// Every captured message, one per record, in arrival order.
    std::vector<std::string> messages() const { return linesOf(*m_sink, *m_stream); }

    /// The records that name a camera, as "<camera attribute>|<message>", in arrival order.
    std::vector<std::string> cameraMessages() const {
        return linesOf(*m_camera_sink, *m_camera_stream);
    }

    bool contains(const std::string& message) const {
        for (const auto& line : messages())
            if (line == message) return true;
        return false;
    }

private:
    using Sink = boost::log::sinks::synchronous_sink<boost::log::sinks::text_ostream_backend>;

    static std::vector<std::string> linesOf(Sink& sink, const std::ostringstream& stream) {
        std::string text;
        {
            auto locked = sink.locked_backend();
            locked->flush();
            text = stream.str();
        }
        std::vector<std::string> lines;
        std::istringstream in(text);
        for (std::string line; std::getline(in, line);) lines.push_back(line);
        return lines;
    }

    static constexpr const char* kLevelVariable = "ZELT_LOG_LEVEL";

    std::optional<std::string> m_previous_level;
    bool m_level_changed = false;
    boost::shared_ptr<std::ostringstream> m_stream;
    boost::shared_ptr<Sink> m_sink;
    boost::shared_ptr<std::ostringstream> m_camera_stream;
    boost::shared_ptr<Sink> m_camera_sink;
};

}  // namespace zelt_test
