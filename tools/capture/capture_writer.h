// Writing captures of TCP conversations that never crossed a wire: the
// recorder of `pava serve`/`pava send` and the tests build them here.
//
// TcpConversation makes the IP packets of one connection with synthetic
// TCP/IP headers: the handshake, data segments with their sequence and
// acknowledgement numbers, the close. The packets are whole (checksums
// included), so Wireshark and `pava decode` read them as an ordinary
// conversation. segment() places bytes anywhere in a direction's stream,
// for captures of lost, repeated or reordered segments.
//
// CaptureWriter puts packets into a pcap or pcapng file behind the link
// header its link type asks for, one record per packet, written as they
// come: nothing is held back.
//
//     CaptureWriter out(file, CaptureFormat::Pcap, LinkType::Ethernet);
//     TcpConversation tcp({ipv4(127,0,0,1), 40000}, {ipv4(127,0,0,1), 7766});
//     for (auto& p : tcp.open()) out.write(now(), p);
//     for (auto& p : tcp.send(Side::Client, frameBytes)) out.write(now(), p);
//     for (auto& p : tcp.close(Side::Client)) out.write(now(), p);
#ifndef ZMPAVA_TOOLS_CAPTURE_WRITER_H
#define ZMPAVA_TOOLS_CAPTURE_WRITER_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "capture_types.h"

namespace pava::capture {

// TCP flag bits.
enum : uint8_t { kFin = 0x01, kSyn = 0x02, kRst = 0x04, kPsh = 0x08, kAck = 0x10 };

class TcpConversation {
public:
    // Both endpoints of one family. The initial sequence numbers are the
    // client's and the server's.
    TcpConversation(const Endpoint& client, const Endpoint& server, uint32_t clientIsn = 1000,
                    uint32_t serverIsn = 500000);

    // SYN, SYN/ACK, ACK.
    std::vector<std::string> open();
    // The bytes from one side, next in its stream, cut into segments of at
    // most mss bytes.
    std::vector<std::string> send(Side from, std::string_view data, size_t mss = 1460);
    // FIN/ACK from `first`, the other's FIN/ACK, the last ACK.
    std::vector<std::string> close(Side first);
    // One segment carrying `data` at byte `offset` of the side's stream
    // (0 is the first byte after the SYN), whatever was sent before.
    std::string segment(Side from, uint64_t offset, std::string_view data, uint8_t flags = kAck | kPsh) const;

    // Bytes each side has sent so far.
    uint64_t sent(Side s) const { return m_sent[index(s)]; }

private:
    static size_t index(Side s) { return s == Side::Client ? 0 : 1; }
    std::string packet(Side from, uint32_t seq, uint32_t ack, uint8_t flags, std::string_view data) const;

    Endpoint m_end[2];
    uint32_t m_isn[2];
    uint64_t m_sent[2] = {0, 0};
    bool m_finished[2] = {false, false};
};

enum class CaptureFormat { Pcap, Pcapng };

class CaptureWriter {
public:
    // Writes the file header (pcap) or section header and one interface
    // (pcapng) at once. The file is not owned and stays open. Time stamps
    // are written to the microsecond, or the nanosecond with nano (pcap:
    // its nanosecond magic; pcapng: the interface's resolution).
    CaptureWriter(std::FILE* out, CaptureFormat format, LinkType link, bool nano = false);

    // pcapng: another interface; returns its number for write().
    uint32_t addInterface(LinkType link, bool nano = false);

    // One IP packet, behind its link header, on interface 0 or another of
    // pcapng. keep: the captured bytes of it (a snap length), all when 0.
    void write(const Timestamp& ts, std::string_view ipPacket, uint32_t iface = 0, size_t keep = 0);

    // False once a write failed.
    bool good() const { return m_good; }

private:
    void put(const void* data, size_t n);
    std::string linkHeader(LinkType link, std::string_view ipPacket) const;

    std::FILE* m_out;
    CaptureFormat m_format;
    struct Interface {
        LinkType link;
        bool nano;
    };
    std::vector<Interface> m_ifaces;
    bool m_good = true;
};

}  // namespace pava::capture

#endif
