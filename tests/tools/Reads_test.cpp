// SPDX-License-Identifier: Apache-2.0
//
// What the commands that show ports read of the store: no more than they show.
#include "Commands.h"
#include "CountedStore.h"
#include "QDInfoNames.h"
#include "ServiceTest.h"

#include <iterator>
#include <sstream>

#include <gtest/gtest.h>
#include <vconf.h>

namespace {

using srcwatch_test::TheStoreReads;
using Texts = std::map<std::string, int>;

const char* const kActivity = qdinfo::kSourceActivityKey;
const char* const kStatistics = qdinfo::kStatisticsKey;
const char* const kOpticalActivity = qdinfo::kOpticalActivityKey;
constexpr int kHdmiInputs = 4;
constexpr int kFunctions = 16;

class Reads : public testing::Test {
protected:
    Reads()
    {
        vconf_set_str(kActivity, R"({"activity":[{"DevType":6,"DevName":"A","sDevType":"GAME"},{"DevType":3},{},{}]})");
        vconf_set_str(kOpticalActivity, R"({"activity":{"DevType":4,"DevName":"B"}})");
    }

    // Runs a command, and returns what it wrote.
    std::string Run(const std::string& arguments, ctl::Format format = ctl::Format::kTable)
    {
        cli::Program program("", "srcwatchctl");
        ctl::Output output;
        output.SetFormat(format);
        ctl::AddPortCommands(program.Root(), output);
        ctl::AddExplainCommand(program.Root(), output);
        TheStoreReads() = {};
        testing::internal::CaptureStdout();
        std::istringstream words(arguments);
        program.Parse({std::istream_iterator<std::string>(words), {}});
        return testing::internal::GetCapturedStdout();
    }

    // The one function that may itself read more than once: of a device with a name it does.
    static int ReadsOfCodeset(int port)
    {
        TheStoreReads() = {};
        bool known = false;
        char codeset[SRCWATCH_CODESET_TEXT_SIZE];
        static_cast<void>(srcwatch_get_codeset_info(port, &known, codeset));  // only its reads count
        return Total();
    }

    static int Total()
    {
        int total = 0;
        for (const auto& [key, count] : TheStoreReads().texts) total += count;
        return total;
    }
};

TEST_F(Reads, OfAFieldThatAFunctionReturnsAreOne)
{
    EXPECT_EQ(Run("get 0 DevType"), "6\n");
    EXPECT_EQ(TheStoreReads().texts, (Texts{{kActivity, 1}}));
    EXPECT_EQ(Run("get 99 device_info_str1"), "B\n");
    EXPECT_EQ(TheStoreReads().texts, (Texts{{kOpticalActivity, 1}}));
}

TEST_F(Reads, OfAFieldThatOnlyTheRecordHasAreOne)
{
    EXPECT_EQ(Run("get 0 sDevType"), "GAME\n");
    EXPECT_EQ(TheStoreReads().texts, (Texts{{kActivity, 1}}));
}

TEST_F(Reads, OfAPortAreOneForTheRecordAndOneForEachFunction)
{
    const int expected = 1 + (kFunctions - 1) + ReadsOfCodeset(0);

    Run("explain 0");
    EXPECT_EQ(TheStoreReads().texts, (Texts{{kActivity, expected}}));
    Run("show 0");
    EXPECT_EQ(TheStoreReads().texts, (Texts{{kActivity, expected}, {kStatistics, 1}}));
}

// A port has its type, its two texts of one function, its provider and its codeset.
TEST_F(Reads, OfAListAreOneForEachFunctionAndPort)
{
    int expected = 3 * kHdmiInputs;
    for (int port = 0; port < kHdmiInputs; ++port) expected += ReadsOfCodeset(port);
    const int expectedOptical = 3 + ReadsOfCodeset(SRCWATCH_PORT_OPTICAL);

    for (const ctl::Format format : {ctl::Format::kTable, ctl::Format::kJson}) {
        Run("list", format);
        EXPECT_EQ(TheStoreReads().texts, (Texts{{kActivity, expected}, {kOpticalActivity, expectedOptical}}));
    }
}

TEST_F(Reads, NeverListTheStore)
{
    for (const char* const command : {"get 0 DevType", "get 0 sDevType", "show 0", "explain 0", "list"}) {
        Run(command);
        EXPECT_EQ(TheStoreReads().listings, 0) << command;
    }
}

}  // namespace

int main(int argc, char** argv) { return srcwatch_test::RunInHome(argc, argv, kHdmiInputs); }
