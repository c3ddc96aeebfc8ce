#include "frame_header.h"

#include <cstring>

#include "field_codec.h"

namespace pava {

char typeDigitChar(uint16_t value) noexcept {
    if (value <= 9) return static_cast<char>('0' + value);
    if (value <= 15) return static_cast<char>('A' + value - 10);
    return static_cast<char>(value & 0xFF);
}

uint16_t typeDigitValue(char c) noexcept {
    if (c >= '0' && c <= '9') return static_cast<uint16_t>(c - '0');
    if (c >= 'A' && c <= 'F') return static_cast<uint16_t>(c - 'A' + 10);
    if (c >= 'a' && c <= 'f') return static_cast<uint16_t>(c - 'a' + 10);
    return static_cast<uint16_t>(static_cast<int16_t>(static_cast<signed char>(c)));
}

namespace {

// Left-aligned and blank-padded like writeIntField. A header carries a reply
// index below 1000 and a body length below 10000, written here digit by
// digit; anything else takes the general path.
template <int Width>
void writeHeadNumber(int value, char* dest) noexcept {
    constexpr int kLimit = Width >= 4 ? 10000 : 1000;
    if (value < 0 || value >= kLimit) {
        writeIntField(value, dest, Width);
        return;
    }
    auto v = static_cast<unsigned>(value);
    std::memset(dest, ' ', Width);
    const int digits = v >= 1000 ? 4 : v >= 100 ? 3 : v >= 10 ? 2 : 1;
    for (int i = digits - 1; i >= 0; --i, v /= 10) dest[i] = static_cast<char>('0' + v % 10);
}

}  // namespace

int PavaHeadAccessor::getRii() const noexcept { return readIntField(m_head + kHeadRii, 3); }

void PavaHeadAccessor::setRii(int value) noexcept {
    if (value <= 999) writeHeadNumber<3>(value, m_head + kHeadRii);
}

int PavaHeadAccessor::getMsgId() const noexcept { return readIntField(m_head + kHeadMsgId, 5); }

void PavaHeadAccessor::setMsgId(int value) noexcept {
    if (value >= 0 && value <= 99999) {
        // Five digits and their terminator, written in place.
        auto v = static_cast<unsigned>(value);
        for (int i = kHeadMsgId + 4; i >= kHeadMsgId; --i, v /= 10) m_head[i] = static_cast<char>('0' + v % 10);
        m_head[kHeadMsgId + 5] = '\0';
        return;
    }
    char text[16];
    const int n = formatZeroPadded(value, 5, text);
    text[n] = '\0';
    // The digits and their terminator, kept inside the header.
    const int room = PAVA_HEAD_LEN - kHeadMsgId;
    const int count = n + 1 < room ? n + 1 : room;
    std::memcpy(m_head + kHeadMsgId, text, static_cast<size_t>(count));
}

int PavaHeadAccessor::getLength() const noexcept {
    const char* end = reinterpret_cast<const char*>(m_frame) + sizeof(PavaMsg);
    return readDecimal(m_head + kHeadLength, end);
}

void PavaHeadAccessor::setLength(int value) noexcept { writeHeadNumber<5>(value, m_head + kHeadLength); }

void PavaHeadAccessor::setAll(int rii, int msgId, char type, int length, char headFlag, bool continued) noexcept {
    setRii(rii);
    setMsgId(msgId);  // its NUL lands on the type position, set next
    setType(type);
    setLength(length);
    setHeadFlag(headFlag);
    setContinued(continued);
}

}  // namespace pava
