// Helpers shared by the list codecs: raw value bytes, frames built in place
// at the end of the output list, and the entry steps every codec repeats.
#ifndef ZMPAVA_MESSAGES_LIST_CODEC_H
#define ZMPAVA_MESSAGES_LIST_CODEC_H

#include <string>

#include "field_codec.h"
#include "message.h"

namespace pava::messages {

// Copies exactly n bytes of a value into dest; bytes past the end of the
// value are written as NUL. Inline: values are mostly a few bytes, which two
// fixed-size moves write faster than calls into the C library.
inline void copyValueBytes(char* dest, const std::string& value, int n) noexcept {
    if (n <= 0) return;
    const size_t have = value.size() < static_cast<size_t>(n) ? value.size() : static_cast<size_t>(n);
    fieldDetail::putField(dest, n, value.data(), static_cast<int>(have));
}

// Closes the last frame as a continued one (its item count, body length and
// continuation '1') and goes on in a copy of it, body not cleared: the items
// of the next frame are written over the copy from `headSize` on. `written` is
// where the closing frame's own writes end (its length, or further where an
// item that did not fit was begun).
PavaMsg& carryOver(FrameList& out, int countPos, int count, int length, int written, int headSize);

// Body length of the last frame, and continuation '0' as the final frame,
// whose own writes end at `length`.
void closeLastFrame(FrameList& out, int length) noexcept;

}  // namespace pava::messages

#endif
