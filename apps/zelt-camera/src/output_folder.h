// The folder a recording goes to.
#pragma once

#include <string>

namespace zelt::cli {

/// The folder of a recording, checked before anything is loaded and created only when the
/// recording is about to start, so that a command that fails leaves nothing behind.
class OutputFolder {
public:
    /// `folder`: --out (empty: a new folder "zelt-recording-YYYYMMDD-HHMMSS" in the current
    /// one, "-2", "-3", ... added when that exists). An existing folder that holds anything is
    /// refused (CliError kOutputNotWritable) unless `overwrite`.
    OutputFolder(const std::string& folder, bool overwrite);

    /// The absolute path.
    const std::string& path() const noexcept { return m_path; }
    /// Creates the folder with its parents when missing, removes the files of an earlier
    /// recording (with overwrite) and checks that a file can be created in it. Throws
    /// CliError(kOutputNotWritable) saying why not.
    void create();

private:
    std::string m_path;
    std::string m_given;  ///< as the user wrote it, for messages
    bool m_overwrite = false;
};

}  // namespace zelt::cli
