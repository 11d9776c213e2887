// SPDX-License-Identifier: Apache-2.0
//
// validate: what is wrong with a file.
#include "Commands.h"
#include "Documents.h"
#include "Failure.h"

#include <memory>

namespace ctl {

namespace {

Json::Value ToJson(const std::string& file, const Validation& validation)
{
    Json::Value document;
    document["file"] = file;
    document["kind"] = KindName(validation.kind);
    document["valid"] = validation.faults.empty();
    document["readable"] = validation.readable ? Json::Value(*validation.readable) : Json::Value();
    document["faults"] = Json::arrayValue;
    for (const srcwatch::Finding& fault : validation.faults) {
        Json::Value entry;
        entry["line"] = fault.line > 0 ? Json::Value(fault.line) : Json::Value();
        entry["key"] = fault.key;
        entry["why"] = fault.why;
        document["faults"].append(entry);
    }
    return document;
}

void Validate(const std::string& file, const std::string& kind, Output& output)
{
    const Validation validation = ValidateFile(file, ParseKind(kind));
    const Json::Value document = ToJson(file, validation);
    if (validation.faults.empty()) {
        return output.Say(document, file + ": valid (" + KindName(validation.kind) + ")");
    }
    Table table{{"LINE", "KEY", "WHY"}, {}};
    for (const srcwatch::Finding& fault : validation.faults) {
        table.rows.push_back({fault.line > 0 ? std::to_string(fault.line) : "", fault.key, {fault.why, Colour::kBad}});
    }
    output.Write(document, table);
    const char* const readable = validation.readable.value_or(false) ? "; the library reads it all the same" : "";
    throw Failure(file + " is not valid: " + std::to_string(validation.faults.size()) + " fault(s)" + readable);
}

}  // namespace

void AddValidateCommand(CLI::App& app, Output& output)
{
    const auto file = std::make_shared<std::string>();
    const auto kind = std::make_shared<std::string>();
    CLI::App* const validate =
        app.add_subcommand("validate", "Tell what is wrong with a document, a file of profiles or a capture");
    validate->add_option("FILE", *file, "JSON file, file of a capture, or directory of a capture")
        ->required()
        ->type_name("");
    validate->add_option("--kind", *kind, "What the file is meant to be; guessed without it")
        ->type_name("KIND")
        ->check(CLI::IsMember(KindNames()));
    validate->callback([=, &output] { Validate(*file, *kind, output); });
}

}  // namespace ctl
