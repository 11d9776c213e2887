// SPDX-License-Identifier: Apache-2.0
#include "Early.h"
#include "Platform.h"
#include "Promise.h"

#include <cstring>

namespace conformance {

namespace {

constexpr const char* kSwitches[] = {"com.korvane/featureconf/bt_profile_bt_calvix",
                                     "com.korvane/featureconf/cx_core_ir_tavrin"};

void InputsAreCounted(const std::string& library)
{
    const Platform platform(library);
    int count = 0;
    const int result = platform.GetInputs(&count);
    Require(result == 0, "the query returns " + std::to_string(result));
    Require(count >= 1, "the number is " + std::to_string(count));
}

void InputsAreCountedEarly(const std::string& library) { CallEarly(library, kEarlyInputs); }

// What a query leaves in its output, as a byte: a bool that holds another value than 0 and 1 must not be looked at.
unsigned char Answer(const Platform& platform, const char* key, bool before, int& result)
{
    bool value = before;
    result = platform.GetSwitch(key, &value);
    unsigned char byte = 0;
    std::memcpy(&byte, &value, sizeof byte);
    return byte;
}

void SwitchesAreRead(const std::string& library)
{
    const Platform platform(library);
    for (const char* const key : kSwitches) {
        int result = 0;
        const int first = Answer(platform, key, false, result);
        const int second = Answer(platform, key, true, result);
        if (result == 0) {
            Require(first == second, std::string(key) + " is read, but the output stays as it was");
            Require(first <= 1, std::string(key) + " is read as " + std::to_string(first));
        } else {
            Require(first == 0 && second == 1, "the read of " + std::string(key) + " fails, but changes the output");
        }
    }
}

}  // namespace

Promises PromisesOfSystemInfo()
{
    constexpr const char* kSection = "System information";
    return {
        {kSection, "the number of HDMI inputs is read, and at least 1", InputsAreCounted},
        {kSection, "it can be read before the platform's own objects exist", InputsAreCountedEarly},
        {kSection, "each feature switch is read as true or false, or its read fails", SwitchesAreRead},
    };
}

}  // namespace conformance
