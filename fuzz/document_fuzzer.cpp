// SPDX-License-Identifier: Apache-2.0
//
// The three kinds of stored document, with any content, through the loaders, the table, the record and all queries,
// against the answers and log lines that Queries.cpp gives them. Parsing itself is left to JsonCpp on both sides.
//
// Input: the kind of document, which port is asked for, how the text is made, then what it is made of.
#include "Fields.h"
#include "Fuzz.h"
#include "JsonText.h"
#include "MemoryPlatform.h"
#include "QDInfoNames.h"
#include "QDInfoServerData.h"
#include "Queries.h"
#include "srcwatch-api.h"

#include <climits>
#include <optional>
#include <vector>

namespace {

using fuzz::Field;
using fuzz::Input;
using fuzz::Require;
using qdinfo::CQDInfoServerData;
using srcwatch_test::IsAccepted;
using srcwatch_test::kOptical;

constexpr int kPorts[] = {0, 1, 2, 3, 4, 7, kOptical, 8, -1, 98, 100, INT_MAX, INT_MIN};
constexpr int kKpiPorts = 8;

// ---------------------------------------------------------------------------------------------------------------------
// Making a text

const fuzz::Names& RecordNames()
{
    static const fuzz::Names names = [] {
        fuzz::Names list{"activity"};
        for (const Field& field : fuzz::kFields) list.push_back(field.name);
        return list;
    }();
    return names;
}

const fuzz::Names kStatisticsNames = {"Auto", "port", "pri", "t", "spd", "result"};

// A record with most of its members, and most of the right type.
std::string RecordText(Input& input)
{
    const std::uint32_t odd = static_cast<std::uint32_t>(input.Number());
    std::string text = "{";
    std::size_t which = 0;
    for (const Field& field : fuzz::kFields) {
        const bool isOdd = (odd >> which++ & 1U) != 0 && input.Below(4) == 0;
        if (isOdd && input.Below(3) == 0) continue;  // absent
        if (text.size() > 1) text += ',';
        text += fuzz::JsonString(field.name) + ":";
        if (isOdd) {
            text += fuzz::JsonValue(input, RecordNames());
        } else if (field.number != nullptr) {
            text += std::to_string(static_cast<std::int8_t>(input.Byte()));
        } else {
            text += fuzz::JsonString(input.Text(130));
        }
    }
    return text + "}";
}

// An array of what element returns, and now and then of anything.
template <typename Element>
std::string ArrayText(Input& input, const fuzz::Names& names, Element element)
{
    std::string text = "[";
    for (unsigned left = input.Below(7); left > 0; --left) {
        text += (input.Below(8) == 0 ? fuzz::JsonValue(input, names) : element(input)) + (left > 1 ? "," : "");
    }
    return text + "]";
}

std::string ThreeTexts(Input& input)
{
    if (input.Below(4) == 0) return fuzz::JsonValue(input, kStatisticsNames);
    std::string text = "[";
    for (int i = 0; i < 3; ++i) text += fuzz::JsonString(input.Text(40)) + (i < 2 ? "," : "");
    return text + "]";
}

std::string EntryText(Input& input)
{
    const unsigned absent = input.Byte();
    std::string text = "{\"port\":" + std::to_string(input.Below(10));
    if ((absent & 3U) != 0) text += ",\"pri\":" + fuzz::JsonNumber(input);
    if ((absent & 12U) != 0) text += ",\"t\":" + fuzz::JsonNumber(input);
    if ((absent & 48U) != 0) text += ",\"spd\":" + ThreeTexts(input);
    if ((absent & 192U) != 0) text += ",\"result\":" + ThreeTexts(input);
    return text + "}";
}

std::string ActivityText(Input& input) { return "{\"activity\":" + ArrayText(input, RecordNames(), &RecordText) + "}"; }

std::string OpticalText(Input& input) { return "{\"activity\":" + RecordText(input) + "}"; }

std::string StatisticsText(Input& input) { return "{\"Auto\":" + ArrayText(input, kStatisticsNames, &EntryText) + "}"; }

// The bytes as they are, anything in JSON, or what nearly is a document.
std::string DocumentText(Input& input, const fuzz::Names& names, std::string (*nearly)(Input&))
{
    const unsigned manner = input.Below(8);
    if (manner == 0) return fuzz::Printed(input.Rest());
    std::string text = manner == 1 ? fuzz::JsonValue(input, names) : nearly(input);
    if (manner == 2) text += input.Text(8);
    return fuzz::Printed(text);
}

// ---------------------------------------------------------------------------------------------------------------------
// What must be answered

// Nothing if reading it must fail.
template <typename Read>
auto Maybe(Read read) -> std::optional<decltype(read())>
{
    try {
        return read();
    } catch (const Json::Exception&) {
        return std::nullopt;
    }
}

struct Document {
    bool isJson = false;
    Json::Value root;
};

Document DocumentOf(const std::string& text)
{
    Document document;
    document.isJson = fuzz::Parse(text, document.root);
    return document;
}

// The member "activity", or an element of it; null if it cannot be loaded. Adds null members and elements to the
// document, which are read as absent ones are.
Json::Value* StoredRecord(Document& document, std::optional<int> element)
{
    if (!document.isJson) return nullptr;
    return Maybe([&] {
               Json::Value& activity = document.root["activity"];
               return element ? &activity[*element] : &activity;
           })
        .value_or(nullptr);
}

std::optional<int> Number(Json::Value& record, const char* name)
{
    return Maybe([&] { return record[name].asInt(); });
}

std::optional<std::string> Text(Json::Value& record, const char* name)
{
    return Maybe([&]() -> std::string { return record[name].asString(); });
}

// All queries answer for the record that is stored for the port, and log, what Queries.cpp expects of them.
void CheckQueries(int port, Json::Value record)
{
    for (const srcwatch_test::Query& query : srcwatch_test::AllQueries()) {
        Require(Ask(query, port) == ExpectedOfRecord(query, port, record), query.name);
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// The kinds of document

void Store(const char* key, const std::string& text) { srcwatch_test::ThePlatform().settings.texts = {{key, text}}; }

std::string Stored() { return srcwatch_test::ThePlatform().settings.texts[qdinfo::kSourceActivityKey]; }

CQDInfoServerData& TheStore() { return *qdinfo::CSingleton<CQDInfoServerData>::GetInstance(); }

// A loader's value, which a failure leaves unchanged.
void CheckLoaded(bool loaded, const Json::Value& value, const Json::Value* expected)
{
    Require(loaded == (expected != nullptr), "the result of a loader");
    Require(value == (expected != nullptr ? *expected : Json::Value("before")), "the value of a loader");
}

// A record of the table, read as far as it can be.
void CheckTableRecord(CQDInfoServerData& table, int port, Json::Value& element)
{
    bool readable = true;
    for (const Field& field : fuzz::kFields) {
        if (field.number != nullptr) {
            const auto number = readable ? Number(element, field.name) : std::nullopt;
            readable = number.has_value();
            Require((table.*field.number)(port) == number.value_or(0), "a number of the table");
        } else {
            const auto text = readable ? Text(element, field.name) : std::nullopt;
            readable = text.has_value();
            Require(std::strcmp((table.*field.text)(port), text ? text->c_str() : "") == 0, "a text of the table");
        }
    }
}

void CheckTable(Document& document)
{
    const int ports = std::max(srcwatch_test::ExpectedHdmiCount(), 0);
    CQDInfoServerData table;
    const bool loaded = table.t_LoadActivityInfoToMemory();
    const bool readable = document.isJson && (ports == 0 || StoredRecord(document, 0) != nullptr);
    Require(loaded == readable, "the result of loading the table");
    if (!loaded) return;
    for (int port = 0; port < ports; ++port) CheckTableRecord(table, port, *StoredRecord(document, port));

    Require(table.t_SaveActivityInfoToFile(), "what was loaded can be saved");
    const std::string saved = Stored();
    Require(table.t_LoadActivityInfoToMemory() && table.t_SaveActivityInfoToFile(), "and loaded and saved again");
    Require(Stored() == saved, "and it is the same text");
}

void CheckActivity(Input& input)
{
    const int port = kPorts[input.Below(std::size(kPorts))];
    const std::string text = DocumentText(input, RecordNames(), &ActivityText);
    Store(qdinfo::kSourceActivityKey, text);
    Document document = DocumentOf(text);

    const Json::Value* const stored = StoredRecord(document, port);
    Json::Value loaded("before");
    const bool result = TheStore().t_LoadPortJsonInfoToMemory(port, loaded);
    CheckLoaded(result, loaded, stored);
    if (port != kOptical) CheckQueries(port, stored != nullptr ? *stored : Json::Value());
    CheckTable(document);
}

void CheckOptical(Input& input)
{
    const std::string text = DocumentText(input, RecordNames(), &OpticalText);
    Store(qdinfo::kOpticalActivityKey, text);

    Document document = DocumentOf(text);
    const Json::Value* const stored = StoredRecord(document, std::nullopt);
    Json::Value loaded("before");
    const bool result = TheStore().t_LoadOpticalPortJsonInfoToMemory(kOptical, loaded);
    CheckLoaded(result, loaded, stored);
    CheckQueries(kOptical, stored != nullptr ? *stored : Json::Value());
}

// Calls take(port, entry) for each entry worth taking; false if the list ends with a failure, or there is none.
template <typename IsWanted, typename Take>
bool ForEachEntry(Document& document, IsWanted isWanted, Take take)
{
    if (!document.isJson) return false;
    return Maybe([&] {
               Json::Value& list = document.root["Auto"];
               for (Json::ArrayIndex i = 0; i < list.size(); ++i) {
                   const Json::Value& entry = list[i];
                   if (entry.isNull()) continue;
                   const int port = entry.get("port", -1).asInt();
                   if (isWanted(port) && entry.get("pri", 10).asInt() <= 9) take(port, entry);
               }
               return !list.isNull();
           })
        .value_or(false);
}

// One text of an array of three; nothing if it is not to be copied.
void CopyThird(Json::Value& entry, const char* member, const std::vector<std::string*>& fields)
{
    const Json::Value& list = entry[member];
    if (list.isNull() || list.size() != 3) return;
    for (Json::ArrayIndex i = 0; i < fields.size(); ++i) *fields[i] = list[i].asString();
}

// Fills a record until something cannot be read.
bool FillExpected(Json::Value& entry, int port, srcwatch_kpi_info_s& info)
{
    return Maybe([&] {
               info.hdmi_no = port + 1;
               info.t = entry.get("t", -1).asInt();
               CopyThird(entry, "spd", {&info.spd_vendor, &info.spd_product});
               CopyThird(entry, "result", {&info.result_first});
               return true;
           })
        .has_value();
}

srcwatch_kpi_info_s KpiBefore() { return {-777, -778, "vendor", "product", "extra", "first"}; }

bool operator==(const srcwatch_kpi_info_s& a, const srcwatch_kpi_info_s& b)
{
    return a.hdmi_no == b.hdmi_no && a.t == b.t && a.spd_vendor == b.spd_vendor && a.spd_product == b.spd_product &&
           a.spd_extra == b.spd_extra && a.result_first == b.result_first;
}

void CheckOneKpi(Document& document, int port)
{
    Json::Value expected("before");
    const bool whole = ForEachEntry(
        document, [port](int owner) { return owner == port; },
        [&](int, const Json::Value& entry) { expected = entry; });
    Json::Value loaded("before");
    Require(TheStore().t_LoadPortJsonKPIInfoToMemory(port, loaded) == whole, "the result of a statistics loader");
    Require(loaded == expected, "the entry of a statistics loader");

    srcwatch_kpi_info_s info = KpiBefore();
    Require(srcwatch_get_device_kpi_info(port, &info) == (IsAccepted(port) ? 1 : 2), "one entry is never returned");
    Require(info == KpiBefore(), "and leaves the record unchanged");
}

void CheckAllKpi(Document& document)
{
    const int ports = std::max(srcwatch_test::ExpectedHdmiCount(), 0);
    std::vector<Json::Value> expected(static_cast<std::size_t>(std::max(ports, kKpiPorts)));
    const bool whole = ForEachEntry(
        document, [ports](int port) { return port >= 0 && port < ports; },
        [&](int port, const Json::Value& entry) { expected[static_cast<std::size_t>(port)] = entry; });
    std::vector<Json::Value> loaded(expected.size());
    Require(TheStore().t_LoadAllJsonKPIInfoToMemory(loaded.data()) == whole, "the result of the statistics loader");
    Require(loaded == expected, "the entries of the statistics loader");

    std::vector<srcwatch_kpi_info_s> before(kKpiPorts, KpiBefore());
    std::vector<srcwatch_kpi_info_s> infos = before;
    int result = 0;
    for (int port = 0; port < kKpiPorts && result == 0; ++port) {
        const auto at = static_cast<std::size_t>(port);
        if (!expected[at].isNull() && !FillExpected(expected[at], port, before[at])) result = 1;
    }
    Require(srcwatch_get_all_device_kpi_info(infos.data()) == result, "the result of the statistics");
    Require(std::equal(infos.begin(), infos.end(), before.begin(), [](const auto& a, const auto& b) { return a == b; }),
            "the records of the statistics");
}

void CheckStatistics(Input& input)
{
    const int port = kPorts[input.Below(std::size(kPorts))];
    const std::string text = DocumentText(input, kStatisticsNames, &StatisticsText);
    Store(qdinfo::kStatisticsKey, text);
    Document document = DocumentOf(text);
    CheckOneKpi(document, port);
    CheckAllKpi(document);
}

}  // namespace

void srcwatch_test::ConfigurePlatform(Platform& platform) { platform.keepsSequence = false; }

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    Input input(bytes, size);
    switch (input.Below(4)) {
        case 0:
            CheckOptical(input);
            break;
        case 1:
            CheckStatistics(input);
            break;
        default:
            CheckActivity(input);
    }
    // An input that leaves more than it found is run a second time, in search of a leak.
    srcwatch_test::ThePlatform().ForgetCalls();
    srcwatch_test::ThePlatform().settings.texts.clear();
    return 0;
}
