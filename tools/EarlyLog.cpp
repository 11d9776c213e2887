// SPDX-License-Identifier: Apache-2.0
//
// Where the program's log goes: nowhere, or to standard error with --log.
//
// The library logs while it is loaded, before main and before any constructor of the program, and the platform reads
// SRCWATCH_LOG at the first line. What runs before the shared libraries are initialised is the program's preinit array.
// The C library is not ready for setenv() there, so the program is started once more, in its own place, with the
// variable set.
#include <cstdlib>
#include <cstring>

#include <sys/auxv.h>
#include <unistd.h>

namespace {

constexpr char kVariable[] = "SRCWATCH_LOG=";
constexpr char kSilent[] = "SRCWATCH_LOG=none";
constexpr char kShown[] = "SRCWATCH_LOG=stderr";

bool IsVariable(const char* entry) { return std::strncmp(entry, kVariable, sizeof kVariable - 1) == 0; }

bool WantsLog(int argc, char** argv)
{
    for (int i = 1; i < argc && std::strcmp(argv[i], "--") != 0; ++i) {
        if (std::strcmp(argv[i], "--log") == 0) return true;
    }
    return false;
}

// The environment with the variable replaced. Null when there is no memory.
char** WithVariable(char** environment, char* variable)
{
    std::size_t size = 0;
    while (environment[size] != nullptr) ++size;
    auto** const changed = static_cast<char**>(std::malloc((size + 2) * sizeof(char*)));
    if (changed == nullptr) return nullptr;
    char** next = changed;
    *next++ = variable;
    for (char** entry = environment; *entry != nullptr; ++entry) {
        if (!IsVariable(*entry)) *next++ = *entry;
    }
    *next = nullptr;
    return changed;
}

void ChooseLog(int argc, char** argv, char** environment)
{
    static char silent[sizeof kSilent];
    static char shown[sizeof kShown];
    std::memcpy(silent, kSilent, sizeof kSilent);
    std::memcpy(shown, kShown, sizeof kShown);
    char* const wanted = WantsLog(argc, argv) ? shown : silent;
    for (char** entry = environment; *entry != nullptr; ++entry) {
        if (IsVariable(*entry) && std::strcmp(*entry, wanted) == 0) return;
    }
    char** const changed = WithVariable(environment, wanted);
    if (changed == nullptr) return;
    // By the name that it was started by, so that it keeps that name in the list of processes.
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the kernel gives the address as a number
    execve(reinterpret_cast<const char*>(getauxval(AT_EXECFN)), argv, changed);
    execve("/proc/self/exe", argv, changed);
    std::free(changed);  // neither worked: the log goes where it goes
}

}  // namespace

__attribute__((section(".preinit_array"), used)) static void (*g_chooseLog)(int, char**, char**) = ChooseLog;
