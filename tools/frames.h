// Frames in files: wire form (the 16 header bytes, then the body up to the
// length the header declares, frame after frame) or raw 8208-byte blocks.
#ifndef ZMPAVA_TOOLS_FRAMES_H
#define ZMPAVA_TOOLS_FRAMES_H

#include <iosfwd>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "ZMPavaAnalyzer.h"

namespace pava::tool {

struct FrameError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The body length the header declares (positions 9-15), kept within 0..8192.
int declaredLength(const PavaMsg& frame) noexcept;

// Every frame of the stream; throws FrameError for a truncated frame or a
// declared length outside the body.
PavaMsgList readFrames(std::istream& in, bool raw);
void writeFrames(std::ostream& out, std::span<const PavaMsg> frames);

// Bytes for a terminal: printable ASCII as it is, '\\' and '"' escaped, any
// other byte as \xNN.
std::string escapeBytes(std::string_view bytes);

// Escaped bytes in rows of 64, each row led by the offset of its first byte.
std::string byteRows(std::string_view bytes, int offset, std::string_view indent);

}  // namespace pava::tool

#endif
