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

void reserveFrames(FrameList& out, const ItemBytes& bytes, int room) {
    if (room <= 0 || bytes.items == 0) return;
    const auto r = static_cast<uint64_t>(room);
    // Two frames in a row hold more than one frame's room: the first was
    // closed because the second's first item did not fit behind it.
    uint64_t most = 2 * (bytes.tested / r) + 2;
    // A closed frame holds more than room - largest.
    if (bytes.largest < r) most = std::min(most, bytes.tested / (r - bytes.largest + 1) + 1);
    most = std::min<uint64_t>(most, uint64_t{bytes.items} + 1);
    // No frame holds more than its room; the first is in the list already.
    const uint64_t least = bytes.taken / r;
    out.reserve(static_cast<size_t>(least), static_cast<size_t>(most - 1));
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
