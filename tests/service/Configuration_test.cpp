// SPDX-License-Identifier: Apache-2.0
//
// The service's configuration: what each place may say, which place counts, and what becomes of a change.
#include "Configuration.h"

#include "Pattern.h"
#include "Process.h"
#include "TempDirectory.h"

#include <cstdlib>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using srcwatch::Configuration;
using testing::ElementsAre;
using testing::IsEmpty;

namespace srcwatch_test {
namespace {

struct Key {
    const char* group;
    const char* name;
    const char* text;     // of the file
    const char* another;  // of the command line
};

const Key kKeys[] = {
    {"inputs", "inputs", "/of/file", "/of/line"},
    {"inputs", "cec", "/dev/cec1", "/dev/cec2"},
    {"inputs", "cec-round-ms", "11", "12"},
    {"inputs", "spd", "0=/spd0", "1=/spd1"},
    {"inputs", "power", "/dev/video1", "/dev/video2"},
    {"inputs", "quiet-ms", "13", "60000"},
    {"detection", "profiles", "/profiles1", "/profiles2"},
    {"detection", "scan-step-ms", "1", "16"},
    {"fleet", "detections", "/detections", "-"},
    {"fleet", "tv", "kitchen", "hall"},
    {"fleet", "firmware", "1.0", "2.0"},
    {"fleet", "aksv-key", "/dev/null/1", "/dev/null/2"},
};

class ConfigurationTest : public testing::Test {
protected:
    ConfigurationTest()
    {
        for (const char* variable : {"SRCWATCH_INPUTS", "SRCWATCH_SERVICE_CONF"}) unsetenv(variable);
    }
    ~ConfigurationTest() override { unsetenv("SRCWATCH_INPUTS"); }

    static Configuration Read(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), "srcwatch-service");
        std::vector<const char*> words;
        for (const std::string& argument : arguments) words.push_back(argument.c_str());
        return srcwatch::ReadConfiguration(static_cast<int>(words.size()), words.data());
    }

    Configuration ReadFileOf(const std::string& text, std::vector<std::string> arguments = {}) const
    {
        WriteFile(m_file, text);
        arguments.insert(arguments.end(), {"--config", m_file});
        return Read(arguments);
    }

    // The faults of a file, without its name.
    std::vector<std::string> Faults(const std::string& text, const std::vector<std::string>& arguments = {}) const
    {
        std::vector<std::string> faults = ReadFileOf(text, arguments).faults;
        for (std::string& fault : faults) {
            if (fault.rfind(m_file, 0) == 0) fault.erase(0, m_file.size());
        }
        return faults;
    }

    TempDirectory m_directory;
    const std::string m_file = m_directory / "service.conf";
};

TEST_F(ConfigurationTest, HasDefaults)
{
    const Configuration read = Read({});

    EXPECT_THAT(read.faults, IsEmpty());
    EXPECT_THAT(read.given, IsEmpty());
    EXPECT_EQ(read.options.inputs, "/run/srcwatch/inputs");
    EXPECT_EQ(read.options.cecRoundMilliseconds, 5000U);
    EXPECT_EQ(read.options.quietMilliseconds, 100U);
    EXPECT_EQ(read.options.scanStepMilliseconds, 400U);
    EXPECT_EQ(read.options.detections, "");
    EXPECT_EQ(read.options.origin.tv, srcwatch::DefaultTv());
    EXPECT_EQ(read.options.origin.firmware, srcwatch::DefaultFirmware());
    EXPECT_EQ(read.options.origin.aksvKey, "");
}

TEST_F(ConfigurationTest, HasNoDefaultDirectoryBesideOtherInputs)
{
    for (const char* input : {"cec=/dev/cec0", "spd=0=/spd", "power=/dev/video0"}) {
        EXPECT_EQ(ReadFileOf("[inputs]\n" + std::string(input)).options.inputs, "") << input;
    }
}

TEST_F(ConfigurationTest, TakesEachKeyOfTheFile)
{
    WriteFile(m_directory / "key", "sixteen bytes ok");

    const Configuration read = ReadFileOf(
        "[inputs]\ninputs=/inputs\ncec=/dev/cec0;/dev/cec1;\ncec-round-ms=11\nspd=0=/spd0;7=/spd=7\n"
        "power=/dev/video0\nquiet-ms=12\n[detection]\nprofiles=/a b;/c\nscan-step-ms=60000\n"
        "[fleet]\n# a comment\ndetections=/detections\ntv = kitchen \nfirmware=1.0;2\naksv-key=" +
        (m_directory / "key") + "\n");

    EXPECT_THAT(read.faults, IsEmpty());
    EXPECT_EQ(read.file, m_file);
    EXPECT_EQ(read.options.inputs, "/inputs");
    EXPECT_THAT(read.options.cecAdapters, ElementsAre("/dev/cec0", "/dev/cec1"));
    EXPECT_EQ(read.options.cecRoundMilliseconds, 11U);
    EXPECT_THAT(read.options.spdFiles, ElementsAre(std::pair(0, "/spd0"), std::pair(7, "/spd=7")));
    EXPECT_THAT(read.options.receivers, ElementsAre("/dev/video0"));
    EXPECT_EQ(read.options.quietMilliseconds, 12U);
    EXPECT_THAT(read.options.profiles, ElementsAre("/a b", "/c"));
    EXPECT_EQ(read.options.scanStepMilliseconds, 60000U);
    EXPECT_EQ(read.options.detections, "/detections");
    EXPECT_EQ(read.options.origin.tv, "kitchen ");
    EXPECT_EQ(read.options.origin.firmware, "1.0;2");
    EXPECT_EQ(read.options.origin.aksvKey, "sixteen bytes ok");
}

TEST_F(ConfigurationTest, TakesTheFileAfterTheCommandLine)
{
    for (const Key& key : kKeys) {
        std::string text = "[fleet]\n";  // whose keys need one of them
        if (std::string(key.name) != "detections") text += "detections=-\n";
        text += "[" + std::string(key.group) + "]\n" + key.name + "=" + key.text + "\n";

        EXPECT_THAT(ReadFileOf(text).given[key.name], ElementsAre(key.text)) << key.name;
        EXPECT_THAT(ReadFileOf(text, {"--" + std::string(key.name), key.another}).given[key.name],
                    ElementsAre(key.another))
            << key.name;
        EXPECT_EQ(ReadFileOf("").given.count(key.name), 0U) << key.name;
    }
}

TEST_F(ConfigurationTest, PutsTheValuesOfTheCommandLineBack)
{
    const Configuration read = ReadFileOf("[inputs]\ncec=/dev/cec1\nspd=1=/b\nquiet-ms=5\n",
                                          {"--cec", "/dev/cec0", "--spd", "0=/a", "--quiet-ms", "7"});

    EXPECT_THAT(read.options.cecAdapters, ElementsAre("/dev/cec0"));
    EXPECT_THAT(read.options.spdFiles, ElementsAre(std::pair(0, "/a")));
    EXPECT_EQ(read.options.quietMilliseconds, 7U);
}

TEST_F(ConfigurationTest, TakesTheEnvironmentInBetween)
{
    setenv("SRCWATCH_INPUTS", "/of/environment", 1);

    EXPECT_EQ(Read({}).options.inputs, "/of/environment");
    EXPECT_EQ(ReadFileOf("[inputs]\ninputs=/of/file\n").options.inputs, "/of/environment");
    EXPECT_EQ(ReadFileOf("[inputs]\ninputs=/of/file\n", {"--inputs", "/of/line"}).options.inputs, "/of/line");
}

TEST_F(ConfigurationTest, ReportsEachBadValueWithFileGroupAndKey)
{
    const std::pair<const char*, const char*> faults[] = {
        {"[inputs]\ninputs=", ":inputs/inputs: no value"},
        {"[inputs]\ncec=", ":inputs/cec: no value"},
        {"[inputs]\ncec=/dev/cec0;;/dev/cec1", ":inputs/cec: no value"},
        {"[inputs]\ncec-round-ms=0", ":inputs/cec-round-ms: '0' is not a number from 1 to 60000"},
        {"[inputs]\nspd=8=/spd", ":inputs/spd: '8=/spd' is not of the form PORT=FILE, with a port from 0 to 7"},
        {"[inputs]\nspd=0=", ":inputs/spd: '0=' is not of the form PORT=FILE, with a port from 0 to 7"},
        {"[inputs]\npower=", ":inputs/power: no value"},
        {"[inputs]\nquiet-ms=-5", ":inputs/quiet-ms: '-5' is not a number from 1 to 60000"},
        {"[inputs]\nquiet-ms=60001", ":inputs/quiet-ms: '60001' is not a number from 1 to 60000"},
        {"[inputs]\nquiet-ms=010", ":inputs/quiet-ms: '010' is not a number from 1 to 60000"},
        {"[inputs]\nquiet-ms=5;6", ":inputs/quiet-ms: '5;6' is not a number from 1 to 60000"},
        {"[inputs]\nquiet-ms=\xff",
         ":inputs/quiet-ms: Key file contains key 'quiet-ms' with value '\\xef\\xbf\\xbd' which is not UTF-8"},
        {"[inputs]\ncec=/a\ncec=/b", ":inputs/cec: given twice"},
        {"[inputs]\ncec=/a\n[fleet]\n[inputs]\ncec =/b", ":inputs/cec: given twice"},
        {"[detection]\nprofiles=;", ":detection/profiles: no value"},
        {"[detection]\nprofiles=\\q",
         ":detection/profiles: Key file contains key 'profiles' which has a value that cannot be interpreted."},
        {"[detection]\nscan-step-ms=soon", ":detection/scan-step-ms: 'soon' is not a number from 1 to 60000"},
        {"[fleet]\ndetections=", ":fleet/detections: no value"},
        {"[fleet]\ndetections=-\ntv=", ":fleet/tv: '' is not a text of 1 to 128 bytes"},
        {"[fleet]\ndetections=-\nfirmware=", ":fleet/firmware: '' is not a text of 1 to 128 bytes"},
        {"[fleet]\ndetections=-\naksv-key=", ":fleet/aksv-key: no value"},
        {"[fleet]\ndetections=-\naksv-key=/dev/null", ":fleet/aksv-key: the key /dev/null must have 16 to 4096 bytes"},
        {"[fleet]\ntv=kitchen", ":fleet/tv: no effect without detections"},
        {"[fleet]\nfirmware=1", ":fleet/firmware: no effect without detections"},
        {"[fleet]\nquiet-ms=5", ":fleet/quiet-ms: no such key; the group has detections, tv, firmware, aksv-key"},
        {"[detection]\nscan=5", ":detection/scan: no such key; the group has profiles, scan-step-ms"},
        {"[input]\ninputs=/x", ":input: no such group; it has to be inputs, detection or fleet"},
        {"[inputs\ncec=/x", ": Key file contains line '[inputs' which is not a key-value pair, group, or comment"},
        {"cec=/x", ": Key file does not start with a group"},
        {"[inputs]\n\x1b[2J", ": Key file contains line '\\x1b[2J' which is not a key-value pair, group, or comment"},
    };

    for (const auto& [text, fault] : faults) {
        const Configuration read = ReadFileOf(text);
        EXPECT_THAT(Faults(text), ElementsAre(fault)) << text;
        EXPECT_FALSE(read.exitCode.has_value()) << text;
        EXPECT_EQ(read.options.quietMilliseconds, 100U) << text;
    }
}

TEST_F(ConfigurationTest, ReportsAllFaultsOfAFile)
{
    EXPECT_THAT(Faults("[inputs]\nquiet-ms=soon\nquiet=5\n[fleet]\ntv=kitchen\n"),
                ElementsAre(":inputs/quiet-ms: 'soon' is not a number from 1 to 60000",
                            ":inputs/quiet: no such key; the group has inputs, cec, cec-round-ms, spd, power, quiet-ms",
                            ":fleet/tv: no effect without detections"));
}

TEST_F(ConfigurationTest, ChecksValuesThatDoNotCount)
{
    EXPECT_THAT(Faults("[inputs]\nquiet-ms=soon\n", {"--quiet-ms", "7"}),
                ElementsAre(":inputs/quiet-ms: 'soon' is not a number from 1 to 60000"));
}

TEST_F(ConfigurationTest, CombinesFleetOptionsOfBothPlaces)
{
    EXPECT_THAT(Faults("[fleet]\ntv=kitchen\n", {"--detections", "-"}), IsEmpty());
    EXPECT_THAT(Faults("[fleet]\ndetections=-\n", {"--tv", "kitchen"}), IsEmpty());
}

TEST_F(ConfigurationTest, NeedsAFileThatIsNamed)
{
    const std::string fault = m_file + ": cannot be read: No such file or directory";

    EXPECT_THAT(Read({"--config", m_file}).faults, ElementsAre(fault));
    EXPECT_THAT(Read({"--check-config", m_file}).faults, ElementsAre(fault));
    setenv("SRCWATCH_SERVICE_CONF", m_file.c_str(), 1);
    EXPECT_THAT(Read({}).faults, ElementsAre(fault));
    setenv("SRCWATCH_SERVICE_CONF", "", 1);
    EXPECT_THAT(Read({}).faults, IsEmpty());
}

TEST_F(ConfigurationTest, RefusesWhatIsNotARegularFile)
{
    EXPECT_THAT(Read({"--config", m_directory.Path()}).faults,
                ElementsAre(m_directory.Path() + ": cannot be read: not a regular file"));
}

TEST_F(ConfigurationTest, RefusesAFileThatIsTooLarge)
{
    const std::string comment = std::string(64UL * 1024 - 1, '#') + "\n";

    EXPECT_THAT(Faults(comment), IsEmpty());
    EXPECT_THAT(Faults(comment + "\n"), ElementsAre(": cannot be read: 65537 bytes, more than 65536"));
}

TEST_F(ConfigurationTest, EndsAtWrongUsageAndAtHelp)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();

    EXPECT_EQ(Read({"--quiet-ms", "soon"}).exitCode, 2);
    EXPECT_EQ(Read({"--tv", "kitchen"}).exitCode, 2);
    EXPECT_EQ(Read({"--help"}).exitCode, 0);

    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("--tv requires --detections"));
    EXPECT_NE(testing::internal::GetCapturedStdout(), "");
}

TEST_F(ConfigurationTest, AdoptsWhatCanChangeAndNamesTheRest)
{
    Configuration running = ReadFileOf("[inputs]\ninputs=/one\n[detection]\nprofiles=/one\n[fleet]\ndetections=/one\n");
    const Configuration other = ReadFileOf(
        "[inputs]\ninputs=/two\nquiet-ms=7\n[detection]\nscan-step-ms=5\n[fleet]\ndetections=/two\ntv=hall\n");

    const srcwatch::Differences first = srcwatch::Adopt(other, running);
    const srcwatch::Differences second = srcwatch::Adopt(other, running);

    EXPECT_EQ(first.adopted, "profiles, scan-step-ms, detections, tv");
    EXPECT_EQ(first.waiting, "inputs, quiet-ms");
    EXPECT_EQ(running.options.inputs, "/one");
    EXPECT_EQ(running.options.quietMilliseconds, 100U);
    EXPECT_THAT(running.options.profiles, IsEmpty());
    EXPECT_EQ(running.options.scanStepMilliseconds, 5U);
    EXPECT_EQ(running.options.detections, "/two");
    EXPECT_EQ(running.options.origin.tv, "hall");
    EXPECT_EQ(second.adopted, "");
    EXPECT_EQ(second.waiting, "inputs, quiet-ms");
}

// A text without the marks that make comments of its keys.
std::string WithKeys(const std::string& text)
{
    std::istringstream lines(text);
    std::string used;
    for (std::string line; std::getline(lines, line);) {
        const bool isKey = !srcwatch_test::FindPattern("^#[a-z-]+=", line).empty();
        used += line.substr(isKey ? 1 : 0) + "\n";
    }
    return used;
}

TEST_F(ConfigurationTest, HasNoFaultAsInstalled)
{
    const std::string installed = ReadFile(SRCWATCH_CONFIGURATION);
    const std::string used = WithKeys(installed);

    EXPECT_THAT(ReadFileOf(installed).given, IsEmpty());
    EXPECT_THAT(Faults(installed), IsEmpty());
    EXPECT_EQ(ReadFileOf(used).given.size(), std::size(kKeys));
    EXPECT_THAT(Faults(used), ElementsAre(":fleet/aksv-key: the key /etc/srcwatch/aksv.key cannot be read: "
                                          "No such file or directory"));
}

}  // namespace
}  // namespace srcwatch_test
