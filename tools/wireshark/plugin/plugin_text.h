// Small readers of the plugin: header digits, displayed bytes, field names.
#ifndef PAVA_PLUGIN_TEXT_H
#define PAVA_PLUGIN_TEXT_H

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace pava::plugin {

// A blank-padded decimal as the header reader takes it: blanks, a sign,
// digits up to the first other byte, saturated at the 32-bit range; fields
// wider than 16 read 0.
inline int decimal(const char* s, int at, int width) {
    if (width <= 0 || width > 16) return 0;
    const char* p = s + at;
    const char* end = p + width;
    while (p < end && (*p == ' ' || (*p >= '\t' && *p <= '\r'))) ++p;
    bool negative = false;
    if (p < end && (*p == '+' || *p == '-')) negative = *p++ == '-';
    const int64_t limit = negative ? 2147483648LL : 2147483647LL;
    int64_t value = 0;
    for (; p < end && *p >= '0' && *p <= '9'; ++p) value = std::min<int64_t>(value * 10 + (*p - '0'), limit);
    return static_cast<int>(negative ? -value : value);
}

// The type digits of header positions 8 and 14.
inline int type_digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return static_cast<signed char>(c);
}

// Bytes as the tool shows them: printable ASCII, '\\' and '"' escaped, any
// other byte as \xNN; trailing NULs dropped. Into `out`, replaced.
inline void escape_into(std::string& out, std::string_view bytes) {
    while (!bytes.empty() && bytes.back() == '\0') bytes.remove_suffix(1);
    out.clear();
    for (const char c : bytes) {
        const auto u = static_cast<unsigned char>(c);
        if (c == '\\' || c == '"') {
            out += '\\';
            out += c;
        } else if (u >= 0x20 && u < 0x7f) {
            out += c;
        } else {
            char hex[5];
            std::snprintf(hex, sizeof hex, "\\x%02x", u);
            out += hex;
        }
    }
}

inline std::string escaped(std::string_view bytes) {
    std::string out;
    escape_into(out, bytes);
    return out;
}

// "recordList[0].fieldList[2].fieldText1" -> "recordList.fieldList.fieldText1",
// into `out`, replaced.
inline void without_indices(std::string& out, std::string_view path) {
    out.clear();
    bool inside = false;
    for (const char c : path) {
        if (c == '[') inside = true;
        else if (c == ']') inside = false;
        else if (!inside) out += c;
    }
}

// Whether n bytes (fewer than a header's) can begin a header: RII digits,
// blanks or NULs, five id digits, a body length of an optional '-', digits
// and blanks, continuation '0' or '1'. Whole headers are judged by the
// library (pava_plausible_header).
inline bool header_prefix(const char* h, int n) {
    const auto digit = [](char c) { return c >= '0' && c <= '9'; };
    for (int i = 0; i < n && i < 16; ++i) {
        const char c = h[i];
        const bool ok = i < 3                 ? digit(c) || c == ' ' || c == '\0'
                        : i < 8               ? digit(c)
                        : i == 9              ? digit(c) || c == '-'
                        : i >= 10 && i < 14   ? digit(c) || c == ' '
                        : i == 15             ? c == '0' || c == '1'
                                              : true;
        if (!ok) return false;
    }
    return true;
}

}  // namespace pava::plugin

#endif
