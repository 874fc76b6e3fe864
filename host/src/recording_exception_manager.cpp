#include "zelt_host/recording_exception_manager.h"

#include <algorithm>
#include <ostream>

namespace zelt::host {
namespace {

ExceptionRecord makeRecord(ExceptionRecord::Action action, const zelt::ErrorMessage& message) {
    ExceptionRecord record;
    record.action = action;
    record.source_tag = message.sourceTag();
    record.message_template = message.messageTemplate();
    record.argument = message.argument();
    record.text = message.text();
    record.time = std::chrono::system_clock::now();
    record.still_posted = action == ExceptionRecord::Action::kPosted;
    return record;
}

}  // namespace

RecordingExceptionManager::RecordingExceptionManager(std::ostream* output) : m_output(output) {}

RecordingExceptionManager::~RecordingExceptionManager() = default;

void RecordingExceptionManager::postMessage(const zelt::ErrorMessage* message) {
    if (message == nullptr) return;
    ExceptionRecord record = makeRecord(ExceptionRecord::Action::kPosted, *message);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_output != nullptr) {
            // Printed under the lock so that lines from several threads never interleave.
            *m_output << "error [" << record.source_tag << "]: " << record.text << std::endl;
        }
        m_entries.push_back(Entry{std::move(record), message});
        ++m_post_count;
    }
    m_changed.notify_all();
}

void RecordingExceptionManager::withdrawMessage(const zelt::ErrorMessage* message) {
    if (message == nullptr) return;
    ExceptionRecord record = makeRecord(ExceptionRecord::Action::kWithdrawn, *message);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (auto& entry : m_entries) {
            if (entry.message == message && entry.record.still_posted) {
                entry.record.still_posted = false;
                entry.message = nullptr;  // the plug-in may reuse the address for a new message
            }
        }
        m_entries.push_back(Entry{std::move(record), nullptr});
        ++m_withdraw_count;
    }
    m_changed.notify_all();
}

void RecordingExceptionManager::setOutput(std::ostream* output) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_output = output;
}

std::vector<ExceptionRecord> RecordingExceptionManager::posted() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<ExceptionRecord> out;
    for (const auto& entry : m_entries) {
        if (entry.record.still_posted) out.push_back(entry.record);
    }
    return out;
}

std::vector<ExceptionRecord> RecordingExceptionManager::posts() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<ExceptionRecord> out;
    for (const auto& entry : m_entries) {
        if (entry.record.action == ExceptionRecord::Action::kPosted) out.push_back(entry.record);
    }
    return out;
}

std::vector<ExceptionRecord> RecordingExceptionManager::history() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<ExceptionRecord> out;
    out.reserve(m_entries.size());
    for (const auto& entry : m_entries) out.push_back(entry.record);
    return out;
}

std::size_t RecordingExceptionManager::postCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_post_count;
}

std::size_t RecordingExceptionManager::withdrawCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_withdraw_count;
}

bool RecordingExceptionManager::waitForPosts(std::size_t count,
                                             std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [&] { return m_post_count >= count; });
}

std::optional<ExceptionRecord> RecordingExceptionManager::waitForPost(
    const std::function<bool(const ExceptionRecord&)>& predicate,
    std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    std::optional<ExceptionRecord> found;
    m_changed.wait_for(lock, timeout, [&] {
        const auto hit = std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry& e) {
            return e.record.action == ExceptionRecord::Action::kPosted && predicate(e.record);
        });
        if (hit != m_entries.end()) found = hit->record;
        return found.has_value();
    });
    return found;
}

void RecordingExceptionManager::clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_entries.erase(std::remove_if(m_entries.begin(), m_entries.end(),
                                   [](const Entry& e) { return !e.record.still_posted; }),
                    m_entries.end());
}

}  // namespace zelt::host
