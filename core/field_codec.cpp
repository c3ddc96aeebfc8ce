#include "field_codec.h"

#include <bit>
#include <cstdint>
#include <cstring>

namespace pava {

using fieldDetail::copySmall;
using fieldDetail::kNuls;
using fieldDetail::shortTextLength;

namespace {

// "00" to "99", two characters per pair.
constexpr char kDigitPairs[] =
    "0001020304050607080910111213141516171819"
    "2021222324252627282930313233343536373839"
    "4041424344454647484950515253545556575859"
    "6061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

constexpr uint32_t kPowersOf10[] = {1,      10,      100,      1000,      10000,
                                    100000, 1000000, 10000000, 100000000, 1000000000};

int digitCount(uint32_t v) noexcept {
    // log10 from the bit length (1233 / 4096 ~ log10(2)), corrected by one
    // table step. 0 counts as 1, which has as many digits.
    v |= 1u;
    const int bits = 32 - std::countl_zero(v);
    const int guess = (bits * 1233) >> 12;
    return guess + (v >= kPowersOf10[guess] ? 1 : 0);
}

// Writes the `count` digits of v so that the last lands just before end.
void writeDigits(uint32_t v, char* end) noexcept {
    while (v >= 100) {
        const uint32_t pair = v % 100;
        v /= 100;
        end -= 2;
        std::memcpy(end, kDigitPairs + 2 * pair, 2);
    }
    if (v >= 10) {
        std::memcpy(end - 2, kDigitPairs + 2 * v, 2);
    } else {
        end[-1] = static_cast<char>('0' + v);
    }
}

// v without its last `count` (1-9) digits. Each case divides by a constant,
// which compiles to a multiplication; a divisor read from a table takes a
// divide instruction, several times slower. Numbers too long for their field
// (ids above 99 in a two-digit code, say) take this path on every item.
uint32_t dropDigits(uint32_t v, int count) noexcept {
    switch (count) {
        case 1: return v / 10u;
        case 2: return v / 100u;
        case 3: return v / 1000u;
        case 4: return v / 10000u;
        case 5: return v / 100000u;
        case 6: return v / 1000000u;
        case 7: return v / 10000000u;
        case 8: return v / 100000000u;
        case 9: return v / 1000000000u;
        default: return v;
    }
}

constexpr char kBlanks[kMaxIntFieldWidth + 1] = "                ";

bool isBlank(char c) noexcept { return c == ' ' || (c >= '\t' && c <= '\r'); }

}  // namespace

int formatDecimal(int value, char* out) noexcept {
    auto magnitude = static_cast<uint32_t>(value);
    int n = 0;
    if (value < 0) {
        magnitude = 0u - magnitude;
        out[n++] = '-';
    }
    n += digitCount(magnitude);
    writeDigits(magnitude, out + n);
    return n;
}

int formatZeroPadded(int value, int width, char* out) noexcept {
    if (width == 5 && value >= 0 && value <= 99999) {
        // The header id: five digits.
        const auto v = static_cast<uint32_t>(value);
        out[0] = static_cast<char>('0' + v / 10000);
        const uint32_t low = v % 10000;
        std::memcpy(out + 1, kDigitPairs + 2 * (low / 100), 2);
        std::memcpy(out + 3, kDigitPairs + 2 * (low % 100), 2);
        return 5;
    }
    auto magnitude = static_cast<uint32_t>(value);
    int sign = 0;
    if (value < 0) {
        magnitude = 0u - magnitude;
        out[sign++] = '-';
    }
    const int digits = digitCount(magnitude);
    // The sign counts towards the width, as it does for printf's zero flag.
    const int zeros = width - sign - digits > 0 ? width - sign - digits : 0;
    std::memset(out + sign, '0', static_cast<size_t>(zeros));
    const int n = sign + zeros + digits;
    writeDigits(magnitude, out + n);
    return n;
}

void writePaddedInt(int value, char* dest, int width, char pad) noexcept {
    if (width > kMaxIntFieldWidth || width <= 0) return;
    // Left-aligned; a longer number is cut on the right.
    auto magnitude = static_cast<uint32_t>(value);
    const int sign = value < 0 ? 1 : 0;
    if (sign != 0) magnitude = 0u - magnitude;
    const int n = sign + digitCount(magnitude);
    if (n <= width) {
        // Straight into the field: padding, then the sign and digits over it.
        // Nothing written here is read back, so no store waits on another.
        copySmall(dest, pad == ' ' ? kBlanks : kNuls, width);
        dest[0] = '-';  // overwritten by the first digit when there is no sign
        writeDigits(magnitude, dest + n);
        return;
    }
    // Cut: the sign and the leading digits that fit, computed rather than
    // copied out of a longer text.
    dest[0] = '-';
    const int keep = width - sign;
    if (keep > 0) writeDigits(dropDigits(magnitude, n - sign - keep), dest + width);
}

void writeIntField(int value, char* dest, int width) noexcept { writePaddedInt(value, dest, width, ' '); }

int readDecimal(const char* p, const char* end) noexcept {
    while (p < end && isBlank(*p)) ++p;
    bool negative = false;
    if (p < end && (*p == '+' || *p == '-')) {
        negative = *p == '-';
        ++p;
    }
    // Saturate like a 32-bit strtol: out-of-range digits give the limit.
    constexpr uint64_t kMax = 2147483647u;
    const uint64_t limit = negative ? kMax + 1 : kMax;
    uint64_t acc = 0;
    // Nine digits cannot pass the limit; only longer numbers are checked.
    const char* const unchecked = end - p > 9 ? p + 9 : end;
    for (; p < unchecked; ++p) {
        const auto digit = static_cast<unsigned>(static_cast<unsigned char>(*p) - '0');
        if (digit > 9) return negative ? static_cast<int>(0 - static_cast<uint32_t>(acc)) : static_cast<int>(acc);
        acc = acc * 10 + digit;
    }
    for (; p < end; ++p) {
        const auto digit = static_cast<unsigned>(static_cast<unsigned char>(*p) - '0');
        if (digit > 9) break;
        acc = acc * 10 + digit;
        if (acc > limit) acc = limit;
    }
    return negative ? static_cast<int>(0 - static_cast<uint32_t>(acc)) : static_cast<int>(acc);
}

int readIntField(const char* src, int width) noexcept {
    if (width > kMaxIntFieldWidth || width <= 0) return 0;
    // A NUL inside the window stops the conversion like any non-digit.
    return readDecimal(src, src + width);
}

int fieldTextLength(const char* field, int width) noexcept {
    if (width <= 0) return 0;
    if (width <= fieldDetail::kShortTextLimit) return shortTextLength(field, width);
    const void* nul = std::memchr(field, '\0', static_cast<size_t>(width));
    return nul == nullptr ? width : static_cast<int>(static_cast<const char*>(nul) - field);
}

}  // namespace pava
