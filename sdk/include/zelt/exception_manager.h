// Errors a plug-in reports to the user through the host.
#pragma once

#include <string>
#include <utility>

namespace zelt {

/// One message for the user: a source tag (such as "ZELT_CAMERA"), a template in which "%1"
/// stands for the argument, and the argument. The plug-in creates and owns it; the host keeps
/// what it needs when the message is posted, because the plug-in deletes it after withdrawing.
class ErrorMessage {
public:
    ErrorMessage(std::string source_tag, std::string message_template, std::string argument)
        : m_source_tag(std::move(source_tag)),
          m_template(std::move(message_template)),
          m_argument(std::move(argument)) {}

    const std::string& sourceTag() const noexcept { return m_source_tag; }
    const std::string& messageTemplate() const noexcept { return m_template; }
    const std::string& argument() const noexcept { return m_argument; }

    /// The template with every "%1" replaced by the argument.
    std::string text() const {
        std::string out;
        out.reserve(m_template.size() + m_argument.size());
        for (std::size_t i = 0; i < m_template.size(); ++i) {
            if (m_template[i] == '%' && i + 1 < m_template.size() && m_template[i + 1] == '1') {
                out += m_argument;
                ++i;
            } else {
                out += m_template[i];
            }
        }
        return out;
    }

private:
    std::string m_source_tag;
    std::string m_template;
    std::string m_argument;
};

/// The host's collector of user-facing errors. A posted message stays shown until the plug-in
/// withdraws it (same pointer). Calls come from host threads and from the thread that
/// dispatches GLib's default main context.
///
/// Threads. postMessage and withdrawMessage come on the host thread whose call into the
/// plug-in failed or recovered (prepareAcquisition "Could not start camera %1",
/// stopAcquisition and deinit "Could not stop camera %1", updateChannels "Could not set up
/// camera %1") and on the thread that dispatches GLib's default main context (a camera's
/// error on its pipeline bus). Two threads may post at the same time: lock your own state.
///
/// From inside a call the manager may read channel options (such as the "Valid" of the
/// channel whose error it is) and keep a copy of the message's texts. It must not call the
/// plug-in's acquisition or lifecycle operations (prepareAcquisition, startAcquisition,
/// finishAcquisition, stopAcquisition, deinit, updateChannels, destroying the plug-in), must not
/// set channel options, must not block waiting for another host thread that is inside the plug-in,
/// and must not throw. The manager must outlive every channel of the plug-in
/// (IfDAQPlugin::setExceptionManager).
class IfExceptionManager {
public:
    virtual void postMessage(const ErrorMessage* message) = 0;
    virtual void withdrawMessage(const ErrorMessage* message) = 0;

protected:
    ~IfExceptionManager() = default;
};

}  // namespace zelt
