// The 16-character frame header and the accessor that reads and writes it in place.
//
//   pos 0-2   RII          "%-3d", written only when at most 999
//   pos 3-7   message id   "%05d"
//   pos 8     message type one type digit
//   pos 9-13  body length  "%-5d"; read from position 9 onward
//   pos 14    header flag  one type digit
//   pos 15    continuation '1' when set, '0' when clear
#ifndef ZMPAVA_CORE_FRAME_HEADER_H
#define ZMPAVA_CORE_FRAME_HEADER_H

#include <cstdint>

#include "ZMPavaAnalyzer.h"

namespace pava {

constexpr int kHeadRii = 0;
constexpr int kHeadMsgId = 3;
constexpr int kHeadType = 8;
constexpr int kHeadLength = 9;
constexpr int kHeadFlag = 14;
constexpr int kHeadContinued = 15;

// Type digits: 0-9 give '0'-'9', 10-15 give 'A'-'F', larger values give their
// own low byte. Decoding accepts both cases of hex digits; any other character
// is its code, sign-extended to 16 bits.
char typeDigitChar(uint16_t value) noexcept;
uint16_t typeDigitValue(char c) noexcept;

class PavaHeadAccessor {
public:
    PavaHeadAccessor() noexcept = default;
    explicit PavaHeadAccessor(PavaMsg* frame) noexcept { attach(frame); }
    virtual ~PavaHeadAccessor() = default;

    void attach(PavaMsg* frame) noexcept {
        m_frame = frame;
        m_head = frame != nullptr ? frame->head : nullptr;
    }
    char* body() const noexcept { return m_frame != nullptr ? m_frame->body : nullptr; }

    int getRii() const noexcept;
    void setRii(int value) noexcept;  // written only when value <= 999
    int getMsgId() const noexcept;
    void setMsgId(int value) noexcept;  // "%05d" plus its NUL at position 8
    char getType() const noexcept { return m_head[kHeadType]; }
    void setType(char c) noexcept { m_head[kHeadType] = c; }
    int getLength() const noexcept;  // decimal from position 9, within the frame
    void setLength(int value) noexcept;
    char getHeadFlag() const noexcept { return m_head[kHeadFlag]; }
    void setHeadFlag(char c) noexcept { m_head[kHeadFlag] = c; }
    bool isContinued() const noexcept { return m_head[kHeadContinued] == '1'; }
    void setContinued(bool on) noexcept { m_head[kHeadContinued] = on ? '1' : '0'; }

    // Every field, as the setters above write them, in one call.
    void setAll(int rii, int msgId, char type, int length, char headFlag, bool continued) noexcept;

private:
    PavaMsg* m_frame = nullptr;
    char* m_head = nullptr;
};

// Read-only view of a received frame's header.
inline PavaHeadAccessor readHead(const PavaMsg* frame) noexcept {
    // The accessor's getters never write; the cast only reuses them.
    return PavaHeadAccessor(const_cast<PavaMsg*>(frame));
}

}  // namespace pava

#endif
