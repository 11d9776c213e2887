// SPDX-License-Identifier: Apache-2.0
#include "Platform.h"

#include "Promise.h"

#include <dlfcn.h>

namespace conformance {

void* Load(const std::string& library)
{
    void* const handle = dlopen(library.c_str(), RTLD_NOW | RTLD_GLOBAL);
    if (handle == nullptr) throw Broken(dlerror());
    return handle;
}

void* Find(void* handle, const char* name) { return dlsym(handle, name); }

void* Platform::Demand(const char* name) const
{
    void* const function = Find(m_handle, name);
    Require(function != nullptr, std::string(name) + " is not exported");
    return function;
}

}  // namespace conformance
