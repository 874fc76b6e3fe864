#include "uni/log.h"

#include <strings.h>

#include <boost/core/null_deleter.hpp>
#include <boost/log/attributes/constant.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/expressions/formatters/if.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/sinks/text_ostream_backend.hpp>
#include <boost/log/utility/setup/common_attributes.hpp>
#include <cstdlib>
#include <iostream>
#include <mutex>

namespace uni::log {
namespace {

constexpr const char* kNames[] = {"trace",  "debug",   "detail", "info",
                                  "notice", "warning", "error",  "fatal"};
// Marks the process-wide core as set up: the core is shared by every module of the process,
// while each module has its own copy of this code.
constexpr const char* kSetupMarker = "ZeltLogSetup";

BOOST_LOG_ATTRIBUTE_KEYWORD(severity_kw, "Severity", UniLogSeverityLevel)
BOOST_LOG_ATTRIBUTE_KEYWORD(channel_kw, "Channel", std::string)
BOOST_LOG_ATTRIBUTE_KEYWORD(camera_kw, "Camera", std::string)

}  // namespace

const char* severityName(UniLogSeverityLevel level) noexcept {
    const int index = static_cast<int>(level);
    return index >= 0 && index < 8 ? kNames[index] : "unknown";
}

std::optional<UniLogSeverityLevel> parseSeverity(std::string_view text) noexcept {
    if (text.size() == 1 && text[0] >= '0' && text[0] <= '7')
        return static_cast<UniLogSeverityLevel>(text[0] - '0');
    for (int i = 0; i < 8; ++i) {
        const std::string_view name = kNames[i];
        if (name.size() == text.size() && strncasecmp(name.data(), text.data(), text.size()) == 0)
            return static_cast<UniLogSeverityLevel>(i);
    }
    return std::nullopt;
}

UniLogSeverityLevel levelFromEnvironment() noexcept {
    const char* value = std::getenv("ZELT_LOG_LEVEL");
    if (value == nullptr) return ULS_WARNING;
    return parseSeverity(value).value_or(ULS_WARNING);
}

void setLevel(UniLogSeverityLevel level) {
    namespace logging = boost::log;
    auto core = logging::core::get();
    const auto added =
        core->add_global_attribute(kSetupMarker, logging::attributes::constant<bool>(true));
    if (added.second) {
        using Backend = logging::sinks::text_ostream_backend;
        auto backend = boost::make_shared<Backend>();
        backend->add_stream(boost::shared_ptr<std::ostream>(&std::clog, boost::null_deleter()));
        backend->auto_flush(true);
        auto sink = boost::make_shared<logging::sinks::synchronous_sink<Backend>>(backend);
        namespace expr = logging::expressions;
        sink->set_formatter(expr::stream
                            << "[" << channel_kw << "] " << severity_kw << ": "
                            << expr::if_(expr::has_attr(
                                   camera_kw))[expr::stream << "[camera " << camera_kw << "] "]
                            << expr::smessage);
        core->add_sink(sink);
    }
    core->set_filter(!logging::expressions::has_attr(severity_kw) || severity_kw >= level);
}

void initialise() {
    static std::once_flag once;
    std::call_once(once, [] { setLevel(levelFromEnvironment()); });
}

Logger makeLogger(const char* channel) {
    initialise();
    return Logger(boost::log::keywords::channel = std::string(channel));
}

std::string cameraText(const std::string& name, const std::string& path) {
    return "'" + name + "' at " + path;
}

ScopedCamera::ScopedCamera(const std::string& name, const std::string& path) {
    const auto added = boost::log::core::get()->add_thread_attribute(
        kCameraAttribute, boost::log::attributes::constant<std::string>(cameraText(name, path)));
    m_attribute = added.first;
    m_added = added.second;
}

ScopedCamera::~ScopedCamera() {
    if (m_added) boost::log::core::get()->remove_thread_attribute(m_attribute);
}

}  // namespace uni::log

std::ostream& operator<<(std::ostream& out, UniLogSeverityLevel level) {
    return out << uni::log::severityName(level);
}
