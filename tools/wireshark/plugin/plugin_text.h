// Small helpers of the plugin: displayed bytes, field names.
#ifndef PAVA_PLUGIN_TEXT_H
#define PAVA_PLUGIN_TEXT_H

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace pava::plugin {

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

}  // namespace pava::plugin

#endif
