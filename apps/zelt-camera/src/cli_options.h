// The command line of zelt-camera: global options, the command and its options.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zelt::cli {

enum class Command { kNone, kHelp, kList, kInfo, kTopology, kRecord };

/// Options every command takes; they may stand before or after the command.
struct GlobalOptions {
    /// --plugin PATH: the camera plug-in library (default: the one beside the tool).
    std::optional<std::string> plugin_path;
    /// --virtual[=N|FILE]: "1" for a bare --virtual, else the text after '=' (a count or a
    /// JSON file describing the cameras). Nothing: real cameras only.
    std::optional<std::string> virtual_cameras;
    /// --log-level LEVEL: the plug-in's log level (a number 0-7 or a name).
    std::optional<std::string> log_level;
    bool version = false;
    bool help = false;
};

struct ListOptions {
    bool json = false;
};

struct InfoOptions {
    std::string channel;
    bool json = false;
};

/// One --setting: the frame setting text, for one channel or (no channel) for every camera.
struct SettingRequest {
    std::optional<std::string> channel;  ///< CHANNEL of "CHANNEL=TEXT"
    std::string text;
};

struct RecordOptions {
    /// --out DIR; empty: a new folder "zelt-recording-YYYYMMDD-HHMMSS" in the current one.
    std::string out;
    /// --overwrite: a --out folder that holds files is used anyway (its recording files are
    /// replaced); without it such a folder is refused.
    bool overwrite = false;
    /// --camera CHANNEL, repeatable; empty: every camera.
    std::vector<std::string> cameras;
    /// --setting [CHANNEL=]TEXT, repeatable; a channel's own one wins over the plain one.
    std::vector<SettingRequest> settings;
    std::optional<std::uint32_t> subsampling;
    /// At most one of the two is set; neither: until Ctrl-C or SIGTERM.
    std::optional<std::uint64_t> frames;
    std::optional<double> duration_seconds;
    /// --codec raw|ffv1|h264.
    std::string codec = "raw";
    /// --start-timeout SECONDS: how long the cameras may take to deliver their first frame.
    double start_timeout_seconds = 10.0;
    /// --fail-fast: any camera's failure ends the whole recording.
    bool fail_fast = false;
    /// --memory MIB: all frame queues together.
    std::uint64_t memory_mib = 512;
};

/// The whole command line, parsed.
struct CommandLine {
    GlobalOptions global;
    Command command = Command::kNone;
    /// For `help COMMAND` and `COMMAND --help`: the command whose help is wanted.
    Command help_topic = Command::kNone;
    ListOptions list;
    InfoOptions info;
    RecordOptions record;
};

/// Parses argv[1..argc-1]. Throws CliError(kUsage) with a message naming the offending
/// argument. --help anywhere asks for help (with the command, if one was given) and skips the
/// command's own checks; so does --version.
CommandLine parseCommandLine(int argc, const char* const* argv);
/// The same for a vector of arguments (without the program name).
CommandLine parseArguments(const std::vector<std::string>& arguments);

/// The name a command is called by ("record"); "" for kNone and kHelp.
const char* commandName(Command command) noexcept;

/// The help text of `command` (kNone: the overview of every command).
std::string helpText(Command command);

}  // namespace zelt::cli
