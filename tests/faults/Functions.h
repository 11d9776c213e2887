// SPDX-License-Identifier: Apache-2.0
//
// All that a host may call, as a table: for each the call, its arguments, and its result.
#ifndef SRCWATCH_TESTS_FUNCTIONS_H
#define SRCWATCH_TESTS_FUNCTIONS_H

#include "Documents.h"
#include "srcwatch-api.h"

#include <memory>
#include <string>
#include <vector>

#include <json/json.h>

namespace srcwatch_test {

// What a call returned.
struct Result {
    int number = 0;
    int number1 = -77;
    int number2 = -77;
    bool flag = false;
    char text1[SRCWATCH_TEXT_SIZE + 1] = {};
    char text2[SRCWATCH_TEXT_SIZE + 1] = {};
    std::string string1;
    std::string string2;
    std::string string3;
    Json::Value json;
    Json::Value jsons[8];
    srcwatch_kpi_info_s infos[8] = {};
};

std::string Describe(const Result& result);

struct Function {
    const char* name;
    void (*call)(Result& result);
    void (*prepare)() = nullptr;  // before each call
    void (*restore)() = nullptr;  // after each call
};

// Those that use the settings and nothing of GLib that allocates.
const std::vector<Function>& SettingsFunctions();
// Those that go through GLib, which ends the process when there is no memory.
const std::vector<Function>& GlibFunctions();

}  // namespace srcwatch_test

#endif
