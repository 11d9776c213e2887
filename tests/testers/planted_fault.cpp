// SPDX-License-Identifier: Apache-2.0
//
// Has one fault, which a sanitizer must report: planted-fault leak|overrun|overflow|race
#include <climits>
#include <cstdio>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

// The compiler cannot know its value, so that no fault is optimised away.
volatile int g_one = 1;
int g_shared = 0;

void Leak()
{
    // Several: of the last one, a register or the stack may still have the address.
    for (int i = 0; i < 10; ++i) {
        const auto* lost = new std::vector<int>(100U, int{g_one});
        std::printf("%d\n", lost->front());
    }
}

void Overrun()
{
    const std::vector<int> numbers(4U, int{g_one});
    const int* beyond = numbers.data() + 3 + g_one;
    std::printf("%d\n", *beyond);
}

void Overflow() { std::printf("%d\n", INT_MAX - 1 + g_one + g_one); }

void Race()
{
    const auto count = [] {
        for (int i = 0; i < 1000; ++i) g_shared = g_shared + g_one;
    };
    std::thread other(count);
    count();
    other.join();
    std::printf("%d\n", g_shared);
}

}  // namespace

int main(int argc, char** argv)
{
    const std::map<std::string, void (*)()> faults = {
        {"leak", Leak}, {"overrun", Overrun}, {"overflow", Overflow}, {"race", Race}};
    const auto fault = faults.find(argc == 2 ? argv[1] : "");
    if (fault == faults.end()) return 2;
    fault->second();
    return 0;
}
