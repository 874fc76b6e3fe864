#include "zelt_host/acquisition.h"

#include <set>
#include <string>
#include <thread>

#include "zelt_host/host.h"

namespace zelt::host {
namespace {

// "prepareAcquisition failed" followed by the errors the plug-in shows now, so that the
// reason reaches whoever catches the HostError.
std::string prepareFailureText(const RecordingExceptionManager& exceptions) {
    std::string text = "the plug-in could not prepare the acquisition";
    const auto posted = exceptions.posted();
    for (std::size_t i = 0; i < posted.size(); ++i) {
        text += i == 0 ? ": " : "; ";
        text += posted[i].text;
    }
    return text;
}

}  // namespace

Acquisition::Acquisition(Host& host, AcquisitionOptions options)
    : m_host(host), m_options(options) {}

Acquisition::Acquisition(Host& host, const std::vector<std::uint32_t>& channel_ids,
                         AcquisitionOptions options)
    : Acquisition(host, options) {
    start(channel_ids);
}

Acquisition::~Acquisition() { stop(); }

void Acquisition::start(const std::vector<std::uint32_t>& channel_ids) {
    if (m_running) throw HostError("the acquisition is already running");
    if (m_host.m_acquisition != nullptr) {
        throw HostError("another acquisition of this host is running");
    }
    zelt::IfDAQPlugin& plugin = m_host.plugin();

    const std::set<std::uint32_t> known = plugin.getChannelIds();
    for (const std::uint32_t id : channel_ids) {
        if (known.count(id) == 0) {
            throw HostError("the plug-in has no channel " + std::to_string(id));
        }
    }
    m_channel_ids = channel_ids;
    m_report = AcquisitionReport{};

    plugin.setTimeSource(m_host.timeSource());
    plugin.resetChannelsUsed();

    const auto prepared_at = std::chrono::steady_clock::now();
    if (m_options.prepare_steps.empty()) {
        for (const std::uint32_t id : channel_ids) plugin.setChannelUsed(id, true);
        m_report.prepared = plugin.prepareAcquisition();
        if (!m_report.prepared && m_options.require_prepared) {
            throw HostError(prepareFailureText(m_host.exceptions()));
        }
    } else {
        m_channel_ids.clear();
        m_report.prepared = true;
        for (std::size_t step = 0; step < m_options.prepare_steps.size(); ++step) {
            const auto& ids = m_options.prepare_steps[step];
            if (m_options.on_prepare_step) m_options.on_prepare_step(step);
            for (const std::uint32_t id : ids) plugin.setChannelUsed(id, true);
            if (plugin.prepareAcquisition()) {
                m_channel_ids.insert(m_channel_ids.end(), ids.begin(), ids.end());
                continue;
            }
            m_report.prepared = false;
            if (m_options.require_prepared) {
                throw HostError(prepareFailureText(m_host.exceptions()));
            }
            for (const std::uint32_t id : ids) plugin.setChannelUsed(id, false);
            m_report.failed_steps.push_back(step);
        }
        if (m_channel_ids.empty()) throw HostError(prepareFailureText(m_host.exceptions()));
    }

    const auto deadline = prepared_at + m_options.ready_timeout;
    for (;;) {
        ++m_report.ready_checks;
        if (plugin.checkChannels()) {
            m_report.ready = true;
            break;
        }
        if (std::chrono::steady_clock::now() >= deadline) break;
        if (m_options.cancelled && m_options.cancelled()) {
            throw HostError("the start was cancelled");
        }
        std::this_thread::sleep_for(m_options.poll_interval);
    }
    m_report.ready_after = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - prepared_at);
    if (!m_report.ready) {
        m_report.timed_out = true;
        throw HostError("the channels did not come up within " +
                        std::to_string(m_options.ready_timeout.count()) + " ms");
    }

    if (m_options.on_ready) m_options.on_ready();
    plugin.startAcquisition();
    m_report.delivering = plugin.canStopAcquisition();
    m_running = true;
    m_host.m_acquisition = this;
}

void Acquisition::stop() noexcept {
    if (!m_running) return;
    m_running = false;
    if (m_host.m_acquisition == this) m_host.m_acquisition = nullptr;
    if (m_host.m_plugin == nullptr) return;
    m_host.m_plugin->finishAcquisition();
    m_host.m_plugin->stopAcquisition();
}

}  // namespace zelt::host
