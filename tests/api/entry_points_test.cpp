// The library as a consumer sees it: the public header and the shared library.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "ZMPavaAnalyzer.h"

namespace {

class Log {
public:
    Log() { Pava_SetLogOutput(PAVA_LOG_CALLBACK, &Log::append, &text); }
    ~Log() { Pava_SetLogOutput(PAVA_LOG_STDOUT, nullptr, nullptr); }
    std::string text;

private:
    static void PAVA_CALL append(const char* line, void* user) { static_cast<std::string*>(user)->append(line); }
};

PavaFullData addressRecord(uint16_t id, const char* address) {
    PavaFullData rec;
    rec.msgId = id;
    rec.rii = 5;
    rec.msgType = 1;
    std::strncpy(rec.text12b, address, 12);
    return rec;
}

TEST(EntryPoints, NullArguments) {
    PavaMsgList frames(2);
    EXPECT_EQ(Data_To_Pava(nullptr, &frames), PAVA_ERR_NULL);
    EXPECT_EQ(frames.size(), 2u);
    PavaFullData rec = addressRecord(20001, "X");
    EXPECT_EQ(Data_To_Pava(&rec, nullptr), PAVA_ERR_NULL);
    rec.text12b[0] = 'K';
    EXPECT_EQ(Pava_To_Data(nullptr, &rec), PAVA_ERR_NULL);
    EXPECT_EQ(rec.text12b[0], 'K');  // untouched
    EXPECT_EQ(Pava_To_Data(&frames[0], nullptr), PAVA_ERR_NULL);
}

// The record is reset and takes the header even when no codec follows, and a
// decoded record keeps nothing of an earlier message.
TEST(EntryPoints, DecodeResetsTheRecordAndFillsTheHeader) {
    PavaFullData rec = addressRecord(20001, "OLDADDRESS");
    rec.intValue7 = 99;
    rec.string3 = "old";
    rec.fileBlock.fbCount = 7;
    rec.dataList.resize(3);
    rec.settingList.resize(2);
    rec.recordList.resize(2);
    PavaMsg frame{};
    std::memcpy(frame.head, "9  123453" "77   " "21", 16);
    EXPECT_EQ(Pava_To_Data(&frame, &rec), PAVA_ERR_NO_HANDLER);
    EXPECT_EQ(rec.msgId, 12345);  // the other header fields: tests/data/headers.json
    EXPECT_EQ(rec.intValue7, 0);
    EXPECT_STREQ(rec.text12b, "");
    EXPECT_TRUE(rec.string3.empty());
    EXPECT_EQ(rec.fileBlock.fbCount, 0);
    EXPECT_TRUE(rec.dataList.empty() && rec.settingList.empty() && rec.recordList.empty());

    PavaFullData target = addressRecord(20001, "STALE-B");
    std::memcpy(frame.head, "1  201600" "12   " "00", 16);
    std::memcpy(frame.body, "CODE-A", 6);
    ASSERT_EQ(Pava_To_Data(&frame, &target), PAVA_OK);
    EXPECT_STREQ(target.text12a, "CODE-A");
    EXPECT_STREQ(target.text12b, "");
}

TEST(EntryPoints, LogOutputCanBeSwitchedOffAndRejectsBadModes) {
    std::string text;
    ASSERT_EQ(Pava_SetLogOutput(PAVA_LOG_CALLBACK, nullptr, nullptr), PAVA_ERR_NULL);
    ASSERT_EQ(Pava_SetLogOutput(42, nullptr, nullptr), PAVA_ERR_NULL);
    {
        Log log;
        ASSERT_EQ(Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr), PAVA_OK);
        PavaFullData rec = addressRecord(20001, "A");
        PavaMsgList frames;
        ASSERT_EQ(Data_To_Pava(&rec, &frames), PAVA_OK);
        EXPECT_EQ(log.text, "");
    }
    testing::internal::CaptureStdout();
    PavaFullData rec = addressRecord(20005, "A");
    PavaMsgList frames;
    ASSERT_EQ(Data_To_Pava(&rec, &frames), PAVA_OK);
    ASSERT_EQ(Pava_To_Data(nullptr, &rec), PAVA_ERR_NULL);  // the analyzer itself prints nothing
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Data_To_Pava_20005!\n");
}

}  // namespace
