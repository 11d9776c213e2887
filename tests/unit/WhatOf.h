// SPDX-License-Identifier: Apache-2.0
#ifndef SRCWATCH_TESTS_WHATOF_H
#define SRCWATCH_TESTS_WHATOF_H

#include <functional>
#include <string>

#include <json/json.h>

namespace srcwatch_test {

/// Returns the reason that JsonCpp's exception has, for log lines that contain it.
inline std::string WhatOf(const std::function<void()>& failing)
{
    try {
        failing();
    } catch (const Json::Exception& e) {
        return e.what();
    }
    return "nothing was thrown";
}

}  // namespace srcwatch_test

#endif
