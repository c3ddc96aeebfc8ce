#include "frames.h"

#include <istream>
#include <ostream>

#include <fmt/format.h>

#include "field_codec.h"
#include "frame_header.h"

namespace pava::tool {

namespace {

int headerLength(const PavaMsg& frame) noexcept {
    // Only the header's own characters count: the body may not be read yet.
    return readDecimal(frame.head + kHeadLength, frame.head + PAVA_HEAD_LEN);
}

bool readExactly(std::istream& in, char* dest, size_t n) {
    in.read(dest, static_cast<std::streamsize>(n));
    return static_cast<size_t>(in.gcount()) == n;
}

}  // namespace

int declaredLength(const PavaMsg& frame) noexcept {
    const int n = headerLength(frame);
    return n < 0 ? 0 : n > MAX_PAVA_MSG_LEN ? MAX_PAVA_MSG_LEN : n;
}

PavaMsgList readFrames(std::istream& in, bool raw) {
    PavaMsgList frames;
    while (in.peek() != std::char_traits<char>::eof()) {
        PavaMsg& frame = frames.emplace_back();
        const size_t at = frames.size();
        if (raw) {
            if (!readExactly(in, frame.head, sizeof(PavaMsg)))
                throw FrameError(fmt::format("frame {}: shorter than {} bytes", at, sizeof(PavaMsg)));
            continue;
        }
        if (!readExactly(in, frame.head, PAVA_HEAD_LEN))
            throw FrameError(fmt::format("frame {}: header shorter than {} bytes", at, PAVA_HEAD_LEN));
        const int length = headerLength(frame);
        if (length < 0 || length > MAX_PAVA_MSG_LEN)
            throw FrameError(fmt::format("frame {}: declared body length {} is outside 0..{}", at, length,
                                         MAX_PAVA_MSG_LEN));
        if (!readExactly(in, frame.body, static_cast<size_t>(length)))
            throw FrameError(fmt::format("frame {}: body shorter than its declared {} bytes", at, length));
    }
    return frames;
}

void writeFrames(std::ostream& out, std::span<const PavaMsg> frames) {
    for (const PavaMsg& frame : frames) {
        out.write(frame.head, PAVA_HEAD_LEN);
        out.write(frame.body, declaredLength(frame));
    }
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
