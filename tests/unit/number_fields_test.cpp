// The fixed-width number writer and reader against the C library paths they
// replace ("%-<width>d" into a scratch buffer, strtol over a zeroed 17-byte
// window, "%05d" for the header id), on fixed edge values and many random ones.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "field_codec.h"
#include "frame_header.h"
#include "log.h"
#include "support.h"

namespace pava {
namespace {

// The printf path: the number formatted left-aligned in `width`, its first
// `width` characters copied; widths outside 1-16 write nothing.
std::string printfField(int value, int width) {
    std::string field(20, '#');
    if (width >= 1 && width <= kMaxIntFieldWidth) {
        char text[64];
        std::snprintf(text, sizeof text, "%-*d", width, value);
        std::memcpy(field.data(), text, static_cast<size_t>(width));
    }
    return field;
}

std::string fastField(int value, int width) {
    std::string field(20, '#');
    writeIntField(value, field.data(), width);
    return field;
}

// The strtol path, saturating at the 32-bit range as a 32-bit long does.
int strtolField(const char* src, int width) {
    if (width > kMaxIntFieldWidth || width <= 0) return 0;
    char window[kMaxIntFieldWidth + 1] = {};
    std::memcpy(window, src, static_cast<size_t>(width));
    const long long v = std::strtoll(window, nullptr, 10);
    return v > INT_MAX ? INT_MAX : v < INT_MIN ? INT_MIN : static_cast<int>(v);
}

// Values of every digit count and sign, the limits among them.
std::vector<int> sampleValues() {
    std::vector<int> values = {0, 1, -1, 9, 10, -10, 99, 100, 99999, 100000, -99999, -100000,
                               INT_MAX, INT_MIN, INT_MAX - 1, INT_MIN + 1, 999999999, 1000000000};
    std::mt19937 rng(20240501);
    for (int i = 0; i < 200000; ++i) {
        const auto bits = static_cast<int>(rng() % 32);
        const auto v = static_cast<int>(rng()) >> bits;  // spread over all lengths
        values.push_back(v);
    }
    return values;
}

TEST(NumberWriter, MatchesThePrintfPathAtEveryWidth) {
    for (const int v : sampleValues()) {
        for (int width = -1; width <= 18; ++width)
            ASSERT_EQ(fastField(v, width), printfField(v, width)) << "value " << v << " width " << width;
        char fast[16];
        char slow[32];
        const int n = formatDecimal(v, fast);
        ASSERT_EQ(std::string(fast, static_cast<size_t>(n)),
                  std::string(slow, static_cast<size_t>(std::snprintf(slow, sizeof slow, "%d", v))));
        const int z = formatZeroPadded(v, 5, fast);
        ASSERT_EQ(std::string(fast, static_cast<size_t>(z)),
                  std::string(slow, static_cast<size_t>(std::snprintf(slow, sizeof slow, "%05d", v))));
    }
}

TEST(NumberReader, MatchesTheStrtolPathOnRandomFields) {
    // Fields of blanks, signs, digits, letters and NUL in any order, digit-heavy.
    const std::string alphabet = std::string("0123456789012345678901234567890123456789 \t\n+-x:/") + '\0';
    std::mt19937 rng(7);
    char field[kMaxIntFieldWidth + 2];
    for (int i = 0; i < 300000; ++i) {
        for (char& c : field) c = alphabet[rng() % alphabet.size()];
        if (i % 3 == 0) std::memset(field, ' ', rng() % 8);  // leading blanks
        const int width = static_cast<int>(rng() % 20) - 1;
        ASSERT_EQ(readIntField(field, width), strtolField(field, width))
            << "field '" << std::string(field, sizeof field) << "' width " << width;
    }
}

// The reply index and body length have a short path of their own for small
// values; every value must still come out as the field writer writes it, and
// the id as "%05d" with its terminator.
TEST(HeaderNumbers, WrittenAsTheFieldWriterWritesThem) {
    std::vector<int> values = sampleValues();
    for (int v = -20; v <= 12000; ++v) values.push_back(v);
    for (const int v : values) {
        PavaMsg frame;
        std::memset(frame.head, '#', PAVA_HEAD_LEN);
        PavaHeadAccessor head(&frame);
        head.setRii(v);
        head.setLength(v);
        char rii[3] = {'#', '#', '#'};
        if (v <= 999) writeIntField(v, rii, 3);
        char length[5];
        writeIntField(v, length, 5);
        ASSERT_EQ(test::headOf(frame).substr(0, 3), std::string(rii, 3)) << v;
        ASSERT_EQ(test::headOf(frame).substr(9, 5), std::string(length, 5)) << v;
        std::memset(frame.head, '#', PAVA_HEAD_LEN);
        head.setMsgId(v);
        char id[32];
        const int n = std::snprintf(id, sizeof id, "%05d", v);
        ASSERT_EQ(test::headOf(frame).substr(3), std::string(id, static_cast<size_t>(std::min(n + 1, PAVA_HEAD_LEN - 3))) +
                                                     std::string(static_cast<size_t>(std::max(0, PAVA_HEAD_LEN - 4 - n)), '#'))
            << v;
    }
}

// The codecs' texts are put together without printf; they must read as
// printf would write them, cut where printf cuts them.
TEST(LogLines, NumberTextsReadAsPrintfWritesThem) {
    const char* const formats[] = {"%d", "%05d", "%-5d", "%3d", "%-3d", "100%% done %d",
                                   "Data_To_Pava_%05d make frame datanum %d, frmidx = %d \r\n", "plain"};
    const int values[] = {0, 7, -7, 42, -420, 99999, 100000, -100000, 2147483647, -2147483647 - 1};
    for (const char* fmt : formats) {
        for (const int v : values) {
            for (const size_t size : {size_t{0}, size_t{1}, size_t{4}, size_t{9}, size_t{64}}) {
                char ours[64];
                char theirs[64];
                std::memset(ours, 'x', sizeof ours);
                std::memset(theirs, 'x', sizeof theirs);
                const int w = v / 3 - 1;
                const int n = log::formatLine(ours, size, fmt, v, w, -w);
                const int m = std::snprintf(theirs, size, fmt, v, w, -w);
                ASSERT_EQ(n, m) << fmt << " " << v << " " << size;
                ASSERT_EQ(std::string(ours, sizeof ours), std::string(theirs, sizeof theirs)) << fmt << " " << v << " " << size;
            }
        }
    }
}

}  // namespace
}  // namespace pava
