// SPDX-License-Identifier: Apache-2.0
//
// Settings as threads and processes share them.
#include "SettingsKeys.h"
#include "Threads.h"

#include <algorithm>
#include <array>

#include <unistd.h>

namespace conformance {

namespace {

constexpr std::size_t kLength = 65536;

std::string WholeText(char letter) { return std::string(kLength, letter); }

// Returns the letter of a text that was written as a whole; throws Broken for parts of one, or of two.
char RequireWhole(const Text& text)
{
    const std::string read = text.get();
    Require(read.size() == kLength && read == WholeText(read[0]),
            "a text is read that was never written: parts of one, or of two");
    return read[0];
}

[[noreturn]] void WriteForever(const Platform& platform, const std::string& key, const std::function<void()>& onWritten)
{
    for (char letter = 'a';; letter = letter == 'a' ? 'b' : 'a') {
        WriteAmongOthers(platform, key, WholeText(letter));
        onWritten();
    }
}

void ThreadsWriteAndRead(const std::string& library)
{
    const Platform platform(library);
    const std::string shared = std::string(kVolatile) + "shared";
    Write(platform, shared, WholeText('a'));
    InThreads([&](int thread) {
        const std::string own = std::string(kVolatile) + "of-thread-" + std::to_string(thread);
        for (int round = 0; round < 50; ++round) {
            WriteAmongOthers(platform, own, std::to_string(round));
            Require(ReadAmongOthers(platform, own).get() == std::to_string(round),
                    "a thread reads another text than it wrote");
            WriteAmongOthers(platform, shared, WholeText(static_cast<char>('a' + thread)));
            RequireWhole(ReadAmongOthers(platform, shared));
        }
    });
}

// Writes once it is allowed to, in a process that has not used the platform before.
void WriteAfter(int allowance, const std::string& library)
{
    char byte = 0;
    Require(read(allowance, &byte, 1) == 1, "a process is not allowed to write");
    const Platform platform(library);
    for (const std::string family : kFamilies) {
        Write(platform, family + "number", 2);
        Write(platform, family + "text", "of another process");
    }
}

void ProcessesShare(const std::string& library)
{
    int allowance[2];
    Require(pipe(allowance) == 0, "no pipe");
    Process other([&] { WriteAfter(allowance[0], library); });
    const Platform platform(library);
    for (const std::string family : kFamilies) {
        Write(platform, family + "number", 1);
        Write(platform, family + "text", "of this process");
        RequireStored(platform, family + "number", 1);
        RequireStored(platform, family + "text", "of this process");
    }
    Require(write(allowance[1], "", 1) == 1, "a process cannot be allowed to write");
    other.Join();
    for (const std::string family : kFamilies) {
        RequireStored(platform, family + "number", 2);
        RequireStored(platform, family + "text", "of another process");
    }
}

void ProcessesSeeWholeTexts(const std::string& library)
{
    const std::string key = std::string(kVolatile) + "shared";
    const auto write = [&] { WriteForever(Platform(library), key, [] {}); };
    InProcess([&] { Write(Platform(library), key, WholeText('a')); });
    Process first(write);
    Process second(write);
    const Platform platform(library);
    std::array<int, 2> seen{};
    while (*std::min_element(seen.begin(), seen.end()) < 50) {
        ++seen.at(RequireWhole(ReadAmongOthers(platform, key)) == 'a' ? 0 : 1);
    }
}

void ForkedProcessesGoOn(const std::string& library)
{
    const Platform platform(library);
    for (const std::string family : kFamilies) {
        Write(platform, family + "number", 1);
        InProcess([&] {
            RequireStored(platform, family + "number", 1);
            Write(platform, family + "number", 2);
            Write(platform, family + "text", "of the child");
        });
        RequireStored(platform, family + "number", 2);
        RequireStored(platform, family + "text", "of the child");
        Write(platform, family + "number", 3);
        RequireStored(platform, family + "number", 3);
    }
}

// Kills a process some time after it has begun to write.
void KillAWriter(const std::string& library, const std::string& key, std::chrono::microseconds time)
{
    int written[2];
    Require(pipe(written) == 0, "no pipe");
    {
        Process writer(
            [&] { WriteForever(Platform(library), key, [&] { static_cast<void>(write(written[1], "", 1) < 0); }); });
        close(written[1]);
        char byte = 0;
        const bool hasBegun = read(written[0], &byte, 1) == 1;
        Require(hasBegun, "a process cannot write");
        std::this_thread::sleep_for(time);
    }
    close(written[0]);
}

void KilledWritersLeaveWholeTexts(const std::string& library)
{
    for (int round = 0; round < 20; ++round) {
        const std::string key = std::string(kFamilies[round % 2]) + "killed";
        KillAWriter(library, key, std::chrono::microseconds(round * 7919 % 4001));  // well spread
        InProcess([&] {
            const Platform platform(library);
            RequireWhole(ReadAmongOthers(platform, key));
            WriteAmongOthers(platform, key, "after");
            RequireStored(platform, key, "after");
        });
    }
}

}  // namespace

Promises PromisesOfSharedSettings()
{
    constexpr const char* kSection = "Settings";
    return {
        {kSection, "threads write and read at once", ThreadsWriteAndRead},
        {kSection, "what another process has written is read", ProcessesShare},
        {kSection, "processes that write and read at once see whole texts", ProcessesSeeWholeTexts},
        {kSection, "both processes go on after fork()", ForkedProcessesGoOn},
        {kSection, "a process that is killed while it writes leaves a whole text, and no lock",
         KilledWritersLeaveWholeTexts},
    };
}

}  // namespace conformance
