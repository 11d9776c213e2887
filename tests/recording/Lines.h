// SPDX-License-Identifier: Apache-2.0
//
// Recordings of a few lines.
#ifndef SRCWATCH_TESTS_RECORDING_LINES_H
#define SRCWATCH_TESTS_RECORDING_LINES_H

#include "EntrySource.h"

#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace srcwatch_test {

constexpr char kSnapshot[] =
    R"({"at":10,"time":"","kind":"snapshot","version":1,"settings":{},"inputs":[{"port":0,"capture":{"cec":"a"}}]})";
constexpr char kPlugged[] = R"({"at":11.5,"time":"","kind":"input","port":1,"capture":{"cec":"b"}})";
constexpr char kUnplugged[] = R"({"at":13,"time":"","kind":"input","port":0,"capture":null})";
constexpr char kEvent[] = R"({"at":14,"time":"","kind":"event","type":4097,"message":"2\t1\t"})";

inline std::unique_ptr<srcwatch::EntrySource> EntriesOf(const std::string& text)
{
    return std::make_unique<srcwatch::RecordingReader>(std::make_unique<std::istringstream>(text));
}

inline std::string Lines(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    return text;
}

}  // namespace srcwatch_test

#endif
