// PAVA frames out of packet captures (pcap, pcapng), read with libpcap.
//
// Every TCP connection in the capture is followed and each direction's
// bytes are put back in order by sequence number: segments out of order are
// held until the bytes before them come, repeated and overlapping bytes are
// passed over (the first copy counts), and bytes never captured are reported
// as a gap with their place. Each direction's stream then goes through its
// own pava::FrameReader, as a file or a socket would, so the same checks and
// resync apply; after a gap the reader starts again at the first byte
// behind it and finds the next plausible header.
//
// Nothing is held whole: packets are read one at a time, and what waits is
// bounded (per direction: the frame reader's buffer and at most
// maxOutOfOrder bytes of segments ahead of a hole; then the hole is given up
// as a gap). At most maxConnections connections are followed at once; past
// that the one quiet the longest is ended.
//
// Link types: Ethernet (with VLAN tags), Linux cooked (SLL and SLL2), raw
// IP, BSD loopback. IPv4 and IPv6. IP fragments are not put together.
#ifndef ZMPAVA_TOOLS_CAPTURE_READER_H
#define ZMPAVA_TOOLS_CAPTURE_READER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ZMPavaAnalyzer.h"
#include "capture_types.h"

namespace pava::capture {

// One direction of one connection, as reports name it.
struct StreamInfo {
    uint64_t connection = 0;  // 1, 2, ... in the order the connections were taken
    Side from = Side::Client;
    Endpoint src;
    Endpoint dst;
    Timestamp start;  // of the connection's first packet (its SYN, when captured)
};

struct CaptureEvent {
    enum Kind {
        Frame,    // a whole frame: frame, offset, length, ts and packet (of its last byte)
        Damage,   // bytes of the stream that are not a frame, or a gap (gap true): offset, length, what
        End,      // the stream is over; nothing more comes for it
    };
    Kind kind = Frame;
    const StreamInfo* stream = nullptr;
    const PavaMsg* frame = nullptr;
    uint64_t offset = 0;  // in the direction's byte stream (0: the first byte after the SYN)
    uint64_t length = 0;
    Timestamp ts;
    uint64_t packet = 0;  // the packet's number in the capture, from 1
    bool gap = false;
    std::string what;
};

struct CaptureOptions {
    // Connections with one of these ports are taken (the side with the port
    // is the server). Empty: every connection whose stream starts with a
    // plausible header (anywhere in its first frame's worth of bytes when
    // the capture missed its start).
    std::vector<uint16_t> ports;
    // Read only the connection with this number (0: every one taken); the
    // others are numbered all the same, so numbers match a full reading.
    uint64_t only = 0;
    size_t maxOutOfOrder = 1u << 20;
    size_t maxConnections = 1024;
};

class CaptureReader {
public:
    enum class Result {
        Ok,
        CannotOpen,  // not a capture, or a link type not read here: nothing was read
        Damaged,     // a damaged record stopped the reading; everything before it was handed out
    };
    struct Stats {
        uint64_t packets = 0;
        uint64_t connections = 0;  // taken
    };

    using Sink = std::function<void(const CaptureEvent&)>;

    CaptureReader(CaptureOptions options, Sink sink);
    ~CaptureReader();
    CaptureReader(const CaptureReader&) = delete;
    CaptureReader& operator=(const CaptureReader&) = delete;

    // Reads the capture at path ("-": standard input) to its end, handing
    // out events as they come; at the end (or at damage) every stream is
    // ended. error says what stopped it. Exceptions thrown by the sink pass
    // through (the capture is closed).
    Result read(const std::string& path, std::string& error);

    // The same a packet at a time, for a reader that paces itself: open()
    // checks the file as read() does; each step() reads one packet and hands
    // out its events, and returns false at the capture's end (or its damage:
    // result and error say which), once every stream was ended.
    Result open(const std::string& path, std::string& error);
    bool step(Result& result, std::string& error);

    const Stats& stats() const;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

// True when the four bytes start a pcap or pcapng file.
bool looksLikeCapture(const unsigned char* first, size_t n);

}  // namespace pava::capture

#endif
