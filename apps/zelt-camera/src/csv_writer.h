// The per-frame table of a recording.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace zelt::cli {

/// The header line of the table.
inline constexpr const char* kCsvHeader = "index,host_ticks,seconds,bytes,frame_counter";

/// One row: the frame's place in the file (from 0), its host time stamp in ticks, its time in
/// seconds from the recording's common start (the frame's time stamp in the video file), the
/// bytes of the sample the plug-in delivered (12-byte image header included) and the frame
/// counter's value for it (empty when the counter sent none).
struct CsvRow {
    std::uint64_t index = 0;
    std::uint64_t host_ticks = 0;
    double seconds = 0.0;
    std::uint32_t bytes = 0;
    std::optional<std::uint32_t> frame_counter;
};

/// The text of `row` without the line break ("0,123456,0.000000000,6156,0"). Seconds have nine
/// decimals: nanoseconds, finer than any host tick of interest.
std::string csvRowText(const CsvRow& row);
/// Appends csvRowText(row) to `out`, without a string of its own (one row per frame).
void appendCsvRow(std::string& out, const CsvRow& row);

/// Writes the table to a file as it grows: rows collect in memory and reach the file in whole
/// lines, at least every `flush_interval` (and whenever 64 KiB are waiting), so that a process
/// killed at any moment leaves a table of whole lines at most that much behind. A write the
/// disk refuses (full, quota, file size limit) cuts the file back to its last whole line and
/// throws std::runtime_error with the system's reason; later rows are not written.
class CsvWriter {
public:
    /// Creates (truncates) the file and writes the header line; throws std::runtime_error
    /// when it cannot.
    explicit CsvWriter(const std::string& path,
                       std::chrono::milliseconds flush_interval = std::chrono::milliseconds(250));
    /// Closes the file without throwing (what is waiting is written when it can be).
    ~CsvWriter();

    CsvWriter(const CsvWriter&) = delete;
    CsvWriter& operator=(const CsvWriter&) = delete;

    void write(const CsvRow& row);
    /// Writes what is waiting now.
    void flush();
    /// Writes what is waiting when the flush interval has passed.
    void flushIfDue();
    /// Flushes and closes; idempotent.
    void close();

private:
    void writePending();

    std::string m_path;
    int m_fd = -1;
    std::string m_pending;        ///< whole lines not yet in the file
    std::uint64_t m_written = 0;  ///< bytes of whole lines in the file
    bool m_failed = false;
    std::chrono::milliseconds m_flush_interval;
    std::chrono::steady_clock::time_point m_last_flush;
};

}  // namespace zelt::cli
