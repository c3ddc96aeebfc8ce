// Frames as the tool shows them: the declared body length and escaped bytes.
#ifndef ZMPAVA_TOOLS_FRAMES_H
#define ZMPAVA_TOOLS_FRAMES_H

#include <string>
#include <string_view>

#include "ZMPavaAnalyzer.h"

namespace pava::tool {

// The body length the header declares (positions 9-15), kept within 0..8192.
int declaredLength(const PavaMsg& frame) noexcept;

// Bytes for a terminal: printable ASCII as it is, '\\' and '"' escaped, any
// other byte as \xNN.
std::string escapeBytes(std::string_view bytes);

// Escaped bytes in rows of 64, each row led by the offset of its first byte.
std::string byteRows(std::string_view bytes, int offset, std::string_view indent);

}  // namespace pava::tool

#endif
