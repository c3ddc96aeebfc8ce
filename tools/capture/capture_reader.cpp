#include "capture_reader.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <map>
#include <unordered_map>

#include <fmt/format.h>
#include <pcap/pcap.h>

#include "frame_reader.h"

namespace pava::capture {

namespace {

constexpr size_t kHead = PAVA_HEAD_LEN;
// Bytes looked through for a first header when the start of a connection
// was not captured: a whole frame and the header behind it.
constexpr size_t kProbe = sizeof(PavaMsg) + PAVA_HEAD_LEN;
// Segments held ahead of a hole in one direction, whatever their size.
constexpr size_t kMaxAheadSegments = 4096;

uint16_t be16(const uint8_t* p) { return static_cast<uint16_t>((p[0] << 8) | p[1]); }
uint32_t be32(const uint8_t* p) {
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}

struct Key {
    Endpoint a, b;  // a < b, so both directions find one connection
    bool operator==(const Key&) const = default;
};
struct KeyHash {
    size_t operator()(const Key& k) const noexcept {
        uint64_t h = 1469598103934665603ull;
        auto mix = [&](const uint8_t* p, size_t n) {
            for (size_t i = 0; i < n; ++i) h = (h ^ p[i]) * 1099511628211ull;
        };
        mix(k.a.addr.bytes.data(), k.a.addr.v6 ? 16 : 4);
        mix(k.b.addr.bytes.data(), k.b.addr.v6 ? 16 : 4);
        return static_cast<size_t>(h ^ (uint64_t{k.a.port} << 16) ^ k.b.port);
    }
};
bool less(const Endpoint& x, const Endpoint& y) {
    if (x.addr.bytes != y.addr.bytes) return x.addr.bytes < y.addr.bytes;
    return x.port < y.port;
}

// Where a stretch of the stream came from: its first offset, packet and time.
struct Mark {
    uint64_t from;
    uint64_t packet;
    Timestamp ts;
};

struct Held {
    std::string bytes;
    uint64_t packet;
    Timestamp ts;
};

enum class Verdict { Undecided, Taken, Ignored };

struct Connection;

struct Direction {
    StreamInfo info;
    Connection* conn = nullptr;
    // Reassembly: the sequence number of offset 0, the next offset due,
    // segments ahead of it.
    bool based = false;
    uint32_t base = 0;
    uint64_t next = 0;
    std::map<uint64_t, Held> ahead;
    size_t aheadBytes = 0;
    bool finSeen = false;
    uint64_t finAt = 0;
    bool ended = false;
    // Reading: bytes in order from readerBase on go through reader.
    std::unique_ptr<FrameReader> reader;
    uint64_t readerBase = 0;
    std::deque<Mark> marks;
    uint64_t fed = 0;   // bytes fed to reader
    std::string probe;  // undecided: the first bytes, from readerBase
};

struct Connection {
    Key key;
    Verdict verdict = Verdict::Undecided;
    bool sawSyn = false;
    uint64_t lastPacket = 0;
    Direction dir[2];  // Client, Server
};

std::string gapText(uint64_t length) {
    return fmt::format("{} bytes missing from the capture; reading resumes behind them", length);
}

}  // namespace

std::string toString(const Endpoint& e) {
    if (!e.addr.v6) {
        const auto& b = e.addr.bytes;
        return fmt::format("{}.{}.{}.{}:{}", b[0], b[1], b[2], b[3], e.port);
    }
    // RFC 5952: lower case, the longest run of zero groups as "::".
    uint16_t g[8];
    for (int i = 0; i < 8; ++i) g[i] = be16(e.addr.bytes.data() + 2 * i);
    int bestAt = -1, bestLen = 1;
    for (int i = 0; i < 8;) {
        if (g[i] != 0) { ++i; continue; }
        int j = i;
        while (j < 8 && g[j] == 0) ++j;
        if (j - i > bestLen) bestAt = i, bestLen = j - i;
        i = j;
    }
    std::string s = "[";
    for (int i = 0; i < 8; ++i) {
        if (i == bestAt) {
            s += "::";
            i += bestLen - 1;
            continue;
        }
        if (!s.empty() && s.back() != '[' && s.back() != ':') s += ':';
        s += fmt::format("{:x}", g[i]);
    }
    return s + fmt::format("]:{}", e.port);
}

Address ipv4(uint8_t a, uint8_t b, uint8_t c, uint8_t d) {
    Address x;
    x.bytes[0] = a, x.bytes[1] = b, x.bytes[2] = c, x.bytes[3] = d;
    return x;
}

Address ipv6(const std::array<uint8_t, 16>& bytes) {
    Address x;
    x.bytes = bytes;
    x.v6 = true;
    return x;
}

bool looksLikeCapture(const unsigned char* p, size_t n) {
    if (n < 4) return false;
    static const unsigned char kMagic[][4] = {
        {0xd4, 0xc3, 0xb2, 0xa1}, {0xa1, 0xb2, 0xc3, 0xd4},  // pcap, microseconds
        {0x4d, 0x3c, 0xb2, 0xa1}, {0xa1, 0xb2, 0x3c, 0x4d},  // pcap, nanoseconds
        {0x0a, 0x0d, 0x0d, 0x0a},                            // pcapng section header
    };
    for (const auto& m : kMagic)
        if (std::memcmp(p, m, 4) == 0) return true;
    return false;
}

struct PcapCloser {
    void operator()(pcap_t* p) const noexcept { pcap_close(p); }
};

struct CaptureReader::Impl {
    CaptureOptions opt;
    std::unique_ptr<pcap_t, PcapCloser> pcap;
    Sink sink;
    Stats stats;
    int link = 0;
    uint64_t packetNo = 0;
    Timestamp now;
    std::unordered_map<Key, std::unique_ptr<Connection>, KeyHash> conns;
    Connection* last = nullptr;  // the connection of the previous packet
    PavaMsg frame{};

    Impl(CaptureOptions o, Sink s) : opt(std::move(o)), sink(std::move(s)) {}

    bool portPicked(uint16_t p) const {
        return std::find(opt.ports.begin(), opt.ports.end(), p) != opt.ports.end();
    }

    void emit(CaptureEvent& e) { sink(e); }

    // The packet and time of the stream byte at `offset`, from the marks of
    // what was fed; marks before `keepFrom` are no longer needed.
    Mark markOf(Direction& d, uint64_t offset, uint64_t keepFrom) {
        if (d.marks.empty()) return Mark{offset, packetNo, now};
        while (d.marks.size() > 1 && d.marks[1].from <= keepFrom) d.marks.pop_front();
        size_t i = 0;
        while (i + 1 < d.marks.size() && d.marks[i + 1].from <= offset) ++i;
        return d.marks[i];
    }

    // Everything the reader can say now. atGap: the reader was finished by
    // a gap, not by the end of the stream.
    void drain(Direction& d, bool atGap = false) {
        for (;;) {
            const ReadEvent r = d.reader->next(frame);
            if (r.kind == ReadKind::NeedData || r.kind == ReadKind::End) {
                // Marks of bytes the reader is done with go, so a long run of
                // bytes that are not frames keeps no more than it holds.
                const uint64_t done = d.readerBase + d.fed - d.reader->buffered();
                while (d.marks.size() > 1 && d.marks[1].from < done) d.marks.pop_front();
                return;
            }
            CaptureEvent e;
            e.stream = &d.info;
            e.offset = d.readerBase + r.offset;
            e.length = r.length;
            const uint64_t lastByte = e.offset + (r.length > 0 ? r.length - 1 : 0);
            const Mark m = markOf(d, lastByte, e.offset);
            e.ts = m.ts;
            e.packet = m.packet;
            if (r.kind == ReadKind::Frame) {
                e.kind = CaptureEvent::Frame;
                e.frame = &frame;
            } else {
                e.kind = CaptureEvent::Damage;
                if (atGap && r.reason == SkipReason::CutOff)
                    e.what = fmt::format("frame cut off by a gap in the capture: {} of its {} bytes", r.length,
                                         r.frameSize);
                else if (atGap && r.reason == SkipReason::ShortTail)
                    e.what = fmt::format("{} bytes skipped: a header cut off by a gap in the capture", r.length);
                else
                    e.what = describe(r);
            }
            emit(e);
        }
    }

    void feed(Direction& d, const char* p, size_t n) {
        while (n > 0) {
            const size_t took = d.reader->feed(p, n);
            d.fed += took;
            p += took;
            n -= took;
            drain(d);
        }
    }

    void startReading(Direction& d) {
        d.reader = std::make_unique<FrameReader>(FrameForm::Wire, true);
        d.fed = 0;
        std::string held;
        held.swap(d.probe);
        feed(d, held.data(), held.size());
    }

    void take(Connection& c) {
        const uint64_t number = ++stats.connections;
        // Numbered as every connection taken is, but not read.
        if (opt.only != 0 && number != opt.only) return ignore(c);
        c.verdict = Verdict::Taken;
        for (Direction& d : c.dir) {
            d.info.connection = number;
            startReading(d);
            if (d.ended) finishReading(d);
        }
    }

    void ignore(Connection& c) {
        c.verdict = Verdict::Ignored;
        for (Direction& d : c.dir) {
            std::string().swap(d.probe);
            d.marks.clear();
            d.ahead.clear();
            d.aheadBytes = 0;
        }
    }

    // Whether the first bytes of an undecided direction are PAVA.
    Verdict judge(const Connection& c, const Direction& d, bool atEnd) const {
        const std::string& p = d.probe;
        // A picked port decides, once there are bytes: a connection of bare
        // acknowledgements (the last ACK of one closed) is not one to read.
        if (!opt.ports.empty()) return !p.empty() ? Verdict::Taken : atEnd ? Verdict::Ignored : Verdict::Undecided;
        const bool fromStart = c.sawSyn && d.readerBase == 0;
        if (p.size() >= kHead && plausibleHeader(p.data())) return Verdict::Taken;
        if (fromStart) return p.size() >= kHead || atEnd ? Verdict::Ignored : Verdict::Undecided;
        for (size_t at = 1; at + kHead <= p.size(); ++at)
            if (plausibleHeader(p.data() + at)) return Verdict::Taken;
        return p.size() >= kProbe || atEnd ? Verdict::Ignored : Verdict::Undecided;
    }

    // Bytes in stream order from offset d.next on.
    void deliver(Direction& d, const char* p, size_t n, uint64_t packet, const Timestamp& ts) {
        const uint64_t at = d.next;
        d.next += n;
        Connection& c = *d.conn;
        if (c.verdict == Verdict::Ignored || n == 0) return;
        if (d.marks.empty() || d.marks.back().packet != packet) d.marks.push_back(Mark{at, packet, ts});
        if (c.verdict == Verdict::Taken) return feed(d, p, n);
        const size_t kept = std::min(n, kProbe - std::min(kProbe, d.probe.size()));
        d.probe.append(p, kept);
        const Verdict v = judge(c, d, false);
        if (v == Verdict::Taken) {
            take(c);
            if (c.verdict == Verdict::Taken) feed(d, p + kept, n - kept);
        } else if (v == Verdict::Ignored) {
            ignore(c);
        }
    }

    // Bytes up to `to` never came: reported, and reading starts afresh there.
    void gap(Direction& d, uint64_t to, uint64_t packet, const Timestamp& ts) {
        const uint64_t from = d.next;
        d.next = to;
        Connection& c = *d.conn;
        if (c.verdict == Verdict::Ignored) return;
        if (c.verdict == Verdict::Undecided) {
            d.probe.clear();
            d.marks.clear();
            d.readerBase = to;
            return;
        }
        d.reader->finish();
        drain(d, true);
        CaptureEvent e;
        e.kind = CaptureEvent::Damage;
        e.gap = true;
        e.stream = &d.info;
        e.offset = from;
        e.length = to - from;
        e.packet = packet;
        e.ts = ts;
        e.what = gapText(to - from);
        emit(e);
        d.marks.clear();
        d.readerBase = to;
        d.fed = 0;
        d.reader = std::make_unique<FrameReader>(FrameForm::Wire, true);
    }

    // Segments held ahead that are now due.
    void release(Direction& d) {
        while (!d.ahead.empty() && d.ahead.begin()->first <= d.next) {
            auto it = d.ahead.begin();
            const uint64_t from = it->first;
            Held h = std::move(it->second);
            d.ahead.erase(it);
            d.aheadBytes -= h.bytes.size();
            const uint64_t end = from + h.bytes.size();
            if (end > d.next) {
                const size_t skip = static_cast<size_t>(d.next - from);
                deliver(d, h.bytes.data() + skip, h.bytes.size() - skip, h.packet, h.ts);
            }
        }
    }

    // Gives up the first hole: what follows it is read.
    void skipHole(Direction& d) {
        if (d.ahead.empty()) return;
        const auto& first = *d.ahead.begin();
        gap(d, first.first, first.second.packet, first.second.ts);
        release(d);
    }

    void segment(Direction& d, uint32_t seq, const uint8_t* data, size_t n) {
        // Offsets are unwrapped around the next byte due.
        const auto delta = static_cast<int32_t>(seq - static_cast<uint32_t>(d.base + d.next));
        int64_t off = static_cast<int64_t>(d.next) + delta;
        if (off < 0) {  // before the first byte followed
            if (static_cast<int64_t>(n) + off <= 0) return;
            data += -off;
            n -= static_cast<size_t>(-off);
            off = 0;
        }
        const auto from = static_cast<uint64_t>(off);
        const uint64_t end = from + n;
        if (end <= d.next) return;  // already had
        if (from <= d.next) {
            const size_t skip = static_cast<size_t>(d.next - from);
            deliver(d, reinterpret_cast<const char*>(data) + skip, n - skip, packetNo, now);
            release(d);
            return;
        }
        if (d.conn->verdict == Verdict::Ignored) return;  // nothing to keep for it
        // Ahead of a hole: held, within the limit.
        while ((d.aheadBytes + n > opt.maxOutOfOrder || d.ahead.size() >= kMaxAheadSegments) && !d.ahead.empty())
            skipHole(d);
        if (d.aheadBytes + n > opt.maxOutOfOrder || from <= d.next) {
            if (from > d.next) gap(d, from, packetNo, now);
            segment(d, seq, data, n);
            return;
        }
        auto [it, fresh] = d.ahead.try_emplace(from);
        if (!fresh && it->second.bytes.size() >= n) return;
        d.aheadBytes += n - it->second.bytes.size();
        it->second.bytes.assign(reinterpret_cast<const char*>(data), n);
        it->second.packet = packetNo;
        it->second.ts = now;
    }

    // The end of one direction: holes given up, what the reader holds judged.
    void endDirection(Direction& d) {
        if (d.ended) return;
        while (!d.ahead.empty()) skipHole(d);
        d.ended = true;
        Connection& c = *d.conn;
        if (c.verdict == Verdict::Undecided) {
            // take() finishes the reading of every direction already ended.
            if (judge(c, d, true) == Verdict::Taken) take(c);
            return;
        }
        if (c.verdict == Verdict::Taken) finishReading(d);
    }

    void finishReading(Direction& d) {
        d.reader->finish();
        drain(d);
        CaptureEvent e;
        e.kind = CaptureEvent::End;
        e.stream = &d.info;
        e.offset = d.next;
        e.packet = packetNo;
        e.ts = now;
        emit(e);
        d.reader.reset();
        std::deque<Mark>().swap(d.marks);
    }

    void endConnection(Connection& c) {
        endDirection(c.dir[0]);
        endDirection(c.dir[1]);
    }

    void drop(Connection* c) {
        if (last == c) last = nullptr;
        conns.erase(c->key);
    }

    Connection& connection(const Endpoint& src, const Endpoint& dst, uint8_t flags) {
        Key key = less(src, dst) ? Key{src, dst} : Key{dst, src};
        if (last != nullptr && last->key == key) return *last;
        auto it = conns.find(key);
        if (it != conns.end()) return *(last = it->second.get());
        if (conns.size() >= opt.maxConnections) {
            auto oldest = std::min_element(conns.begin(), conns.end(), [](const auto& x, const auto& y) {
                return x.second->lastPacket < y.second->lastPacket;
            });
            endConnection(*oldest->second);
            drop(oldest->second.get());
        }
        auto c = std::make_unique<Connection>();
        c->key = key;
        // Who is the client: the sender of a SYN, the receiver of a SYN/ACK;
        // else the side without a picked port; else the higher port.
        bool srcIsClient = src.port > dst.port;
        if ((flags & 0x02) != 0) srcIsClient = (flags & 0x10) == 0;
        else if (portPicked(dst.port) != portPicked(src.port)) srcIsClient = portPicked(dst.port);
        const Endpoint& client = srcIsClient ? src : dst;
        const Endpoint& server = srcIsClient ? dst : src;
        c->dir[0].info = StreamInfo{0, Side::Client, client, server, now};
        c->dir[1].info = StreamInfo{0, Side::Server, server, client, now};
        for (Direction& d : c->dir) d.conn = c.get();
        if (!opt.ports.empty())
            c->verdict = portPicked(src.port) || portPicked(dst.port) ? Verdict::Undecided : Verdict::Ignored;
        Connection* raw = c.get();
        conns.emplace(key, std::move(c));
        return *(last = raw);
    }

    void tcp(const Address& srcA, const Address& dstA, const uint8_t* p, size_t n) {
        if (n < 20) return;
        const size_t hlen = static_cast<size_t>(p[12] >> 4) * 4;
        if (hlen < 20 || hlen > n) return;
        const Endpoint src{srcA, be16(p)};
        const Endpoint dst{dstA, be16(p + 2)};
        const uint32_t seq = be32(p + 4);
        const uint8_t flags = p[13];
        Connection* cp = &connection(src, dst, flags);
        if ((flags & 0x12) == 0x02 && (cp->dir[0].next > 0 || cp->dir[1].next > 0)) {
            // A new connection on the addresses and ports of an old one.
            endConnection(*cp);
            drop(cp);
            cp = &connection(src, dst, flags);
        }
        Connection& c = *cp;
        c.lastPacket = packetNo;
        Direction& d = c.dir[c.dir[0].info.src == src ? 0 : 1];
        const bool syn = (flags & 0x02) != 0, fin = (flags & 0x01) != 0, rst = (flags & 0x04) != 0;
        if (syn) {
            if (!d.based) {
                d.based = true;
                d.base = seq + 1;
                c.sawSyn = true;
            }
            return;
        }
        if (!d.based) {
            d.based = true;
            d.base = seq;
        }
        if (d.ended) return;
        const size_t len = n - hlen;
        if (len > 0) segment(d, seq, p + hlen, len);
        if (fin && !d.finSeen) {
            d.finSeen = true;
            d.finAt = static_cast<uint64_t>(static_cast<int64_t>(d.next) +
                                            static_cast<int32_t>(seq + static_cast<uint32_t>(len) -
                                                                 static_cast<uint32_t>(d.base + d.next)));
        }
        if (d.finSeen && d.next >= d.finAt) endDirection(d);
        if (rst) endConnection(c);
        if (c.dir[0].ended && c.dir[1].ended) drop(&c);
    }

    // One packet of the capture, from its link header on.
    void packet(const uint8_t* p, size_t caplen) {
        size_t at = 0;
        uint32_t proto = 0;  // ethertype
        switch (link) {
        case DLT_EN10MB:
            if (caplen < 14) return;
            proto = be16(p + 12);
            at = 14;
            while ((proto == 0x8100 || proto == 0x88a8) && caplen >= at + 4) {
                proto = be16(p + at + 2);
                at += 4;
            }
            break;
        case DLT_LINUX_SLL:
            if (caplen < 16) return;
            proto = be16(p + 14);
            at = 16;
            break;
        case DLT_LINUX_SLL2:
            if (caplen < 20) return;
            proto = be16(p);
            at = 20;
            break;
        case DLT_NULL:
        case DLT_LOOP: {
            if (caplen < 4) return;
            uint32_t family;
            std::memcpy(&family, p, 4);
            if (link == DLT_LOOP) family = be32(p);
            else if (family > 0xffff) family = be32(p);  // written on a host of the other byte order
            proto = family == 2 ? 0x0800 : (family == 24 || family == 28 || family == 30) ? 0x86dd : 0;
            at = 4;
            break;
        }
        default:  // raw IP
            if (caplen < 1) return;
            proto = (p[0] >> 4) == 6 ? 0x86dd : 0x0800;
            break;
        }
        p += at;
        caplen -= at;
        if (proto == 0x0800) {
            if (caplen < 20 || (p[0] >> 4) != 4) return;
            const size_t ihl = static_cast<size_t>(p[0] & 15) * 4;
            const size_t total = be16(p + 2);
            if (ihl < 20 || total < ihl || caplen < ihl) return;
            if ((be16(p + 6) & 0x3fff) != 0 || p[9] != 6) return;  // a fragment, or not TCP
            Address s, d;
            std::memcpy(s.bytes.data(), p + 12, 4);
            std::memcpy(d.bytes.data(), p + 16, 4);
            // Link padding behind the IP packet is not data; a snap length may
            // have cut the packet (the bytes behind are then a hole).
            tcp(s, d, p + ihl, std::min(total, caplen) - ihl);
        } else if (proto == 0x86dd) {
            if (caplen < 40 || (p[0] >> 4) != 6) return;
            size_t end = std::min<size_t>(caplen, 40 + be16(p + 4));
            uint8_t next = p[6];
            size_t off = 40;
            // Extension headers: hop-by-hop, routing, destination options.
            while ((next == 0 || next == 43 || next == 60) && off + 8 <= end) {
                const uint8_t nh = p[off];
                off += (static_cast<size_t>(p[off + 1]) + 1) * 8;
                next = nh;
            }
            if (next != 6 || off > end) return;
            Address s, d;
            s.v6 = d.v6 = true;
            std::memcpy(s.bytes.data(), p + 8, 16);
            std::memcpy(d.bytes.data(), p + 24, 16);
            tcp(s, d, p + off, end - off);
        }
    }

    void endAll() {
        // In the order the connections were last heard of, so the output of
        // the end follows the capture.
        std::vector<Connection*> order;
        for (auto& [k, c] : conns) order.push_back(c.get());
        std::sort(order.begin(), order.end(),
                  [](const Connection* x, const Connection* y) { return x->lastPacket < y->lastPacket; });
        for (Connection* c : order) endConnection(*c);
        last = nullptr;
        conns.clear();
    }
};

CaptureReader::CaptureReader(CaptureOptions options, Sink sink)
    : m_impl(std::make_unique<Impl>(std::move(options), std::move(sink))) {}

CaptureReader::~CaptureReader() = default;

const CaptureReader::Stats& CaptureReader::stats() const { return m_impl->stats; }

CaptureReader::Result CaptureReader::open(const std::string& path, std::string& error) {
    char errbuf[PCAP_ERRBUF_SIZE] = {};
    Impl& im = *m_impl;
    im.pcap.reset(pcap_open_offline_with_tstamp_precision(path.c_str(), PCAP_TSTAMP_PRECISION_NANO, errbuf));
    if (!im.pcap) {
        error = errbuf;
        return Result::CannotOpen;
    }
    im.link = pcap_datalink(im.pcap.get());
    switch (im.link) {
    case DLT_EN10MB: case DLT_LINUX_SLL: case DLT_LINUX_SLL2: case DLT_RAW: case DLT_IPV4: case DLT_IPV6:
    case DLT_NULL: case DLT_LOOP: break;
    default:
        error = fmt::format("link type {} ({}) is not read here", pcap_datalink_val_to_name(im.link)
                                                                     ? pcap_datalink_val_to_name(im.link)
                                                                     : "unknown",
                            im.link);
        im.pcap.reset();
        return Result::CannotOpen;
    }
    return Result::Ok;
}

bool CaptureReader::step(Result& result, std::string& error) {
    Impl& im = *m_impl;
    if (!im.pcap) return false;
    pcap_pkthdr* h = nullptr;
    const u_char* data = nullptr;
    const int rc = pcap_next_ex(im.pcap.get(), &h, &data);
    if (rc != 1) {
        result = Result::Ok;
        if (rc != PCAP_ERROR_BREAK) {
            error = fmt::format("after packet {}: {}", im.packetNo, pcap_geterr(im.pcap.get()));
            result = Result::Damaged;
        }
        im.pcap.reset();
        im.endAll();
        return false;
    }
    ++im.packetNo;
    im.stats.packets = im.packetNo;
    im.now = Timestamp{static_cast<int64_t>(h->ts.tv_sec), static_cast<uint32_t>(h->ts.tv_usec)};
    im.packet(data, h->caplen);
    return true;
}

CaptureReader::Result CaptureReader::read(const std::string& path, std::string& error) {
    Result result = open(path, error);
    if (result != Result::Ok) return result;
    while (step(result, error)) {
    }
    return result;
}

}  // namespace pava::capture
