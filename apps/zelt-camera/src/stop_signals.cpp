#include "stop_signals.h"

#include <signal.h>

#include <atomic>

namespace zelt::cli {
namespace {

std::atomic<int> g_received{0};
struct sigaction g_previous_int;
struct sigaction g_previous_term;
struct sigaction g_previous_hup;
struct sigaction g_previous_xfsz;
struct sigaction g_previous_pipe;

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
    // A closed terminal (SIGHUP) stops like SIGTERM: the files are finished.
    sigaction(SIGHUP, &action, &g_previous_hup);
    // A file size limit answers the write with EFBIG instead of ending the process, and a
    // closed terminal the message with EPIPE: the recording stops and finishes its files.
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigemptyset(&ignore.sa_mask);
    sigaction(SIGXFSZ, &ignore, &g_previous_xfsz);
    sigaction(SIGPIPE, &ignore, &g_previous_pipe);
}

StopSignals::~StopSignals() {
    sigaction(SIGINT, &g_previous_int, nullptr);
    sigaction(SIGTERM, &g_previous_term, nullptr);
    sigaction(SIGHUP, &g_previous_hup, nullptr);
    sigaction(SIGXFSZ, &g_previous_xfsz, nullptr);
    sigaction(SIGPIPE, &g_previous_pipe, nullptr);
}

int StopSignals::received() const noexcept { return g_received.load(); }

const char* StopSignals::name(int signal) noexcept {
    switch (signal) {
        case SIGINT:
            return "SIGINT";
        case SIGTERM:
            return "SIGTERM";
        case SIGHUP:
            return "SIGHUP";
        default:
            return "";
    }
}

}  // namespace zelt::cli
