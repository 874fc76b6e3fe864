// The one assertion report of the process (per loaded module).
//
// Programming errors are reported here instead of through assert(): the report formats an
// optional printf-style message into a 256-character buffer and hands expression, message,
// source name and line to the installed handler. A handler that answers zero stops the
// process at a debug break; a non-zero answer continues, and so does a report without a
// handler. Code after a continued assertion goes on the documented way.
#pragma once

#include <cstddef>

namespace uni {

/// Called for every failed assertion. `message` is null when the report carried none.
/// Returns non-zero to continue, zero to stop at a debug break.
using AssertionHandler = int (*)(const char* expression, const char* message, const char* source,
                                 int line);

/// Size of the buffer the optional message is formatted into, terminator included.
inline constexpr std::size_t kAssertionMessageSize = 256;

/// Installs `handler` process-wide (null removes it); returns the handler it replaces.
AssertionHandler setAssertionHandler(AssertionHandler handler) noexcept;
AssertionHandler assertionHandler() noexcept;

/// Reports a failed assertion. `format` may be null; otherwise it is a printf format for
/// the following arguments. Returns when the handler (or its absence) lets execution go on.
/// Marked cold: the compiler moves every failure branch out of the code around it, so a
/// check on a hot path costs a compare and nothing in the instruction cache.
void reportAssertion(const char* expression, const char* source, int line,
                     const char* format = nullptr, ...) noexcept
#if defined(__GNUC__)
    __attribute__((format(printf, 4, 5), cold))
#endif
    ;

/// Checks `condition`; reports `expression` when it is false. Returns `condition`, so the
/// caller can take the documented path after a continued assertion.
inline bool check(bool condition, const char* expression, const char* source, int line) noexcept {
    if (!condition) reportAssertion(expression, source, line);
    return condition;
}

}  // namespace uni
