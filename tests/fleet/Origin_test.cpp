// SPDX-License-Identifier: Apache-2.0
#include "Origin.h"

#include "Pattern.h"
#include "Process.h"
#include "TempDirectory.h"

#include <gmock/gmock.h>

namespace srcwatch {
namespace {

using testing::HasSubstr;

std::string FirstLine(const std::string& path)
{
    const std::string text = srcwatch_test::ReadFile(path);
    return text.substr(0, text.find('\n'));
}

TEST(Origin, IsNamedAlikeEachTimeWithoutShowingTheMachineId)
{
    const std::string machineId = FirstLine("/etc/machine-id");
    const std::string tv = DefaultTv();

    EXPECT_EQ(tv, DefaultTv());
    EXPECT_TRUE(machineId.empty() ? tv.empty() : !srcwatch_test::FindPattern("^[0-9a-f]{32}$", tv).empty()) << tv;
    EXPECT_TRUE(machineId.empty() || tv != machineId);
}

TEST(Origin, HasTheVersionOfTheSystem)
{
    const std::string system = srcwatch_test::ReadFile("/etc/os-release");

    EXPECT_EQ(DefaultFirmware().empty(), system.find("VERSION_ID=") == std::string::npos);
    EXPECT_THAT(system, HasSubstr(DefaultFirmware()));
}

TEST(Origin, RefusesTextsThatMakeNoLine)
{
    EXPECT_EQ(CheckOriginText("TV 5"), "");
    EXPECT_EQ(CheckOriginText(std::string(128, 'x')), "");
    EXPECT_THAT(CheckOriginText(std::string(129, 'x')), HasSubstr("is not a text of 1 to 128 bytes"));
    EXPECT_THAT(CheckOriginText(""), HasSubstr("is not a text of"));
    EXPECT_THAT(CheckOriginText("\xff"), HasSubstr("is not a text of"));
}

TEST(AksvKey, IsAllOfAFile)
{
    const srcwatch_test::TempDirectory directory;
    for (const std::size_t size : {16UL, 4096UL}) {
        const std::string key = std::string(size - 1, 'k') + '\n';
        srcwatch_test::WriteFile(directory / "key", key);

        EXPECT_EQ(ReadAksvKey(directory / "key").key, key);
        EXPECT_EQ(ReadAksvKey(directory / "key").failure, "");
    }
}

TEST(AksvKey, IsRefusedIfItIsTooShortTooLongOrNotReadable)
{
    const srcwatch_test::TempDirectory directory;
    const std::string path = directory / "key";
    for (const std::size_t size : {0UL, 15UL, 4097UL, 100000UL}) {
        srcwatch_test::WriteFile(path, std::string(size, 'k'));

        EXPECT_EQ(ReadAksvKey(path).key, "");
        EXPECT_EQ(ReadAksvKey(path).failure, "the key " + path + " must have 16 to 4096 bytes");
    }
    EXPECT_THAT(ReadAksvKey(directory / "none").failure, HasSubstr("cannot be read: No such file or directory"));
    EXPECT_THAT(ReadAksvKey(directory.Path()).failure, HasSubstr("cannot be read: Is a directory"));
}

}  // namespace
}  // namespace srcwatch
