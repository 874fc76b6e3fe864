// Logging through Boost.Log: severity numbers, their names, and the level read from the
// environment.
//
// Each library owns one global severity-and-channel logger (see UNI_DEFINE_LOGGER). Records
// below the level are dropped by the core filter before any text is formatted. The level is
// read once from ZELT_LOG_LEVEL: a number 0-7 or a name ("debug", "info", "warning", ...);
// unset, records from "warning" up are written to standard error.
#pragma once

#include <boost/log/attributes/attribute_set.hpp>
#include <boost/log/sources/global_logger_storage.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/sources/severity_channel_logger.hpp>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

enum UniLogSeverityLevel {
    ULS_TRACE = 0,
    ULS_DEBUG = 1,   // each device found
    ULS_DETAIL = 2,  // progress: enumeration, initialisation
    ULS_INFO = 3,    // start, stop, preroll
    ULS_NOTICE = 4,
    ULS_WARNING = 5,
    ULS_ERROR = 6,
    ULS_FATAL = 7,
};

std::ostream& operator<<(std::ostream& out, UniLogSeverityLevel level);

namespace uni::log {

using Logger = boost::log::sources::severity_channel_logger_mt<UniLogSeverityLevel, std::string>;

/// Name of a level ("debug", "warning", ...).
const char* severityName(UniLogSeverityLevel level) noexcept;
/// Parses a level given as a number or a name; nothing for anything else.
std::optional<UniLogSeverityLevel> parseSeverity(std::string_view text) noexcept;

/// The level in force: ZELT_LOG_LEVEL when set and valid, otherwise ULS_WARNING.
UniLogSeverityLevel levelFromEnvironment() noexcept;

/// Sets the core filter to `level` and makes sure one console sink exists. The first call
/// of the process installs the sink; the filter is shared with every module of the process.
void setLevel(UniLogSeverityLevel level);

/// Installs the filter from the environment once per module; every logger calls it.
void initialise();

/// Builds a logger for `channel`, after initialise().
Logger makeLogger(const char* channel);

/// Name of the attribute that says which camera a record is about; the console output prints
/// it in brackets in front of the message, which stays as it is.
inline constexpr const char* kCameraAttribute = "Camera";

/// The camera attribute's text: "'name' at path".
std::string cameraText(const std::string& name, const std::string& path);

/// While it lives, every record written on this thread carries the camera attribute of `name`
/// and `path`. An inner scope on a thread that already names a camera leaves the outer one.
class ScopedCamera {
public:
    ScopedCamera(const std::string& name, const std::string& path);
    ~ScopedCamera();
    ScopedCamera(const ScopedCamera&) = delete;
    ScopedCamera& operator=(const ScopedCamera&) = delete;

private:
    boost::log::attribute_set::iterator m_attribute;
    bool m_added = false;
};

}  // namespace uni::log

/// Defines the global logger `name` writing to `channel`.
#define UNI_DEFINE_LOGGER(name, channel)                            \
    BOOST_LOG_INLINE_GLOBAL_LOGGER_INIT(name, ::uni::log::Logger) { \
        return ::uni::log::makeLogger(channel);                     \
    }

/// Writes one record: UNI_LOG(unilogger_CONFIG_ITEMS, ULS_ERROR) << "text" << value;
#define UNI_LOG(logger, level) BOOST_LOG_SEV(logger::get(), level)
