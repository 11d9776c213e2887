// SPDX-License-Identifier: Apache-2.0
//
// What the library's functions answer about a port, exactly as an application gets it.
#ifndef SRCWATCH_TOOLS_ANSWERS_H
#define SRCWATCH_TOOLS_ANSWERS_H

#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

namespace ctl {

/// One output of a function. Its name is a record's member, or one of the function's own.
struct AnsweredValue {
    std::string name;
    Json::Value value;  ///< null when the function left the output untouched
};

struct Answer {
    std::string function;
    int result;
    std::vector<AnsweredValue> values;

    /// The value of an output; null also when there is no such output.
    Json::Value ValueOf(const std::string& name) const;
};

/// Ask every function that answers about a port.
std::vector<Answer> AskAll(int port);

/// Ask the function that gives an output, and no other. Nothing when there is no such output.
std::optional<Answer> AskFor(const std::string& output, int port);

/// The names of all outputs.
std::vector<std::string> OutputNames();

/// The member "answers" of a port's document.
Json::Value AnswersToJson(const std::vector<Answer>& answers);

/// A result of the library's functions about a port, in words.
std::string ResultText(int result);

/// Why a function answers what it does for this record.
std::string WhyAnswered(const Answer& answer, const Json::Value& record);

}  // namespace ctl

#endif
