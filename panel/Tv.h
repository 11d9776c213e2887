// SPDX-License-Identifier: Apache-2.0
//
// The TV as an application of the library sees it, as JSON.
#ifndef SRCWATCH_PANEL_TV_H
#define SRCWATCH_PANEL_TV_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

namespace panel {

/// Returns the ports of this TV, the optical one last.
std::vector<int> Ports();
bool HasPort(int port);

/// Returns all types, each with its number, text, name and icon.
Json::Value DescribeTypes();
/// Returns the names of the methods, by their numbers.
Json::Value DescribeMethods();

/// Returns a record in which nothing is known.
Json::Value EmptyRecord();

/// What the settings store has of the ports.
struct Stored {
    std::map<int, Json::Value> records;    ///< the eighteen members; null without a record
    std::map<int, Json::Value> histories;  ///< detections, the newest last
    Json::Value statistics;                ///< counts over all of them
};
/// Returns nothing if the store cannot be read for the moment.
std::optional<Stored> ReadStored(const std::vector<int>& ports);

/// Returns the device on a port as an application shows it; null without one.
Json::Value DescribeDevice(int port);
Json::Value DescribeFeatures();
/// Returns the status of the TWC check, without its port.
Json::Value DescribeTwc();
/// Returns stage and percentage of the first-setup scan.
Json::Value DescribeScan();

}  // namespace panel

#endif
