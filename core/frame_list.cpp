#include "frame_list.h"

#include <cstring>

#include "zero_fill.h"

namespace pava {

FrameList::~FrameList() {
    if (m_size < m_frames.size()) m_frames.erase(m_frames.begin() + static_cast<std::ptrdiff_t>(m_size), m_frames.end());
}

PavaMsg& FrameList::emplace_back() {
    if (m_size < m_frames.size()) {
        PavaMsg& frame = m_frames[m_size++];
        zeroFill(&frame, sizeof frame);
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

PavaMsg& FrameList::pushCopyOfBack() {
    if (m_size < m_frames.size()) {
        std::memcpy(&m_frames[m_size], &m_frames[m_size - 1], sizeof(PavaMsg));
        return m_frames[m_size++];
    }
    // Grown geometrically, so that a long message copies each frame a bounded
    // number of times; growing first keeps the frame copied from valid.
    if (m_frames.size() == m_frames.capacity()) m_frames.reserve(m_frames.size() * 2);
    m_frames.push_back(m_frames.back());
    ++m_size;
    return m_frames.back();
}

}  // namespace pava
