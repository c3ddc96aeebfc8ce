// Frames read from a FILE (a file, a pipe, standard input) one at a time, in
// constant memory, from input that may be damaged: wire form, raw 8208-byte
// blocks or hex text. The reading rules are those of pava::FrameReader
// (core/frame_reader.h), which this feeds; sockets feed the same reader.
#ifndef ZMPAVA_TOOLS_FRAME_STREAM_H
#define ZMPAVA_TOOLS_FRAME_STREAM_H

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "ZMPavaAnalyzer.h"
#include "frame_reader.h"

namespace pava::tool {

using pava::FrameForm;
using pava::headerBodyLength;
using pava::plausibleHeader;

// Something in the input that is not a whole frame.
struct StreamDamage {
    uint64_t offset = 0;  // byte offset in the input where it starts
    uint64_t length = 0;  // bytes skipped
    std::string what;
};

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
    // Feeds the reader from the file; false at the end of the input.
    bool refill();

    std::FILE* m_in;
    DamageSink m_sink;
    std::function<void()> m_onIdle;
    bool m_regular = false;  // a regular file: reading ahead never waits
    FrameReader m_reader;
    std::vector<char> m_chunk;
    size_t m_chunkPos = 0;
    size_t m_chunkEnd = 0;
    bool m_eof = false;
    bool m_readError = false;
};

}  // namespace pava::tool

#endif
