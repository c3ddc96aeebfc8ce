// Frames out of a byte stream that may be damaged, pushed in as it arrives.
//
// FrameReader does no I/O: the caller feeds it bytes as they come (from a
// file, a pipe, a socket, a capture) and asks for events, which say what the
// bytes held: a whole frame with its offset in the stream, a run of bytes
// that are not a frame (with offset, count and why), the end. It works the
// same whatever size the pieces have, so one reader serves every source.
//
//     pava::FrameReader reader;                  // wire form, live link
//     PavaMsg frame;                             // 8 KB: not on a small stack
//     for (bool open = true; open;) {
//         pava::ReadEvent e = reader.next(frame);
//         switch (e.kind) {
//         case pava::ReadKind::Frame:   use(frame, e.offset); break;
//         case pava::ReadKind::Skipped: report(e.offset, e.length, pava::describe(e)); break;
//         case pava::ReadKind::End:     open = false; break;
//         case pava::ReadKind::NeedData:              // the caller's own I/O
//             if (pending.empty() && !read_more(pending)) reader.finish();
//             else pending.erase(0, reader.feed(pending.data(), pending.size()));
//         }
//     }
//
// Rules it reads by (those of `pava decode`):
//   - wire form: the 16 header characters, then the body of the length the
//     header declares. A header is trusted only when plausibleHeader() says
//     so; bytes before the next plausible header are skipped and reported as
//     one run. Line breaks between frames are passed over silently. A frame
//     whose declared body is cut short by the next header is reported and
//     reading resumes at that header; a frame cut off by the end is reported.
//   - raw form: whole 8208-byte blocks, each with a plausible header.
//   - hex form: one frame per line of hex digits; blanks, an offset column
//     ("00000010:" or a first token of another width) and a trailing |text|
//     column are ignored; a frame's offset is that of its line.
//
// Memory is bounded: the reader holds at most capacity() bytes (about 8 KB
// for the wire form on a live link, 25 KB with look-ahead, 33 KB for hex),
// allocated as bytes arrive. feed() takes no more than fits; once the
// reader is full, next() always makes progress, so feeding and draining
// alternate without any limit on the stream's length.
//
// Not thread-safe; one reader per stream. Nothing but feed() allocates, and
// nothing but feed() throws (std::bad_alloc).
#ifndef ZMPAVA_CORE_FRAME_READER_H
#define ZMPAVA_CORE_FRAME_READER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ZMPavaAnalyzer.h"

namespace pava {

// How frames are laid out in the stream.
enum class FrameForm { Wire, Raw, Hex };

// True when the 16 header bytes could come from an encoder: RII digits,
// blanks or NULs; a five-digit id; a body length of digits (after an
// optional '-') then blanks, at most 8208, and for an id whose layout has
// one length exactly that; a continuation flag '0' or '1'.
bool plausibleHeader(const char* head) noexcept;
// Whether the first n bytes could begin such a header, by the same rule
// position by position (a stream cut inside a header); from 16 bytes on,
// plausibleHeader().
bool plausibleHeaderStart(const char* head, size_t n) noexcept;

// The body bytes that follow a plausible header on the wire: its declared
// length, kept within 0..8192 as the encoders write them.
int headerBodyLength(const char* head) noexcept;

enum class ReadKind {
    NeedData,  // nothing more can be said until more bytes are fed (or finish())
    Frame,     // a whole frame, copied into the caller's PavaMsg
    Skipped,   // bytes that are not a frame (or not all of one): see reason
    End,       // finish() was called and every byte is accounted for
};

enum class SkipReason {
    NotAFrame,     // wire: bytes before the next plausible header
    ShortTail,     // wire: fewer bytes than a header at the end
    CutShort,      // wire: a frame cut short by the next header (length of its frameSize)
    CutOff,        // wire: a frame cut off by the end (length of its frameSize)
    NoHeaderBlock, // raw: a block without a plausible header
    ShortBlock,    // raw: fewer bytes than a block at the end
    HexTooLong,    // hex: a line longer than any frame can be
    HexNotHex,     // hex: a line that is not hex digits (or an odd number of them)
    HexNoHeader,   // hex: a line without a plausible header
    HexCutShort,   // hex: a line holding frameBytes of its frameSize bytes
    HexTrailing,   // hex: bytes behind the frame on its line (the frame follows)
};

struct ReadEvent {
    ReadKind kind = ReadKind::NeedData;
    // Frame: where it starts in the stream (hex: its line). Skipped: where
    // the skipped bytes start. Offsets count every byte fed, from 0.
    uint64_t offset = 0;
    // Frame: the bytes it took (wire: header and declared body; raw: 8208;
    // hex: its line). Skipped: the bytes skipped (HexTrailing: the decoded
    // bytes behind the frame).
    uint64_t length = 0;
    SkipReason reason = SkipReason::NotAFrame;  // Skipped only
    uint32_t frameSize = 0;   // CutShort, CutOff, HexCutShort: header plus declared body
    uint32_t frameBytes = 0;  // HexCutShort: the bytes the line held
    uint64_t line = 0;        // hex: the line's number, from 1
};

// What a Skipped event means, as `pava decode` reports it
// ("3 bytes skipped: not a frame"); empty for other events.
std::string describe(const ReadEvent& event);

class FrameReader {
public:
    // lookAhead false (a live link: socket, pipe, terminal): a frame is
    // handed out as soon as its declared bytes are in, judged on the bytes
    // fed so far, so a peer waiting for an answer is never kept waiting.
    // lookAhead true (a file, where more bytes cost no waiting): a frame is
    // held until a frame's worth of what follows it is in (or finish()), so
    // a cut frame is told from a good one on the bytes around it.
    explicit FrameReader(FrameForm form = FrameForm::Wire, bool lookAhead = false);

    // Copies up to n bytes into the reader; returns how many it took (fewer
    // when it is full: call next() until NeedData, then feed the rest).
    // Nothing is taken after finish(). Throws std::bad_alloc.
    size_t feed(const char* data, size_t n);

    // The end of the stream: what is left is judged as it stands.
    void finish() noexcept { m_finished = true; }

    // The next event. For Frame, `frame` holds its header and declared body
    // and zeros behind (raw: the whole block); otherwise its contents are
    // unspecified. Passed again, the same frame is taken to hold what the
    // reader left in it, and only bytes the reader wrote are cleared (not all
    // 8 KB for every short frame): a caller that writes into the frame
    // between calls zeroes it again or passes another.
    ReadEvent next(PavaMsg& frame) noexcept;

    // Bytes feed() would take now, and the most the reader ever holds.
    size_t room() const noexcept { return m_capacity - (m_end - m_pos); }
    size_t capacity() const noexcept { return m_capacity; }
    // Bytes fed and not yet accounted for by an event.
    size_t buffered() const noexcept { return m_end - m_pos; }

private:
    ReadEvent nextWire(PavaMsg& frame) noexcept;
    ReadEvent nextRaw(PavaMsg& frame) noexcept;
    ReadEvent nextHex(PavaMsg& frame) noexcept;
    size_t available() const noexcept { return m_end - m_pos; }
    uint64_t offsetOf(size_t at) const noexcept { return m_base + at; }
    bool frameEndsCleanly(size_t end) const noexcept;
    ReadEvent skipped(uint64_t offset, uint64_t length, SkipReason why) const noexcept;

    std::vector<char> m_buf;
    size_t m_capacity;
    size_t m_pos = 0;     // next unread byte in m_buf
    size_t m_end = 0;     // end of the bytes in m_buf
    uint64_t m_base = 0;  // stream offset of m_buf[0]
    FrameForm m_form;
    bool m_lookAhead;
    bool m_finished = false;
    // A run of skipped bytes still going on (wire: not a frame; hex: an
    // overlong line), from m_skipFrom, m_skipCount bytes so far.
    bool m_skipping = false;
    uint64_t m_skipFrom = 0;
    uint64_t m_skipCount = 0;
    uint64_t m_line = 0;         // hex: lines read
    bool m_trailingSaid = false; // hex: the bytes behind the frame at m_pos were reported
    // The frame last written to, and how far from its start it may hold
    // bytes other than zero.
    const PavaMsg* m_written = nullptr;
    size_t m_dirty = 0;
};

}  // namespace pava

#endif
