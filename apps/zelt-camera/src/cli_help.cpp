// The help texts of zelt-camera. docs/zelt-camera.md tells the same at length.
#include "cli_options.h"

namespace zelt::cli {
namespace {

constexpr const char* kGlobalOptions =
    "Global options (before or after the command):\n"
    "  --plugin PATH        the camera plug-in library (default: the one built or installed\n"
    "                       beside this tool; ZELT_CAMERA_PLUGIN overrides the default)\n"
    "  --virtual[=N|FILE]   use virtual cameras only: one, N, or those a JSON file describes\n"
    "                       (docs/virtual-cameras.md)\n"
    "  --log-level LEVEL    the plug-in's log level: trace, debug, detail, info, notice,\n"
    "                       warning (default), error, fatal, or 0-7\n"
    "  --version            print the version and exit\n"
    "  -h, --help           print help (of a command: zelt-camera COMMAND --help)\n";

constexpr const char* kOverview =
    "Usage: zelt-camera [GLOBAL OPTIONS] COMMAND [OPTIONS]\n"
    "\n"
    "Lists, describes and records the cameras of the zelt camera plug-in, driving the plug-in\n"
    "through the host interfaces as a data-acquisition host does.\n"
    "\n"
    "Commands:\n"
    "  list [--json]              every camera channel: id, name, device path, frame settings\n"
    "                             (the default marked) and its frame counter channel\n"
    "  info CHANNEL [--json]      every option of a channel: key, value and constraints\n"
    "  topology                   the topology document as the host receives it\n"
    "  record [--out DIR] ...     record the cameras to video, CSV, PNG and a manifest\n"
    "  help [COMMAND]             this text, or a command's\n"
    "\n";

constexpr const char* kExitCodes =
    "Exit codes: 0 success, 1 failure, 2 wrong command line, 3 no camera found, 4 unknown\n"
    "channel, 5 frame setting not offered, 6 output folder not writable, 7 plug-in not\n"
    "loaded, 8 a camera failed (the plug-in posted an error), 9 a file could not be\n"
    "written while recording, 10 start timeout, 129 hangup (SIGHUP), 130 interrupted\n"
    "(SIGINT), 143 terminated (SIGTERM).\n";

constexpr const char* kChannel =
    "CHANNEL is a channel id (0, or 65536 for a frame counter), a device path\n"
    "(/dev/video0) or a camera name (\"Virtual Camera 0\").\n";

}  // namespace

std::string helpText(Command command) {
    std::string text;
    switch (command) {
        case Command::kList:
            text =
                "Usage: zelt-camera list [--json]\n"
                "\n"
                "Lists every camera channel: id, name, device path, the frame settings it offers\n"
                "(the default marked) and its frame counter channel.\n"
                "\n"
                "  --json    one JSON document on standard output\n"
                "\n";
            break;
        case Command::kInfo:
            text =
                std::string(
                    "Usage: zelt-camera info CHANNEL [--json]\n"
                    "\n"
                    "Lists every option of a channel in the channel's key order: key, value (its\n"
                    "text form), type and constraints.\n"
                    "\n") +
                kChannel +
                "\n"
                "  --json    one JSON document on standard output\n"
                "\n";
            break;
        case Command::kTopology:
            text =
                "Usage: zelt-camera topology\n"
                "\n"
                "Prints the plug-in's topology document (XML) exactly as the host receives it.\n"
                "\n";
            break;
        case Command::kRecord:
            text =
                std::string(
                    "Usage: zelt-camera record [--out DIR] [--camera CHANNEL]...\n"
                    "                          [--setting [CHANNEL=]\"640 x 480 @ 30 fps\"]...\n"
                    "                          [--subsampling N] [--frames N | --duration "
                    "SECONDS]\n"
                    "                          [--codec raw|ffv1|h264] [--start-timeout SECONDS]\n"
                    "                          [--fail-fast] [--memory MIB] [--overwrite]\n"
                    "\n"
                    "Runs one acquisition on the chosen cameras (all by default) and writes, per\n"
                    "camera, cameraID.mkv (Matroska video, each frame stamped with its host\n"
                    "time), cameraID.csv (one row per frame, written as frames arrive),\n"
                    "cameraID.png (one frame), and one recording.json manifest, rewritten every\n"
                    "2 s while recording. Ctrl-C, SIGTERM and SIGHUP stop the recording cleanly:\n"
                    "the files are complete and the manifest says so. A killed process leaves\n"
                    "files that play up to its last second.\n"
                    "\n"
                    "One time axis: every video and table counts from the recording's common\n"
                    "start, the host tick of the first frame of any camera, so the videos line\n"
                    "up. The manifest gives that tick (time_base.common_start_host_ticks), the\n"
                    "UTC time of tick 0 (time_base.absolute_start) and each camera's first\n"
                    "frame in ticks and UTC; host_ticks / frequency + absolute_start is the UTC\n"
                    "time of any row.\n"
                    "\n"
                    "  --out DIR           the folder to write to (created when missing; one that\n"
                    "                      holds files is refused). Default: a new folder\n"
                    "                      zelt-recording-YYYYMMDD-HHMMSS here\n"
                    "  --overwrite         use a --out that holds files; its recording is "
                    "replaced\n"
                    "  --camera CHANNEL    a camera to record; repeat for several\n"
                    "  --setting TEXT      the frame setting of every recorded camera, one it\n"
                    "                      offers (see list); CHANNEL=TEXT for one camera\n"
                    "  --subsampling N     record every N-th frame of the camera\n"
                    "  --frames N          stop after N frames of every camera\n"
                    "  --duration SECONDS  stop after this time\n"
                    "                      (neither: record until Ctrl-C or SIGTERM, exit 0)\n"
                    "  --codec CODEC       raw (lossless, default), ffv1 (lossless, smaller) or\n"
                    "                      h264 (lossy, smallest)\n"
                    "  --start-timeout S   give up when a camera has not delivered its first\n"
                    "                      frame after S seconds (default 10)\n"
                    "  --fail-fast         one camera's failure ends the recording (default: the\n"
                    "                      others go on; the exit code says a camera failed)\n"
                    "  --memory MIB        all frame queues together (default 512)\n"
                    "\n") +
                kChannel + "\n";
            break;
        default:
            text = kOverview;
            break;
    }
    return text + kGlobalOptions + "\n" + kExitCodes;
}

}  // namespace zelt::cli
