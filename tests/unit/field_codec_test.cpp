#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "field_codec.h"

namespace pava {
namespace {

std::string written(int value, int width, size_t fieldSize = 20) {
    std::string field(fieldSize, '\0');
    writeIntField(value, field.data(), width);
    return field;
}

TEST(WriteIntField, LeftAlignsPadsAndCuts) {
    EXPECT_EQ(written(5, 4, 4), "5   ");
    EXPECT_EQ(written(-12, 4, 4), "-12 ");
    EXPECT_EQ(written(12345, 3, 4), std::string("123\0", 4));  // cut on the right, no terminator
    EXPECT_EQ(written(1, 16, 16), "1               ");
    EXPECT_EQ(written(-2147483647 - 1, 11, 11), "-2147483648");
    EXPECT_EQ(written(-2147483647 - 1, 5, 5), "-2147");
    EXPECT_EQ(written(0, 1, 1), "0");
}

TEST(WriteIntField, OutOfRangeWidthsWriteNothing) {
    for (int width : {0, -1, 17, 100}) EXPECT_EQ(written(7, width), std::string(20, '\0')) << width;
}

TEST(ReadIntField, StrtolRules) {
    EXPECT_EQ(readIntField("  42", 4), 42);
    EXPECT_EQ(readIntField("42ab", 4), 42);
    EXPECT_EQ(readIntField("    ", 4), 0);
    EXPECT_EQ(readIntField("-7  ", 4), -7);
    EXPECT_EQ(readIntField("+7  ", 4), 7);
    EXPECT_EQ(readIntField("\t\n 9", 4), 9);
    EXPECT_EQ(readIntField("- 7 ", 4), 0);
    EXPECT_EQ(readIntField(std::string("1\0" "5", 3).c_str(), 3), 1);  // a NUL ends the number
    EXPECT_EQ(readIntField("12345", 3), 123);                           // only the window is read
}

TEST(ReadIntField, WidthLimitsAndSaturation) {
    EXPECT_EQ(readIntField("12345678901234567", 17), 0);
    EXPECT_EQ(readIntField("42", 0), 0);
    EXPECT_EQ(readIntField("42", -3), 0);
    EXPECT_EQ(readIntField("9999999999999999", 16), 2147483647);
    EXPECT_EQ(readIntField("2147483648", 10), 2147483647);
    EXPECT_EQ(readIntField("2147483647", 10), 2147483647);
    EXPECT_EQ(readIntField("-2147483648", 11), -2147483647 - 1);
    EXPECT_EQ(readIntField("-999999999999999", 16), -2147483647 - 1);
}

TEST(ReadDecimal, StopsAtTheEndOfItsRange) {
    const char digits[] = "123456";
    EXPECT_EQ(readDecimal(digits, digits + 4), 1234);
    EXPECT_EQ(readDecimal(digits, digits), 0);
}

TEST(IntToText, BasesZeroAndReversal) {
    char out[40];
    EXPECT_STREQ(intToText(255, out, 16), "ff");
    EXPECT_STREQ(intToText(0, out, 10), "0");
    EXPECT_STREQ(intToText(2147483647, out, 10), "2147483647");
    char odd[] = "abc", even[] = "abcd";
    EXPECT_STREQ(reverseText(odd), "cba");
    EXPECT_STREQ(reverseText(even), "dcba");
    EXPECT_STREQ(reverseText(nullptr), "");
}

TEST(CopyTextField, PadsWithNulAndNeverReadsPastTheSource) {
    std::string field(12, 'x');
    copyTextField(field.data(), 12, "abc", 4);
    EXPECT_EQ(field, std::string("abc") + std::string(9, '\0'));
    // A source without terminator is read no further than its size.
    const char unterminated[3] = {'p', 'q', 'r'};
    copyTextField(field.data(), 12, unterminated, 3);
    EXPECT_EQ(field, std::string("pqr") + std::string(9, '\0'));
    copyTextField(field.data(), 2, "long text", 10);
    EXPECT_EQ(field.substr(0, 3), "lor");
    copyTextField(field.data(), 12, nullptr, 0);
    EXPECT_EQ(field, std::string(12, '\0'));
}

// Text lengths end at the first NUL whatever surrounds it: bytes that borrow
// in a word-wide test (0x01, 0x80, 0xFF) before and after it, at every place.
// The field is a heap block of exactly its width, so that the address
// sanitizer sees any read past it, and a text field written from it keeps
// the same bytes.
TEST(FieldTextLength, EndsAtTheFirstNulAtEveryPlace) {
    for (const int width : {1, 7, 8, 9, 16, 17, 23, 40, 63, 64, 65, 100}) {
        for (const char fill : {'a', '\x01', '\x80', '\xFF'}) {
            for (int nul = 0; nul <= width; ++nul) {
                const auto size = static_cast<size_t>(width);
                std::unique_ptr<char[]> field(new char[size]);
                std::memset(field.get(), fill, size);
                if (nul < width) field[static_cast<size_t>(nul)] = '\0';
                EXPECT_EQ(fieldTextLength(field.get(), width), nul) << width << " " << nul;
                if (width <= fieldDetail::kShortTextLimit) {
                    EXPECT_EQ(fieldDetail::shortTextLength(field.get(), width), nul) << width << " " << nul;
                }
                std::string copied(size + 8, 'x');
                copyTextField(copied.data(), width + 8, field.get(), width);
                EXPECT_EQ(copied, std::string(static_cast<size_t>(nul), fill) + std::string(size + 8 - nul, '\0'))
                    << width << " " << nul;
            }
        }
    }
}

}  // namespace
}  // namespace pava
