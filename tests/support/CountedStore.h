// SPDX-License-Identifier: Apache-2.0
//
// How often a test program reads the settings store: its own definitions of the store's functions, which the library
// uses too, count and pass on to the host platform. CountedStore.cpp is one of the program's sources.
#ifndef SRCWATCH_TESTS_COUNTEDSTORE_H
#define SRCWATCH_TESTS_COUNTEDSTORE_H

#include <map>
#include <string>

namespace srcwatch_test {

struct StoreReads {
    std::map<std::string, int> texts;  ///< reads of texts, by key
    int listings = 0;                  ///< of the whole store
};

/// Since it was last reset.
StoreReads& TheStoreReads();

}  // namespace srcwatch_test

#endif
