// Small helpers shared by the list codecs that carry raw value bytes and
// build their frames in place at the end of the output list.
#ifndef ZMPAVA_MESSAGES_VALUE_BYTES_H
#define ZMPAVA_MESSAGES_VALUE_BYTES_H

#include <cstring>
#include <string>

#include "ZMPavaAnalyzer.h"

namespace pava::messages {

// Copies exactly n bytes of a value into dest; bytes past the end of the
// value are written as NUL.
inline void copyValueBytes(char* dest, const std::string& value, int n) noexcept {
    if (n <= 0) return;
    const size_t have = value.size() < static_cast<size_t>(n) ? value.size() : static_cast<size_t>(n);
    if (have > 0) std::memcpy(dest, value.data(), have);
    std::memset(dest + have, 0, static_cast<size_t>(n) - have);
}

// Appends a copy of the last frame (body included) and returns it: the frame
// built so far stays in the list and the copy goes on from its content.
inline PavaMsg& continueInCopy(PavaMsgList& out) {
    out.reserve(out.size() + 1);  // the element copied from stays valid
    out.push_back(out.back());
    return out.back();
}

}  // namespace pava::messages

#endif
