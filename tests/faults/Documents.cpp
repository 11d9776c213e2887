// SPDX-License-Identifier: Apache-2.0
#include "Documents.h"

#include "srcwatch-api.h"

#include <json/json.h>

namespace srcwatch_test {

namespace {

Json::Value RecordOf(int generation, int port)
{
    Json::Value record;
    for (const char* key : {"BName", "DevName", "PRName", "CName", "CDevName", "AKSV", "UnknownType", "MFName",
                            "ModelName", "CECName", "sDevType"}) {
        record[key] = TextOfGeneration(generation);
    }
    for (const char* key : {"DenyCount", "ScanState", "DMethod", "PrevPort", "Changed"}) record[key] = generation;
    record["DevType"] = SRCWATCH_DEVICE_STREAMING_BOX;
    record["PortNum"] = port;
    return record;
}

}  // namespace

std::string TextOfGeneration(int generation) { return "text of generation " + std::to_string(generation); }

std::string DocumentOf(int generation)
{
    Json::Value document;
    for (int port = 0; port < kRecords; ++port) {
        document["activity"][static_cast<Json::ArrayIndex>(port)] = RecordOf(generation, port);
    }
    return Json::writeString(Json::StreamWriterBuilder(), document);
}

}  // namespace srcwatch_test
