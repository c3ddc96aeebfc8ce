#include "messages/list_codec.h"

#include <algorithm>
#include <cstring>

#include "field_codec.h"
#include "frame_header.h"
#include "log.h"

namespace pava::messages {

void copyValueBytes(char* dest, const std::string& value, int n) noexcept {
    if (n <= 0) return;
    const size_t have = value.size() < static_cast<size_t>(n) ? value.size() : static_cast<size_t>(n);
    if (have > 0) std::memcpy(dest, value.data(), have);
    std::memset(dest + have, 0, static_cast<size_t>(n) - have);
}

void readFixedText(std::string& dest, const char* src, int width) {
    dest.assign(static_cast<size_t>(width) + 1, '\0');
    dest.replace(0, static_cast<size_t>(width), src, static_cast<size_t>(width));
}

PavaMsg& continueInCopy(FrameList& out) { return out.pushCopyOfBack(); }

size_t framesAtMost(size_t items, uint64_t total, uint64_t largest, int room) noexcept {
    if (room <= 0) return items + 1;
    const auto r = static_cast<uint64_t>(room);
    // Two frames in a row hold more than one frame's room: the first was
    // closed because the second's first item did not fit behind it.
    uint64_t bound = 2 * (total / r) + 2;
    // A closed frame holds more than room - largest.
    if (largest < r) bound = std::min(bound, total / (r - largest + 1) + 1);
    return static_cast<size_t>(std::min<uint64_t>(bound, uint64_t{items} + 1));
}

PavaMsg& carryOver(FrameList& out, int countPos, int count, int length) {
    PavaMsg& full = out.back();
    writeIntField(count, full.body + countPos, 4);
    PavaHeadAccessor head(&full);
    head.setLength(length);
    head.setContinued(true);
    return continueInCopy(out);
}

void closeLastFrame(FrameList& out, int length) noexcept {
    PavaHeadAccessor head(&out.back());
    head.setLength(length);
    head.setContinued(false);
}

}  // namespace pava::messages
