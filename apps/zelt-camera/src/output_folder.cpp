#include "output_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <regex>
#include <vector>

#include "cli_error.h"

namespace zelt::cli {
namespace {

[[noreturn]] void notWritable(const std::string& folder, int error) {
    throw CliError(ExitCode::kOutputNotWritable,
                   "cannot write to the output folder '" + folder + "': " + std::strerror(error));
}

// mkdir -p: each missing component in turn.
void makeFolders(const std::string& folder) {
    for (std::size_t slash = folder.find('/', 1);; slash = folder.find('/', slash + 1)) {
        const std::string part = folder.substr(0, slash);
        if (!part.empty() && mkdir(part.c_str(), 0777) != 0 && errno != EEXIST) {
            notWritable(folder, errno);
        }
        if (slash == std::string::npos) break;
    }
    struct stat info {};
    if (stat(folder.c_str(), &info) != 0) notWritable(folder, errno);
    if (!S_ISDIR(info.st_mode)) notWritable(folder, ENOTDIR);
}

std::string absolute(const std::string& folder) {
    if (!folder.empty() && folder[0] == '/') return folder;
    std::string buffer(4096, '\0');
    if (getcwd(buffer.data(), buffer.size()) == nullptr) notWritable(folder, errno);
    std::string base = buffer.c_str();
    std::string relative = folder;
    while (relative.rfind("./", 0) == 0) relative.erase(0, 2);
    return relative.empty() || relative == "." ? base : base + "/" + relative;
}

// The names of the folder's entries, "." and ".." left out; nothing when it does not exist.
std::vector<std::string> entries(const std::string& folder) {
    std::vector<std::string> names;
    DIR* directory = opendir(folder.c_str());
    if (directory == nullptr) return names;
    while (const dirent* entry = readdir(directory)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") names.push_back(name);
    }
    closedir(directory);
    return names;
}

std::string timeStampedName() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char name[64];
    std::strftime(name, sizeof name, "zelt-recording-%Y%m%d-%H%M%S", &local);
    return name;
}

}  // namespace

OutputFolder::OutputFolder(const std::string& folder, bool overwrite)
    : m_given(folder), m_overwrite(overwrite) {
    if (folder.empty()) {
        const std::string base = absolute(timeStampedName());
        m_path = base;
        for (int i = 2; access(m_path.c_str(), F_OK) == 0; ++i) {
            m_path = base + "-" + std::to_string(i);
        }
        m_given = m_path;
        return;
    }
    m_path = absolute(folder);
    while (m_path.size() > 1 && m_path.back() == '/') m_path.pop_back();
    if (!overwrite && !entries(m_path).empty()) {
        throw CliError(ExitCode::kOutputNotWritable,
                       "the output folder '" + folder +
                           "' is not empty; name a new folder, or add --overwrite to replace "
                           "the recording in it");
    }
}

void OutputFolder::create() {
    makeFolders(m_path);
    if (m_overwrite) {
        // The files of an earlier recording go, so that two takes never mix.
        static const std::regex kRecordingFile(
            R"(recording\.json(\.part)?|camera[0-9]+\.(mkv|csv|png))");
        for (const std::string& name : entries(m_path)) {
            if (std::regex_match(name, kRecordingFile)) {
                const std::string file = m_path + "/" + name;
                if (unlink(file.c_str()) != 0) notWritable(m_given, errno);
            }
        }
    }
    // Writable for this process (access() would ignore what the file system itself refuses,
    // a read-only mount say): create and remove a file.
    const std::string probe = m_path + "/.zelt-camera-write-test";
    const int fd = open(probe.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0) notWritable(m_given, errno);
    close(fd);
    unlink(probe.c_str());
}

}  // namespace zelt::cli
