// SPDX-License-Identifier: Apache-2.0
//
// What loading the shared library does to a process. The library is loaded at run time, so that the process can be
// looked at before.
#include "PlatformTest.h"

#include <filesystem>
#include <set>
#include <system_error>

#include <dlfcn.h>

namespace {

using srcwatch_test::PlatformTest;

// The open files of this process, but for the one that lists them.
std::set<std::string> OpenFiles()
{
    std::set<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const std::string file = std::filesystem::read_symlink(entry, gone).string();
        if (file.find("/proc/") != 0) files.insert(entry.path().filename().string() + " " + file);
    }
    return files;
}

std::set<std::string> Threads()
{
    std::set<std::string> threads;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        threads.insert(entry.path().filename().string());
    }
    return threads;
}

class LibraryLoad : public PlatformTest {};

// One test, as only the first load in a process runs the library's constructors.
TEST_F(LibraryLoad, AsksForSevenHdmiCountsAndStartsNothing)
{
    const std::set<std::string> filesBefore = OpenFiles();
    const std::set<std::string> threadsBefore = Threads();

    void* library = dlopen(SRCWATCH_API_LIBRARY, RTLD_NOW | RTLD_LOCAL);

    ASSERT_NE(library, nullptr) << dlerror();
    EXPECT_EQ(platform.sequence, std::vector<std::string>(7, "count 122"));
    EXPECT_EQ(OpenFiles(), filesBefore);
    EXPECT_EQ(Threads(), threadsBefore);
    EXPECT_EQ(dlclose(library), 0);
}

}  // namespace
