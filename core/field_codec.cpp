#include "field_codec.h"

#include <cstdint>
#include <cstring>

namespace pava {

void writeIntField(int value, char* dest, int width) noexcept {
    if (width > kMaxIntFieldWidth || width <= 0) return;
    // Digits of the number, sign first, as "%d" would print them.
    char digits[12];
    int n = 0;
    auto magnitude = static_cast<uint32_t>(value);
    if (value < 0) magnitude = 0u - magnitude;
    char reversed[10];
    int r = 0;
    do {
        reversed[r++] = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    if (value < 0) digits[n++] = '-';
    while (r > 0) digits[n++] = reversed[--r];
    // Left-aligned, blank-padded, cut on the right.
    for (int i = 0; i < width; ++i) dest[i] = i < n ? digits[i] : ' ';
}

int readDecimal(const char* p, const char* end) noexcept {
    auto isSpace = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    while (p < end && isSpace(*p)) ++p;
    bool negative = false;
    if (p < end && (*p == '+' || *p == '-')) {
        negative = *p == '-';
        ++p;
    }
    // Saturate like a 32-bit strtol: out-of-range digits give the limit.
    constexpr int64_t kMax = 2147483647LL;
    const int64_t limit = negative ? kMax + 1 : kMax;
    int64_t acc = 0;
    for (; p < end && *p >= '0' && *p <= '9'; ++p) {
        acc = acc * 10 + (*p - '0');
        if (acc > limit) acc = limit;
    }
    return static_cast<int>(negative ? -acc : acc);
}

int readIntField(const char* src, int width) noexcept {
    if (width > kMaxIntFieldWidth || width <= 0) return 0;
    // A NUL inside the window stops the conversion like any non-digit.
    return readDecimal(src, src + width);
}

char* intToText(int value, char* out, int base) noexcept {
    if (base != 10 && base != 16) base = 10;
    auto v = static_cast<uint32_t>(value < 0 ? 0 : value);
    int n = 0;
    do {
        const auto digit = static_cast<int>(v % static_cast<uint32_t>(base));
        out[n++] = static_cast<char>(digit < 10 ? '0' + digit : 'a' + digit - 10);
        v /= static_cast<uint32_t>(base);
    } while (v != 0);
    out[n] = '\0';
    return reverseText(out);
}

char* reverseText(char* text) noexcept {
    // The empty text is a constant; callers only read it.
    if (text == nullptr) return const_cast<char*>("");
    size_t i = 0;
    size_t j = std::strlen(text);
    while (j > i + 1) {
        --j;
        const char c = text[i];
        text[i] = text[j];
        text[j] = c;
        ++i;
    }
    return text;
}

void copyTextField(char* dest, int width, const char* src, int srcSize) noexcept {
    if (width <= 0) return;
    int n = 0;
    if (src != nullptr && srcSize > 0) n = fieldTextLength(src, width < srcSize ? width : srcSize);
    if (n > 0) std::memcpy(dest, src, static_cast<size_t>(n));
    std::memset(dest + n, 0, static_cast<size_t>(width - n));
}

int fieldTextLength(const char* field, int width) noexcept {
    if (width <= 0) return 0;
    const void* nul = std::memchr(field, '\0', static_cast<size_t>(width));
    return nul == nullptr ? width : static_cast<int>(static_cast<const char*>(nul) - field);
}

}  // namespace pava
