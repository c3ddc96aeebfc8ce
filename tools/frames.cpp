#include "frames.h"

#include <fmt/format.h>

#include "field_codec.h"
#include "frame_header.h"

namespace pava::tool {

namespace {

int headerLength(const PavaMsg& frame) noexcept {
    // Only the header's own characters count: the body may not be read yet.
    return readDecimal(frame.head + kHeadLength, frame.head + PAVA_HEAD_LEN);
}

}  // namespace

int declaredLength(const PavaMsg& frame) noexcept {
    const int n = headerLength(frame);
    return n < 0 ? 0 : n > MAX_PAVA_MSG_LEN ? MAX_PAVA_MSG_LEN : n;
}

std::string escapeBytes(std::string_view bytes) {
    std::string out;
    for (const char c : bytes) {
        const auto b = static_cast<unsigned char>(c);
        if (c == '\\' || c == '"')
            out += {'\\', c};
        else if (b >= 0x20 && b < 0x7f)
            out += c;
        else
            out += fmt::format("\\x{:02x}", b);
    }
    return out;
}

std::string byteRows(std::string_view bytes, int offset, std::string_view indent) {
    constexpr size_t kRow = 64;
    std::string out;
    for (size_t at = 0; at < bytes.size(); at += kRow)
        out += fmt::format("{}{:>5}  \"{}\"\n", indent, offset + at, escapeBytes(bytes.substr(at, kRow)));
    return out;
}

}  // namespace pava::tool
