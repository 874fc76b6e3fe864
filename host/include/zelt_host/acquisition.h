// One acquisition: the host's call sequence from marking channels used to switching delivery
// off again (see host.h for the whole sequence and why each call is there).
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace zelt::host {

class Host;

/// How an Acquisition starts.
struct AcquisitionOptions {
    /// How long checkChannels [23] may stay false after prepareAcquisition [21]. A camera
    /// comes up in well under a second; a USB camera waking from suspend takes longer.
    std::chrono::milliseconds ready_timeout{10000};
    /// Pause between two checkChannels calls.
    std::chrono::milliseconds poll_interval{2};
    /// Whether a false prepareAcquisition ends the start with a HostError. When false, the
    /// acquisition goes on with the channels that came up (a camera that failed has posted
    /// its error, and checkChannels counts it as settled).
    bool require_prepared = true;
    /// Prepares the channels in steps instead of all at once: each step marks its channels
    /// used as well and calls prepareAcquisition [21] again, which starts only the cameras not
    /// started yet. A camera's start blocks until it has settled, so a camera that never does
    /// is known by the step that does not return, and a camera that fails by the step that
    /// answers false. Without require_prepared such a step's channels are marked unused again
    /// and the start goes on without them (AcquisitionReport::failed_steps). Empty: one step,
    /// the channels given to start().
    std::vector<std::vector<std::uint32_t>> prepare_steps;
    /// Called on the starting thread before each step's prepareAcquisition with its index.
    std::function<void(std::size_t)> on_prepare_step;
    /// Polled while waiting for the channels; true ends the start with a HostError.
    std::function<bool()> cancelled;
    /// Called on the starting thread once every channel is ready, before startAcquisition
    /// [25]: each camera has negotiated its format and no frame has been delivered yet.
    std::function<void()> on_ready;
};

/// What happened while an Acquisition started.
struct AcquisitionReport {
    bool prepared = false;         // prepareAcquisition [21] answered true
    bool ready = false;            // checkChannels [23] answered true before the timeout
    bool timed_out = false;        // the timeout passed without checkChannels answering true
    std::size_t ready_checks = 0;  // checkChannels calls made
    std::chrono::milliseconds ready_after{0};  // from prepareAcquisition to ready
    bool delivering = false;                   // canStopAcquisition [27] answered true
    std::vector<std::size_t> failed_steps;     // prepare steps left out (see prepare_steps)
};

/// Runs one acquisition of a Host's plug-in.
///
/// start() makes the calls
///   getChannelIds [19] (checks the ids), setTimeSource [31], resetChannelsUsed [18],
///   setChannelUsed [17] for each id, prepareAcquisition [21], checkChannels [23] until true,
///   startAcquisition [25], canStopAcquisition [27] (delivery on);
/// stop() makes the calls finishAcquisition [28] (delivery off), stopAcquisition [26].
/// The destructor stops a running acquisition, and so does Host::close().
///
/// When start() throws (an unknown id, a false prepareAcquisition, channels not ready in
/// time), startAcquisition has not been called: the plug-in is left prepared with the
/// channels marked used; a later start() or Host::close() cleans up. One running Acquisition
/// per Host; driven from the Host's thread.
class Acquisition {
public:
    explicit Acquisition(Host& host, AcquisitionOptions options = {});
    /// Constructs and start()s.
    Acquisition(Host& host, const std::vector<std::uint32_t>& channel_ids,
                AcquisitionOptions options = {});
    /// stop().
    ~Acquisition();

    Acquisition(const Acquisition&) = delete;
    Acquisition& operator=(const Acquisition&) = delete;

    /// Starts acquiring `channel_ids` (see above). Throws HostError when the Host is closed,
    /// an acquisition already runs, an id is not a channel of the plug-in, prepareAcquisition
    /// fails (with require_prepared; the text lists the errors the plug-in posted) or the
    /// channels are not ready in time.
    void start(const std::vector<std::uint32_t>& channel_ids);
    /// Switches delivery off and stops; nothing when not running.
    void stop() noexcept;
    bool isRunning() const noexcept { return m_running; }

    /// How the last start went.
    const AcquisitionReport& report() const noexcept { return m_report; }
    /// The channels of the running (or last) acquisition.
    const std::vector<std::uint32_t>& channelIds() const noexcept { return m_channel_ids; }

private:
    Host& m_host;
    AcquisitionOptions m_options;
    AcquisitionReport m_report;
    std::vector<std::uint32_t> m_channel_ids;
    bool m_running = false;
};

}  // namespace zelt::host
