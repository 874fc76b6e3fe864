#include "progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>

namespace zelt::cli {
namespace {

// ANSI: cursor up one line, erase the whole line.
constexpr const char* kUp = "\x1b[1A";
constexpr const char* kEraseLine = "\r\x1b[2K";

std::string fixed(double value, int decimals) {
    char buffer[48];
    std::snprintf(buffer, sizeof buffer, "%.*f", decimals, value);
    return buffer;
}

}  // namespace

std::string progressLine(const CameraProgress& camera, double elapsed_seconds,
                         std::optional<double> remaining_seconds) {
    std::string line = camera.label + ": " + std::to_string(camera.frames) + " frames, " +
                       fixed(camera.fps, 1) + " fps, " + fixed(elapsed_seconds, 1) + " s elapsed";
    line += remaining_seconds ? ", " + fixed(*remaining_seconds, 1) + " s left"
                              : std::string(", time left unknown");
    if (camera.dropped > 0) line += ", " + std::to_string(camera.dropped) + " dropped";
    return line;
}

ProgressDisplay::ProgressDisplay(std::ostream& out, bool terminal)
    : m_out(out), m_terminal(terminal) {}

void ProgressDisplay::erase() {
    for (std::size_t i = 0; i < m_lines.size(); ++i) m_out << kUp << kEraseLine;
    m_lines.clear();
}

std::string ProgressDisplay::fitted(std::string line) const {
    // A line longer than the terminal would wrap, and moving up one line per line would then
    // leave pieces behind: cut it to the width.
    struct winsize size {};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1 &&
        line.size() >= size.ws_col) {
        line.resize(size.ws_col - 1u);
    }
    return line;
}

void ProgressDisplay::update(const std::vector<CameraProgress>& cameras, double elapsed_seconds,
                             std::optional<double> remaining_seconds) {
    if (!m_terminal) return;
    erase();
    for (const CameraProgress& camera : cameras) {
        m_lines.push_back(fitted(progressLine(camera, elapsed_seconds, remaining_seconds)));
        m_out << m_lines.back() << "\n";
    }
    m_out.flush();
}

void ProgressDisplay::status(const std::string& text) {
    if (!m_terminal) return;
    erase();
    m_lines.push_back(fitted(text));
    m_out << m_lines.back() << "\n";
    m_out.flush();
}

void ProgressDisplay::message(const std::string& text) {
    std::vector<std::string> lines;
    lines.swap(m_lines);
    if (m_terminal) {
        for (std::size_t i = 0; i < lines.size(); ++i) m_out << kUp << kEraseLine;
    }
    m_out << text << "\n";
    if (m_terminal) {
        for (const std::string& line : lines) m_out << line << "\n";
        m_lines = lines;
    }
    m_out.flush();
}

void ProgressDisplay::clear() {
    if (!m_terminal) return;
    erase();
    m_out.flush();
}

}  // namespace zelt::cli
