// The host's exception manager: collects the errors a plug-in posts for the user.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "zelt/exception_manager.h"

namespace zelt::host {

/// One post or withdrawal seen by the exception manager, with copies of the message's texts
/// (the plug-in deletes its message after withdrawing it).
struct ExceptionRecord {
    enum class Action { kPosted, kWithdrawn };

    Action action = Action::kPosted;
    std::string source_tag;        // such as "ZELT_CAMERA"
    std::string message_template;  // such as "Could not start camera %1"
    std::string argument;          // what "%1" stands for
    std::string text;              // the template with "%1" replaced
    std::chrono::system_clock::time_point time;
    /// For a post: the message is still shown (not withdrawn yet). False for a withdrawal.
    bool still_posted = false;
};

/// An exception manager that records every post and withdrawal and can print posted errors.
///
/// A message stays shown from postMessage until withdrawMessage with the same pointer. A
/// withdrawal of a message that is not shown is recorded all the same (with the message's
/// texts), so that tests see it. Null messages are ignored.
///
/// Thread-safe: plug-ins post from host threads, GStreamer's streaming threads and the thread
/// that dispatches GLib's default main context. The object must outlive every plug-in it is
/// handed to (IfDAQPlugin::setExceptionManager).
class RecordingExceptionManager final : public zelt::IfExceptionManager {
public:
    /// `output`: where posted errors are printed (one line each, "error [TAG]: text"), or
    /// null for none. Not owned; must outlive the manager or be reset with setOutput.
    explicit RecordingExceptionManager(std::ostream* output = nullptr);
    virtual ~RecordingExceptionManager();

    RecordingExceptionManager(const RecordingExceptionManager&) = delete;
    RecordingExceptionManager& operator=(const RecordingExceptionManager&) = delete;

    void postMessage(const zelt::ErrorMessage* message) override;
    void withdrawMessage(const zelt::ErrorMessage* message) override;

    /// Where posted errors are printed from now on; null stops printing.
    void setOutput(std::ostream* output);

    /// The messages currently shown, oldest first.
    std::vector<ExceptionRecord> posted() const;
    /// Every post so far, withdrawn or not, oldest first (history() without the withdrawals).
    std::vector<ExceptionRecord> posts() const;
    /// Every post and withdrawal so far, in order.
    std::vector<ExceptionRecord> history() const;
    /// Number of posts so far (withdrawn ones included).
    std::size_t postCount() const;
    /// Number of withdrawals so far.
    std::size_t withdrawCount() const;

    /// Waits until at least `count` posts have been seen; false on timeout.
    bool waitForPosts(std::size_t count, std::chrono::milliseconds timeout) const;
    /// Waits until some post so far (withdrawn or not) satisfies `predicate`, and returns
    /// it; nothing on timeout. `predicate` runs under the manager's lock: it must not call
    /// the manager.
    std::optional<ExceptionRecord> waitForPost(
        const std::function<bool(const ExceptionRecord&)>& predicate,
        std::chrono::milliseconds timeout) const;

    /// Forgets the history, except the posts still shown (a later withdrawal must find them).
    void clear();

private:
    struct Entry {
        ExceptionRecord record;
        const zelt::ErrorMessage* message;  // identity only; never read after the post
    };

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<Entry> m_entries;
    std::size_t m_post_count = 0;
    std::size_t m_withdraw_count = 0;
    std::ostream* m_output;
};

}  // namespace zelt::host
