// The per-frame table of a recording.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

namespace zelt::cli {

/// The header line of the table.
inline constexpr const char* kCsvHeader = "index,host_ticks,seconds,bytes,frame_counter";

/// One row: the frame's place in the file (from 0), its host time stamp in ticks, its time in
/// seconds from the first frame (the frame's time stamp in the video file), the bytes of the
/// sample the plug-in delivered (12-byte image header included) and the frame counter's value
/// for it (empty when the counter sent none).
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

/// Writes the table to a file: the header at once, one line per row, buffered. close()
/// flushes and closes; a write error throws std::runtime_error at the row or at close().
class CsvWriter {
public:
    /// Creates (truncates) the file; throws std::runtime_error when it cannot.
    explicit CsvWriter(const std::string& path);
    ~CsvWriter();

    CsvWriter(const CsvWriter&) = delete;
    CsvWriter& operator=(const CsvWriter&) = delete;

    void write(const CsvRow& row);
    void close();

private:
    struct FileClose {
        void operator()(std::FILE* file) const noexcept { std::fclose(file); }
    };

    std::string m_path;
    std::unique_ptr<std::FILE, FileClose> m_file;
};

}  // namespace zelt::cli
