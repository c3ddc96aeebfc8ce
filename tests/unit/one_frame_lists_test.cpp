// One-frame item lists: the limit of every id (golden cases are in
// tests/data/one_frame_lists.json).
#include <gtest/gtest.h>

#include "support.h"

namespace pava::test {
namespace {

// Largest accepted list, its body length, and the text of one item more.
struct Limit {
    int id;
    size_t most;
    int length;
    const char* text;
};

TEST(OneFrameLists, EachIdAcceptsItsLimitAndRefusesOneMore) {
    const Limit limits[] = {
        {20002, 545, 8191, "error:: CPavaMsgAnalyze::Data_To_Pava_20002 too long return -1! "},
        {20100, 545, 8191, "Data_To_Pava_20100 error:: too long return -1 !\n"},
        {20084, 628, 8180, "Data_To_Pava_20084 error:: too long return -1 !\n"},
        {20103, 628, 8180, "error:: CPavaMsgAnalyze::Data_To_Pava_20103 too long return -1! "},
        {20006, 509, 8177, "error:: CPavaMsgAnalyze::Data_To_Pava_20006 too long return -1 ! "},
        {20008, 509, 8177, "error:: CPavaMsgAnalyze::Data_To_Pava_20008 too long return -1! "},
        {20010, 905, 8190, "error:: CPavaMsgAnalyze::Data_To_Pava_20010 too long return -1! "},
        {20012, 906, 8187, "error:: CPavaMsgAnalyze::Data_To_Pava_20012 too long return -1! "},
        {20102, 906, 8187, "error:: CPavaMsgAnalyze::Data_To_Pava_20102 too long return -1 ! "},
        {20104, 510, 8181, "error:: CPavaMsgAnalyze::Data_To_Pava_20104 too long return -1! "},
        // Its running count would let 1636 and 1637 items run past the body.
        {20063, 1635, 8191, "Data_To_Pava_20063 error:: too long return -1 !\n"},
        {20113, 908, 8190, "Data_To_Pava_20113 error:: too long return -1 !\n"},
        {20114, 908, 8191, "Data_To_Pava_20114 error:: too long return -1 !\n"},
        {20119, 163, 8154, "Data_To_Pava_20119 error:: too long return -1 !\n"},
    };
    for (const Limit& l : limits) {
        const Encoded fits = encode(listRecord(l.id, l.most));
        ASSERT_EQ(fits.rc, 0) << l.id;
        EXPECT_EQ(std::string(fits.frames.at(0).head + 9, 5), std::to_string(l.length) + " ") << l.id;

        const Encoded over = encode(listRecord(l.id, l.most + 1));
        EXPECT_EQ(over.rc, PAVA_ERR_ENCODE) << l.id;
        EXPECT_TRUE(over.frames.empty()) << l.id;
        EXPECT_EQ(over.log, "Data_To_Pava_" + std::to_string(l.id) + "!\n" + l.text) << l.id;
    }
    EXPECT_EQ(encode(listRecord(20063, 1637)).rc, PAVA_ERR_ENCODE);
}

}  // namespace
}  // namespace pava::test
