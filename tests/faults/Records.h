// SPDX-License-Identifier: Apache-2.0
//
// The records of the documents, in a table of the library.
#ifndef SRCWATCH_TESTS_RECORDS_H
#define SRCWATCH_TESTS_RECORDS_H

#include "Documents.h"
#include "QDInfoData.h"

namespace srcwatch_test {

/// Fills the records of a table so that its document is that of the generation.
void FillRecords(qdinfo::CQDInfoData& table, int generation);

}  // namespace srcwatch_test

#endif
