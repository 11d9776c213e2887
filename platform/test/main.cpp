// SPDX-License-Identifier: Apache-2.0
//
// srcwatch-platform-test: holds a platform's library to what the library relies on, and reports in the form of the Test
// Anything Protocol.
#include "Promise.h"
#include "Trial.h"
#include "srcwatch-version.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <getopt.h>

namespace {

using namespace conformance;

constexpr int kUsage = 2;
constexpr const char* kHelp =
    "usage: srcwatch-platform-test [--timeout SECONDS] [--verbose] LIBRARY.so\n"
    "       srcwatch-platform-test --list\n"
    "\n"
    "Holds a platform's library to what libsrcwatch-api relies on, one line for each promise.\n"
    "\n"
    "  --timeout SECONDS  how long a promise may take (default 60)\n"
    "  --verbose          show what the platform prints, on the standard error stream\n"
    "  --list             list the promises, and test nothing\n"
    "  -h, --help         print this and exit\n"
    "  --version          print the version and exit\n";

struct Options {
    Limits limits{std::chrono::seconds(60), false};
    bool isList = false;
    std::string library;
};

[[noreturn]] void Refuse(const std::string& reason)
{
    // Nothing can be done if this fails.
    static_cast<void>(std::fprintf(stderr, "srcwatch-platform-test: %s; see --help\n", reason.c_str()));
    std::exit(kUsage);
}

[[noreturn]] void Print(const char* text) { std::exit(std::fputs(text, stdout) < 0 ? EXIT_FAILURE : EXIT_SUCCESS); }

std::chrono::seconds ParseTimeout(const char* text)
{
    int seconds = 0;
    const char* const end = text + std::strlen(text);
    const auto [rest, error] = std::from_chars(text, end, seconds);
    if (error != std::errc() || rest != end || seconds < 1 || seconds > 86400) {
        Refuse("'" + std::string(text) + "' is not a number of seconds from 1 to 86400");
    }
    return std::chrono::seconds(seconds);
}

// The tests preload the library, and the dynamic linker separates the names of such libraries by these.
std::string ParseLibrary(const char* name)
{
    std::error_code error;
    std::string path = std::filesystem::canonical(name, error);
    if (error) Refuse("'" + std::string(name) + "': " + error.message());
    if (path.find_first_of(" :") != std::string::npos) {
        Refuse("'" + path + "' has a space or a colon, which no library to be preloaded may have; rename it");
    }
    return path;
}

Options ParseCommandLine(int argc, char** argv)
{
    static constexpr option kOptions[] = {
        {"help", no_argument, nullptr, 'h'},          {"list", no_argument, nullptr, 'l'},
        {"timeout", required_argument, nullptr, 't'}, {"verbose", no_argument, nullptr, 'v'},
        {"version", no_argument, nullptr, 'V'},       {nullptr, 0, nullptr, 0}};
    Options options;
    for (int option = 0; (option = getopt_long(argc, argv, "h", kOptions, nullptr)) != -1;) {
        switch (option) {
            case 'h':
                Print(kHelp);
            case 'V':
                Print("srcwatch-platform-test " SRCWATCH_VERSION "\n");
            case 'l':
                options.isList = true;
                break;
            case 't':
                options.limits.time = ParseTimeout(optarg);
                break;
            case 'v':
                options.limits.isVerbose = true;
                break;
            default:
                std::exit(kUsage);  // getopt has said why
        }
    }
    if (options.isList && optind == argc) return options;
    if (options.isList || optind != argc - 1) Refuse("one platform's library is tested, or --list given");
    options.library = ParseLibrary(argv[optind]);
    return options;
}

Promises AllPromises()
{
    Promises all;
    for (const auto promises : {PromisesOfDeclarations, PromisesOfSettings, PromisesOfSharedSettings, PromisesOfLog,
                                PromisesOfSystemInfo, PromisesOfTVService}) {
        const Promises some = promises();
        all.insert(all.end(), some.begin(), some.end());
    }
    return all;
}

// A text in YAML's double quotes.
std::string Quote(const std::string& text)
{
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') quoted += '\\';
        quoted += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
    }
    return quoted + "\"";
}

void PrintResult(std::size_t number, const Promise& promise, const std::optional<std::string>& reason)
{
    std::printf("%s %zu - %s: %s\n", reason ? "not ok" : "ok", number, promise.section, promise.text);
    if (reason) {
        std::printf("  ---\n  message: %s\n  see: \"porting.md, section '%s'\"\n  ...\n", Quote(*reason).c_str(),
                    promise.section);
    }
}

}  // namespace

int main(int argc, char** argv)
try {
    const Options options = ParseCommandLine(argc, argv);
    const Promises promises = AllPromises();
    if (options.isList) {
        for (const Promise& promise : promises) std::printf("%s: %s\n", promise.section, promise.text);
        return std::fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    std::printf("TAP version 13\n1..%zu\n", promises.size());
    bool areKept = true;
    for (std::size_t number = 1; number <= promises.size(); ++number) {
        const Promise& promise = promises[number - 1];
        // What waits here must not be written by the process of a test, too; the last flush reports failures.
        static_cast<void>(std::fflush(stdout));
        const std::optional<std::string> reason = Try([&] { promise.test(options.library); }, options.limits);
        PrintResult(number, promise, reason);
        areKept = areKept && !reason;
    }
    return std::fflush(stdout) == 0 && areKept ? EXIT_SUCCESS : EXIT_FAILURE;
} catch (const std::exception& e) {
    // Nothing can be done if this fails.
    static_cast<void>(std::fprintf(stderr, "srcwatch-platform-test: %s\n", e.what()));
    return EXIT_FAILURE;
}
