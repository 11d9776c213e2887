// SPDX-License-Identifier: Apache-2.0
#include "Answers.h"

#include "srcwatch-api.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <utility>

namespace srcwatch {

namespace {

// A buffer that shows if it was written to: only a text of a hundred DEL characters would look untouched.
class TextBuffer {
public:
    TextBuffer() { std::memset(m_bytes, kUntouched, sizeof m_bytes); }
    char* Get() { return m_bytes; }

    Json::Value Value(std::size_t size = SRCWATCH_TEXT_SIZE) const
    {
        const auto* const end = m_bytes + sizeof m_bytes;
        if (std::all_of(m_bytes, end, [](char c) { return c == kUntouched; })) return Json::nullValue;
        return std::string(m_bytes, strnlen(m_bytes, size));
    }

private:
    static constexpr char kUntouched = 0x7f;
    char m_bytes[SRCWATCH_TEXT_SIZE];
};

// The result of a function, and its outputs in the order of their names; none if it wrote none.
struct Outcome {
    int result;
    std::vector<Json::Value> values;
};

Outcome AskDeviceInfo(int port)
{
    int type = 0;
    // An empty buffer, as an application has it: what it begins with matters to the function.
    char first[SRCWATCH_TEXT_SIZE] = {};
    TextBuffer second;
    const int result = srcwatch_get_device_info(port, &type, first, second.Get());
    if (result != SRCWATCH_OK) return {result, {}};
    return {result, {type, std::string(first, strnlen(first, sizeof first)), second.Value()}};
}

Outcome AskCodeset(int port)
{
    bool isKnown = false;
    TextBuffer codeset;
    const int result = srcwatch_get_codeset_info(port, &isKnown, codeset.Get());
    const bool isWritten = result == SRCWATCH_OK || result == SRCWATCH_NO_CODESET;
    return {result, {isWritten ? Json::Value(isKnown) : Json::Value(), codeset.Value(SRCWATCH_CODESET_TEXT_SIZE)}};
}

Outcome AskChanged(int port)
{
    int previous = 0;
    bool changed = false;
    const int result = srcwatch_get_changed_device_info(port, &previous, &changed);
    if (result != SRCWATCH_OK) return {result, {}};
    return {result, {previous, changed}};
}

struct Function {
    std::string name;
    std::vector<std::string> outputs;
    std::function<Outcome(int port)> ask;
};

Function TextFunction(const char* name, const char* output, int (*ask)(char* dst, int port))
{
    return {name, {output}, [ask](int port) {
                TextBuffer text;
                const int result = ask(text.Get(), port);
                return Outcome{result, {text.Value()}};
            }};
}

Function NumberFunction(const char* name, const char* output, int (*ask)(int port, int* number))
{
    return {name, {output}, [ask](int port) {
                int number = 0;
                const int result = ask(port, &number);
                return result == SRCWATCH_OK ? Outcome{result, {number}} : Outcome{result, {}};
            }};
}

int AskDenyCount(int port, int* number) { return srcwatch_get_denycount(number, port); }

// Every function that answers about a port.
const std::vector<Function>& Functions()
{
    static const std::vector<Function> kFunctions = {
        {"srcwatch_get_device_info", {"device_type", "device_info_str1", "device_info_str2"}, AskDeviceInfo},
        {"srcwatch_get_codeset_info", {"has_codeset", "codeset"}, AskCodeset},
        TextFunction("srcwatch_get_result_str1_name", "result_str1", srcwatch_get_result_str1_name),
        TextFunction("srcwatch_get_result_str2_name", "result_str2", srcwatch_get_result_str2_name),
        TextFunction("srcwatch_get_logo_mso_name", "PRName", srcwatch_get_logo_mso_name),
        TextFunction("srcwatch_get_codeset_name", "CName", srcwatch_get_codeset_name),
        TextFunction("srcwatch_get_manufacturer_name", "MFName", srcwatch_get_manufacturer_name),
        TextFunction("srcwatch_get_model_name", "ModelName", srcwatch_get_model_name),
        TextFunction("srcwatch_get_cec_name", "CECName", srcwatch_get_cec_name),
        TextFunction("srcwatch_get_cec_device_name", "CDevName", srcwatch_get_cec_device_name),
        TextFunction("srcwatch_get_aksv_info", "AKSV", srcwatch_get_aksv_info),
        NumberFunction("srcwatch_get_product_type_name", "DevType", srcwatch_get_product_type_name),
        NumberFunction("srcwatch_get_denycount", "DenyCount", AskDenyCount),
        NumberFunction("srcwatch_get_detection_moethod", "DMethod", srcwatch_get_detection_moethod),
        NumberFunction("srcwatch_get_oobe_scan_state", "ScanState", srcwatch_get_oobe_scan_state),
        {"srcwatch_get_changed_device_info", {"PrevPort", "changed"}, AskChanged}};
    return kFunctions;
}

Answer AskFunction(const Function& function, int port)
{
    Outcome outcome = function.ask(port);
    outcome.values.resize(function.outputs.size());
    Answer answer{function.name, outcome.result, {}};
    for (std::size_t i = 0; i < outcome.values.size(); ++i) {
        answer.values.push_back({function.outputs[i], std::move(outcome.values[i])});
    }
    return answer;
}

bool HasBrandBesideName(int type)
{
    return type >= SRCWATCH_DEVICE_DISC_PLAYER && type <= SRCWATCH_DEVICE_GAME_CONSOLE;
}

std::string Quoted(const Json::Value& text) { return "\"" + text.asString() + "\""; }

std::string ReasonForSetTopBox(const Json::Value& record)
{
    const std::string provider = record["PRName"].asString();
    if (provider.rfind("STB", 0) == 0) {
        return "a set-top box shows its provider; " + Quoted(provider) +
               " begins with \"STB\", which is a generic name";
    }
    return provider.empty() ? "a set-top box shows its provider, and none is stored"
                            : "a set-top box shows its provider and the unknown-type text";
}

std::string ReasonForDeviceInfo(const Json::Value& record)
{
    const int type = record["DevType"].asInt();
    if (type == SRCWATCH_DEVICE_SET_TOP_BOX) return ReasonForSetTopBox(record);
    if (type == SRCWATCH_DEVICE_NOT_SUPPORTED) return "a device that is not supported has no name to show";
    const bool hasBrand = HasBrandBesideName(type) || type == SRCWATCH_DEVICE_PC;
    if (!hasBrand && type != SRCWATCH_DEVICE_OTHER) {
        return "type " + std::to_string(type) + " is an error type: nothing is written";
    }
    if (record["DevName"].asString().empty()) return "this type shows its device name, and none is stored";
    return hasBrand ? "this type shows device name and brand" : "this type shows device name and unknown-type text";
}

std::string ReasonForResult1(const Json::Value& record)
{
    const int type = record["DevType"].asInt();
    if (type == SRCWATCH_DEVICE_SET_TOP_BOX) return "the provider as stored, also a generic or empty one";
    if (HasBrandBesideName(type) || type == SRCWATCH_DEVICE_PC) return "the device name as stored, never \"Unknown\"";
    return "type " + std::to_string(type) + " has no first result string";
}

std::string ReasonForResult2(const Json::Value& record)
{
    const int type = record["DevType"].asInt();
    if (HasBrandBesideName(type)) return "the brand as stored";
    return "only types 3 to 6 have a second result string";
}

std::string ReasonForCodeset(const Answer& answer, const Json::Value& record)
{
    const std::string codeset = record["CName"].asString();
    if (answer.result == SRCWATCH_OK) return "the first 10 bytes of the stored codeset";
    if (codeset.empty()) return "no codeset is stored";
    return "the device is known only generically, so its codeset " + Quoted(codeset) + " is not returned";
}

std::string ReasonForChanged(const Json::Value& record)
{
    const int changed = record["Changed"].asInt();
    return "\"Changed\" is " + std::to_string(changed) + ": " + (changed != 0 ? "a change" : "none");
}

// Why a function answers as it does for this record.
std::string ReasonFor(const Answer& answer, const Json::Value& record)
{
    if (answer.result == SRCWATCH_ERROR_JSON) return ResultText(answer.result);
    if (answer.function == "srcwatch_get_device_info") return ReasonForDeviceInfo(record);
    if (answer.function == "srcwatch_get_result_str1_name") return ReasonForResult1(record);
    if (answer.function == "srcwatch_get_result_str2_name") return ReasonForResult2(record);
    if (answer.function == "srcwatch_get_codeset_info") return ReasonForCodeset(answer, record);
    if (answer.function == "srcwatch_get_codeset_name") return "the whole codeset as stored, for any device";
    if (answer.function == "srcwatch_get_logo_mso_name") return "the provider as stored, also a generic one";
    if (answer.function == "srcwatch_get_changed_device_info") return ReasonForChanged(record);
    return "as stored";
}

}  // namespace

Json::Value Answer::ValueOf(const std::string& name) const
{
    const auto found =
        std::find_if(values.begin(), values.end(), [&](const AnsweredValue& value) { return value.name == name; });
    return found == values.end() ? Json::Value() : found->value;
}

std::vector<std::string> OutputNames()
{
    std::vector<std::string> names;
    for (const Function& function : Functions()) {
        names.insert(names.end(), function.outputs.begin(), function.outputs.end());
    }
    return names;
}

std::optional<Answer> AskFor(const std::string& output, int port)
{
    for (const Function& function : Functions()) {
        const auto found = std::find(function.outputs.begin(), function.outputs.end(), output);
        if (found != function.outputs.end()) return AskFunction(function, port);
    }
    return std::nullopt;
}

std::vector<Answer> AskAll(int port)
{
    std::vector<Answer> answers;
    for (const Function& function : Functions()) answers.push_back(AskFunction(function, port));
    return answers;
}

Json::Value AnswersToJson(const std::vector<Answer>& answers)
{
    Json::Value list(Json::arrayValue);
    for (const Answer& answer : answers) {
        Json::Value json;
        json["function"] = answer.function;
        json["result"] = answer.result;
        for (const AnsweredValue& value : answer.values) json["values"][value.name] = value.value;
        list.append(json);
    }
    return list;
}

Json::Value ExplainAnswers(const std::vector<Answer>& answers, const Json::Value& record, bool isReadable)
{
    Json::Value list = AnswersToJson(answers);
    for (Json::ArrayIndex i = 0; i < list.size(); ++i) {
        list[i]["why"] = isReadable ? ReasonFor(answers[i], record) : "the stored record is damaged";
    }
    return list;
}

std::string ResultText(int result)
{
    switch (result) {
        case SRCWATCH_OK:
            return "done";
        case SRCWATCH_ERROR_JSON:
            return "the stored record cannot be read";
        case SRCWATCH_ERROR_PORT:
            return "no such port";
        case SRCWATCH_NO_CODESET:
            return "no codeset is known";
        default:
            return "refused";
    }
}

}  // namespace srcwatch
