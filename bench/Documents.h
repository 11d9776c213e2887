// SPDX-License-Identifier: Apache-2.0
//
// Stored documents of chosen sizes, with the texts that real devices bring along.
#ifndef SRCWATCH_BENCH_DOCUMENTS_H
#define SRCWATCH_BENCH_DOCUMENTS_H

#include "QDInfoNames.h"

#include <string>
#include <vector>

#include <json/json.h>

namespace bench {

/// The stored record of one device, as plain members.
struct Record {
    int port;
    int type;
    std::string brand;
    std::string device;
    std::string provider;
    std::string codeset;
    std::string cecName;
    std::string aksv;
};

/// The records of this many ports.
std::vector<Record> Records(int count);
/// The document of one record, made in the cheapest way.
Json::Value Document(const Record& record);

/// The activity document with this many records.
Json::Value ActivityDocument(int records);
/// The statistics document with this many entries, on the ports 0 to 7 in turn.
Json::Value StatisticsDocument(int entries);
/// As the library writes it.
std::string TextOf(const Json::Value& document);

}  // namespace bench

#endif
