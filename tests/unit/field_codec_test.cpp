#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "field_codec.h"

namespace pava {
namespace {

// Writing and reading fixed-width numbers is compared with printf and strtol in
// number_fields_test.cpp; these are the other field helpers.
TEST(ReadDecimal, StopsAtTheEndOfItsRange) {
    const char digits[] = "123456";
    EXPECT_EQ(readDecimal(digits, digits + 4), 1234);
    EXPECT_EQ(readDecimal(digits, digits), 0);
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
