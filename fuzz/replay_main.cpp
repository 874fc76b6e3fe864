// Runs a fuzz target once over its corpus, without a fuzzing engine: a plain driver for
// compilers without libFuzzer, so that the corpus is an ordinary test.
//
// Usage: <target> <file or directory>...   (arguments starting with '-' are ignored, so the
// libFuzzer command lines work too). Fails when no input was found.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

// The bytes of a file, in a buffer of exactly their size so that ASan sees a read past the end.
std::vector<std::uint8_t> readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in),
                                     std::istreambuf_iterator<char>());
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::filesystem::path> inputs;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument.empty() || argument[0] == '-') continue;
        const std::filesystem::path path(argument);
        if (std::filesystem::is_directory(path)) {
            std::vector<std::filesystem::path> files;
            for (const auto& entry : std::filesystem::directory_iterator(path))
                if (entry.is_regular_file()) files.push_back(entry.path());
            std::sort(files.begin(), files.end());
            inputs.insert(inputs.end(), files.begin(), files.end());
        } else {
            inputs.push_back(path);
        }
    }
    if (inputs.empty()) {
        std::cerr << "no inputs to replay\n";
        return 1;
    }

    for (const auto& input : inputs) {
        const std::vector<std::uint8_t> data = readFile(input);
        static const std::uint8_t kNoBytes = 0;  // libFuzzer never passes a null pointer
        LLVMFuzzerTestOneInput(data.empty() ? &kNoBytes : data.data(), data.size());
    }
    std::cout << "replayed " << inputs.size() << " inputs\n";
    return 0;
}
