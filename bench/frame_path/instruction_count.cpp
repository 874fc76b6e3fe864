// Instructions per frame: one variant run again under callgrind, counted over
// its frame window only (the window zeroes the counts when it opens and dumps them when it
// closes), so start-up, warm-up and the frames a camera drops before delivery starts are left
// out. Unlike CPU time, the count does not move with the load of the machine.
#include <dirent.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "frame_path_runs.h"
#include "zelt_host/plugin_library.h"

namespace zelt_bench {
namespace {

// bench_frame_path_counted, beside this program: the same variants without the OpenCV peer,
// whose libraries valgrind cannot always load.
std::string countedExecutable() {
    const std::string directory = zelt::host::executableDirectory();
    if (directory.empty()) throw std::runtime_error("cannot find this program's own folder");
    const std::string program = directory + "/bench_frame_path_counted";
    if (access(program.c_str(), X_OK) != 0) throw std::runtime_error(program + " is missing");
    return program;
}

// The names of the files in `folder` that begin with `prefix` (none when the folder cannot be
// read).
std::vector<std::string> filesStartingWith(const std::string& folder, const std::string& prefix) {
    std::vector<std::string> names;
    DIR* directory = opendir(folder.c_str());
    if (directory == nullptr) return names;
    while (const dirent* entry = readdir(directory)) {
        const std::string name = entry->d_name;
        if (name.compare(0, prefix.size(), prefix) == 0) names.push_back(name);
    }
    closedir(directory);
    return names;
}

// Runs `arguments` as a child process with its output to `log`; its exit status.
int runChild(const std::vector<std::string>& arguments, const std::string& log) {
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("cannot start valgrind");
    if (child == 0) {
        std::FILE* out = std::freopen(log.c_str(), "w", stdout);
        if (out != nullptr) dup2(fileno(stdout), fileno(stderr));
        std::vector<char*> argv;
        for (const std::string& argument : arguments)
            argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The instructions of the frame window: callgrind runs with one profile per thread, and each
// thread that ran while the window was open has a dump of its own written when it closed
// ("desc: Trigger: Client Request: frame-window"). The sum of their "summary:" lines (a
// thread's costs since the window zeroed them) counts every instruction of every thread once;
// -1 when no such dump was found. The "totals:" line is no measure here: it adds the costs of
// the calls still open when the counts were zeroed, so it moves with where each thread stood.
double windowInstructions(const std::string& folder, const std::string& prefix) {
    double instructions = 0;
    bool found = false;
    for (const std::string& name : filesStartingWith(folder, prefix)) {
        std::ifstream dump(folder + "/" + name);
        bool window = false;
        for (std::string line; std::getline(dump, line);) {
            if (line.rfind("desc: Trigger:", 0) == 0) {
                window = line.find("frame-window") != std::string::npos;
            } else if (window && line.rfind("summary:", 0) == 0) {
                std::istringstream figures(line.substr(line.find(':') + 1));
                double thread_instructions = -1;
                figures >> thread_instructions;
                if (thread_instructions >= 0) {
                    instructions += thread_instructions;
                    found = true;
                }
                break;
            }
        }
    }
    return found ? instructions : -1;
}

}  // namespace

bool callgrindAvailable() { return std::system("valgrind --version >/dev/null 2>&1") == 0; }

double instructionsPerFrame(const std::string& variant, const VideoMode& mode,
                            const std::string& mode_flag, std::uint64_t frames,
                            std::uint64_t warmup, const std::string& folder) {
    const std::string prefix = "callgrind." + variant + "." + mode.key() + ".out";
    // Dumps of an earlier run must not be read for this one.
    for (const std::string& name : filesStartingWith(folder, prefix))
        std::remove((folder + "/" + name).c_str());
    const std::string frames_flag = "--frames-" + mode_flag + "=" + std::to_string(frames);
    const std::vector<std::string> arguments{
        "valgrind",          "--tool=callgrind",   "--separate-threads=yes",
        "--callgrind-out-file=" + folder + "/" + prefix,
        countedExecutable(), "--only=" + variant,  "--modes=" + mode_flag,
        "--reps=1",          frames_flag,          "--warmup=" + std::to_string(warmup),
        "--instructions=0",  "--out-dir=" + folder};
    const std::string log = folder + "/" + prefix + ".log";
    const int status = runChild(arguments, log);
    if (status != 0) {
        throw std::runtime_error("callgrind run of " + variant + " " + mode.label() +
                                 " failed (exit " + std::to_string(status) + "), see " + log);
    }
    const double instructions = windowInstructions(folder, prefix);
    if (instructions < 0) {
        throw std::runtime_error("no frame-window dump of " + variant + " in " + folder);
    }
    return instructions / static_cast<double>(frames);
}

}  // namespace zelt_bench
