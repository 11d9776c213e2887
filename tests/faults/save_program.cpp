// SPDX-License-Identifier: Apache-2.0
//
// Loads the records, changes them to those of a generation and saves them, between two system calls by which a tracer
// knows where that is. Usage: save_program GENERATION [two-steps]; the result is 0 when the save said that it has
// succeeded, 3 otherwise.
#include "QDInfoServerData.h"
#include "Records.h"

#include <cstdlib>
#include <string>

#include <unistd.h>
#include <vconf.h>

namespace {

constexpr int kNotSaved = 3;

void Mark(const char* path) { (void)access(path, F_OK); }  // there is no such file

// How not to save: for a moment there is what is neither the old document nor the new one.
bool SaveInTwoSteps(const std::string& document)
{
    const char* const key = srcwatch_test::kActivityKey;
    return vconf_set_str(key, document.substr(0, document.size() / 2).c_str()) == 0 &&
           vconf_set_str(key, document.c_str()) == 0;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 3) return 2;
    const int generation = std::atoi(argv[1]);
    const std::string way = argv[2];
    qdinfo::CQDInfoServerData& store = *qdinfo::CSingleton<qdinfo::CQDInfoServerData>::GetInstance();

    if (way == "load-and-save") Mark("/begin-of-save");
    if (!store.t_LoadActivityInfoToMemory()) store.CreateAndAddNewActivity();
    srcwatch_test::FillRecords(store, generation);
    if (way != "load-and-save") Mark("/begin-of-save");
    const bool isSaved = way == "save-in-two-steps" ? SaveInTwoSteps(srcwatch_test::DocumentOf(generation))
                                                    : store.t_SaveActivityInfoToFile();
    Mark("/end-of-save");
    return isSaved ? 0 : kNotSaved;
}
