#include "uni/assertion_report.h"

#include <atomic>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace uni {
namespace {

std::atomic<AssertionHandler> g_handler{nullptr};

// Stops where a debugger can look at the failed assertion.
[[noreturn]] void debugBreak() noexcept {
    std::raise(SIGTRAP);
    std::abort();
}

}  // namespace

AssertionHandler setAssertionHandler(AssertionHandler handler) noexcept {
    return g_handler.exchange(handler);
}

AssertionHandler assertionHandler() noexcept { return g_handler.load(); }

void reportAssertion(const char* expression, const char* source, int line, const char* format,
                     ...) noexcept {
    const AssertionHandler handler = g_handler.load();
    if (handler == nullptr) return;

    char message[kAssertionMessageSize];
    const char* formatted = nullptr;
    if (format != nullptr) {
        va_list args;
        va_start(args, format);
        std::vsnprintf(message, sizeof message, format, args);
        va_end(args);
        formatted = message;
    }
    if (handler(expression, formatted, source, line) == 0) debugBreak();
}

}  // namespace uni
