// The list messages through the shared library's entry points only.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "ZMPavaAnalyzer.h"

namespace {

TEST(TableListsApi, RecordTableRoundTripsThroughTheEntryPoints) {
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
    PavaFullData rec{};
    rec.msgId = 10002;
    rec.intValue14 = 2;
    rec.intValue16 = 1;
    PavaRecordItem record;
    record.fieldList.push_back({4, 5, "hello", {}});
    rec.recordList.push_back(record);
    PavaMsgList frames;
    ASSERT_EQ(Data_To_Pava(&rec, &frames), PAVA_OK);
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(std::string(frames[0].head, 16), "0  10002147   10");

    PavaFullData back{};
    ASSERT_EQ(Pava_To_Data(&frames[0], &back), PAVA_OK);
    ASSERT_EQ(back.recordList.size(), 1u);
    EXPECT_EQ(back.recordList[0].fieldList[0].fieldText1, "hello");
    Pava_SetLogOutput(PAVA_LOG_STDOUT, nullptr, nullptr);
}

TEST(TableListsApi, ReferenceListRefusesWhatCannotFitOneFrame) {
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
    PavaFullData rec{};
    rec.msgId = 61850;
    rec.dataList.resize(82);
    PavaMsgList frames;
    EXPECT_EQ(Data_To_Pava(&rec, &frames), PAVA_ERR_ENCODE);
    EXPECT_TRUE(frames.empty());
    rec.dataList.resize(81);
    ASSERT_EQ(Data_To_Pava(&rec, &frames), PAVA_OK);
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(std::string(frames[0].head + 9, 5), "8182 ");
    Pava_SetLogOutput(PAVA_LOG_STDOUT, nullptr, nullptr);
}

}  // namespace
