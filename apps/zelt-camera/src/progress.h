// What a recording shows on the terminal while it runs, and its last line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace zelt::cli {

/// One camera's line.
struct CameraProgress {
    std::string label;  ///< "camera0 Virtual Camera 0"
    std::uint64_t frames = 0;
    std::uint64_t dropped = 0;
    double fps = 0.0;
};

/// "camera0 Virtual Camera 0: 120 frames, 30.0 fps, 4.0 s elapsed, 6.0 s left[, 3 dropped]"
/// (`remaining_seconds`: nothing when unknown).
std::string progressLine(const CameraProgress& camera, double elapsed_seconds,
                         std::optional<double> remaining_seconds);

/// The progress lines of a recording, one per camera, redrawn in place on a terminal. Off a
/// terminal it shows nothing (messages still go through). Not thread-safe: the recording's
/// control thread draws.
class ProgressDisplay {
public:
    /// `terminal`: whether `out` is a terminal (the lines are drawn only then).
    ProgressDisplay(std::ostream& out, bool terminal);

    /// Redraws the lines.
    void update(const std::vector<CameraProgress>& cameras, double elapsed_seconds,
                std::optional<double> remaining_seconds);
    /// Shows one line in place of the progress lines ("waiting for camera 0 ..."); on a
    /// terminal only.
    void status(const std::string& text);
    /// Prints `text` on a line of its own above the progress lines.
    void message(const std::string& text);
    /// Removes the progress lines (before the summary).
    void clear();

private:
    void erase();
    std::string fitted(std::string line) const;

    std::ostream& m_out;
    bool m_terminal;
    std::vector<std::string> m_lines;  ///< what is on screen now
};

}  // namespace zelt::cli
