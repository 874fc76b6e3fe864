#include "csv_writer.h"

#include <cerrno>
#include <cinttypes>
#include <cstring>
#include <stdexcept>

namespace zelt::cli {
namespace {

std::runtime_error writeError(const std::string& path) {
    return std::runtime_error("cannot write '" + path + "': " + std::strerror(errno));
}

}  // namespace

std::string csvRowText(const CsvRow& row) {
    char buffer[160];
    int length = std::snprintf(buffer, sizeof buffer, "%" PRIu64 ",%" PRIu64 ",%.9f,%" PRIu32 ",",
                               row.index, row.host_ticks, row.seconds, row.bytes);
    std::string text(buffer, static_cast<std::size_t>(length));
    if (row.frame_counter) text += std::to_string(*row.frame_counter);
    return text;
}

CsvWriter::CsvWriter(const std::string& path)
    : m_path(path), m_file(std::fopen(path.c_str(), "w")) {
    if (!m_file) throw writeError(path);
    // Rows are small; a large buffer keeps the writer thread's system calls rare.
    std::setvbuf(m_file.get(), nullptr, _IOFBF, 1 << 16);
    if (std::fprintf(m_file.get(), "%s\n", kCsvHeader) < 0) throw writeError(path);
}

CsvWriter::~CsvWriter() = default;

void CsvWriter::write(const CsvRow& row) {
    if (!m_file) throw std::runtime_error("'" + m_path + "' is already closed");
    const std::string text = csvRowText(row);
    if (std::fprintf(m_file.get(), "%s\n", text.c_str()) < 0) throw writeError(m_path);
}

void CsvWriter::close() {
    if (!m_file) return;
    std::FILE* file = m_file.release();
    const bool failed = std::ferror(file) != 0;
    if (std::fclose(file) != 0 || failed) throw writeError(m_path);
}

}  // namespace zelt::cli
