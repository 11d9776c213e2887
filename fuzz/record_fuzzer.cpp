// SPDX-License-Identifier: Apache-2.0
//
// Records that go out and come back: as a JSON object, as the table's document, and through the settings store.
//
// Input: the fields of one record after the other, and which port each is set for.
#include "Fields.h"
#include "Fuzz.h"
#include "JsonText.h"
#include "MemoryPlatform.h"
#include "QDInfoActivityInfo.h"
#include "QDInfoNames.h"
#include "QDInfoServerData.h"
#include "Queries.h"

#include <array>
#include <map>

#include <glib.h>

namespace {

using fuzz::Field;
using fuzz::Input;
using fuzz::Require;
using qdinfo::CQDInfoServerData;
using srcwatch_test::kOptical;

constexpr std::size_t kLongestText = 130;

auto& Texts() { return srcwatch_test::ThePlatform().settings.texts; }

// A record as the table must show it.
struct Record {
    std::map<std::string, int> numbers;
    std::map<std::string, std::string> texts;
};

bool operator==(const Record& a, const Record& b) { return a.numbers == b.numbers && a.texts == b.texts; }

Record RecordOf(CQDInfoServerData& table, int port)
{
    Record record;
    for (const Field& field : fuzz::kFields) {
        if (field.number != nullptr) {
            record.numbers[field.name] = (table.*field.number)(port);
        } else {
            record.texts[field.name] = (table.*field.text)(port);
        }
    }
    return record;
}

Record RecordOf(const Json::Value& object)
{
    Require(object.size() == std::size(fuzz::kFields), "a record has eighteen members");
    Record record;
    for (const Field& field : fuzz::kFields) {
        Require(object.isMember(field.name), "a record has a member for each field");
        if (field.number != nullptr) {
            record.numbers[field.name] = object[field.name].asInt();
        } else {
            record.texts[field.name] = object[field.name].asString();
        }
    }
    return record;
}

void SetText(CQDInfoServerData& table, const Field& field, int port, const std::string& text, Record& record)
{
    (table.*field.setText)(text.c_str(), port);
    const bool canBeEmptied = std::strcmp(field.name, "CName") == 0;
    if (!text.empty() || canBeEmptied) record.texts[field.name] = text;
}

// Sets what the input contains; record becomes what the table must show.
void SetRecord(Input& input, CQDInfoServerData& table, int port, Record& record)
{
    for (const Field& field : fuzz::kFields) {
        if (field.setText != nullptr) {
            SetText(table, field, port, fuzz::Printed(input.Text(kLongestText)), record);
        } else if (field.setNumber != nullptr) {
            record.numbers[field.name] = input.Number();
            (table.*field.setNumber)(record.numbers[field.name], port);
        } else {
            table.SetPortNumber(port);
            record.numbers[field.name] = port;
        }
    }
}

bool IsUtf8(const Record& record)
{
    return std::all_of(record.texts.begin(), record.texts.end(), [](const auto& member) {
        return g_utf8_validate(member.second.data(), static_cast<gssize>(member.second.size()), nullptr) != FALSE;
    });
}

// The record alone, out and back.
void CheckRecord(const Json::Value& object)
{
    Json::Value copy = object;
    qdinfo::CQDInfoActivityInfo record;
    Require(record.Read(copy) && copy == object, "a written record can be read");
    Json::Value again;
    Require(record.Write(again) && again == object, "a record read and written is the same");
    record.ResetSourceInfo();
    Require(record.GetDenyCount() == object["DenyCount"].asInt(), "a reset keeps the deny count");
    Require(record.GetPortNumber() == 0 && *record.GetStrDeviceType() == '\0', "a reset clears the others");
}

// The optical record never goes to the store by itself.
void CheckOptical(CQDInfoServerData& table, const Record& expected)
{
    Json::Value root;
    Require(table.GetOpticalActivityInfoToStream(root) && root.size() == 1, "the optical record is written");
    Require(RecordOf(root["activity"]) == expected, "the optical document is the optical record");
    CheckRecord(root["activity"]);
    Texts()[qdinfo::kOpticalActivityKey] = Json::writeString(Json::StreamWriterBuilder(), root);
    Json::Value loaded;
    Require(table.t_LoadOpticalPortJsonInfoToMemory(kOptical, loaded), "the optical document can be loaded");
    if (IsUtf8(expected)) Require(loaded == root["activity"], "it is loaded as it was saved");
}

void CheckStored(CQDInfoServerData& table, const std::vector<Record>& records)
{
    Require(table.t_SaveActivityInfoToFile(), "the table is saved");
    const std::string saved = Texts()[qdinfo::kSourceActivityKey];
    CQDInfoServerData other;
    Require(other.t_LoadActivityInfoToMemory(), "what was saved can be loaded");
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (!IsUtf8(records[i])) continue;
        const int port = static_cast<int>(i);
        Require(RecordOf(other, port) == records[i], "a record is loaded as it was saved");
        Json::Value object;
        Require(other.t_LoadPortJsonInfoToMemory(port, object), "one record can be loaded");
        Require(RecordOf(object) == records[i], "one record is loaded as it was saved");
    }
    Require(other.t_SaveActivityInfoToFile(), "what was loaded can be saved");
    Require(Texts()[qdinfo::kSourceActivityKey] == saved, "and it is the same text");
}

Record EmptyRecord()
{
    CQDInfoServerData table;
    return RecordOf(table, kOptical);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    static const Record empty = EmptyRecord();
    static const int ports = std::max(srcwatch_test::ExpectedHdmiCount(), 0);
    srcwatch_test::ThePlatform().ForgetCalls();
    Input input(bytes, size);
    CQDInfoServerData table;
    table.CreateAndAddNewActivity();
    std::vector<Record> records(static_cast<std::size_t>(ports), empty);
    Record optical = empty;
    do {
        const unsigned which = input.Byte();
        if (ports == 0 || which % 5 == 4) {
            SetRecord(input, table, kOptical, optical);
        } else {
            const int port = static_cast<int>(which) % ports;
            SetRecord(input, table, port, records[static_cast<std::size_t>(port)]);
        }
    } while (input.Left() > 0);

    Json::Value root;
    Require(table.GetActivityInfoToStream(root), "the table is written");
    for (std::size_t i = 0; i < records.size(); ++i) {
        const Json::Value& object = root["activity"][static_cast<Json::ArrayIndex>(i)];
        Require(RecordOf(object) == records[i], "the document holds what was set");
        CheckRecord(object);
    }
    CheckOptical(table, optical);
    CheckStored(table, records);
    return 0;
}
