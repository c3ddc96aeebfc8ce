// Item lists through the shared library's entry points, as a caller sees them.
#include <gtest/gtest.h>

#include <string>

#include "ZMPavaAnalyzer.h"

namespace {

PavaDataItem item(int id, const std::string& text) {
    PavaDataItem it;
    it.itemId = id;
    it.itemText = text;
    return it;
}

TEST(ItemListsApi, SplitListRoundTripsFrameByFrame) {
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
    PavaFullData rec;
    rec.msgId = 20020;
    for (int i = 0; i < 500; ++i) rec.dataList.push_back(item(i, "x"));
    PavaMsgList frames;
    ASSERT_EQ(Data_To_Pava(&rec, &frames), PAVA_OK);
    ASSERT_EQ(frames.size(), 2u);  // (8192 - 16) / 20 = 408 items fit a frame
    int next = 0;
    for (const PavaMsg& frame : frames) {
        PavaFullData back;
        ASSERT_EQ(Pava_To_Data(&frame, &back), PAVA_OK);
        for (const PavaDataItem& it : back.dataList) EXPECT_EQ(it.itemId, next++);
    }
    EXPECT_EQ(next, 500);
    Pava_SetLogOutput(PAVA_LOG_STDOUT, nullptr, nullptr);
}

}  // namespace
