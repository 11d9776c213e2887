// SPDX-License-Identifier: Apache-2.0
#include "Rules.h"

#include <algorithm>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace srcwatch {
namespace {

std::string TypeCell(int type)
{
    const auto* const known = std::find_if(std::begin(kDeviceTypes), std::end(kDeviceTypes),
                                           [&](const DeviceTypeName& candidate) { return candidate.type == type; });
    return std::to_string(type) + " " + (known == std::end(kDeviceTypes) ? "unknown" : known->name);
}

std::vector<std::string> RowsOfCode()
{
    std::vector<std::string> rows;
    for (const Rule& rule : Rules()) {
        const int method = static_cast<int>(rule.method);
        const std::string code = rule.code == kAnyCode ? "" : std::to_string(rule.code);
        rows.push_back("| " + std::to_string(method) + " " + DetectionMethodText(method) + " | " + code + " | " +
                       rule.note + " | " + TypeCell(rule.type) + " | " + TypeCell(rule.typeWithAudio) + " |");
    }
    return rows;
}

// The rows of the first table after the heading, without its titles.
std::vector<std::string> RowsOfGuide()
{
    std::ifstream guide(SRCWATCH_DETECTION_GUIDE);
    std::vector<std::string> rows;
    bool isHere = false;
    for (std::string line; std::getline(guide, line);) {
        if (line.rfind("## ", 0) == 0) isHere = line == "## What a device is";
        if (isHere && line.rfind("| ", 0) == 0) rows.push_back(line);
    }
    if (!rows.empty()) rows.erase(rows.begin());
    return rows;
}

TEST(Rules, AreThoseOfTheGuide) { EXPECT_EQ(RowsOfGuide(), RowsOfCode()); }

TEST(Rules, AreEachReached)
{
    std::set<std::pair<DetectionMethod, int>> seen;
    for (const Rule& rule : Rules()) EXPECT_TRUE(seen.insert({rule.method, rule.code}).second) << rule.note;
    EXPECT_EQ(Rules().back().method, DetectionMethod::kSilent);
}

TEST(Rules, AreTriedMethodByMethodUntilOneApplies)
{
    const std::vector<RuleTrial> trials = TryRules({});

    ASSERT_EQ(trials.size(), 5U);
    EXPECT_EQ(trials.front().found, "no InfoFrame");
    EXPECT_FALSE(trials.front().applies);
    EXPECT_EQ(trials.back().method, DetectionMethod::kSilent);
    EXPECT_TRUE(trials.back().applies);
}

}  // namespace
}  // namespace srcwatch
