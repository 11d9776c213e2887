// SPDX-License-Identifier: Apache-2.0
//
// What the library's functions answer about a port, exactly as an application gets it.
#ifndef SRCWATCH_EXPLAIN_ANSWERS_H
#define SRCWATCH_EXPLAIN_ANSWERS_H

#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

namespace srcwatch {

/// One output of a function. Its name is a record's member, or one of the function's own.
struct AnsweredValue {
    std::string name;
    Json::Value value;  ///< null if the function left the output untouched
};

struct Answer {
    std::string function;
    int result;
    std::vector<AnsweredValue> values;

    /// Returns the value of an output; null also for a name that is not an output's.
    Json::Value ValueOf(const std::string& name) const;
};

/// Calls every function that answers about a port.
std::vector<Answer> AskAll(int port);

/// Calls the function that has an output, and no other. Returns nothing if none has.
std::optional<Answer> AskFor(const std::string& output, int port);

/// Returns the names of all outputs.
std::vector<std::string> OutputNames();

/// Returns the member "answers" of a port's document.
Json::Value AnswersToJson(const std::vector<Answer>& answers);

/// Returns the same with the reason of each answer as its member "why". @param isReadable  Whether the stored record
/// is.
Json::Value ExplainAnswers(const std::vector<Answer>& answers, const Json::Value& record, bool isReadable);

/// Returns a result of the library's functions about a port, in words.
std::string ResultText(int result);

}  // namespace srcwatch

#endif
