#include "frame_reader.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "field_codec.h"
#include "message.h"

namespace pava {

namespace {

constexpr size_t kHead = PAVA_HEAD_LEN;
constexpr size_t kFrame = sizeof(PavaMsg);
// Room for a whole frame, the separators behind it and the next frame, so
// the end of a frame can be checked against the header that follows.
constexpr size_t kLookahead = 2 * kFrame + 64;
// A hex line longer than this cannot hold one frame (two digits a byte,
// generous room for blanks and an offset column).
constexpr size_t kMaxHexLine = 4 * kFrame + 256;

bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }
bool isSeparator(char c) noexcept { return c == '\n' || c == '\r'; }
bool isBlank(char c) noexcept { return c == ' ' || c == '\t' || c == '\r'; }

int hexValue(char c) noexcept {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// The number at positions 9-13: an optional '-', digits, then blanks.
// Returns false when the field is not of that form.
bool lengthField(const char* head, int& value) noexcept {
    int i = 9;
    const bool negative = head[i] == '-';
    if (negative) ++i;
    if (!isDigit(head[i])) return false;
    int n = 0;
    for (; i < 14 && isDigit(head[i]); ++i) n = n * 10 + (head[i] - '0');
    for (; i < 14; ++i)
        if (head[i] != ' ') return false;
    value = negative ? -n : n;
    return true;
}

size_t capacityFor(FrameForm form, bool lookAhead) noexcept {
    switch (form) {
    case FrameForm::Raw: return kFrame;
    case FrameForm::Hex: return kMaxHexLine + 1;
    case FrameForm::Wire: break;
    }
    return lookAhead ? kFrame + kLookahead : kFrame;
}

std::string num(uint64_t n) { return std::to_string(n); }

}  // namespace

int headerBodyLength(const char* head) noexcept {
    // As the wire form is written: a length outside the body counts as its nearest end.
    int n = 0;
    if (!lengthField(head, n)) return 0;
    return n < 0 ? 0 : n > MAX_PAVA_MSG_LEN ? MAX_PAVA_MSG_LEN : n;
}

bool plausibleHeaderStart(const char* head, size_t n) noexcept {
    n = std::min(n, kHead);
    for (size_t i = 0; i < n; ++i) {
        const char c = head[i];
        bool ok = true;
        if (i < 3) {
            ok = isDigit(c) || c == ' ' || c == '\0';
        } else if (i < 8) {
            ok = isDigit(c);
        } else if (i == 9) {
            ok = isDigit(c) || c == '-';
        } else if (i == 10 && head[9] == '-') {
            ok = isDigit(c);
        } else if (i >= 10 && i < 14) {
            // Digits, then blanks to the end of the field.
            ok = c == ' ' || (isDigit(c) && head[i - 1] != ' ');
        } else if (i == 15) {
            ok = c == '0' || c == '1';
        }
        if (!ok) return false;
    }
    if (n < kHead) return true;
    int length = 0;
    // Encoders fed with odd lengths write a few bytes past the body or a
    // negative number; nothing writes more than a whole frame.
    if (!lengthField(head, length) || length > static_cast<int>(kFrame)) return false;
    // An id whose layout has one body length is only ever sent with it.
    const MessageDef* def = findMessage(readIntField(head + 3, 5));
    return def == nullptr || def->layout.length < 0 || def->layout.length == length;
}

bool plausibleHeader(const char* head) noexcept { return plausibleHeaderStart(head, kHead); }

std::string describe(const ReadEvent& e) {
    if (e.kind != ReadKind::Skipped) return {};
    const std::string line = "line " + num(e.line) + ": ";
    switch (e.reason) {
    case SkipReason::NotAFrame: return num(e.length) + " bytes skipped: not a frame";
    case SkipReason::ShortTail: return num(e.length) + " bytes at the end of the input, shorter than a header";
    case SkipReason::CutShort:
        return "frame cut short: " + num(e.length) + " of its " + num(e.frameSize) + " bytes before the next header";
    case SkipReason::CutOff:
        return "frame cut off at the end of the input: " + num(e.length) + " of its " + num(e.frameSize) + " bytes";
    case SkipReason::NoHeaderBlock: return num(e.length) + " bytes skipped: no frame header";
    case SkipReason::ShortBlock: return num(e.length) + " bytes at the end of the input, shorter than a frame";
    case SkipReason::HexTooLong: return line + "longer than any frame in hex";
    case SkipReason::HexNotHex: return line + "not a frame in hex";
    case SkipReason::HexNoHeader: return line + "no frame header";
    case SkipReason::HexCutShort:
        return line + "frame cut short: " + num(e.frameBytes) + " of its " + num(e.frameSize) + " bytes";
    case SkipReason::HexTrailing: return line + num(e.length) + " bytes behind the frame ignored";
    }
    return {};
}

FrameReader::FrameReader(FrameForm form, bool lookAhead)
    : m_capacity(capacityFor(form, lookAhead)), m_form(form), m_lookAhead(lookAhead) {}

size_t FrameReader::feed(const char* data, size_t n) {
    if (m_finished || n == 0) return 0;
    const size_t take = std::min(n, room());
    if (take == 0) return 0;
    if (m_end + take > m_buf.size()) {
        // Move what is left to the front; grow only up to the capacity.
        if (m_pos > 0) {
            std::memmove(m_buf.data(), m_buf.data() + m_pos, m_end - m_pos);
            m_base += m_pos;
            m_end -= m_pos;
            m_pos = 0;
        }
        if (m_end + take > m_buf.size())
            m_buf.resize(std::min(m_capacity, std::max({m_end + take, 2 * m_buf.size(), size_t{4096}})));
    }
    std::memcpy(m_buf.data() + m_end, data, take);
    m_end += take;
    return take;
}

ReadEvent FrameReader::skipped(uint64_t offset, uint64_t length, SkipReason why) const noexcept {
    ReadEvent e;
    e.kind = ReadKind::Skipped;
    e.offset = offset;
    e.length = length;
    e.reason = why;
    e.line = m_form == FrameForm::Hex ? m_line : 0;
    return e;
}

ReadEvent FrameReader::next(PavaMsg& frame) noexcept {
    switch (m_form) {
    case FrameForm::Raw: return nextRaw(frame);
    case FrameForm::Hex: return nextHex(frame);
    case FrameForm::Wire: break;
    }
    return nextWire(frame);
}

// True when what follows `end` (past line breaks) is a plausible header or
// the end of the stream, judged on the bytes fed so far.
bool FrameReader::frameEndsCleanly(size_t end) const noexcept {
    size_t at = end;
    while (at < m_end && isSeparator(m_buf[at])) ++at;
    if (at + kHead > m_end) return m_finished && at == m_end;
    return plausibleHeader(m_buf.data() + at);
}

ReadEvent FrameReader::nextWire(PavaMsg& frame) noexcept {
    const ReadEvent needData{};
    ReadEvent end;
    end.kind = ReadKind::End;
    for (;;) {
        if (m_skipping) {
            // A run of bytes that are not a frame goes on up to the next
            // plausible header or the end, and is reported as one.
            for (;;) {
                if (available() < kHead) {
                    if (!m_finished) return needData;
                    m_skipCount += available();
                    m_pos = m_end;
                    break;
                }
                if (plausibleHeader(m_buf.data() + m_pos)) break;
                ++m_pos;
                ++m_skipCount;
            }
            m_skipping = false;
            return skipped(m_skipFrom, m_skipCount, SkipReason::NotAFrame);
        }
        // Line breaks between frames are how frames are often stored: skipped silently.
        while (m_pos < m_end && isSeparator(m_buf[m_pos])) ++m_pos;
        const size_t have = available();
        if (have < kHead) {
            if (!m_finished) return needData;
            if (have == 0) return end;
            m_pos = m_end;
            return skipped(offsetOf(m_end - have), have, SkipReason::ShortTail);
        }
        if (!plausibleHeader(m_buf.data() + m_pos)) {
            m_skipping = true;
            m_skipFrom = offsetOf(m_pos);
            m_skipCount = 1;
            ++m_pos;
            continue;
        }
        const size_t length = static_cast<size_t>(headerBodyLength(m_buf.data() + m_pos));
        const size_t whole = kHead + length;
        if (available() < (m_lookAhead ? whole + kLookahead : whole) && !m_finished) return needData;
        const size_t have2 = available();
        const size_t limit = std::min(whole, have2);
        // A frame whose declared body is cut short by the next header:
        // report it and resume at that header, so the neighbour survives.
        if (have2 < whole || !frameEndsCleanly(m_pos + whole)) {
            size_t inner = 0;
            for (size_t at = m_pos + 1; at + kHead <= m_pos + limit; ++at) {
                if (!plausibleHeader(m_buf.data() + at)) continue;
                const size_t innerEnd = at + kHead + static_cast<size_t>(headerBodyLength(m_buf.data() + at));
                if (innerEnd > m_end || frameEndsCleanly(innerEnd)) {
                    inner = at;
                    break;
                }
            }
            if (inner != 0) {
                ReadEvent e = skipped(offsetOf(m_pos), inner - m_pos, SkipReason::CutShort);
                e.frameSize = static_cast<uint32_t>(whole);
                m_pos = inner;
                return e;
            }
            if (have2 < whole) {
                ReadEvent e = skipped(offsetOf(m_pos), have2, SkipReason::CutOff);
                e.frameSize = static_cast<uint32_t>(whole);
                m_pos = m_end;
                return e;
            }
        }
        const size_t dirty = &frame == m_written ? m_dirty : kFrame;
        std::memcpy(frame.head, m_buf.data() + m_pos, whole);
        if (dirty > whole) std::memset(frame.head + whole, 0, dirty - whole);
        m_written = &frame;
        m_dirty = whole;
        ReadEvent e;
        e.kind = ReadKind::Frame;
        e.offset = offsetOf(m_pos);
        e.length = whole;
        m_pos += whole;
        return e;
    }
}

ReadEvent FrameReader::nextRaw(PavaMsg& frame) noexcept {
    const size_t have = available();
    if (have < kFrame) {
        if (!m_finished) return ReadEvent{};
        if (have == 0) {
            ReadEvent end;
            end.kind = ReadKind::End;
            return end;
        }
        m_pos = m_end;
        return skipped(offsetOf(m_end - have), have, SkipReason::ShortBlock);
    }
    const uint64_t at = offsetOf(m_pos);
    const char* block = m_buf.data() + m_pos;
    m_pos += kFrame;
    if (!plausibleHeader(block)) return skipped(at, kFrame, SkipReason::NoHeaderBlock);
    std::memcpy(frame.head, block, kFrame);
    m_written = &frame;
    m_dirty = kFrame;
    ReadEvent e;
    e.kind = ReadKind::Frame;
    e.offset = at;
    e.length = kFrame;
    return e;
}

ReadEvent FrameReader::nextHex(PavaMsg& frame) noexcept {
    for (;;) {
        if (m_skipping) {
            // The rest of an overlong line.
            while (m_pos < m_end && m_buf[m_pos] != '\n') ++m_pos, ++m_skipCount;
            if (m_pos == m_end && !m_finished) return ReadEvent{};
            if (m_pos < m_end) ++m_pos;
            m_skipping = false;
            return skipped(m_skipFrom, m_skipCount, SkipReason::HexTooLong);
        }
        // One line, or what there is of it up to the longest line a frame needs.
        const size_t have = available();
        const size_t scan = std::min(have, kMaxHexLine + 1);
        const char* start = m_buf.data() + m_pos;
        // Nothing fed yet leaves the buffer unallocated: no pointer for memchr.
        const void* nl = scan > 0 ? std::memchr(start, '\n', scan) : nullptr;
        size_t len = 0;
        const bool newline = nl != nullptr;
        if (newline) {
            len = static_cast<size_t>(static_cast<const char*>(nl) - start);
        } else if (have > kMaxHexLine) {
            len = kMaxHexLine + 1;
        } else if (!m_finished) {
            return ReadEvent{};
        } else {
            len = have;
        }
        if (len == 0 && !newline) {
            ReadEvent end;
            end.kind = ReadKind::End;
            return end;
        }
        // A line whose trailing bytes were reported is read again for its frame.
        const bool again = m_trailingSaid;
        m_trailingSaid = false;
        if (!again) ++m_line;
        const uint64_t lineOffset = offsetOf(m_pos);
        if (len > kMaxHexLine) {
            m_skipping = true;
            m_skipFrom = lineOffset;
            m_skipCount = 0;
            continue;
        }
        std::string_view line(start, len);
        const size_t consumed = len + (newline ? 1 : 0);
        if (const size_t bar = line.find('|'); bar != std::string_view::npos) line = line.substr(0, bar);
        // The first two tokens decide whether the first is an offset column:
        // "0000:" or a first token of another width than the bytes behind it.
        std::string_view first, second;
        size_t digits = 0;
        for (size_t at = 0, count = 0; at < line.size();) {
            while (at < line.size() && isBlank(line[at])) ++at;
            if (at == line.size()) break;
            size_t stop = at;
            while (stop < line.size() && !isBlank(line[stop])) ++stop;
            if (count == 0) first = line.substr(at, stop - at);
            if (count == 1) second = line.substr(at, stop - at);
            ++count;
            digits += stop - at;
            at = stop;
        }
        if (first.empty()) {
            m_pos += consumed;
            continue;
        }
        size_t from = 0;
        if (first.back() == ':' ||
            (!second.empty() && first.size() != second.size() && first.size() >= 4 && first.size() <= 8)) {
            from = static_cast<size_t>(first.data() + first.size() - line.data());
            digits -= first.size();
        }
        bool bad = digits % 2 != 0 || digits / 2 > kFrame;
        // The frame as one block of bytes, header and body; digits pair up
        // across tokens ("303 0" is two bytes).
        auto* bytesOut = reinterpret_cast<unsigned char*>(&frame);
        size_t n = 0;
        for (size_t i = from; i < line.size() && !bad; ++i) {
            if (isBlank(line[i])) continue;
            const int v = hexValue(line[i]);
            if (v < 0) {
                bad = true;
                break;
            }
            if ((n & 1) == 0)
                bytesOut[n / 2] = static_cast<unsigned char>(v << 4);
            else
                bytesOut[n / 2] = static_cast<unsigned char>(bytesOut[n / 2] | v);
            ++n;
        }
        const size_t bytes = n / 2;
        m_written = nullptr;  // written to, not cleared yet
        if (bad) {
            m_pos += consumed;
            return skipped(lineOffset, len, SkipReason::HexNotHex);
        }
        if (bytes < kHead || !plausibleHeader(frame.head)) {
            m_pos += consumed;
            return skipped(lineOffset, len, SkipReason::HexNoHeader);
        }
        const size_t whole = kHead + static_cast<size_t>(headerBodyLength(frame.head));
        if (bytes < whole) {
            m_pos += consumed;
            ReadEvent e = skipped(lineOffset, len, SkipReason::HexCutShort);
            e.frameBytes = static_cast<uint32_t>(bytes);
            e.frameSize = static_cast<uint32_t>(whole);
            return e;
        }
        if (bytes > whole && bytes != kFrame && !again) {
            // Reported first; the line is read again for its frame.
            m_trailingSaid = true;
            return skipped(lineOffset, bytes - whole, SkipReason::HexTrailing);
        }
        if (bytes != kFrame) std::memset(bytesOut + whole, 0, kFrame - whole);
        m_written = &frame;
        m_dirty = bytes == kFrame ? kFrame : whole;
        m_pos += consumed;
        ReadEvent e;
        e.kind = ReadKind::Frame;
        e.offset = lineOffset;
        e.length = len;
        e.line = m_line;
        return e;
    }
}

}  // namespace pava
