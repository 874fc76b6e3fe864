// Time bases: the host's own (to which every sample is stamped) and the ones a plug-in offers.
#pragma once

#include <cstdint>

namespace zelt {

/// A calendar date and time; all fields zero mean "no absolute reference".
struct DateTime {
    std::int32_t year = 0;
    std::int32_t month = 0;
    std::int32_t day = 0;
    std::int32_t hour = 0;
    std::int32_t minute = 0;
    std::int32_t second = 0;
    std::int64_t nanosecond = 0;

    friend bool operator==(const DateTime& a, const DateTime& b) noexcept {
        return a.year == b.year && a.month == b.month && a.day == b.day && a.hour == b.hour &&
               a.minute == b.minute && a.second == b.second && a.nanosecond == b.nanosecond;
    }
};

/// The host's time base. The host hands it to the plug-in (IfDAQPlugin::setTimeSource); the
/// plug-in stamps every sample in its ticks. Both tick operations may be called from any
/// thread, including GStreamer's streaming threads.
///
/// Threads. getFrequency and getCurrentTicks come once per frame on each camera's streaming
/// thread, with the channel's delivery lock held, several cameras at the same time; they
/// must be thread-safe, quick and never block. They must not call into the plug-in or its
/// channels at all, and must not throw. The plug-in keeps its own reference, so the time
/// source may be replaced (setTimeSource) while cameras stream.
class IfTimeSource {
public:
    /// Ticks per second.
    virtual double getFrequency() const = 0;
    /// Wall-clock time at tick 0.
    virtual DateTime getAbsoluteStart() const = 0;
    /// The current tick count.
    virtual std::uint64_t getCurrentTicks() const = 0;
    virtual ~IfTimeSource() = default;
};

/// A time base a plug-in offers to the host (IfDAQPlugin::getTimeBaseProvider). Its
/// operations are the plug-in's: the host may call them from any thread.
class IfTimeBaseProvider {
public:
    /// Lets the provider synchronise before a series of reads; may do nothing.
    virtual void synchronize() = 0;
    /// Ticks per second.
    virtual double getFrequency() = 0;
    /// The current tick count.
    virtual std::int64_t getCurrentTicks() = 0;
    /// Wall-clock time at tick 0, or the empty record when there is none.
    virtual DateTime getAbsoluteStart() = 0;
    virtual ~IfTimeBaseProvider() = default;
};

}  // namespace zelt
