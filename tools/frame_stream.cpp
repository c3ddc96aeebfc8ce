#include "frame_stream.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <sys/stat.h>
#if defined(_WIN32)
#include <io.h>
#else
#include <poll.h>
#include <unistd.h>
#endif

#include "message.h"

namespace pava::tool {

namespace {

constexpr size_t kHead = PAVA_HEAD_LEN;
constexpr size_t kFrame = sizeof(PavaMsg);
// Room for a whole frame, the separators behind it and the next frame, so
// the end of a frame can be checked against the header that follows.
constexpr size_t kLookahead = 2 * kFrame + 64;
constexpr size_t kChunk = 1 << 20;
// A hex line longer than this cannot hold one frame (two digits a byte,
// generous room for blanks and an offset column).
constexpr size_t kMaxHexLine = 4 * kFrame + 256;

bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }
bool isSeparator(char c) noexcept { return c == '\n' || c == '\r'; }

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

}  // namespace

int headerBodyLength(const char* head) noexcept {
    // As the wire form is written: a length outside the body counts as its nearest end.
    int n = 0;
    if (!lengthField(head, n)) return 0;
    return n < 0 ? 0 : n > MAX_PAVA_MSG_LEN ? MAX_PAVA_MSG_LEN : n;
}

bool plausibleHeader(const char* head) noexcept {
    for (int i = 0; i < 3; ++i)
        if (!isDigit(head[i]) && head[i] != ' ' && head[i] != '\0') return false;
    int id = 0;
    for (int i = 3; i < 8; ++i) {
        if (!isDigit(head[i])) return false;
        id = id * 10 + (head[i] - '0');
    }
    if (head[15] != '0' && head[15] != '1') return false;
    int length = 0;
    // Encoders fed with odd lengths write a few bytes past the body or a
    // negative number; nothing writes more than a whole frame.
    if (!lengthField(head, length) || length > static_cast<int>(kFrame)) return false;
    // An id whose layout has one body length is only ever sent with it.
    const MessageDef* def = findMessage(id);
    return def == nullptr || def->layout.length < 0 || def->layout.length == length;
}

FrameStream::FrameStream(std::FILE* in, FrameForm form, DamageSink sink)
    : m_in(in), m_form(form), m_sink(std::move(sink)), m_buf(kChunk + kLookahead) {
    struct stat st {};
    m_regular = fstat(fileno(m_in), &st) == 0 && S_ISREG(st.st_mode);
}

namespace {

// One read of what the descriptor holds now, without waiting for a whole buffer.
long readSome(int fd, char* dest, size_t n) {
#if defined(_WIN32)
    return _read(fd, dest, static_cast<unsigned>(std::min<size_t>(n, 1u << 30)));
#else
    return static_cast<long>(::read(fd, dest, n));
#endif
}

// True when nothing more can be read at once (a live pipe gone quiet).
bool quiet(int fd) {
#if defined(_WIN32)
    (void)fd;
    return false;  // no poll(): output is flushed as the buffer fills
#else
    pollfd ready{fd, POLLIN, 0};
    return ::poll(&ready, 1, 0) == 0;
#endif
}

}  // namespace

void FrameStream::damage(uint64_t offset, uint64_t length, std::string what) {
    if (m_sink) m_sink(StreamDamage{offset, length, std::move(what)});
}

size_t FrameStream::fill(size_t n) {
    if (available() >= n || m_eof) return available();
    if (m_pos > 0) {
        std::memmove(m_buf.data(), m_buf.data() + m_pos, available());
        m_base += m_pos;
        m_end -= m_pos;
        m_pos = 0;
    }
    if (m_buf.size() < n) m_buf.resize(n);
    // read() hands over what a pipe holds without waiting for a whole
    // buffer, so frames of a live stream come out as they arrive.
    const int fd = fileno(m_in);
    while (m_end < n) {
        if (m_onIdle && !m_regular && quiet(fd)) m_onIdle();
        const long got = readSome(fd, m_buf.data() + m_end, m_buf.size() - m_end);
        if (got > 0) {
            m_end += static_cast<size_t>(got);
        } else if (got == 0) {
            m_eof = true;
            break;
        } else if (errno != EINTR) {
            m_readError = true;
            m_eof = true;
            break;
        }
    }
    return available();
}

bool FrameStream::next(PavaMsg& frame, uint64_t& offset) {
    switch (m_form) {
    case FrameForm::Raw: return nextRaw(frame, offset);
    case FrameForm::Hex: return nextHex(frame, offset);
    case FrameForm::Wire: break;
    }
    return nextWire(frame, offset);
}

// True when what follows `end` (past line breaks) is a plausible header or
// the end of the input. Only bytes already read are looked at, except for a
// regular file, so a live stream never waits for the next frame.
bool FrameStream::frameEndsCleanly(size_t end) {
    size_t at = end;
    while (at < m_end && isSeparator(m_buf[at])) ++at;
    if (at + kHead > m_end) return m_eof && at == m_end;
    return plausibleHeader(m_buf.data() + at);
}

bool FrameStream::nextWire(PavaMsg& frame, uint64_t& offset) {
    const bool regular = m_regular;
    for (;;) {
        // Line breaks between frames are how frames are often stored: skipped silently.
        while (fill(1) > 0 && isSeparator(m_buf[m_pos])) ++m_pos;
        const size_t have = fill(kHead);
        if (have == 0) return false;
        if (have < kHead) {
            damage(offsetOf(m_pos), have, fmt::format("{} bytes at the end of the input, shorter than a header", have));
            m_pos = m_end;
            return false;
        }
        if (!plausibleHeader(m_buf.data() + m_pos)) {
            uint64_t skipped = 0;
            for (;;) {
                ++m_pos;
                ++skipped;
                // fill() may move the buffer, so the start is kept as a count.
                if (fill(kHead) < kHead) {
                    skipped += available();
                    m_pos = m_end;
                    break;
                }
                if (plausibleHeader(m_buf.data() + m_pos)) break;
            }
            damage(offsetOf(m_pos) - skipped, skipped, fmt::format("{} bytes skipped: not a frame", skipped));
            continue;
        }
        const size_t length = static_cast<size_t>(headerBodyLength(m_buf.data() + m_pos));
        const size_t whole = kHead + length;
        fill(regular ? whole + kLookahead : whole);
        const size_t have2 = available();
        const size_t limit = std::min(whole, have2);
        // A frame whose declared body is cut short by the next header:
        // report it and resume at that header, so the neighbour survives.
        if (have2 < whole || !frameEndsCleanly(m_pos + whole)) {
            size_t inner = 0;
            for (size_t at = m_pos + 1; at + kHead <= m_pos + limit; ++at) {
                if (plausibleHeader(m_buf.data() + at) &&
                    (at + kHead + static_cast<size_t>(headerBodyLength(m_buf.data() + at)) > m_end ||
                     frameEndsCleanly(at + kHead + static_cast<size_t>(headerBodyLength(m_buf.data() + at))))) {
                    inner = at;
                    break;
                }
            }
            if (inner != 0) {
                damage(offsetOf(m_pos), inner - m_pos,
                       fmt::format("frame cut short: {} of its {} bytes before the next header", inner - m_pos,
                                   whole));
                m_pos = inner;
                continue;
            }
            if (have2 < whole) {
                damage(offsetOf(m_pos), have2,
                       fmt::format("frame cut off at the end of the input: {} of its {} bytes", have2, whole));
                m_pos = m_end;
                return false;
            }
        }
        std::memcpy(frame.head, m_buf.data() + m_pos, whole);
        std::memset(frame.body + length, 0, MAX_PAVA_MSG_LEN - length);
        offset = offsetOf(m_pos);
        m_pos += whole;
        return true;
    }
}

bool FrameStream::nextRaw(PavaMsg& frame, uint64_t& offset) {
    for (;;) {
        const size_t have = fill(kFrame);
        if (have == 0) return false;
        if (have < kFrame) {
            damage(offsetOf(m_pos), have, fmt::format("{} bytes at the end of the input, shorter than a frame", have));
            m_pos = m_end;
            return false;
        }
        if (!plausibleHeader(m_buf.data() + m_pos)) {
            damage(offsetOf(m_pos), kFrame, fmt::format("{} bytes skipped: no frame header", kFrame));
            m_pos += kFrame;
            continue;
        }
        std::memcpy(frame.head, m_buf.data() + m_pos, kFrame);
        offset = offsetOf(m_pos);
        m_pos += kFrame;
        return true;
    }
}

bool FrameStream::nextHex(PavaMsg& frame, uint64_t& offset) {
    for (;;) {
        // One line, or what there is of it up to the longest line a frame needs.
        size_t len = 0;
        bool newline = false;
        for (;;) {
            const size_t have = fill(len + 1);
            if (have <= len) break;
            if (m_buf[m_pos + len] == '\n') {
                newline = true;
                break;
            }
            if (++len > kMaxHexLine) break;
        }
        if (len == 0 && !newline) return false;
        ++m_line;
        const uint64_t lineOffset = offsetOf(m_pos);
        if (len > kMaxHexLine) {
            // Skip the rest of the overlong line.
            uint64_t skipped = 0;
            while (fill(1) > 0 && m_buf[m_pos] != '\n') ++m_pos, ++skipped;
            if (available() > 0) ++m_pos;
            damage(lineOffset, skipped, fmt::format("line {}: longer than any frame in hex", m_line));
            continue;
        }
        std::string_view line(m_buf.data() + m_pos, len);
        m_pos += len + (newline ? 1 : 0);
        if (const size_t bar = line.find('|'); bar != std::string_view::npos) line = line.substr(0, bar);
        std::vector<std::string_view> tokens;
        for (size_t at = 0; at < line.size();) {
            at = line.find_first_not_of(" \t\r", at);
            if (at == std::string_view::npos) break;
            const size_t stop = std::min(line.find_first_of(" \t\r", at), line.size());
            tokens.push_back(line.substr(at, stop - at));
            at = stop;
        }
        if (tokens.empty()) continue;
        // An offset column: "0000:" or a first token of another width than the bytes behind it.
        if (tokens[0].back() == ':' ||
            (tokens.size() > 1 && tokens[0].size() != tokens[1].size() && tokens[0].size() >= 4 &&
             tokens[0].size() <= 8))
            tokens.erase(tokens.begin());
        size_t n = 0;
        bool bad = false;
        size_t digits = 0;
        for (std::string_view t : tokens) digits += t.size();
        if (digits % 2 != 0 || digits / 2 > kFrame) bad = true;
        // The frame as one block of bytes, header and body.
        auto* bytesOut = reinterpret_cast<unsigned char*>(&frame);
        for (size_t ti = 0; ti < tokens.size() && !bad; ++ti) {
            const std::string_view t = tokens[ti];
            for (size_t i = 0; i < t.size(); ++i) {
                const int v = hexValue(t[i]);
                if (v < 0) {
                    bad = true;
                    break;
                }
                // Digits pair up across tokens ("303 0" is two bytes).
                if ((n & 1) == 0)
                    bytesOut[n / 2] = static_cast<unsigned char>(v << 4);
                else
                    bytesOut[n / 2] = static_cast<unsigned char>(bytesOut[n / 2] | v);
                ++n;
            }
        }
        const size_t bytes = n / 2;
        if (bad) {
            damage(lineOffset, len, fmt::format("line {}: not a frame in hex", m_line));
            continue;
        }
        if (bytes < kHead || !plausibleHeader(frame.head)) {
            damage(lineOffset, len, fmt::format("line {}: no frame header", m_line));
            continue;
        }
        const size_t whole = kHead + static_cast<size_t>(headerBodyLength(frame.head));
        if (bytes < whole) {
            damage(lineOffset, len, fmt::format("line {}: frame cut short: {} of its {} bytes", m_line, bytes, whole));
            continue;
        }
        if (bytes > whole && bytes != kFrame)
            damage(lineOffset, bytes - whole,
                   fmt::format("line {}: {} bytes behind the frame ignored", m_line, bytes - whole));
        if (bytes != kFrame) std::memset(bytesOut + whole, 0, kFrame - whole);
        offset = lineOffset;
        return true;
    }
}

}  // namespace pava::tool
