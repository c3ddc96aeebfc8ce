// Frame marks of messages split over several frames, and the steps that
// close one frame of such a message and go on in the next.
#ifndef ZMPAVA_CORE_MULTIFRAME_FRAME_MARKS_H
#define ZMPAVA_CORE_MULTIFRAME_FRAME_MARKS_H

#include <cstddef>

#include "ZMPavaAnalyzer.h"
#include "frame_list.h"

namespace pava {

// Over the frames out[first..]: header position 8 becomes '0' plus their
// number (past nine frames this runs on through ':' and up the character
// set), the continuation flag '1' on every frame but the last, '0' on the last.
void markFrameCount(FrameList& out, size_t first = 0) noexcept;

// The header that split messages build for themselves: RII (when at most
// 999) and id from the record, NUL bytes at positions 8 and 14, length 0,
// continuation '0'. The frame marks are set once all frames are built.
void writeOwnHead(PavaMsg& frame, const PavaFullData& rec) noexcept;

// Closes the last frame as a continued one (its item count, body length and
// continuation '1') and goes on in a copy of it, body not cleared: the items
// of the next frame are written over the copy from `headSize` on. `written` is
// where the closing frame's own writes end (its length, or further where an
// item that did not fit was begun).
PavaMsg& carryOver(FrameList& out, int countPos, int count, int length, int written, int headSize);

// Body length of the last frame, and continuation '0' as the final frame,
// whose own writes end at `length`.
void closeLastFrame(FrameList& out, int length) noexcept;

// The character '0' + n that numbers frames in positions 8 and 14.
inline char frameDigit(size_t n) noexcept { return static_cast<char>('0' + n); }

}  // namespace pava

#endif
