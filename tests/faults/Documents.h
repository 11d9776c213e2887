// SPDX-License-Identifier: Apache-2.0
//
// Activity documents that name their generation, so that a mix of two is found. Made without the library, which a
// program may not want to load.
#ifndef SRCWATCH_TESTS_DOCUMENTS_H
#define SRCWATCH_TESTS_DOCUMENTS_H

#include <string>

namespace srcwatch_test {

constexpr char kActivityKey[] = "db/srcwatch-service/source-activity";
constexpr char kOpticalKey[] = "db/srcwatch-service/optical-source-activity";
constexpr char kStatisticsKey[] = "db/srcwatch-service/spd_aksv_1";

constexpr int kRecords = 4;

/// The text that the records of a generation hold; longer than those that strings keep in place.
std::string TextOfGeneration(int generation);

/// The activity document of a generation, as the library writes it.
std::string DocumentOf(int generation);

}  // namespace srcwatch_test

#endif
