// Frames read from a byte stream one at a time, in constant memory, from
// input that may be damaged: wire form, raw 8208-byte blocks or hex text.
//
// A header is trusted only when it looks like one the codecs write (see
// plausibleHeader). Bytes that are not a frame are reported with their
// offset and skipped up to the next plausible header; a frame cut off at the
// end of the input is reported as a fragment.
#ifndef ZMPAVA_TOOLS_FRAME_STREAM_H
#define ZMPAVA_TOOLS_FRAME_STREAM_H

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "ZMPavaAnalyzer.h"

namespace pava::tool {

enum class FrameForm { Wire, Raw, Hex };

// Something in the input that is not a whole frame.
struct StreamDamage {
    uint64_t offset = 0;  // byte offset in the input where it starts
    uint64_t length = 0;  // bytes skipped
    std::string what;
};

// True when the 16 header bytes could come from an encoder: RII digits,
// blanks or NULs; a five-digit id; a body length of digits (after an
// optional '-') then blanks, at most 8208, and for an id whose layout has
// one length exactly that; a continuation flag '0' or '1'.
bool plausibleHeader(const char* head) noexcept;

// The body bytes that follow a plausible header on the wire: its length,
// within 0..8192, as the encoders write them.
int headerBodyLength(const char* head) noexcept;

class FrameStream {
public:
    using DamageSink = std::function<void(const StreamDamage&)>;

    // Reads from `in` (not owned; stays open). Damage goes to `sink`.
    FrameStream(std::FILE* in, FrameForm form, DamageSink sink);

    // The next whole frame (header and declared body; the rest of the body
    // zeroed) and its byte offset; false at the end of the input.
    bool next(PavaMsg& frame, uint64_t& offset);

    // Called before a read that would wait for more input (a pipe, a
    // terminal), so output held back can be written while the link is quiet.
    void onIdle(std::function<void()> fn) { m_onIdle = std::move(fn); }

    // True when reading failed (not at the end of input, a read error).
    bool readError() const noexcept { return m_readError; }

private:
    bool nextWire(PavaMsg& frame, uint64_t& offset);
    bool nextRaw(PavaMsg& frame, uint64_t& offset);
    bool nextHex(PavaMsg& frame, uint64_t& offset);
    // Makes at least n bytes available from m_pos (fewer at the end of input).
    size_t fill(size_t n);
    size_t available() const noexcept { return m_end - m_pos; }
    uint64_t offsetOf(size_t at) const noexcept { return m_base + at; }
    void damage(uint64_t offset, uint64_t length, std::string what);
    bool frameEndsCleanly(size_t end);

    std::FILE* m_in;
    FrameForm m_form;
    DamageSink m_sink;
    std::function<void()> m_onIdle;
    std::vector<char> m_buf;
    size_t m_pos = 0;     // next unread byte in m_buf
    size_t m_end = 0;     // end of the bytes in m_buf
    uint64_t m_base = 0;  // input offset of m_buf[0]
    bool m_eof = false;
    bool m_readError = false;
    bool m_regular = false;  // a regular file: reading ahead never waits
    uint64_t m_line = 0;  // hex: lines read
};

}  // namespace pava::tool

#endif
