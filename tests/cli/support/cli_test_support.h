// Running the built zelt-camera as a subprocess, and reading what it wrote.
#pragma once

#include <fcntl.h>
#include <ftw.h>
#include <glib.h>
#include <json-glib/json-glib.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "vcam/vcam_control.h"

extern char** environ;

namespace zelt_cli_test {

using namespace std::chrono_literals;

/// Changes to the tool's environment: a value sets the variable, nothing unsets it.
using Environment = std::map<std::string, std::optional<std::string>>;

/// How a run of the tool ended and what it printed.
struct RunResult {
    int exit_code = -1;  ///< -1 when ended by a signal
    int signal = 0;
    std::string out;
    std::string err;
};

inline std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

inline void writeFile(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    if (!file) throw std::runtime_error("cannot write " + path);
}

inline bool fileExists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

inline std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

/// A fresh folder under the temporary directory, removed with everything in it.
class TempDir {
public:
    TempDir() {
        GError* error = nullptr;
        gchar* path = g_dir_make_tmp("zelt-cli-test-XXXXXX", &error);
        if (path == nullptr) {
            const std::string message = error ? error->message : "unknown error";
            if (error) g_error_free(error);
            throw std::runtime_error("cannot make a temporary folder: " + message);
        }
        m_path = path;
        g_free(path);
    }
    ~TempDir() {
        nftw(
            m_path.c_str(),
            [](const char* path, const struct stat*, int, struct FTW*) { return remove(path); }, 16,
            FTW_DEPTH | FTW_PHYS);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return m_path; }
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

/// The tool running as a child process, its output going to files in `scratch`.
class ToolProcess {
public:
    /// Starts ZELT_CLI_TOOL with `arguments` in the folder `scratch`. The environment is the test's
    /// own with GST_PLUGIN_PATH removed (the tool finds the virtual camera plug-in by itself), then
    /// `changes`. `stderr_fd`: where standard error goes instead of a file (a terminal).
    /// `file_size_limit`: the largest file the tool may write, in bytes (RLIMIT_FSIZE, set
    /// by util-linux's prlimit, which then runs the tool in its place).
    ToolProcess(const std::vector<std::string>& arguments, const std::string& scratch,
                const Environment& changes = {}, int stderr_fd = -1,
                std::optional<std::uint64_t> file_size_limit = std::nullopt)
        : m_out_path(scratch + "/stdout-" + std::to_string(s_runs) + ".txt"),
          m_err_path(scratch + "/stderr-" + std::to_string(s_runs) + ".txt") {
        ++s_runs;
        Environment environment_changes{{"GST_PLUGIN_PATH", std::nullopt}};
        for (const auto& [name, value] : changes) environment_changes[name] = value;
        std::vector<std::string> environment;
        for (char** entry = environ; *entry != nullptr; ++entry) {
            const std::string text = *entry;
            const std::string name = text.substr(0, text.find('='));
            if (environment_changes.count(name) == 0) environment.push_back(text);
        }
        for (const auto& [name, value] : environment_changes) {
            if (value) environment.push_back(name + "=" + *value);
        }
        std::vector<std::string> argv_text{ZELT_CLI_TOOL};
        if (file_size_limit) {
            argv_text = {"/usr/bin/prlimit", "--fsize=" + std::to_string(*file_size_limit),
                         ZELT_CLI_TOOL};
        }
        argv_text.insert(argv_text.end(), arguments.begin(), arguments.end());
        std::vector<char*> argv;
        for (auto& argument : argv_text) argv.push_back(argument.data());
        argv.push_back(nullptr);
        std::vector<char*> envp;
        for (auto& entry : environment) envp.push_back(entry.data());
        envp.push_back(nullptr);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        // The scratch folder is the tool's working folder: what it names relative to that
        // (a recording without --out) stays with the test.
        posix_spawn_file_actions_addchdir_np(&actions, scratch.c_str());
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, m_out_path.c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (stderr_fd >= 0) {
            posix_spawn_file_actions_adddup2(&actions, stderr_fd, STDERR_FILENO);
        } else {
            posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, m_err_path.c_str(),
                                             O_WRONLY | O_CREAT | O_TRUNC, 0644);
        }
        const int failed =
            posix_spawn(&m_pid, argv[0], &actions, nullptr, argv.data(), envp.data());
        posix_spawn_file_actions_destroy(&actions);
        if (failed != 0) throw std::runtime_error(std::string("cannot start ") + ZELT_CLI_TOOL);
    }

    ~ToolProcess() {
        if (m_pid > 0) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
    }

    ToolProcess(const ToolProcess&) = delete;
    ToolProcess& operator=(const ToolProcess&) = delete;

    void signal(int number) const { kill(m_pid, number); }

    /// Waits for the end; kills the tool and throws after `timeout`.
    RunResult wait(std::chrono::milliseconds timeout = 60s) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        int status = 0;
        for (;;) {
            const pid_t done = waitpid(m_pid, &status, WNOHANG);
            if (done == m_pid) break;
            if (std::chrono::steady_clock::now() > deadline) {
                throw std::runtime_error("zelt-camera did not end within " +
                                         std::to_string(timeout.count()) + " ms");
            }
            std::this_thread::sleep_for(10ms);
        }
        m_pid = -1;
        RunResult result;
        if (WIFEXITED(status)) result.exit_code = WEXITSTATUS(status);
        if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
        result.out = readFile(m_out_path);
        result.err = readFile(m_err_path);
        return result;
    }

private:
    static inline int s_runs = 0;
    std::string m_out_path;
    std::string m_err_path;
    pid_t m_pid = -1;
};

/// Runs the tool to its end.
inline RunResult runTool(const std::vector<std::string>& arguments, const std::string& scratch,
                         const Environment& changes = {}) {
    return ToolProcess(arguments, scratch, changes).wait();
}

/// Standard output of a shell command (ffprobe and friends), and its exit status.
inline std::pair<int, std::string> runCommand(const std::string& command) {
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return {-1, output};
    char buffer[4096];
    for (std::size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) output.append(buffer, n);
    const int status = pclose(pipe);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

inline std::string shellQuote(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

/// The presentation times ffprobe reads from the video file's first video stream, in order.
inline std::vector<double> probeFrameTimes(const std::string& video) {
    const auto [status, text] = runCommand(
        "ffprobe -v error -select_streams v:0 -show_entries frame=pts_time "
        "-of csv=p=0 " +
        shellQuote(video));
    std::vector<double> times;
    if (status != 0) return times;
    for (const std::string& line : splitLines(text)) {
        if (!line.empty()) times.push_back(std::stod(line));
    }
    return times;
}

/// A parsed JSON document; members are reached with the helpers below.
class JsonDocument {
public:
    explicit JsonDocument(const std::string& text) : m_parser(json_parser_new()) {
        GError* error = nullptr;
        if (!json_parser_load_from_data(m_parser.get(), text.c_str(),
                                        static_cast<gssize>(text.size()), &error)) {
            m_error = error ? error->message : "unknown error";
            if (error) g_error_free(error);
        }
    }
    bool ok() const { return m_error.empty() && root() != nullptr; }
    const std::string& error() const { return m_error; }
    JsonNode* root() const { return json_parser_get_root(m_parser.get()); }

private:
    struct Unref {
        void operator()(JsonParser* parser) const { g_object_unref(parser); }
    };
    std::unique_ptr<JsonParser, Unref> m_parser;
    std::string m_error;
};

inline JsonObject* objectOf(JsonNode* node) {
    if (node == nullptr || !JSON_NODE_HOLDS_OBJECT(node)) throw std::runtime_error("not an object");
    return json_node_get_object(node);
}
inline JsonArray* arrayOf(JsonNode* node) {
    if (node == nullptr || !JSON_NODE_HOLDS_ARRAY(node)) throw std::runtime_error("not an array");
    return json_node_get_array(node);
}
inline JsonNode* member(JsonNode* node, const char* name) {
    JsonObject* object = objectOf(node);
    if (!json_object_has_member(object, name)) {
        throw std::runtime_error(std::string("no member '") + name + "'");
    }
    return json_object_get_member(object, name);
}
inline JsonNode* element(JsonNode* node, guint index) {
    JsonArray* array = arrayOf(node);
    if (index >= json_array_get_length(array)) throw std::runtime_error("index out of range");
    return json_array_get_element(array, index);
}
inline guint lengthOf(JsonNode* node) { return json_array_get_length(arrayOf(node)); }
inline std::string text(JsonNode* node) {
    if (node == nullptr || json_node_get_value_type(node) != G_TYPE_STRING) {
        throw std::runtime_error("not a string");
    }
    return json_node_get_string(node);
}
inline gint64 integer(JsonNode* node) {
    if (node == nullptr || json_node_get_value_type(node) != G_TYPE_INT64) {
        throw std::runtime_error("not an integer");
    }
    return json_node_get_int(node);
}
inline bool boolean(JsonNode* node) {
    if (node == nullptr || json_node_get_value_type(node) != G_TYPE_BOOLEAN) {
        throw std::runtime_error("not a boolean");
    }
    return json_node_get_boolean(node);
}
inline bool isNull(JsonNode* node) { return node != nullptr && JSON_NODE_HOLDS_NULL(node); }

/// A small, fast camera: one raw mode at 100 fps (more modes with `extra_caps`).
inline zelt::vcam::CameraDescription smallCamera(const std::string& name, const std::string& path,
                                                 const std::string& format = "YUY2", int width = 64,
                                                 int height = 48) {
    zelt::vcam::CameraDescription camera;
    camera.name = name;
    camera.device_path = path;
    camera.caps = std::vector<std::string>{
        "video/x-raw, format=" + format + ", width=" + std::to_string(width) +
        ", height=" + std::to_string(height) + ", framerate=100/1, pixel-aspect-ratio=1/1"};
    return camera;
}

/// Writes the camera file for --virtual=FILE into `folder`; returns its path.
inline std::string cameraFile(const TempDir& folder,
                              const std::vector<zelt::vcam::CameraDescription>& cameras) {
    const std::string path = folder / "cameras.json";
    writeFile(path, zelt::vcam::camerasDocument(cameras));
    return path;
}

}  // namespace zelt_cli_test
