// SPDX-License-Identifier: Apache-2.0
//
// The headers that this program was compiled with, and the names in the library.
#include "Platform.h"
#include "Promise.h"

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

namespace conformance {

namespace {

// Declared, but not defined: what counts is which of the two takes a pointer. Attributes and noexcept make no
// difference.
template <typename Called>
std::true_type Takes(Called callee);
template <typename Called>
std::false_type Takes(...);

void HeadersHaveTheTypes(const std::string& /*library*/)
{
    using ReadInt = int (*)(const char*, int*);
    using WriteInt = int (*)(const char*, int);
    using ReadText = char* (*)(const char*);
    using WriteText = int (*)(const char*, const char*);
    using ReadInfo = int (*)(system_info_key_e, int*);
    using ReadSwitch = int (*)(const char*, bool*);
    using Connected = int (ISourceControl::*)(int, bool*);
    using Create = int (*)(EProfile, int, ISourceControl**);
    using Log = int (*)(int, int, const char*, const char*, ...);
    const std::pair<const char*, bool> functions[] = {
        {"vconf_get_int", decltype(Takes<ReadInt>(&vconf_get_int))::value},
        {"vconf_set_int", decltype(Takes<WriteInt>(&vconf_set_int))::value},
        {"vconf_get_str", decltype(Takes<ReadText>(&vconf_get_str))::value},
        {"vconf_set_str", decltype(Takes<WriteText>(&vconf_set_str))::value},
        {"__dlog_print", decltype(Takes<Log>(&__dlog_print))::value},
        {"system_info_get_value_int", decltype(Takes<ReadInfo>(&system_info_get_value_int))::value},
        {"system_info_get_custom_bool", decltype(Takes<ReadSwitch>(&system_info_get_custom_bool))::value},
        {"TVServiceAPI::CreateSourceControl", decltype(Takes<Create>(&TVServiceAPI::CreateSourceControl))::value},
        {"ISourceControl::IsExternalSourceConnected",
         decltype(Takes<Connected>(&ISourceControl::IsExternalSourceConnected))::value},
    };
    for (const auto& [function, isCalledSo] : functions) {
        Require(isCalledSo, std::string(function) + " is declared with other types");
    }
}

// A pointer to a virtual member function holds the place in the table in bytes; on some architectures its lowest bit is
// set as a mark. A destructor has two places.
void QueryFollowsTheDestructor(const std::string& /*library*/)
{
    const auto query = &ISourceControl::IsExternalSourceConnected;
    std::uintptr_t place = 0;
    static_assert(sizeof query == 2 * sizeof place);
    std::memcpy(&place, &query, sizeof place);
    Require(
        (place & ~std::uintptr_t{1}) == 2 * sizeof(void*),
        "ISourceControl does not declare a virtual destructor and then IsExternalSourceConnected, as its first virtual "
        "functions");
}

void LibraryLoads(const std::string& library) { static_cast<void>(Load(library)); }  // throws if it does not

void FunctionsAreExported(const std::string& library)
{
    void* const handle = Load(library);
    std::string missing;
    for (const char* const function : kFunctions) {
        if (Find(handle, function) == nullptr) missing += std::string(missing.empty() ? "" : ", ") + function;
    }
    Require(missing.empty(), "not exported, or with another linkage than C's: " + missing);
}

}  // namespace

Promises PromisesOfDeclarations()
{
    constexpr const char* kSection = "Declarations";
    return {
        {kSection, "the headers declare the functions with the types that the library calls", HeadersHaveTheTypes},
        {kSection, "the query comes right after the destructor in the virtual table", QueryFollowsTheDestructor},
        {kSection, "the platform's library loads, with all that it needs", LibraryLoads},
        {kSection, "every function is exported under the name that the library calls", FunctionsAreExported},
    };
}

}  // namespace conformance
