// SPDX-License-Identifier: Apache-2.0
#include "PortDocument.h"

#include "Answers.h"
#include "Ports.h"
#include "RecordFields.h"
#include "Records.h"
#include "Settings.h"
#include "srcwatch-api.h"

namespace ctl {

namespace {

Cell ResultCell(int result)
{
    const std::string code = std::to_string(result);
    if (result == SRCWATCH_OK) return {code, Colour::kGood};
    return {code + " (" + ResultText(result) + ")", Colour::kBad};
}

}  // namespace

Json::Value PortDocument(int port)
{
    const StoredRecord record = LoadRecord(port);
    const std::optional<bool> connected = IsConnected(port);
    Json::Value document;
    document["port"] = port;
    document["input"] = PortName(port);
    document["connected"] = connected ? Json::Value(*connected) : Json::Value();
    document["stored"] = record.stored;
    document["readable"] = record.readable;
    document["record"] = record.members;
    return document;
}

void ShowPort(int port, Output& output)
{
    RequireSettings();
    const std::vector<Answer> answers = AskAll(port);
    Json::Value document = PortDocument(port);
    document["answers"] = AnswersToJson(answers);

    Table table{{"FROM", "NAME", "VALUE", "RESULT"}, {}};
    for (const srcwatch::RecordField& field : srcwatch::kRecordFields) {
        table.rows.push_back({"record", field.key, CellText(document["record"][field.key]), ""});
    }
    for (const Answer& answer : answers) {
        for (const AnsweredValue& value : answer.values) {
            const Cell cell = value.value.isNull() ? Cell("(untouched)", Colour::kDim) : Cell(CellText(value.value));
            table.rows.push_back({answer.function, value.name, cell, ResultCell(answer.result)});
        }
    }
    output.Write(document, table);
}

}  // namespace ctl
