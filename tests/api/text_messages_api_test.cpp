// Text messages through the shared library's entry points only.
#include <gtest/gtest.h>

#include <string>

#include "ZMPavaAnalyzer.h"

namespace {

TEST(TextMessagesApi, LongTextRoundTrip) {
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
    PavaFullData rec{};
    rec.msgId = 214;
    rec.string5 = "AB";
    rec.string6.assign(300, 'x');
    PavaMsgList frames;
    ASSERT_EQ(Data_To_Pava(&rec, &frames), PAVA_OK);
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(std::string(frames[0].head + 9, 5), "524  ");

    PavaFullData out{};
    ASSERT_EQ(Pava_To_Data(&frames[0], &out), PAVA_OK);
    EXPECT_EQ(out.string5, "AB");
    EXPECT_EQ(out.string6, rec.string6);

    // A dropped frame: success, and the list the call emptied stays empty.
    rec.msgId = 802;
    EXPECT_EQ(Data_To_Pava(&rec, &frames), PAVA_OK);
    EXPECT_TRUE(frames.empty());
    Pava_SetLogOutput(PAVA_LOG_STDOUT, nullptr, nullptr);
}

}  // namespace
