// SPDX-License-Identifier: Apache-2.0
//
// What the commands that show ports read of the store: no more than they show. The program's own definitions of the
// store's functions, which the library uses too, count and pass on to the host platform.
#include "Commands.h"
#include "ServiceTest.h"
#include "srcwatch-host.h"

#include <map>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <vconf.h>

namespace {

std::map<std::string, int> g_reads;  // of texts, by key
int g_listings = 0;

template <typename Function>
Function* Next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

#pragma GCC visibility push(default)

char* vconf_get_str(const char* key)
{
    ++g_reads[key];
    return Next<char*(const char*)>("vconf_get_str")(key);
}

int srcwatch_host_list_settings(srcwatch_host_setting_cb callback, void* user_data)
{
    ++g_listings;
    return Next<int(srcwatch_host_setting_cb, void*)>("srcwatch_host_list_settings")(callback, user_data);
}

#pragma GCC visibility pop

namespace {

const char* const kActivity = "db/srcwatch-service/source-activity";
const char* const kOpticalActivity = "db/srcwatch-service/optical-source-activity";
constexpr int kHdmiInputs = 4;
constexpr int kFunctions = 16;

class Reads : public testing::Test {
protected:
    Reads()
    {
        vconf_set_str(kActivity, R"({"activity":[{"DevType":6,"DevName":"A","sDevType":"GAME"},{"DevType":3},{},{}]})");
        vconf_set_str(kOpticalActivity, R"({"activity":{"DevType":4,"DevName":"B"}})");
    }

    // Runs a command, and gives what it wrote.
    std::string Run(const std::string& arguments, ctl::Format format = ctl::Format::kTable)
    {
        CLI::App app("", "srcwatchctl");
        ctl::Output output;
        output.SetFormat(format);
        ctl::AddPortCommands(app, output);
        ctl::AddExplainCommand(app, output);
        g_reads.clear();
        g_listings = 0;
        testing::internal::CaptureStdout();
        app.parse(arguments);
        return testing::internal::GetCapturedStdout();
    }

    // The one function that may itself read more than once: of a device with a name it does.
    static int ReadsOfCodeset(int port)
    {
        g_reads.clear();
        bool known = false;
        char codeset[SRCWATCH_CODESET_TEXT_SIZE];
        (void)srcwatch_get_codeset_info(port, &known, codeset);
        return Total();
    }

    static int Total()
    {
        int total = 0;
        for (const auto& [key, count] : g_reads) total += count;
        return total;
    }
};

TEST_F(Reads, OfAFieldThatAFunctionGivesAreOne)
{
    EXPECT_EQ(Run("get 0 DevType"), "6\n");
    EXPECT_EQ(g_reads, (std::map<std::string, int>{{kActivity, 1}}));
    EXPECT_EQ(Run("get 99 device_info_str1"), "B\n");
    EXPECT_EQ(g_reads, (std::map<std::string, int>{{kOpticalActivity, 1}}));
}

TEST_F(Reads, OfAFieldThatOnlyTheRecordHasAreOne)
{
    EXPECT_EQ(Run("get 0 sDevType"), "GAME\n");
    EXPECT_EQ(g_reads, (std::map<std::string, int>{{kActivity, 1}}));
}

TEST_F(Reads, OfAPortAreOneForTheRecordAndOneForEachFunction)
{
    const int expected = 1 + (kFunctions - 1) + ReadsOfCodeset(0);

    for (const char* const command : {"show 0", "explain 0"}) {
        Run(command);
        EXPECT_EQ(g_reads, (std::map<std::string, int>{{kActivity, expected}})) << command;
    }
}

// A port has its type, its two texts of one function, its provider and its codeset.
TEST_F(Reads, OfAListAreOneForEachFunctionAndPort)
{
    int expected = 3 * kHdmiInputs;
    for (int port = 0; port < kHdmiInputs; ++port) expected += ReadsOfCodeset(port);
    const int expectedOptical = 3 + ReadsOfCodeset(SRCWATCH_PORT_OPTICAL);

    Run("list");

    EXPECT_EQ(g_reads, (std::map<std::string, int>{{kActivity, expected}, {kOpticalActivity, expectedOptical}}));
}

TEST_F(Reads, OfAListOfRecordsAreOneForEachPort)
{
    Run("list", ctl::Format::kJson);

    EXPECT_EQ(Total(), kHdmiInputs + 1);
}

TEST_F(Reads, NeverListTheStore)
{
    for (const char* const command : {"get 0 DevType", "get 0 sDevType", "show 0", "explain 0", "list"}) {
        Run(command);
        EXPECT_EQ(g_listings, 0) << command;
    }
}

}  // namespace

int main(int argc, char** argv) { return srcwatch_test::RunInHome(argc, argv, kHdmiInputs); }
