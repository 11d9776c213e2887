// SPDX-License-Identifier: Apache-2.0
//
// validate: what is wrong with a document, a file of profiles, or a capture.
#include "Aksv.h"
#include "Arguments.h"
#include "Commands.h"
#include "Evidence.h"
#include "Failure.h"
#include "Files.h"
#include "Inspection.h"
#include "Profiles.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

namespace ctl {

namespace {

constexpr const char* kCapture = "capture";

// The keys of the faults are paths of members, or names of files in a capture.
using Faults = std::vector<srcwatch::Finding>;

struct Validation {
    Faults faults;
    std::optional<bool> isReadable;  // true if the library reads a stored document in spite of its faults
};

// ---------------------------------------------------------------------------------------------------------------------
// Documents

template <srcwatch::StoredKind Stored>
Validation InspectStored(const std::string& text)
{
    srcwatch::Inspection inspection = Inspect(srcwatch::JsonText(text), Stored);
    const bool isReadable = inspection.IsReadable();
    return {std::move(inspection.findings), isReadable};
}

Validation InspectProfiles(const std::string& text)
{
    const srcwatch::JsonText json(text);
    if (!json.Errors().empty()) return {SyntaxFindings(json), std::nullopt};
    srcwatch::Profiles profiles;
    profiles.LoadText(text, "");
    Validation validation;
    for (const srcwatch::ProfileError& error : profiles.Errors()) {
        const bool isEntry = error.entry >= 0;
        const Json::Value& place =
            isEntry ? json.Root()["profiles"][static_cast<Json::ArrayIndex>(error.entry)] : json.Root();
        const std::string key = isEntry ? "profiles[" + std::to_string(error.entry) + "]" : "";
        validation.faults.push_back({json.LineOf(place), key, error.reason, false});
    }
    return validation;
}

Validation InspectUnknown(const std::string& text)
{
    const srcwatch::JsonText json(text);
    if (!json.IsJson()) return {SyntaxFindings(json), std::nullopt};
    const char* const why = "has none of the members \"activity\", \"Auto\" and \"profiles\"";
    return {{{json.LineOf(json.Root()), "", why, false}}, std::nullopt};
}

// ---------------------------------------------------------------------------------------------------------------------
// Captures

Validation ToValidation(const srcwatch::Remarks& remarks)
{
    Validation validation;
    for (const srcwatch::Remark& remark : remarks) {
        validation.faults.push_back({remark.line, remark.file, remark.text, false});
    }
    return validation;
}

template <typename T, srcwatch::Decoded<T> (*Decode)(const srcwatch::Bytes&)>
Validation InspectItem(const std::string& bytes)
{
    return ToValidation(Decode(srcwatch::Bytes(bytes.begin(), bytes.end())).remarks);
}

Validation InspectCapture(const std::string& directory)
{
    const srcwatch::Evidence evidence = srcwatch::ReadEvidence(directory);
    Validation validation = ToValidation(evidence.AllRemarks());
    if (!evidence.spd && !evidence.cec && !evidence.aksv) {
        validation.faults.push_back({0, "", "has none of spd.bin, cec.log, aksv.bin", false});
    }
    return validation;
}

// ---------------------------------------------------------------------------------------------------------------------
// Kinds

struct Kind {
    const char* name;
    const char* file;  // of a capture, which always has this kind
    std::size_t limit;
    Validation (*inspect)(const std::string& text);
};
constexpr Kind kUnknown = {"unknown", "", kDocumentLimit, InspectUnknown};
constexpr Kind kKinds[] = {
    {"activity", "", kDocumentLimit, InspectStored<srcwatch::StoredKind::kActivity>},
    {"optical", "", kDocumentLimit, InspectStored<srcwatch::StoredKind::kOptical>},
    {"statistics", "", kDocumentLimit, InspectStored<srcwatch::StoredKind::kStatistics>},
    {"profiles", "", kDocumentLimit, InspectProfiles},
    {"spd", srcwatch::kSpdFile, srcwatch::kBinaryLimit,
     InspectItem<srcwatch::SpdInfoFrame, srcwatch::DecodeSpdInfoFrame>},
    {"cec", srcwatch::kCecFile, kDocumentLimit, InspectItem<srcwatch::CecLog, srcwatch::DecodeCecLog>},
    {"aksv", srcwatch::kAksvFile, srcwatch::kBinaryLimit, InspectItem<std::string, srcwatch::DecodeAksv>},
};

std::vector<std::string> KindNames()
{
    std::vector<std::string> names{kCapture};
    for (const Kind& kind : kKinds) names.emplace_back(kind.name);
    return names;
}

// The kind of this name or, if that is empty, of a file of a capture.
const Kind& FindKind(const std::string& name, const std::string& file)
{
    const auto* const found = std::find_if(std::begin(kKinds), std::end(kKinds), [&](const Kind& kind) {
        return name.empty() ? file == kind.file : name == kind.name;
    });
    return found == std::end(kKinds) ? kUnknown : *found;
}

const Kind& GuessKind(const std::string& text)
{
    const std::optional<Json::Value> json = srcwatch::ParseJson(text);
    if (!json) return kUnknown;
    if (json->isNull()) return FindKind("activity", "");
    if (!json->isObject()) return kUnknown;
    if (json->isMember("profiles")) return FindKind("profiles", "");
    if (json->isMember("Auto")) return FindKind("statistics", "");
    if (!json->isMember("activity")) return kUnknown;
    return FindKind((*json)["activity"].isObject() ? "optical" : "activity", "");
}

// ---------------------------------------------------------------------------------------------------------------------
// The command

struct Validated {
    std::string file;
    std::string kind;
    Validation validation;
};

Json::Value ToJson(const Validated& validated)
{
    const auto& [file, kind, validation] = validated;
    Json::Value document;
    document["file"] = file;
    document["kind"] = kind;
    document["valid"] = validation.faults.empty();
    document["readable"] = validation.isReadable ? Json::Value(*validation.isReadable) : Json::Value();
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

Row FaultRow(const srcwatch::Finding& fault)
{
    return {fault.line > 0 ? std::to_string(fault.line) : "", fault.key, {fault.why, Colour::kBad}};
}

void Report(const Validated& validated, Output& output)
{
    const auto& [file, kind, validation] = validated;
    if (validation.faults.empty()) return output.Confirm(ToJson(validated), file + ": valid (" + kind + ")");
    Table table{{"LINE", {"KEY", Fit::kWrapped}, {"WHY", Fit::kWrapped}}, {}};
    for (const srcwatch::Finding& fault : validation.faults) table.rows.push_back(FaultRow(fault));
    output.Write(ToJson(validated), table);
    const char* const readable = validation.isReadable.value_or(false) ? "; the library can still read it" : "";
    throw Failure(file + " is not valid: " + std::to_string(validation.faults.size()) + " fault(s)" + readable);
}

void Report(const std::vector<Validated>& all, Output& output)
{
    Json::Value document(Json::arrayValue);
    Table table{{{"FILE", Fit::kWrapped}, "KIND", "LINE", {"KEY", Fit::kWrapped}, {"WHY", Fit::kWrapped}}, {}};
    int invalid = 0;
    for (const Validated& validated : all) {
        document.append(ToJson(validated));
        const Faults& faults = validated.validation.faults;
        if (faults.empty()) table.rows.push_back({validated.file, validated.kind, "", "", {"valid", Colour::kGood}});
        if (!faults.empty()) ++invalid;
        for (const srcwatch::Finding& fault : faults) {
            Row row = FaultRow(fault);
            row.insert(row.begin(), {validated.file, validated.kind});
            table.rows.push_back(row);
        }
    }
    output.Write(document, table);
    if (invalid == 0) return;
    throw Failure(std::to_string(invalid) + " of " + std::to_string(all.size()) + " files are not valid");
}

Validated ValidateText(const std::string& file, const std::string& text, const Kind& named)
{
    const Kind& kind = &named == &kUnknown ? GuessKind(text) : named;
    return {file, kind.name, kind.inspect(text)};
}

std::string ReadStandardInput()
{
    std::string text(kDocumentLimit + 1, '\0');
    text.resize(std::fread(text.data(), 1, text.size(), stdin));
    if (std::ferror(stdin) != 0) throw Failure(std::string("cannot read standard input: ") + strerrordesc_np(errno));
    if (text.size() > kDocumentLimit) throw Failure("standard input is too large");
    return text;
}

// The files of profiles in a directory, in the order of their names, as the service reads them.
std::vector<std::string> ProfilesIn(const std::string& directory)
{
    std::error_code error;
    std::vector<std::string> files;
    for (std::filesystem::directory_iterator it(directory, error), end; !error && it != end; it.increment(error)) {
        if (it->path().extension() == ".json") files.push_back(it->path());
    }
    if (error) throw Failure("cannot read the directory " + directory + ": " + error.message());
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<Validated> ValidatePath(const std::string& path, const std::string& kindName)
{
    if (path == "-") return {ValidateText(path, ReadStandardInput(), FindKind(kindName, path))};
    std::error_code error;
    const bool isDirectory = std::filesystem::is_directory(path, error);
    if (kindName == kCapture && !isDirectory) throw Failure("no such directory: " + path);
    if (isDirectory && (kindName.empty() || kindName == "profiles")) {
        std::vector<Validated> found;
        for (const std::string& file : ProfilesIn(path)) {
            found.push_back(ValidateText(file, ReadFile(file, kDocumentLimit), FindKind("profiles", "")));
        }
        if (!found.empty()) return found;
    }
    if (kindName == kCapture || (kindName.empty() && isDirectory)) return {{path, kCapture, InspectCapture(path)}};
    const Kind& named = FindKind(kindName, std::filesystem::path(path).filename());
    return {ValidateText(path, ReadFile(path, named.limit), named)};
}

void Validate(const std::vector<std::string>& paths, const std::string& kind, Output& output)
{
    std::vector<Validated> all;
    for (const std::string& path : paths) {
        for (Validated& validated : ValidatePath(path, kind)) all.push_back(std::move(validated));
    }
    if (all.size() == 1) return Report(all.front(), output);
    Report(all, output);
}

}  // namespace

void AddValidateCommand(cli::Command app, Output& output)
{
    const auto files = std::make_shared<std::vector<std::string>>();
    const auto kind = std::make_shared<std::string>();
    const cli::Command validate =
        app.AddCommand("validate", "Show what is wrong with a document, a file of profiles or a capture");
    validate
        .AddArgument("FILE", files.get(),
                     "JSON file, directory of profiles, file or directory of a capture, or - for standard input")
        .Required();
    validate.AddOption("--kind", kind.get(), "KIND", "Kind of the file; guessed if not given")
        .CheckedBy(IsOneOf("a kind", KindNames()));
    validate.Runs([=, &output] { Validate(*files, *kind, output); });
}

}  // namespace ctl
