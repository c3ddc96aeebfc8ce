// Fixed-width field codec: the primitives every message body is built from.
// Bodies are fixed-width ASCII fields without separators; integers are
// left-aligned and blank-padded, texts are NUL-padded raw bytes.
#ifndef ZMPAVA_CORE_FIELD_CODEC_H
#define ZMPAVA_CORE_FIELD_CODEC_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace pava {

// Widest integer field the codec handles; wider fields write nothing / read 0.
constexpr int kMaxIntFieldWidth = 16;

// Writes value as a left-aligned, blank-padded decimal of exactly `width`
// characters (no terminator). A number longer than the field is cut on the
// right. Widths above 16, zero or negative write nothing.
void writeIntField(int value, char* dest, int width) noexcept;

// The same padded with blanks (pad ' ') or NUL bytes (any other pad).
void writePaddedInt(int value, char* dest, int width, char pad) noexcept;

// Writes value as "%d" would (sign and digits, no terminator) into out, which
// holds at least 11 characters. Returns the number of characters.
int formatDecimal(int value, char* out) noexcept;

// Writes value as "%0<width>d" would (the sign counts towards the width; a
// longer number keeps all its digits, no terminator) into out, which holds at
// least max(width, 11) characters. Returns the number of characters.
int formatZeroPadded(int value, int width, char* out) noexcept;

// Reads a decimal number from a window of `width` characters (at most 16):
// leading white space skipped, optional sign, stops at the first non-digit,
// saturating at the 32-bit range. Widths above 16, zero or negative give 0.
int readIntField(const char* src, int width) noexcept;

// Decimal conversion over [begin, end) with the rules of readIntField, but
// not limited in length. Used where a field runs to the end of the frame.
int readDecimal(const char* begin, const char* end) noexcept;

// Bounded text copy into a field: copies up to `width` characters of src,
// stopping at its first NUL and never reading past srcSize bytes, and fills
// the rest of the field with NUL bytes (the semantics of strncpy).
inline void copyTextField(char* dest, int width, const char* src, int srcSize) noexcept;

// Copies exactly `width` bytes of src into dest; bytes past srcSize are
// written as NUL.
inline void copyRawField(char* dest, int width, const char* src, int srcSize) noexcept;

// Length of the text in a field: up to the first NUL, at most `width`.
int fieldTextLength(const char* field, int width) noexcept;

// Length of the text in a window of `width` bytes at src of which only the
// first `room` lie within the frame: up to the first NUL, at most `width`.
// -1 for a negative width, or for a window that would leave the frame before
// meeting a NUL (a bounded copy of it would read past the frame). A window
// whose NUL lies within the frame reads that far, however wide it is.
inline int windowTextLength(const char* src, int width, int room) noexcept;

// ---------------------------------------------------------------------------
// Inline parts: the short text and raw fields of list items are copied where
// their width is known, without a call.
// ---------------------------------------------------------------------------

namespace fieldDetail {

inline constexpr char kNuls[kMaxIntFieldWidth] = {};

// Copies width (1-16) bytes with fixed-size moves, overlapping where width is
// not a power of two.
inline void copySmall(char* dest, const char* src, int width) noexcept {
    const auto w = static_cast<size_t>(width);
    if (w >= 8) {
        std::memcpy(dest, src, 8);
        std::memcpy(dest + w - 8, src + w - 8, 8);
    } else if (w >= 4) {
        std::memcpy(dest, src, 4);
        std::memcpy(dest + w - 4, src + w - 4, 4);
    } else {
        dest[0] = src[0];
        dest[w / 2] = src[w / 2];
        dest[w - 1] = src[w - 1];
    }
}

// Copies n (0-16) bytes, reading no byte outside src[0, n).
inline void copyShort(char* dest, const char* src, int n) noexcept {
    if (n > 0) copySmall(dest, src, n);
}

// Texts up to this many bytes are measured inline, longer ones by memchr.
inline constexpr int kShortTextLimit = 64;

// Length of the text in field[0, limit), limit <= kShortTextLimit, up to its
// first NUL, without a library call: the short fields of list items and the
// IEC references (about 20 characters in a 100-byte field). Eight bytes are
// tested at a time, the last word overlapping the one before it (whose bytes
// hold no NUL) so that nothing outside the field is read; the lowest byte
// whose top bit survives (v - 0x01..01) & ~v & 0x80..80 is the first NUL.
inline int shortTextLength(const char* field, int limit) noexcept {
    if constexpr (std::endian::native == std::endian::little) {
        if (limit >= 8) {
            int at = 0;
            for (;;) {
                const int word = at + 8 <= limit ? at : limit - 8;
                uint64_t v;
                std::memcpy(&v, field + word, 8);
                const uint64_t nuls = (v - 0x0101010101010101u) & ~v & 0x8080808080808080u;
                if (nuls != 0) return word + (std::countr_zero(nuls) >> 3);
                at = word + 8;
                if (at >= limit) return limit;
            }
        }
    }
    int n = 0;
    while (n < limit && field[n] != '\0') ++n;
    return n;
}

// n (0 or more) bytes of src into dest, short ones with fixed-size moves.
inline void copyBytes(char* dest, const char* src, int n) noexcept {
    if (n <= kMaxIntFieldWidth)
        copyShort(dest, src, n);
    else
        std::memcpy(dest, src, static_cast<size_t>(n));
}

// A field of `width` bytes: n bytes of src, NUL bytes behind them. Short
// fields are cleared with two fixed-size moves; longer ones with plain
// stores where the width is known.
inline void putField(char* dest, int width, const char* src, int n) noexcept {
    if (width > kMaxIntFieldWidth) {
        std::memset(dest, 0, static_cast<size_t>(width));
        if (n > 0) std::memcpy(dest, src, static_cast<size_t>(n));
        return;
    }
    copySmall(dest, kNuls, width);
    copyShort(dest, src, n);
}

}  // namespace fieldDetail

inline void copyTextField(char* dest, int width, const char* src, int srcSize) noexcept {
    if (width <= 0) return;
    const int limit = src == nullptr || srcSize <= 0 ? 0 : width < srcSize ? width : srcSize;
    const int n = limit <= fieldDetail::kShortTextLimit ? fieldDetail::shortTextLength(src, limit)
                                                        : fieldTextLength(src, limit);
    fieldDetail::putField(dest, width, src, n);
}

inline int windowTextLength(const char* src, int width, int room) noexcept {
    const int limit = width < room ? width : room;
    const int n = limit <= 0 ? 0
                : limit <= fieldDetail::kShortTextLimit ? fieldDetail::shortTextLength(src, limit)
                                                        : fieldTextLength(src, limit);
    return width < 0 || (n == limit && limit < width) ? -1 : n;
}

inline void copyRawField(char* dest, int width, const char* src, int srcSize) noexcept {
    if (width <= 0) return;
    // Bytes past the end of the source count as NUL.
    fieldDetail::putField(dest, width, src, src == nullptr || srcSize <= 0 ? 0 : width < srcSize ? width : srcSize);
}

// Copies exactly n bytes of a value into dest; bytes past the end of the
// value are written as NUL. Values are mostly a few bytes, which two
// fixed-size moves write faster than calls into the C library.
inline void copyValueBytes(char* dest, const std::string& value, int n) noexcept {
    if (n <= 0) return;
    const size_t have = value.size() < static_cast<size_t>(n) ? value.size() : static_cast<size_t>(n);
    fieldDetail::putField(dest, n, value.data(), static_cast<int>(have));
}

}  // namespace pava

#endif
