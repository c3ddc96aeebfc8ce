// Captures written with the tool's own capture writer, read back: segments
// reordered, repeated, overlapping and lost, connections without their
// start, several connections and interfaces, damaged capture files.
#if defined(PAVA_WITH_PCAP)
#include <gtest/gtest.h>

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "capture_reader.h"
#include "capture_writer.h"
#include "commands.h"
#include "json_record.h"

namespace pava::capture {
namespace {

namespace fs = std::filesystem;

std::string encoded(const std::string& json) {
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
    PavaFullData rec = tool::recordFromJson(tool::Json::parse(json));
    PavaMsgList frames;
    EXPECT_EQ(Data_To_Pava(&rec, &frames), PAVA_OK);
    std::string out;
    for (const PavaMsg& f : frames) out.append(f.head, PAVA_HEAD_LEN + static_cast<size_t>(headerBodyLength(f.head)));
    return out;
}

// A stream of frames of several sizes, and where each starts.
struct Stream {
    std::string bytes;
    std::vector<uint64_t> starts;
};
Stream frames(int count, int seed) {
    Stream s;
    for (int i = 0; i < count; ++i) {
        std::string items;
        for (int k = 0; k < (i * 7 + seed) % 9; ++k)
            items += fmt::format(R"({}{{"itemId": {}, "itemText": "ITEM-{}-{}"}})", k ? "," : "", k + 1, seed, k);
        s.starts.push_back(s.bytes.size());
        s.bytes += encoded(fmt::format(R"({{"msgId": 20002, "rii": {}, "text12c": "C-{}", "dataList": [{}]}})", i % 10,
                                       i, items));
    }
    return s;
}

struct Packet {
    std::string ip;
    uint32_t iface = 0;
};

std::string writeCapture(const std::vector<Packet>& packets, CaptureFormat format, LinkType link,
                         const std::vector<LinkType>& moreIfaces = {}) {
    static int n = 0;
    const fs::path path = fs::temp_directory_path() / fmt::format("pava_capture_test_{}_{}.cap", ::getpid(), ++n);
    std::FILE* f = std::fopen(path.c_str(), "wb");
    CaptureWriter w(f, format, link);
    for (LinkType l : moreIfaces) w.addInterface(l, true);
    for (size_t i = 0; i < packets.size(); ++i)
        w.write(Timestamp{1700000000 + static_cast<int64_t>(i / 1000), static_cast<uint32_t>(i % 1000) * 1000000u},
                packets[i].ip, packets[i].iface);
    EXPECT_TRUE(w.good());
    std::fclose(f);
    return path.string();
}

struct Got {
    std::vector<uint64_t> offsets;  // frames
    std::vector<std::string> frames;
    std::vector<uint64_t> packets;
    std::vector<std::pair<uint64_t, uint64_t>> gaps;
    std::vector<std::string> damage;
    bool ended = false;
    StreamInfo info;
};
struct Read {
    std::map<std::pair<uint64_t, Side>, Got> streams;
    CaptureReader::Result result;
    std::string error;
};

Read readCapture(const std::string& path, CaptureOptions opt = {}) {
    Read r;
    CaptureReader reader(opt, [&](const CaptureEvent& e) {
        Got& g = r.streams[{e.stream->connection, e.stream->from}];
        EXPECT_FALSE(g.ended);
        g.info = *e.stream;
        if (e.kind == CaptureEvent::Frame) {
            g.offsets.push_back(e.offset);
            g.frames.emplace_back(e.frame->head, e.length);
            g.packets.push_back(e.packet);
        } else if (e.kind == CaptureEvent::Damage) {
            if (e.gap) g.gaps.emplace_back(e.offset, e.length);
            g.damage.push_back(e.what);
        } else {
            g.ended = true;
        }
    });
    r.result = reader.read(path, r.error);
    fs::remove(path);
    return r;
}

// The frames of `s` that lie wholly outside the holes, as the reader should find them.
void expectFrames(const Got& g, const Stream& s, const std::vector<std::pair<uint64_t, uint64_t>>& holes) {
    std::vector<uint64_t> want;
    for (size_t i = 0; i < s.starts.size(); ++i) {
        const uint64_t a = s.starts[i];
        const uint64_t b = i + 1 < s.starts.size() ? s.starts[i + 1] : s.bytes.size();
        bool whole = true;
        for (auto [h, n] : holes) whole = whole && (b <= h || a >= h + n);
        if (whole) want.push_back(a);
    }
    EXPECT_EQ(g.offsets, want);
    for (size_t i = 0; i < g.offsets.size(); ++i)
        EXPECT_EQ(g.frames[i], s.bytes.substr(g.offsets[i], g.frames[i].size()));
    EXPECT_TRUE(g.ended);
}

Address v4(uint8_t last) { return ipv4(10, 0, 0, last); }
Address v6(uint8_t last) {
    std::array<uint8_t, 16> b{0x20, 0x01, 0x0d, 0xb8};
    b[15] = last;
    return ipv6(b);
}

// One connection: the client sends `cs` cut into segments placed by the
// case, the server answers `ss` in one piece.
struct Case {
    const char* name;
    CaptureFormat format;
    LinkType link;
    bool v6;
    uint32_t clientIsn;
    bool handshake;
    size_t segment;  // bytes per segment
    // What is done to the client's segments: dropped, repeated, reordered.
    enum Shape { InOrder, Shuffled, OverlapAndRepeat, LoseTwo, StartMidStream } shape;
};

class Reassembly : public ::testing::TestWithParam<Case> {};

TEST_P(Reassembly, FramesOfEachDirectionInOrderAndHolesReported) {
    const Case& c = GetParam();
    const Stream cs = frames(14, 1), ss = frames(3, 2);
    const Endpoint client{c.v6 ? v6(1) : v4(1), 40001}, server{c.v6 ? v6(2) : v4(2), 7766};
    TcpConversation tcp(client, server, c.clientIsn, 0xfffff000);
    std::vector<std::pair<uint64_t, std::string>> segs;
    for (size_t at = 0; at < cs.bytes.size(); at += c.segment) segs.emplace_back(at, cs.bytes.substr(at, c.segment));
    std::vector<std::pair<uint64_t, uint64_t>> holes;
    std::mt19937 rng(7);
    switch (c.shape) {
    case Case::InOrder: break;
    case Case::Shuffled:  // every window of 6 segments in random order
        for (size_t w = 0; w < segs.size(); w += 6) std::shuffle(segs.begin() + w, segs.begin() + std::min(w + 6, segs.size()), rng);
        break;
    case Case::OverlapAndRepeat: {
        // Each segment again later, and pieces across segment borders first.
        std::vector<std::pair<uint64_t, std::string>> out;
        for (size_t i = 0; i < segs.size(); ++i) {
            if (i + 2 < segs.size())
                out.emplace_back(segs[i + 1].first + 5, cs.bytes.substr(segs[i + 1].first + 5, c.segment + 10));
            out.push_back(segs[i]);
            if (i > 0) out.push_back(segs[i - 1]);
        }
        segs = out;
        break;
    }
    case Case::LoseTwo:
        for (size_t i : {size_t{9}, size_t{4}}) {
            holes.emplace_back(segs[i].first, segs[i].second.size());
            segs.erase(segs.begin() + static_cast<long>(i));
        }
        std::reverse(holes.begin(), holes.end());
        break;
    case Case::StartMidStream: segs.erase(segs.begin(), segs.begin() + 3); break;
    }
    std::vector<Packet> packets;
    if (c.handshake)
        for (auto& p : tcp.open()) packets.push_back({p});
    for (auto& [at, data] : segs) packets.push_back({tcp.segment(Side::Client, at, data)});
    packets.push_back({tcp.segment(Side::Server, 0, ss.bytes)});
    packets.push_back({tcp.segment(Side::Client, cs.bytes.size(), "", kFin | kAck)});
    packets.push_back({tcp.segment(Side::Server, ss.bytes.size(), "", kFin | kAck)});

    const Read r = readCapture(writeCapture(packets, c.format, c.link));
    ASSERT_EQ(r.result, CaptureReader::Result::Ok) << r.error;
    ASSERT_EQ(r.streams.size(), 2u);
    const Got& up = r.streams.at({1, Side::Client});
    const Got& down = r.streams.at({1, Side::Server});
    EXPECT_EQ(up.info.src, client);
    EXPECT_EQ(up.info.dst, server);
    expectFrames(down, ss, {});
    if (c.shape == Case::StartMidStream) {
        // Offsets count from the first byte captured; the frame cut at the
        // start is skipped up to the next header.
        const uint64_t first = segs.front().first;
        Stream rest;
        rest.bytes = cs.bytes.substr(first);
        for (uint64_t s : cs.starts)
            if (s >= first) rest.starts.push_back(s - first);
        expectFrames(up, rest, {});
        EXPECT_EQ(up.damage.size(), 1u);
        return;
    }
    expectFrames(up, cs, holes);
    EXPECT_EQ(up.gaps, holes);
    if (holes.empty()) {
        EXPECT_TRUE(up.damage.empty()) << up.damage.front();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Captures, Reassembly,
    ::testing::Values(
        Case{"InOrderEthernetIpv4", CaptureFormat::Pcap, LinkType::Ethernet, false, 1000, true, 100, Case::InOrder},
        Case{"ShuffledSllIpv6", CaptureFormat::Pcap, LinkType::LinuxSll, true, 1000, true, 37, Case::Shuffled},
        Case{"OverlapRepeatSequenceWrap", CaptureFormat::Pcapng, LinkType::Raw, false, 0xffffff00, true, 64,
             Case::OverlapAndRepeat},
        Case{"LostSegmentsSll2Ipv6", CaptureFormat::Pcapng, LinkType::LinuxSll2, true, 77, true, 90, Case::LoseTwo},
        Case{"NoHandshakeNullLink", CaptureFormat::Pcap, LinkType::Null, false, 5, false, 70, Case::StartMidStream}),
    [](const auto& param) { return std::string(param.param.name); });

// Two connections interleaved segment by segment on two interfaces of a
// pcapng file, beside one that is not PAVA; --port picks one of them.
TEST(CaptureConnections, InterleavedConnectionsKeepTheirOwnOrder) {
    const Stream a = frames(9, 3), b = frames(7, 4);
    TcpConversation ta({v4(1), 50000}, {v4(9), 7766}), tb({v6(1), 50001}, {v6(9), 7767}),
        web({v4(1), 50002}, {v4(9), 80});
    std::vector<Packet> packets;
    for (auto* t : {&ta, &tb, &web})
        for (auto& p : t->open()) packets.push_back({p, t == &tb ? 1u : 0u});
    auto pa = ta.send(Side::Client, a.bytes, 50), pb = tb.send(Side::Server, b.bytes, 61);
    auto pw = web.send(Side::Client, "GET / HTTP/1.1\r\nHost: example\r\n\r\n0000020001012   00");
    for (size_t i = 0; i < std::max(pa.size(), pb.size()); ++i) {
        if (i < pa.size()) packets.push_back({pa[i], 0});
        if (i < pb.size()) packets.push_back({pb[i], 1});
        if (i < pw.size()) packets.push_back({pw[i], 0});
    }
    for (auto* t : {&tb, &ta})
        for (auto& p : t->close(Side::Client)) packets.push_back({p, t == &tb ? 1u : 0u});
    const auto write = [&] { return writeCapture(packets, CaptureFormat::Pcapng, LinkType::Ethernet, {LinkType::Ethernet}); };

    Read r = readCapture(write());
    ASSERT_EQ(r.result, CaptureReader::Result::Ok) << r.error;
    ASSERT_EQ(r.streams.size(), 4u);  // the web connection is not taken
    expectFrames(r.streams.at({1, Side::Client}), a, {});
    expectFrames(r.streams.at({2, Side::Server}), b, {});
    EXPECT_EQ(r.streams.at({2, Side::Server}).info.src, (Endpoint{v6(9), 7767}));
    EXPECT_TRUE(r.streams.at({1, Side::Server}).frames.empty());
    // A frame's packet is the one that carried its last byte.
    const Got& g = r.streams.at({1, Side::Client});
    for (size_t i = 0; i < g.packets.size(); ++i) {
        const std::string& ip = packets[g.packets[i] - 1].ip;
        const uint32_t seq = (uint32_t{uint8_t(ip[24])} << 24) | (uint32_t{uint8_t(ip[25])} << 16) |
                             (uint32_t{uint8_t(ip[26])} << 8) | uint8_t(ip[27]);
        const uint64_t from = seq - 1001u, last = g.offsets[i] + g.frames[i].size() - 1;
        EXPECT_TRUE(from <= last && last < from + ip.size() - 40) << i;
    }

    r = readCapture(write(), CaptureOptions{{7767}});
    ASSERT_EQ(r.streams.size(), 2u);
    expectFrames(r.streams.at({1, Side::Server}), b, {});

    // One connection read alone keeps the number a full reading gives it.
    CaptureOptions second;
    second.only = 2;
    r = readCapture(write(), second);
    ASSERT_EQ(r.streams.size(), 2u);
    expectFrames(r.streams.at({2, Side::Server}), b, {});
}

// Holding ahead of a hole is bounded: past the limit the hole is a gap and
// reading goes on behind it.
TEST(CaptureConnections, HoldingAheadOfAHoleIsBounded) {
    const Stream s = frames(40, 5);
    TcpConversation t({v4(1), 40000}, {v4(2), 7766});
    std::vector<Packet> packets;
    for (auto& p : t.open()) packets.push_back({p});
    const uint64_t hole = s.starts[2] + 3;
    packets.push_back({t.segment(Side::Client, 0, s.bytes.substr(0, hole))});
    for (uint64_t at = hole + 100; at < s.bytes.size(); at += 100)
        packets.push_back({t.segment(Side::Client, at, s.bytes.substr(at, 100))});
    // The missing bytes come at last, too late.
    packets.push_back({t.segment(Side::Client, hole, s.bytes.substr(hole, 100))});
    CaptureOptions opt;
    opt.maxOutOfOrder = 1000;
    const Read r = readCapture(writeCapture(packets, CaptureFormat::Pcap, LinkType::Raw), opt);
    const Got& g = r.streams.at({1, Side::Client});
    EXPECT_EQ(g.gaps, (std::vector<std::pair<uint64_t, uint64_t>>{{hole, 100}}));
    expectFrames(g, s, {{hole, 100}});
}

// Packets with damaged headers (lengths, offsets, flags, sequence numbers,
// ports), cut short, or from more connections than are followed: read to
// the end without a fault, each direction's offsets rising.
TEST(CaptureConnections, HostilePacketsAreReadSafely) {
    const Stream s = frames(12, 8);
    std::mt19937 rng(11);
    for (int round = 0; round < 40; ++round) {
        std::vector<Packet> packets;
        for (uint16_t c = 0; c < 6; ++c) {
            TcpConversation t({round % 2 ? v6(1) : v4(1), static_cast<uint16_t>(40000 + c)},
                              {round % 2 ? v6(2) : v4(2), 7766}, rng(), rng());
            for (auto& p : t.open()) packets.push_back({p});
            for (auto& p : t.send(Side::Client, s.bytes, 1 + rng() % 300)) packets.push_back({p});
            for (auto& p : t.close(Side::Server)) packets.push_back({p});
        }
        std::shuffle(packets.begin(), packets.end(), rng);
        for (Packet& p : packets) {
            const auto roll = rng() % 8;
            if (roll == 0) p.ip.resize(rng() % (p.ip.size() + 1));
            else if (roll == 1) p.ip[rng() % std::min<size_t>(p.ip.size(), 60)] = static_cast<char>(rng());
        }
        CaptureOptions opt;
        opt.maxConnections = 3;
        opt.maxOutOfOrder = 2000;
        std::map<const void*, uint64_t> next;
        CaptureReader reader(opt, [&](const CaptureEvent& e) {
            if (e.kind == CaptureEvent::Frame) {
                ASSERT_EQ(std::string(e.frame->head, PAVA_HEAD_LEN).size(), PAVA_HEAD_LEN);
                EXPECT_GE(e.offset, next[e.stream]);
                next[e.stream] = e.offset + e.length;
            }
            if (e.kind == CaptureEvent::End) next.erase(e.stream);
        });
        const std::string path = writeCapture(packets, CaptureFormat::Pcap, round % 3 ? LinkType::Ethernet : LinkType::Raw);
        std::string error;
        EXPECT_EQ(reader.read(path, error), CaptureReader::Result::Ok) << error;
        fs::remove(path);
    }
}

// A capture file cut off or damaged: a clear error, and every frame read
// before the damage kept.
TEST(CaptureFiles, DamagedCaptureKeepsWhatCameBefore) {
    const Stream s = frames(10, 6);
    TcpConversation t({v4(1), 40000}, {v4(2), 7766});
    std::vector<Packet> packets;
    for (auto& p : t.open()) packets.push_back({p});
    for (auto& p : t.send(Side::Client, s.bytes, 200)) packets.push_back({p});
    struct Damage {
        const char* name;
        size_t cut;       // bytes kept of the file (0: all)
        size_t smashAt;   // a record header made nonsense from here on (0: none)
    };
    const std::string whole = [&] {
        const std::string path = writeCapture(packets, CaptureFormat::Pcap, LinkType::Ethernet);
        std::ifstream in(path, std::ios::binary);
        std::string bytes((std::istreambuf_iterator<char>(in)), {});
        fs::remove(path);
        return bytes;
    }();
    // The record of the packet carrying stream byte 600 starts here.
    size_t record = 24;
    for (size_t i = 0; i < 3 + 600 / 200; ++i) record += 16 + packets[i].ip.size() + 14;
    for (const Damage& d : {Damage{"cut in a record", record + 16 + 100, 0}, Damage{"cut in a record header", record + 7, 0},
                            Damage{"record header nonsense", 0, record}}) {
        SCOPED_TRACE(d.name);
        std::string bytes = d.cut ? whole.substr(0, d.cut) : whole;
        if (d.smashAt) bytes.replace(d.smashAt + 8, 8, "\xff\xff\xff\x7f\xff\xff\xff\x7f", 8);
        const std::string path = (fs::temp_directory_path() / "pava_capture_damaged.pcap").string();
        std::ofstream(path, std::ios::binary) << bytes;
        const Read r = readCapture(path);
        EXPECT_EQ(r.result, CaptureReader::Result::Damaged);
        EXPECT_FALSE(r.error.empty());
        const Got& g = r.streams.at({1, Side::Client});
        // Every frame whose bytes lie before stream byte 600 is there.
        std::vector<uint64_t> want;
        for (size_t i = 0; i + 1 < s.starts.size() && s.starts[i + 1] <= 600; ++i) want.push_back(s.starts[i]);
        EXPECT_EQ(g.offsets, want);
        EXPECT_TRUE(g.ended);
    }
    // Not a capture at all.
    const std::string path = (fs::temp_directory_path() / "pava_capture_not.pcap").string();
    std::ofstream(path, std::ios::binary) << s.bytes;
    EXPECT_EQ(readCapture(path).result, CaptureReader::Result::CannotOpen);
}

// The command: a capture recognised by its magic number, every line with
// its time, connection and direction; --join per direction.
TEST(CaptureFiles, DecodeWritesTheStreamOfEveryLine) {
    const std::string split = encoded(R"({"msgId": 20014, "rii": 2, "text12b": "X", "dataList": [)" + [] {
        std::string items;
        for (int k = 0; k < 1200; ++k) items += fmt::format(R"({}{{"itemId": {}, "itemText": "I{}"}})", k ? "," : "", k, k);
        return items;
    }() + "]}");
    TcpConversation t({v4(1), 40000}, {v4(2), 7766});
    std::vector<Packet> packets;
    for (auto& p : t.open()) packets.push_back({p});
    for (auto& p : t.send(Side::Server, split, 1000)) packets.push_back({p});
    const std::string in = writeCapture(packets, CaptureFormat::Pcap, LinkType::Ethernet);
    const std::string out = in + ".jsonl";
    for (bool join : {false, true}) {
        tool::StreamOptions o;
        o.input = in;
        o.output = out;
        o.join = join;
        EXPECT_EQ(tool::runDecode(o), tool::kExitOk);
        std::ifstream lines(out);
        std::vector<tool::Json> got;
        for (std::string l; std::getline(lines, l);) got.push_back(tool::Json::parse(l));
        ASSERT_FALSE(got.empty());
        EXPECT_EQ(got.size() == 1, join);
        // conn, from, src, dst and offset: tests/cli/test_peer.py decodes recorded sessions.
        const tool::Json& j = got.front();
        EXPECT_EQ(j["from"], "server");
        EXPECT_GT(j["ts"].get<double>(), 1700000000.0);
        if (join) {
            EXPECT_EQ(j["dataList"].size(), 1200u);
            EXPECT_EQ(j["frames"], 3);
        }
    }
    fs::remove(in);
    fs::remove(out);
}

}  // namespace
}  // namespace pava::capture
#endif
