// SPDX-License-Identifier: Apache-2.0
//
// What the library relies on, promise by promise. A test gets the path of the platform's library, has a process of its
// own, and throws Broken where the promise is not kept.
#ifndef SRCWATCH_PLATFORM_TEST_PROMISE_H
#define SRCWATCH_PLATFORM_TEST_PROMISE_H

#include <stdexcept>
#include <string>
#include <vector>

namespace conformance {

class Broken : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Throws Broken with a reason unless the condition holds.
inline void Require(bool condition, const std::string& otherwise)
{
    if (!condition) throw Broken(otherwise);
}

struct Promise {
    const char* section;  ///< of docs/porting.md, which says what is promised
    const char* text;
    void (*test)(const std::string& library);
};
using Promises = std::vector<Promise>;

Promises PromisesOfDeclarations();
Promises PromisesOfSettings();
Promises PromisesOfSharedSettings();
Promises PromisesOfLog();
Promises PromisesOfSystemInfo();
Promises PromisesOfTVService();

}  // namespace conformance

#endif
