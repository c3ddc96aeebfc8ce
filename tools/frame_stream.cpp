#include "frame_stream.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <sys/stat.h>
#if defined(_WIN32)
#include <io.h>
#else
#include <poll.h>
#include <unistd.h>
#endif

namespace pava::tool {

namespace {

constexpr size_t kChunk = 1 << 16;

bool regularFile(std::FILE* f) {
    struct stat st {};
    return fstat(fileno(f), &st) == 0 && S_ISREG(st.st_mode);
}

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

// A regular file is read with look-ahead, so every frame is judged on the
// bytes around it; a live stream (pipe, terminal) frame by frame as it comes.
FrameStream::FrameStream(std::FILE* in, FrameForm form, DamageSink sink)
    : m_in(in), m_sink(std::move(sink)), m_regular(regularFile(in)), m_reader(form, m_regular), m_chunk(kChunk) {}

bool FrameStream::refill() {
    if (m_chunkPos == m_chunkEnd) {
        if (m_eof) return false;
        // read() hands over what a pipe holds without waiting for a whole
        // buffer, so frames of a live stream come out as they arrive.
        const int fd = fileno(m_in);
        for (;;) {
            if (m_onIdle && !m_regular && quiet(fd)) m_onIdle();
            const long got = readSome(fd, m_chunk.data(), m_chunk.size());
            if (got > 0) {
                m_chunkPos = 0;
                m_chunkEnd = static_cast<size_t>(got);
                break;
            }
            if (got == 0 || errno != EINTR) {
                m_readError = got < 0;
                m_eof = true;
                return false;
            }
        }
    }
    const size_t taken = m_reader.feed(m_chunk.data() + m_chunkPos, m_chunkEnd - m_chunkPos);
    m_chunkPos += taken;
    return taken > 0;
}

bool FrameStream::next(PavaMsg& frame, uint64_t& offset) {
    for (;;) {
        const ReadEvent e = m_reader.next(frame);
        switch (e.kind) {
        case ReadKind::Frame: offset = e.offset; return true;
        case ReadKind::Skipped:
            if (m_sink) m_sink(StreamDamage{e.offset, e.length, describe(e)});
            break;
        case ReadKind::End: return false;
        case ReadKind::NeedData:
            // A reader that asks for more takes more, so this ends.
            if (!refill()) m_reader.finish();
            break;
        }
    }
}

}  // namespace pava::tool
