// Frame marks of messages split over several frames.
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

// The character '0' + n that numbers frames in positions 8 and 14.
inline char frameDigit(size_t n) noexcept { return static_cast<char>('0' + n); }

}  // namespace pava

#endif
