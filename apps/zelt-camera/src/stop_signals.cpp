#include "stop_signals.h"

#include <signal.h>

#include <atomic>

namespace zelt::cli {
namespace {

std::atomic<int> g_received{0};
struct sigaction g_previous_int;
struct sigaction g_previous_term;

static_assert(std::atomic<int>::is_always_lock_free, "the handler needs a lock-free flag");

extern "C" void onStopSignal(int signal) {
    int expected = 0;
    if (!g_received.compare_exchange_strong(expected, signal)) {
        // Asked twice: the default action ends the process now.
        ::signal(signal, SIG_DFL);
        ::raise(signal);
    }
}

}  // namespace

StopSignals::StopSignals() {
    g_received.store(0);
    struct sigaction action {};
    action.sa_handler = onStopSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, &g_previous_int);
    sigaction(SIGTERM, &action, &g_previous_term);
}

StopSignals::~StopSignals() {
    sigaction(SIGINT, &g_previous_int, nullptr);
    sigaction(SIGTERM, &g_previous_term, nullptr);
}

int StopSignals::received() const noexcept { return g_received.load(); }

const char* StopSignals::name(int signal) noexcept {
    switch (signal) {
        case SIGINT:
            return "SIGINT";
        case SIGTERM:
            return "SIGTERM";
        default:
            return "";
    }
}

}  // namespace zelt::cli
