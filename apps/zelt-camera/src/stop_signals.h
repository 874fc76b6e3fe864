// Ctrl-C, SIGTERM and SIGHUP as a request to stop the recording cleanly.
#pragma once

namespace zelt::cli {

/// While an object lives, SIGINT, SIGTERM and SIGHUP set a flag instead of ending the process; the
/// recording loop polls it, stops the acquisition and finishes its files. A second signal
/// ends the process at once the usual way (the first one already asked politely). The
/// destructor restores the previous handlers. One object at a time. SIGXFSZ and SIGPIPE are
/// ignored meanwhile, so that a file size limit or a closed terminal fails a write instead.
class StopSignals {
public:
    StopSignals();
    ~StopSignals();

    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    /// The first signal received (SIGINT, SIGTERM, SIGHUP), or 0.
    int received() const noexcept;
    /// "SIGINT", "SIGTERM", "SIGHUP" or "" for received().
    static const char* name(int signal) noexcept;
};

}  // namespace zelt::cli
