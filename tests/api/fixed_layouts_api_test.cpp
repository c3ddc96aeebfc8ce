// Fixed-layout messages as a caller of the shared library sees them.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "ZMPavaAnalyzer.h"

namespace {

void collect(const char* text, void* user) { static_cast<std::string*>(user)->append(text); }

TEST(FixedLayoutsApi, EncodesAndDecodesThroughTheEntryPoints) {
    std::string log;
    ASSERT_EQ(Pava_SetLogOutput(PAVA_LOG_CALLBACK, collect, &log), PAVA_OK);
    PavaFullData rec;
    rec.rii = 7;
    rec.msgId = 20056;
    rec.contFlag = 1;
    std::memcpy(rec.text12b, "ADDRESS00001", 12);
    rec.intValue3 = 12;
    rec.intValue2 = 3;
    rec.intValue4 = 4;
    PavaMsgList out;
    EXPECT_EQ(Data_To_Pava(&rec, &out), PAVA_OK);
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(std::string(out[0].head, 16), "7  20056017   00");
    EXPECT_EQ(std::string(out[0].body, 18), std::string("ADDRESS00001123 4\0", 18));

    PavaFullData back;
    EXPECT_EQ(Pava_To_Data(&out[0], &back), PAVA_OK);
    EXPECT_EQ(std::string(back.text12b), "ADDRESS00001");
    EXPECT_EQ(back.intValue3, 12);
    EXPECT_EQ(back.intValue2, 3);
    EXPECT_EQ(back.intValue4, 4);
    EXPECT_EQ(back.msgLen, 17);
    Pava_SetLogOutput(PAVA_LOG_STDOUT, nullptr, nullptr);
    // The encoder names 20054 on entry; everything else names 20056.
    EXPECT_EQ(log, "Data_To_Pava_20054!\nPava_20056_To_Data!\n");
}

}  // namespace
