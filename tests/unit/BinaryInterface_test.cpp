// SPDX-License-Identifier: Apache-2.0
//
// What programs were compiled against: sizes and offsets of the public records, sizes of the classes that callers
// construct, and the places of the store's virtual functions. A change here needs a new soname.
#include "QDInfoActivityInfo.h"
#include "QDInfoData.h"
#include "QDInfoServerData.h"
#include "srcwatch-api.h"

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using qdinfo::CQDInfoActivityInfo;
using qdinfo::CQDInfoData;
using qdinfo::CQDInfoServerData;

constexpr bool k64Bits = sizeof(void*) == 8;
constexpr std::size_t kText = sizeof(std::string);
constexpr std::size_t AlignedForText(std::size_t size)
{
    return (size + alignof(std::string) - 1) / alignof(std::string) * alignof(std::string);
}

TEST(BinaryInterface, EventHasItsSizeAndOffsets)
{
    EXPECT_EQ(sizeof(srcwatch_event_s), k64Bits ? 376U : 360U);
    EXPECT_EQ(offsetof(srcwatch_event_s, type), 0U);
    EXPECT_EQ(offsetof(srcwatch_event_s, args), 4U);
    EXPECT_EQ(offsetof(srcwatch_event_s, str_args), 44U);
    EXPECT_EQ(offsetof(srcwatch_event_s, ptr_args), 344U);
}

TEST(BinaryInterface, StatisticsRecordHasItsSizeAndOffsets)
{
    EXPECT_EQ(offsetof(srcwatch_kpi_info_s, hdmi_no), 0U);
    EXPECT_EQ(offsetof(srcwatch_kpi_info_s, t), 4U);
    EXPECT_EQ(offsetof(srcwatch_kpi_info_s, spd_vendor), 8U);
    EXPECT_EQ(offsetof(srcwatch_kpi_info_s, spd_product), 8U + kText);
    EXPECT_EQ(offsetof(srcwatch_kpi_info_s, spd_extra), 8U + 2 * kText);
    EXPECT_EQ(offsetof(srcwatch_kpi_info_s, result_first), 8U + 3 * kText);
    EXPECT_EQ(sizeof(srcwatch_kpi_info_s), 8U + 4 * kText);
}

TEST(BinaryInterface, RecordIsANumberElevenTextsAndSixNumbers)
{
    EXPECT_EQ(sizeof(CQDInfoActivityInfo), AlignedForText(sizeof(int)) + 11 * kText + AlignedForText(6 * sizeof(int)));
}

TEST(BinaryInterface, TableIsRecordsIndexAndOpticalRecord)
{
    EXPECT_EQ(sizeof(CQDInfoData), sizeof(void*) + sizeof(std::vector<CQDInfoActivityInfo>) +
                                       AlignedForText(sizeof(int)) + sizeof(CQDInfoActivityInfo));
}

TEST(BinaryInterface, TablesIndexIsMinusTwo)
{
    const CQDInfoData table;
    int index = 0;

    const std::size_t place = sizeof(void*) + sizeof(std::vector<CQDInfoActivityInfo>);
    std::memcpy(&index, reinterpret_cast<const char*>(&table) + place, sizeof index);

    EXPECT_EQ(index, -2);
}

TEST(BinaryInterface, StoreAddsTheSingletonsVirtualTable)
{
    EXPECT_EQ(sizeof(CQDInfoServerData), sizeof(CQDInfoData) + sizeof(void*));
}

// The place of a virtual function in its class's table, as the Itanium C++ ABI (x86-64) and the ARM C++ ABI put it into
// a pointer to member: an offset, to which the former adds one.
template <typename Member>
std::size_t SlotOf(Member member)
{
    std::ptrdiff_t words[2] = {};
    static_assert(sizeof words == sizeof member, "a pointer to member is two words");
    std::memcpy(words, &member, sizeof words);
    return static_cast<std::size_t>(words[0]) / sizeof(void*);
}

TEST(BinaryInterface, VirtualFunctionsOfTheStoreKeepTheirOrder)
{
    // The destructor takes the first two places.
    EXPECT_EQ(SlotOf(&CQDInfoData::t_Initialize), 2U);
    EXPECT_EQ(SlotOf(&CQDInfoData::t_UnInitialize), 3U);
    EXPECT_EQ(SlotOf(&CQDInfoData::t_CheckAndSaveActivity), 4U);
    EXPECT_EQ(SlotOf(&CQDInfoData::t_CheckAndSaveActivityWithNotify), 5U);
    EXPECT_EQ(SlotOf(&CQDInfoData::t_LoadActivityInfoToMemory), 6U);
    EXPECT_EQ(SlotOf(&CQDInfoData::t_LoadPortJsonInfoToMemory), 7U);
    EXPECT_EQ(SlotOf(&CQDInfoData::t_LoadOpticalPortJsonInfoToMemory), 8U);
    EXPECT_EQ(SlotOf(&CQDInfoData::t_LoadPortJsonKPIInfoToMemory), 9U);
    EXPECT_EQ(SlotOf(&CQDInfoData::t_LoadAllJsonKPIInfoToMemory), 10U);
    EXPECT_EQ(SlotOf(&CQDInfoServerData::t_SaveActivityInfoToFile), 11U);
}

}  // namespace
