#include "capture_writer.h"

#include <algorithm>
#include <stdexcept>

namespace pava::capture {

namespace {

void be16(std::string& s, uint32_t v) {
    s += static_cast<char>((v >> 8) & 0xff);
    s += static_cast<char>(v & 0xff);
}
void be32(std::string& s, uint32_t v) {
    be16(s, v >> 16);
    be16(s, v & 0xffff);
}
void le16(std::string& s, uint32_t v) {
    s += static_cast<char>(v & 0xff);
    s += static_cast<char>((v >> 8) & 0xff);
}
void le32(std::string& s, uint32_t v) {
    le16(s, v & 0xffff);
    le16(s, v >> 16);
}

// The ones' complement sum of 16-bit words, as IP and TCP check it.
uint32_t sum16(std::string_view bytes, uint32_t sum = 0) {
    for (size_t i = 0; i + 1 < bytes.size(); i += 2)
        sum += (static_cast<uint8_t>(bytes[i]) << 8) | static_cast<uint8_t>(bytes[i + 1]);
    if (bytes.size() % 2 != 0) sum += static_cast<uint8_t>(bytes.back()) << 8;
    return sum;
}
uint16_t fold(uint32_t sum) {
    while (sum > 0xffff) sum = (sum & 0xffff) + (sum >> 16);
    return static_cast<uint16_t>(~sum & 0xffff);
}

std::string_view addrBytes(const Address& a) {
    return {reinterpret_cast<const char*>(a.bytes.data()), a.v6 ? 16u : 4u};
}

}  // namespace

TcpConversation::TcpConversation(const Endpoint& client, const Endpoint& server, uint32_t clientIsn,
                                 uint32_t serverIsn)
    : m_end{client, server}, m_isn{clientIsn, serverIsn} {
    if (client.addr.v6 != server.addr.v6) throw std::invalid_argument("TcpConversation: endpoints of two families");
}

std::string TcpConversation::packet(Side from, uint32_t seq, uint32_t ack, uint8_t flags, std::string_view data) const {
    const Endpoint& src = m_end[index(from)];
    const Endpoint& dst = m_end[index(other(from))];
    std::string tcp;
    be16(tcp, src.port);
    be16(tcp, dst.port);
    be32(tcp, seq);
    be32(tcp, ack);
    tcp += static_cast<char>(5 << 4);  // 20 bytes, no options
    tcp += static_cast<char>(flags);
    be16(tcp, 65535);  // window
    be16(tcp, 0);      // checksum, below
    be16(tcp, 0);
    tcp.append(data);
    // The pseudo header: addresses, protocol, TCP length.
    uint32_t sum = sum16(addrBytes(src.addr)) + sum16(addrBytes(dst.addr)) + 6 + static_cast<uint32_t>(tcp.size());
    const uint16_t check = fold(sum16(tcp, sum));
    tcp[16] = static_cast<char>(check >> 8);
    tcp[17] = static_cast<char>(check & 0xff);

    std::string ip;
    if (src.addr.v6) {
        be32(ip, 6u << 28);
        be16(ip, static_cast<uint32_t>(tcp.size()));
        ip += static_cast<char>(6);   // next header: TCP
        ip += static_cast<char>(64);  // hop limit
        ip.append(addrBytes(src.addr));
        ip.append(addrBytes(dst.addr));
    } else {
        ip += static_cast<char>(0x45);
        ip += static_cast<char>(0);
        be16(ip, static_cast<uint32_t>(20 + tcp.size()));
        be16(ip, 0);       // identification
        be16(ip, 0x4000);  // don't fragment
        ip += static_cast<char>(64);
        ip += static_cast<char>(6);
        be16(ip, 0);
        ip.append(addrBytes(src.addr));
        ip.append(addrBytes(dst.addr));
        const uint16_t check4 = fold(sum16(ip));
        ip[10] = static_cast<char>(check4 >> 8);
        ip[11] = static_cast<char>(check4 & 0xff);
    }
    return ip + tcp;
}

std::string TcpConversation::segment(Side from, uint64_t offset, std::string_view data, uint8_t flags) const {
    const size_t i = index(from);
    const size_t o = index(other(from));
    const auto seq = static_cast<uint32_t>(m_isn[i] + 1 + offset);
    const auto ack = static_cast<uint32_t>(m_isn[o] + 1 + m_sent[o] + (m_finished[o] ? 1 : 0));
    return packet(from, seq, ack, flags, data);
}

std::vector<std::string> TcpConversation::open() {
    const uint32_t c = m_isn[0];
    const uint32_t s = m_isn[1];
    return {packet(Side::Client, c, 0, kSyn, {}), packet(Side::Server, s, c + 1, kSyn | kAck, {}),
            packet(Side::Client, c + 1, s + 1, kAck, {})};
}

std::vector<std::string> TcpConversation::send(Side from, std::string_view data, size_t mss) {
    std::vector<std::string> out;
    if (mss == 0) mss = 1460;
    const size_t i = index(from);
    for (size_t at = 0; at < data.size(); at += mss) {
        out.push_back(segment(from, m_sent[i], data.substr(at, mss)));
        m_sent[i] += std::min(mss, data.size() - at);
    }
    return out;
}

std::vector<std::string> TcpConversation::close(Side first) {
    std::vector<std::string> out;
    const Side second = other(first);
    out.push_back(segment(first, m_sent[index(first)], {}, kFin | kAck));
    m_finished[index(first)] = true;
    out.push_back(segment(second, m_sent[index(second)], {}, kFin | kAck));
    m_finished[index(second)] = true;
    out.push_back(segment(first, m_sent[index(first)] + 1, {}, kAck));
    return out;
}

CaptureWriter::CaptureWriter(std::FILE* out, CaptureFormat format, LinkType link, bool nano)
    : m_out(out), m_format(format) {
    std::string head;
    if (format == CaptureFormat::Pcap) {
        le32(head, nano ? 0xa1b23c4d : 0xa1b2c3d4);
        le16(head, 2);
        le16(head, 4);
        le32(head, 0);       // time zone
        le32(head, 0);       // accuracy
        le32(head, 262144);  // snap length
        le32(head, static_cast<uint32_t>(link));
        put(head.data(), head.size());
        m_ifaces.push_back({link, nano});
        return;
    }
    le32(head, 0x0a0d0d0a);  // section header block
    le32(head, 28);
    le32(head, 0x1a2b3c4d);  // byte order
    le16(head, 1);
    le16(head, 0);
    le32(head, 0xffffffff);  // section length: not given
    le32(head, 0xffffffff);
    le32(head, 28);
    put(head.data(), head.size());
    addInterface(link, nano);
}

uint32_t CaptureWriter::addInterface(LinkType link, bool nano) {
    if (m_format != CaptureFormat::Pcapng) throw std::logic_error("CaptureWriter: a pcap file has one interface");
    std::string b;
    le32(b, 1);  // interface description block
    le32(b, 32);
    le16(b, static_cast<uint32_t>(link));
    le16(b, 0);
    le32(b, 262144);
    le16(b, 9);  // if_tsresol: 10^-6 or 10^-9
    le16(b, 1);
    b += static_cast<char>(nano ? 9 : 6);
    b.append(3, '\0');
    le32(b, 0);  // end of options
    le32(b, 32);
    put(b.data(), b.size());
    m_ifaces.push_back({link, nano});
    return static_cast<uint32_t>(m_ifaces.size() - 1);
}

std::string CaptureWriter::linkHeader(LinkType link, std::string_view ipPacket) const {
    const bool v6 = !ipPacket.empty() && (static_cast<uint8_t>(ipPacket[0]) >> 4) == 6;
    const uint32_t etherType = v6 ? 0x86dd : 0x0800;
    std::string h;
    switch (link) {
    case LinkType::Raw: break;
    case LinkType::Null: le32(h, v6 ? 30 : 2); break;
    case LinkType::Ethernet:
        h.append("\x02\0\0\0\0\x02\x02\0\0\0\0\x01", 12);
        be16(h, etherType);
        break;
    case LinkType::LinuxSll:
        be16(h, 0);    // sent to us
        be16(h, 772);  // loopback device
        be16(h, 6);
        h.append(8, '\0');
        be16(h, etherType);
        break;
    case LinkType::LinuxSll2:
        be16(h, etherType);
        be16(h, 0);
        be32(h, 1);  // interface index
        be16(h, 772);
        h += '\0';
        h += static_cast<char>(6);
        h.append(8, '\0');
        break;
    }
    return h;
}

void CaptureWriter::write(const Timestamp& ts, std::string_view ipPacket, uint32_t iface, size_t keep) {
    if (iface >= m_ifaces.size()) throw std::out_of_range("CaptureWriter: no such interface");
    const Interface& in = m_ifaces[iface];
    const std::string frame = linkHeader(in.link, ipPacket) + std::string(ipPacket);
    const size_t caplen = keep == 0 || keep > frame.size() ? frame.size() : keep;
    const uint32_t frac = in.nano ? ts.nsec : ts.nsec / 1000;
    std::string rec;
    if (m_format == CaptureFormat::Pcap) {
        le32(rec, static_cast<uint32_t>(ts.sec));
        le32(rec, frac);
        le32(rec, static_cast<uint32_t>(caplen));
        le32(rec, static_cast<uint32_t>(frame.size()));
        rec.append(frame, 0, caplen);
    } else {
        const size_t padded = (caplen + 3) & ~size_t{3};
        const auto total = static_cast<uint32_t>(32 + padded);
        const uint64_t units = static_cast<uint64_t>(ts.sec) * (in.nano ? 1000000000u : 1000000u) + frac;
        le32(rec, 6);  // enhanced packet block
        le32(rec, total);
        le32(rec, iface);
        le32(rec, static_cast<uint32_t>(units >> 32));
        le32(rec, static_cast<uint32_t>(units & 0xffffffff));
        le32(rec, static_cast<uint32_t>(caplen));
        le32(rec, static_cast<uint32_t>(frame.size()));
        rec.append(frame, 0, caplen);
        rec.append(padded - caplen, '\0');
        le32(rec, total);
    }
    put(rec.data(), rec.size());
}

void CaptureWriter::put(const void* data, size_t n) {
    if (m_good && std::fwrite(data, 1, n, m_out) != n) m_good = false;
}

}  // namespace pava::capture
