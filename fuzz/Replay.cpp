// SPDX-License-Identifier: Apache-2.0
//
// Stands in for libFuzzer where a target is built as an ordinary test: executes each file of the directories, or each
// file, that are named, in the order of their names.
#include "Fuzz.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include <sys/resource.h>

namespace {

std::vector<std::string> FilesAt(const std::string& path)
{
    if (!std::filesystem::is_directory(path)) return {path};
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(path)) files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    return files;
}

void Execute(const std::string& file)
{
    std::ifstream stream(file, std::ios::binary);
    fuzz::Require(stream.good(), "an input that cannot be read");
    // On the heap and of just this size, so that the address sanitizer sees every byte that is read beyond.
    const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    std::printf("%s\n", file.c_str());
    static_cast<void>(std::fflush(stdout));  // the last line names the input that ended the process
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

}  // namespace

int main(int count, char** arguments)
{
    const rlimit none{};
    static_cast<void>(setrlimit(RLIMIT_CORE, &none));  // a finding leaves nothing behind
    int executed = 0;
    for (int i = 1; i < count; ++i) {
        for (const std::string& file : FilesAt(arguments[i])) {
            Execute(file);
            ++executed;
        }
    }
    std::printf("%d inputs\n", executed);
    return executed > 0 ? 0 : 1;
}
