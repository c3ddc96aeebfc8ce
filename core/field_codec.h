// Fixed-width field codec: the primitives every message body is built from.
// Bodies are fixed-width ASCII fields without separators; integers are
// left-aligned and blank-padded, texts are NUL-padded raw bytes.
#ifndef ZMPAVA_CORE_FIELD_CODEC_H
#define ZMPAVA_CORE_FIELD_CODEC_H

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

// Writes the digits of a non-negative value in base 10 or 16 (lower-case)
// followed by a NUL; returns out.
char* intToText(int value, char* out, int base) noexcept;

// Reverses a NUL-terminated text in place; a null pointer gives "".
char* reverseText(char* text) noexcept;

// Bounded text copy into a field: copies up to `width` characters of src,
// stopping at its first NUL and never reading past srcSize bytes, and fills
// the rest of the field with NUL bytes (the semantics of strncpy).
void copyTextField(char* dest, int width, const char* src, int srcSize) noexcept;

// Copies exactly `width` bytes of src into dest; bytes past srcSize are
// written as NUL.
void copyRawField(char* dest, int width, const char* src, int srcSize) noexcept;

// Length of the text in a field: up to the first NUL, at most `width`.
int fieldTextLength(const char* field, int width) noexcept;

}  // namespace pava

#endif
