// Live TCP sessions written as a capture while they run (`--record` of
// `pava serve` and `pava send`): each connection gets a synthetic handshake,
// its bytes as segments in both directions with the time they were read or
// written, and a close, so Wireshark and `pava decode` open the file as
// ordinary TCP conversations. Not thread-safe: one recorder per event loop.
#ifndef ZMPAVA_TOOLS_CAPTURE_RECORDER_H
#define ZMPAVA_TOOLS_CAPTURE_RECORDER_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <unordered_map>

#include "capture_types.h"
#include "capture_writer.h"

namespace pava::capture {

class SessionRecorder {
public:
    // Creates the file (Ethernet pcap, nanosecond time stamps). Throws
    // std::runtime_error when it cannot be written.
    explicit SessionRecorder(const std::string& path);
    ~SessionRecorder();
    SessionRecorder(const SessionRecorder&) = delete;
    SessionRecorder& operator=(const SessionRecorder&) = delete;

    // A connection, its handshake stamped now; returns its number.
    uint64_t open(const Endpoint& client, const Endpoint& server);
    // Bytes one side sent, stamped now.
    void data(uint64_t connection, Side from, const char* bytes, size_t n);
    // The close, `first` sending its FIN first; the connection is forgotten.
    void close(uint64_t connection, Side first);

    // False once a write failed (the file is then left as it is).
    bool good() const { return m_writer->good(); }

private:
    static Timestamp now();

    std::FILE* m_file;
    std::unique_ptr<CaptureWriter> m_writer;
    std::unordered_map<uint64_t, TcpConversation> m_conns;
    uint64_t m_next = 0;
};

}  // namespace pava::capture

#endif
