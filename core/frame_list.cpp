#include "frame_list.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "zero_fill.h"

namespace pava {

namespace {

// A count of body bytes, kept within the body.
size_t bodyBytes(int n) noexcept { return static_cast<size_t>(std::clamp(n, 0, MAX_PAVA_MSG_LEN)); }

}  // namespace

FrameList::~FrameList() {
    // Every encoder completes a copy it started, or drops its frame.
    assert(!m_copyWaits);
    if (m_size < m_frames.size()) m_frames.erase(m_frames.begin() + static_cast<std::ptrdiff_t>(m_size), m_frames.end());
}

PavaMsg& FrameList::emplace_back() {
    if (m_size < m_frames.size()) {
        PavaMsg& frame = m_frames[m_size++];
        zeroFillReused(&frame, sizeof frame);
        return frame;
    }
    m_frames.emplace_back();
    ++m_size;
    return m_frames.back();
}

void FrameList::reserve(size_t atLeast, size_t atMost) {
    if (atMost > m_frames.max_size() - m_size || m_size + atLeast <= m_frames.capacity()) return;
    m_frames.reserve(m_size + atMost);
}

PavaMsg& FrameList::appendAfterBack(bool& reused) {
    reused = m_size < m_frames.size();
    if (reused) return m_frames[m_size++];
    // Growing before the element is added keeps the frame copied from valid.
    if (m_frames.size() == m_frames.capacity()) m_frames.reserve(m_frames.size() * 2);
    m_frames.emplace_back();
    ++m_size;
    return m_frames.back();
}

PavaMsg& FrameList::appendHeadOfBack(int head, bool& reused) {
    PavaMsg& frame = appendAfterBack(reused);
    std::memcpy(&frame, &m_frames[m_size - 2], PAVA_HEAD_LEN + bodyBytes(head));
    return frame;
}

PavaMsg& FrameList::pushHeadOfBack(int head) {
    bool reused = false;
    PavaMsg& frame = appendHeadOfBack(head, reused);
    // A new element is zero already.
    if (reused) zeroFill(frame.body + bodyBytes(head), MAX_PAVA_MSG_LEN - bodyBytes(head));
    return frame;
}

PavaMsg& FrameList::pushCopyOfBack(int head) {
    bool reused = false;
    PavaMsg& frame = appendHeadOfBack(head, reused);
    m_copyWaits = true;
    return frame;
}

void FrameList::completeCopy(int written) noexcept {
    if (!m_copyWaits) return;
    m_copyWaits = false;
    const size_t from = bodyBytes(written);
    std::memcpy(m_frames[m_size - 1].body + from, m_frames[m_size - 2].body + from, MAX_PAVA_MSG_LEN - from);
}

void reserveFrames(FrameList& out, const ItemBytes& bytes, int room) {
    if (room <= 0 || bytes.items == 0) return;
    const auto r = static_cast<uint64_t>(room);
    // Two frames in a row hold more than one frame's room: the first was
    // closed because the second's first item did not fit behind it.
    uint64_t most = 2 * (bytes.tested / r) + 2;
    // A closed frame holds more than room - largest.
    if (bytes.largest < r) most = std::min(most, bytes.tested / (r - bytes.largest + 1) + 1);
    most = std::min<uint64_t>(most, uint64_t{bytes.items} + 1);
    // No frame holds more than its room.
    const uint64_t least = std::max<uint64_t>(bytes.taken / r, 1);
    out.reserve(static_cast<size_t>(least), static_cast<size_t>(most));
}

}  // namespace pava
