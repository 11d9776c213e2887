// SPDX-License-Identifier: Apache-2.0
//
// Owners of C libraries' handles.
#ifndef SRCWATCH_HANDLE_H
#define SRCWATCH_HANDLE_H

#include <memory>

namespace srcwatch {

template <auto Release>
struct Releaser {
    template <typename T>
    void operator()(T* handle) const
    {
        static_cast<void>(Release(handle));  // nothing can be done if it fails
    }
};

/// Owns a handle that a C function releases, as in Handle<GVariant, g_variant_unref>.
template <typename T, auto Release>
using Handle = std::unique_ptr<T, Releaser<Release>>;

}  // namespace srcwatch

#endif
