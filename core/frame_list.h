// The frames an encoder appends to.
#ifndef ZMPAVA_CORE_FRAME_LIST_H
#define ZMPAVA_CORE_FRAME_LIST_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "ZMPavaAnalyzer.h"

namespace pava {

// The caller's list, refilled from its front. A frame the list already holds
// is cleared in place and reused, so an encode into the list of an earlier
// call writes each frame once, where a new element would be zeroed by the
// list and then written. Frames the encode did not reach are dropped when the
// FrameList goes, so the caller sees exactly the frames appended.
class FrameList {
public:
    explicit FrameList(PavaMsgList& frames) noexcept : m_frames(frames) {}
    FrameList(const FrameList&) = delete;
    FrameList& operator=(const FrameList&) = delete;
    ~FrameList();

    // A zeroed frame at the end.
    PavaMsg& emplace_back();
    // A frame at the end that continues the last one (the list is not empty):
    // its header and the first `head` bytes of its body are the last frame's,
    // the rest of its body is zero.
    PavaMsg& pushHeadOfBack(int head);
    // A copy of the last frame at the end (the list is not empty), of which
    // only the header and the first `head` body bytes are made at once. The
    // rest of the copy waits for completeCopy, which the encoder calls when it
    // knows where its own writes from `head` on end: the bytes it writes over
    // the copy are then stored once, not twice. Until then they are undefined.
    PavaMsg& pushCopyOfBack(int head);
    // Completes the copy of the last frame, if one is waiting, from body byte
    // `written` on.
    void completeCopy(int written) noexcept;
    // Where the list has no room for the `atLeast` frames a message still
    // needs, room for `atMost` of them in one allocation, so that a long
    // message is not copied again each time the list grows. A list that has
    // the room already is left as it is.
    void reserve(size_t atLeast, size_t atMost);

    // Frames the list can take without growing.
    size_t spare() const noexcept { return m_frames.capacity() - m_size; }

    void pop_back() noexcept {
        --m_size;
        m_copyWaits = false;
    }
    void clear() noexcept {
        m_size = 0;
        m_copyWaits = false;
    }
    size_t size() const noexcept { return m_size; }
    bool empty() const noexcept { return m_size == 0; }
    PavaMsg& back() noexcept { return m_frames[m_size - 1]; }
    PavaMsg& operator[](size_t i) noexcept { return m_frames[i]; }

private:
    // A frame behind the last one: a frame the list held (`reused`, with
    // what it held) or a new, zero one, the list grown geometrically for it
    // so that a long message copies each frame a bounded number of times.
    PavaMsg& appendAfterBack(bool& reused);
    // The same, its header and first `head` body bytes copied from the last.
    PavaMsg& appendHeadOfBack(int head, bool& reused);

    PavaMsgList& m_frames;
    size_t m_size = 0;
    bool m_copyWaits = false;  // the last frame awaits completeCopy
};

// Item sizes of a message whose frames are closed only when the next item
// does not fit: what items take (`taken`, for the fewest frames) and what
// their fit is tested with where that is more (`tested`, for the most).
struct ItemBytes {
    size_t items = 0;
    uint64_t taken = 0;
    uint64_t tested = 0;
    uint64_t largest = 0;

    void add(uint64_t takes, uint64_t tests) noexcept {
        ++items;
        taken += takes;
        tested += std::max(takes, tests);
        largest = std::max(largest, std::max(takes, tests));
    }
};

// Makes room in out for the frames of such a message when each frame holds
// `room` bytes of items. Called before the message's first frame: frames
// taken from the list before it may move. Encoders measure their items for
// it only when the list has no spare room at all (a new list): a list that
// has some is left to grow if it must.
void reserveFrames(FrameList& out, const ItemBytes& bytes, int room);

}  // namespace pava

#endif
