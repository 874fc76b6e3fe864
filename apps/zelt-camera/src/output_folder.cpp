#include "output_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

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

}  // namespace

std::string prepareOutputFolder(const std::string& folder) {
    std::string path = absolute(folder);
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    makeFolders(path);
    // Writable for this process (access() would ignore what the file system itself refuses,
    // a read-only mount say): create and remove a file.
    const std::string probe = path + "/.zelt-camera-write-test";
    const int fd = open(probe.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0) notWritable(folder, errno);
    close(fd);
    unlink(probe.c_str());
    return path;
}

}  // namespace zelt::cli
