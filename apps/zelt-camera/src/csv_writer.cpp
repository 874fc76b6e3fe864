#include "csv_writer.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstring>
#include <stdexcept>

namespace zelt::cli {
namespace {

// More than this waiting is written at once, whatever the interval says.
constexpr std::size_t kMaxPendingBytes = 64 * 1024;

std::runtime_error writeError(const std::string& path, int error) {
    return std::runtime_error("cannot write '" + path + "': " + std::strerror(error));
}

}  // namespace

void appendCsvRow(std::string& out, const CsvRow& row) {
    char buffer[160];
    int length = std::snprintf(buffer, sizeof buffer, "%" PRIu64 ",%" PRIu64 ",%.9f,%" PRIu32 ",",
                               row.index, row.host_ticks, row.seconds, row.bytes);
    if (row.frame_counter) {
        length += std::snprintf(buffer + length, sizeof buffer - static_cast<std::size_t>(length),
                                "%" PRIu32, *row.frame_counter);
    }
    out.append(buffer, static_cast<std::size_t>(length));
}

std::string csvRowText(const CsvRow& row) {
    std::string text;
    appendCsvRow(text, row);
    return text;
}

CsvWriter::CsvWriter(const std::string& path, std::chrono::milliseconds flush_interval)
    : m_path(path),
      m_flush_interval(flush_interval),
      m_last_flush(std::chrono::steady_clock::now()) {
    m_fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (m_fd < 0) throw writeError(path, errno);
    m_pending = std::string(kCsvHeader) + "\n";
    writePending();
}

CsvWriter::~CsvWriter() {
    try {
        close();
    } catch (...) {
        // The writer reported the failure at its last row already, or nobody asks any more.
    }
}

void CsvWriter::writePending() {
    std::size_t done = 0;
    while (done < m_pending.size()) {
        const ssize_t count = ::write(m_fd, m_pending.data() + done, m_pending.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) {
            const int error = count < 0 ? errno : ENOSPC;
            // Part of a line may have reached the file: keep the whole lines, cut the rest.
            const std::size_t line_end =
                done == 0 ? std::string::npos : m_pending.rfind('\n', done - 1);
            const std::uint64_t whole =
                m_written + (line_end == std::string::npos ? 0 : line_end + 1);
            m_failed = true;
            m_pending.clear();
            if (::ftruncate(m_fd, static_cast<off_t>(whole)) == 0) m_written = whole;
            throw writeError(m_path, error);
        }
        done += static_cast<std::size_t>(count);
    }
    m_written += m_pending.size();
    m_pending.clear();
    m_last_flush = std::chrono::steady_clock::now();
}

void CsvWriter::write(const CsvRow& row) {
    if (m_fd < 0 || m_failed) throw std::runtime_error("'" + m_path + "' is already closed");
    appendCsvRow(m_pending, row);
    m_pending += '\n';
    if (m_pending.size() >= kMaxPendingBytes ||
        std::chrono::steady_clock::now() - m_last_flush >= m_flush_interval) {
        writePending();
    }
}

void CsvWriter::flush() {
    if (m_fd >= 0 && !m_failed && !m_pending.empty()) writePending();
}

void CsvWriter::flushIfDue() {
    if (std::chrono::steady_clock::now() - m_last_flush >= m_flush_interval) flush();
}

void CsvWriter::close() {
    if (m_fd < 0) return;
    std::string failure;
    try {
        flush();
    } catch (const std::exception& error) {
        failure = error.what();
    }
    const int result = ::close(m_fd);
    const int error = errno;
    m_fd = -1;
    if (!failure.empty()) throw std::runtime_error(failure);
    if (result != 0 && !m_failed) throw writeError(m_path, error);
}

}  // namespace zelt::cli
