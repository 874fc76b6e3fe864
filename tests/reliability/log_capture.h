// Captures the message text of every log record of severity error or above in the process
// while it lives.
//
// The camera plug-in logs through the process-wide Boost.Log core (the library is shared by
// every module of the process, the plug-in loaded with dlopen included), so a sink added here
// sees the plug-in's records too. The core's filter applies to every sink: while capturing it
// lets errors through whatever ZELT_LOG_LEVEL says, and afterwards it is set back from
// ZELT_LOG_LEVEL.
#pragma once

#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/sinks/text_ostream_backend.hpp>
#include <boost/make_shared.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "uni/log.h"

namespace zelt_reliability {

class LogCapture {
public:
    LogCapture() : m_stream(boost::make_shared<std::ostringstream>()) {
        namespace logging = boost::log;
        auto backend = boost::make_shared<logging::sinks::text_ostream_backend>();
        backend->add_stream(m_stream);
        m_sink = boost::make_shared<Sink>(backend);
        m_sink->set_formatter(logging::expressions::stream << logging::expressions::smessage);
        logging::core::get()->add_sink(m_sink);
        if (uni::log::levelFromEnvironment() > ULS_ERROR) uni::log::setLevel(ULS_ERROR);
    }
    ~LogCapture() {
        boost::log::core::get()->remove_sink(m_sink);
        uni::log::setLevel(uni::log::levelFromEnvironment());
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// Every captured message, one per record, in arrival order.
    std::vector<std::string> messages() const {
        std::string text;
        {
            auto locked = m_sink->locked_backend();
            locked->flush();
            text = m_stream->str();
        }
        std::vector<std::string> lines;
        std::istringstream in(text);
        for (std::string line; std::getline(in, line);) lines.push_back(line);
        return lines;
    }

    bool contains(const std::string& message) const {
        for (const auto& line : messages())
            if (line == message) return true;
        return false;
    }

private:
    using Sink = boost::log::sinks::synchronous_sink<boost::log::sinks::text_ostream_backend>;
    boost::shared_ptr<std::ostringstream> m_stream;
    boost::shared_ptr<Sink> m_sink;
};

}  // namespace zelt_reliability
