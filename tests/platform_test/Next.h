// SPDX-License-Identifier: Apache-2.0
//
// The host platform's function behind one of a planted platform's own.
#ifndef SRCWATCH_TESTS_NEXT_H
#define SRCWATCH_TESTS_NEXT_H

#include <dlfcn.h>

namespace srcwatch_test {

template <typename Function>
Function* Next(Function* /*own*/, const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace srcwatch_test

#endif
