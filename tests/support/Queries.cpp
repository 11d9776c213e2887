// SPDX-License-Identifier: Apache-2.0
#include "Queries.h"

#include "MemoryPlatform.h"
#include "srcwatch-api.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <tuple>

namespace srcwatch_test {
namespace {

constexpr int kNumberBefore = -777;

void Log(Outcome& outcome, const char* function, const std::string& message)
{
    outcome.log.push_back(std::string(function) + ": " + message + "\n");
}

std::string Joined(const char* line, int port, const std::string& text)
{
    return std::string(line) + "(" + std::to_string(port) + "): " + Printed(text);
}

void AnswerText(const Query& query, int, Json::Value& record, Outcome& outcome)
{
    outcome.outputs.text1 = Copied(record[query.key].asString());
}

void AnswerNumber(const Query& query, int, Json::Value& record, Outcome& outcome)
{
    outcome.outputs.number1 = record[query.key].asInt();
}

void AnswerScanState(const Query& query, int port, Json::Value& record, Outcome& outcome)
{
    AnswerNumber(query, port, record, outcome);
    Log(outcome, query.name,
        "port_index(" + std::to_string(port) + "), API ScanState(" + std::to_string(outcome.outputs.number1) + ")");
}

void AnswerChanged(const Query& query, int port, Json::Value& record, Outcome& outcome)
{
    const int prevPort = record["PrevPort"].asInt();
    const int changed = record["Changed"].asInt();
    outcome.outputs.number1 = prevPort;
    outcome.outputs.flag = changed != 0;
    Log(outcome, query.name,
        "port_index(" + std::to_string(port) + "), API PrevPort(" + std::to_string(prevPort) + "), nChanged(" +
            std::to_string(changed) + ")");
}

struct DeviceRow {
    int type;
    const char* key1;
    const char* line1;
    const char* key2;
    const char* line2;  // null: both texts are read before one is copied, and share line1
};

constexpr DeviceRow kDeviceRows[] = {
    {1, "PRName", "Device Info Send STB", "UnknownType", "Detection Info Send for STB Device"},
    {3, "DevName", "Device Info Send BD HTS", "BName", nullptr},
    {4, "DevName", "Device Info Send BD HTS", "BName", nullptr},
    {5, "DevName", "Device Info Send OTT GAME", "BName", nullptr},
    {6, "DevName", "Device Info Send OTT GAME", "BName", nullptr},
    {7, "DevName", "Device Info Send OTHER", "UnknownType", "Detection Info Send for OTHER Device"},
    {8, nullptr, "Device Info Send NOT SUPPORT", "UnknownType", "Detection Info Send for NOT_SUPPORT Device"},
    {9, "DevName", "Device Info Send PC", "BName", "Brand Info Send PC"},
};

std::string ProviderLine(int port, const std::string& provider, bool generic)
{
    const std::string start = "Device Info Send STB(" + std::to_string(port) + ") : ";
    return generic ? start + Printed(provider) + " to Unknown" : start + Printed(provider.substr(0, 100));
}

// The first of two strings that are read and copied one after the other.
void AnswerFirstString(const Query& query, const DeviceRow& row, int port, Json::Value& record, Outcome& outcome)
{
    std::string& str1 = outcome.outputs.text1;
    if (row.key1 == nullptr) {
        str1[0] = '\0';
        Log(outcome, query.name, Joined(row.line1, port, ""));
        return;
    }
    const std::string text = record[row.key1].asString();
    const bool generic = row.type == 1 && text.compare(0, 3, "STB") == 0;
    str1 = Copied(generic ? "Unknown" : text);
    Log(outcome, query.name, row.type == 1 ? ProviderLine(port, text, generic) : Joined(row.line1, port, text));
}

void AnswerStrings(const Query& query, const DeviceRow& row, int port, Json::Value& record, Outcome& outcome)
{
    if (row.line2 == nullptr) {
        const std::string device = record[row.key1].asString();
        const std::string brand = record[row.key2].asString();
        outcome.outputs.text1 = Copied(device);
        outcome.outputs.text2 = Copied(brand);
        Log(outcome, query.name, Joined(row.line1, port, device) + " " + Printed(brand));
        return;
    }
    AnswerFirstString(query, row, port, record, outcome);
    const std::string text = record[row.key2].asString();
    outcome.outputs.text2 = Copied(text);
    Log(outcome, query.name, Joined(row.line2, port, text));
}

void AnswerDeviceInfo(const Query& query, int port, Json::Value& record, Outcome& outcome)
{
    const int type = record["DevType"].asInt();
    outcome.outputs.number1 = type;
    const auto* const row = std::find_if(std::begin(kDeviceRows), std::end(kDeviceRows),
                                         [type](const DeviceRow& candidate) { return candidate.type == type; });
    if (row != std::end(kDeviceRows)) {
        AnswerStrings(query, *row, port, record, outcome);
    } else {
        Log(outcome, query.name, "Device Type Error: " + std::to_string(type));
    }
    if (type == 8 || outcome.outputs.text1[0] != '\0') return;
    Log(outcome, query.name, "String is NULL: Change to Unknown (Type " + std::to_string(type) + ")");
    outcome.outputs.text1.replace(0, 8, "Unknown", 8);
}

void AnswerOrFail(const Query& query, int port, Json::Value& record, Outcome& outcome)
{
    try {
        query.answer(query, port, record, outcome);
    } catch (const Json::Exception& e) {
        Log(outcome, query.name, std::string("Exception Handled by ") + query.blamed + ": " + e.what());
        outcome.result = 1;
    }
}

bool CalledForPort(const Query& query) { return std::strcmp(query.name, "srcwatch_get_device_info") == 0; }

std::string CallLine(int port) { return "srcwatch_get_device_info called for Port (" + std::to_string(port) + ")"; }

void AnswerCodeset(const Query& query, int port, Json::Value& record, Outcome& outcome)
{
    const Query& info = QueryNamed("srcwatch_get_device_info");
    Outcome shown{0, {std::string(100, '\0'), std::string(100, '\0'), 0, 0, false}, {}};
    Log(outcome, info.name, CallLine(port));
    AnswerOrFail(info, port, record, shown);
    outcome.log.insert(outcome.log.end(), shown.log.begin(), shown.log.end());

    const std::string name = Printed(shown.outputs.text1);
    if (name.compare(0, 7, "Unknown") == 0 || name.compare(0, 3, "STB") == 0) {
        Log(outcome, query.name, "Device name(" + name + ") makes empty codeset return");
        outcome.outputs.flag = false;
        outcome.result = 3;
        return;
    }
    const std::string codeset = record["CName"].asString();
    outcome.outputs.flag = !codeset.empty();
    outcome.result = codeset.empty() ? 3 : 0;
    if (!codeset.empty()) outcome.outputs.text1 = Copied(codeset, 10);
}

void AnswerResult1(const Query&, int, Json::Value& record, Outcome& outcome)
{
    const int type = record["DevType"].asInt();
    if (type == 1) outcome.outputs.text1 = Copied(record["PRName"].asString());
    if ((type >= 3 && type <= 6) || type == 9) outcome.outputs.text1 = Copied(record["DevName"].asString());
}

void AnswerResult2(const Query&, int, Json::Value& record, Outcome& outcome)
{
    const int type = record["DevType"].asInt();
    if (type >= 3 && type <= 6) outcome.outputs.text1 = Copied(record["BName"].asString());
}

Outcome Before(const Query& query, char fill)
{
    return {
        0, {std::string(query.textSize, fill), std::string(100, fill), kNumberBefore, kNumberBefore, fill != 0}, {}};
}

// Nothing if there is none, or it cannot be read.
Json::Value StoredRecord(int port, const std::string* stored)
{
    Json::Value root;
    try {
        if (stored == nullptr || !ParseJson(Printed(*stored), root)) return Json::Value();
        return port == kOptical ? root["activity"] : root["activity"][port];
    } catch (const Json::Exception&) {
        return Json::Value();
    }
}

template <int (*Function)(char*, int)>
int CallText(int port, const CallerOutputs& outputs)
{
    return Function(outputs.text1, port);
}

template <int (*Function)(int, int*)>
int CallNumber(int port, const CallerOutputs& outputs)
{
    return Function(port, outputs.number1);
}

int CallDenyCount(int port, const CallerOutputs& outputs) { return srcwatch_get_denycount(outputs.number1, port); }

int CallChanged(int port, const CallerOutputs& outputs)
{
    return srcwatch_get_changed_device_info(port, outputs.number1, outputs.flag);
}

int CallDeviceInfo(int port, const CallerOutputs& outputs)
{
    return srcwatch_get_device_info(port, outputs.number1, outputs.text1, outputs.text2);
}

int CallCodeset(int port, const CallerOutputs& outputs)
{
    return srcwatch_get_codeset_info(port, outputs.flag, outputs.text1);
}

// What a query does not test for null.
constexpr Untested kNumber{true, false};
constexpr Untested kFlag{false, true};
constexpr Untested kNumberAndFlag{true, true};

}  // namespace

bool IsAccepted(int port)
{
    return std::find(std::begin(kAcceptedPorts), std::end(kAcceptedPorts), port) != std::end(kAcceptedPorts);
}

const std::vector<Query>& AllQueries()
{
    static const auto& queries = *new std::vector<Query>{
        {"srcwatch_get_cec_name", "srcwatch_get_cec_name", 100, &CallText<srcwatch_get_cec_name>, &AnswerText,
         "CECName"},
        {"srcwatch_get_model_name", "srcwatch_get_model_name", 100, &CallText<srcwatch_get_model_name>, &AnswerText,
         "ModelName"},
        {"srcwatch_get_manufacturer_name", "srcwatch_get_manufacturer_name", 100,
         &CallText<srcwatch_get_manufacturer_name>, &AnswerText, "MFName"},
        {"srcwatch_get_codeset_name", "srcwatch_get_codeset_name", 100, &CallText<srcwatch_get_codeset_name>,
         &AnswerText, "CName"},
        {"srcwatch_get_logo_mso_name", "srcwatch_get_infoframe_model_name", 100, &CallText<srcwatch_get_logo_mso_name>,
         &AnswerText, "PRName"},
        {"srcwatch_get_cec_device_name", "srcwatch_get_cec_device_name", 100, &CallText<srcwatch_get_cec_device_name>,
         &AnswerText, "CDevName"},
        {"srcwatch_get_aksv_info", "srcwatch_get_codeset_name", 100, &CallText<srcwatch_get_aksv_info>, &AnswerText,
         "AKSV"},
        {"srcwatch_get_product_type_name", "srcwatch_get_product_type_name", 100,
         &CallNumber<srcwatch_get_product_type_name>, &AnswerNumber, "DevType"},
        {"srcwatch_get_denycount", "srcwatch_get_codeset_name", 100, &CallDenyCount, &AnswerNumber, "DenyCount"},
        {"srcwatch_get_detection_moethod", "srcwatch_get_cec_device_name", 100,
         &CallNumber<srcwatch_get_detection_moethod>, &AnswerNumber, "DMethod"},
        {"srcwatch_get_oobe_scan_state", "srcwatch_get_codeset_name", 100, &CallNumber<srcwatch_get_oobe_scan_state>,
         &AnswerScanState, "ScanState", kNumber, false},
        {"srcwatch_get_changed_device_info", "srcwatch_get_codeset_name", 100, &CallChanged, &AnswerChanged, nullptr,
         kNumberAndFlag, false},
        {"srcwatch_get_device_info", "srcwatch_get_device_info", 100, &CallDeviceInfo, &AnswerDeviceInfo, nullptr,
         kNumber},
        {"srcwatch_get_codeset_info", "srcwatch_get_codeset_info", 10, &CallCodeset, &AnswerCodeset, nullptr, kFlag,
         true, 2},
        {"srcwatch_get_result_str1_name", "srcwatch_get_result_str1_name", 100,
         &CallText<srcwatch_get_result_str1_name>, &AnswerResult1},
        {"srcwatch_get_result_str2_name", "srcwatch_get_result_str2_name", 100,
         &CallText<srcwatch_get_result_str2_name>, &AnswerResult2},
    };
    return queries;
}

const Query& QueryNamed(const std::string& name)
{
    const auto& queries = AllQueries();
    return *std::find_if(queries.begin(), queries.end(), [&](const Query& query) { return query.name == name; });
}

std::vector<Query> TextQueries()
{
    std::vector<Query> queries;
    for (const Query& query : AllQueries()) {
        if (query.answer == &AnswerText) queries.push_back(query);
    }
    return queries;
}

bool operator==(const Outcome& a, const Outcome& b)
{
    const auto all = [](const Outcome& o) {
        return std::tie(o.result, o.outputs.text1, o.outputs.text2, o.outputs.number1, o.outputs.number2,
                        o.outputs.flag, o.log, o.staysInBounds);
    };
    return all(a) == all(b);
}

Outcome Ask(const Query& query, int port, char fill, Untested null)
{
    GuardedText text1(query.textSize, fill);
    GuardedText text2(100, fill);
    int numbers[] = {kNumberBefore, kNumberBefore, kNumberBefore, kNumberBefore, kNumberBefore};
    bool flag = fill != 0;
    ThePlatform().ForgetCalls();

    const int result = query.call(port, {text1.data(), text2.data(), null.number1 ? nullptr : &numbers[1], &numbers[3],
                                         null.flag ? nullptr : &flag});

    Outcome outcome{result, {text1.Content(), text2.Content(), numbers[1], numbers[3], flag}, {}};
    outcome.staysInBounds = text1.GuardsHold() && text2.GuardsHold() && numbers[0] == kNumberBefore &&
                            numbers[2] == kNumberBefore && numbers[4] == kNumberBefore;
    for (const LogLine& line : ThePlatform().log) {
        if (line.file != "QDInfo.cpp") continue;
        outcome.staysInBounds = outcome.staysInBounds && line.priority == DLOG_ERROR;
        outcome.log.push_back(line.function + ": " + line.message);
    }
    return outcome;
}

Outcome ExpectedOfRecord(const Query& query, int port, Json::Value& record, char fill, Untested null)
{
    Outcome outcome = Before(query, fill);
    if (CalledForPort(query)) Log(outcome, query.name, CallLine(port));
    if (!IsAccepted(port)) {
        outcome.result = 2;
        if (CalledForPort(query)) Log(outcome, query.name, "Port Index Error: " + std::to_string(port));
        return outcome;
    }
    AnswerOrFail(query, port, record, outcome);
    if (null.number1) outcome.outputs.number1 = kNumberBefore;
    if (null.flag) outcome.outputs.flag = fill != 0;
    return outcome;
}

Outcome Expected(const Query& query, int port, const std::string* stored, char fill, Untested null)
{
    Json::Value record = StoredRecord(port, stored);
    return ExpectedOfRecord(query, port, record, fill, null);
}

std::string Printed(const std::string& text) { return text.substr(0, text.find('\0')); }

const char* StoredKey(int port) { return port == kOptical ? kOpticalKey : kHdmiKey; }

std::string TextOf(const Json::Value& value)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

Json::Value ArrayWith(int index, const Json::Value& element)
{
    Json::Value array(Json::arrayValue);
    array.resize(static_cast<Json::ArrayIndex>(index + 1));
    array[index] = element;
    return array;
}

std::string DocumentOf(int port, const Json::Value& record)
{
    Json::Value root;
    root["activity"] = port == kOptical ? record : ArrayWith(port, record);
    return TextOf(root);
}

bool ParseJson(const std::string& text, Json::Value& root)
{
    thread_local const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    std::string errors;
    return reader->parse(text.data(), text.data() + text.size(), &root, &errors);
}

std::string Copied(const std::string& text, std::size_t size)
{
    std::string copied = Printed(text);
    copied.resize(size);  // cuts, or appends zeros
    return copied;
}

GuardedText::GuardedText(std::size_t size, char fill)
    : m_fill(fill), m_bytes(std::string(kGuard, '\xa5').append(size, fill).append(kGuard, '\x5a'))
{
}

bool GuardedText::GuardsHold() const
{
    static const std::string front(kGuard, '\xa5');
    static const std::string back(kGuard, '\x5a');
    return m_bytes.compare(0, kGuard, front) == 0 && m_bytes.compare(m_bytes.size() - kGuard, kGuard, back) == 0;
}

}  // namespace srcwatch_test
