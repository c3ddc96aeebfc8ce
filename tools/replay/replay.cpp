#include "replay.h"

#include <algorithm>
#include <cstdio>
#include <deque>
#include <memory>

#include <fmt/format.h>

#include "commands.h"

#if defined(PAVA_WITH_PCAP)
#include "capture/capture_reader.h"
#endif

namespace pava::tool::replay {

#if defined(PAVA_WITH_PCAP)

namespace {

using capture::CaptureEvent;
using capture::CaptureReader;
using capture::Side;

// What every connection of one run shares: the options, and whether a
// damaged capture was met (told once).
struct Shared {
    const ReplayOptions& o;
    bool damaged = false;

    void damage(const std::string& error) {
        if (damaged) return;
        damaged = true;
        std::fflush(stdout);
        fmt::print(stderr, "pava: {}: damaged capture {}; the replay ends there\n", o.capture, error);
    }
};

// One direction of the recorded connection, read from the capture a packet
// at a time: its frames in stream order, with the time and packet of each
// frame's last byte. Holds only what one packet brings out.
class Tap {
public:
    struct Frame {
        std::string wire;  // kept only when the frames are played
        capture::Timestamp ts;
        uint64_t packet = 0;
    };

    Tap(Shared& shared, Side side, bool keepBytes)
        : m_shared(shared), m_side(side), m_keep(keepBytes), m_reader(options(shared.o), [this](const CaptureEvent& e) {
              event(e);
          }) {}

    // False, with the reason, when the file is not a capture read here.
    bool open(std::string& error) {
        m_over = m_reader.open(m_shared.o.capture, error) != CaptureReader::Result::Ok;
        return !m_over;
    }

    // Reads on until the recorded connection is met; false when the capture
    // ends first.
    bool reach() {
        while (!m_seen && advance()) {
        }
        return m_seen;
    }

    // The next frame of the direction, or nullptr once it is over.
    const Frame* peek() {
        while (m_frames.empty() && !m_ended && advance()) {
        }
        return m_frames.empty() ? nullptr : &m_frames.front();
    }
    void pop() { m_frames.pop_front(); }

    // The recorded connection's first packet: time zero of the replay.
    const capture::Timestamp& start() const { return m_start; }
    uint64_t connections() const { return m_reader.stats().connections; }

private:
    static capture::CaptureOptions options(const ReplayOptions& o) {
        capture::CaptureOptions co;
        co.ports = o.ports;
        co.only = o.connection;
        return co;
    }

    bool advance() {
        if (m_over) return false;
        CaptureReader::Result result = CaptureReader::Result::Ok;
        std::string error;
        if (m_reader.step(result, error)) return true;
        m_over = true;
        if (result == CaptureReader::Result::Damaged) m_shared.damage(error);
        return false;
    }

    void event(const CaptureEvent& e) {
        const capture::StreamInfo& s = *e.stream;
        if (s.connection != m_shared.o.connection) return;
        if (!m_seen) {
            m_seen = true;
            m_start = s.start;
        }
        if (s.from != m_side) return;
        if (e.kind == CaptureEvent::End) {
            m_ended = true;
        } else if (e.kind == CaptureEvent::Frame) {
            Frame f;
            if (m_keep) f.wire.assign(e.frame->head, std::min<uint64_t>(e.length, sizeof(PavaMsg)));
            f.ts = e.ts;
            f.packet = e.packet;
            m_frames.push_back(std::move(f));
        } else if (m_keep) {
            fmt::print(stderr, "pava: {}: conn {} {} offset {}: {}; not played\n", m_shared.o.capture, s.connection,
                       capture::sideName(s.from), e.offset, e.what);
        }
    }

    Shared& m_shared;
    Side m_side;
    bool m_keep;
    CaptureReader m_reader;
    std::deque<Frame> m_frames;
    capture::Timestamp m_start;
    bool m_seen = false;   // the recorded connection was met
    bool m_ended = false;  // its direction is over
    bool m_over = false;   // the capture is over
};

// Seconds from the connection's first packet to ts, on the replay's clock.
double since(const capture::Timestamp& start, const capture::Timestamp& ts, double speed) {
    const double d = static_cast<double>(ts.sec - start.sec) +
                     (static_cast<double>(ts.nsec) - static_cast<double>(start.nsec)) * 1e-9;
    return std::max(0.0, d) / speed;
}

// --to: one side's frames, each at its recorded time.
class TimedFeed : public peer::Feed {
public:
    TimedFeed(std::unique_ptr<Tap> tap, const ReplayOptions& o) : m_tap(std::move(tap)), m_o(o) {}

    const peer::FeedFrame* peek() override {
        if (m_ready) return &m_next;
        const Tap::Frame* f = m_tap->peek();
        if (f == nullptr) return nullptr;
        m_next.wire = f->wire;
        m_next.at = m_o.asFastAsPossible ? -1 : since(m_tap->start(), f->ts, m_o.speed);
        m_ready = true;
        return &m_next;
    }
    void pop() override {
        m_tap->pop();
        m_ready = false;
    }

private:
    std::unique_ptr<Tap> m_tap;
    const ReplayOptions& m_o;
    peer::FeedFrame m_next;
    bool m_ready = false;
};

// --serve: the server's frames, each once the client has sent as many frames
// as the recorded client had before it (the client frames whose last byte
// came in an earlier packet); with --timed not before its recorded time
// either. The client's direction is read by a second reader of its own, so
// that neither side's frames pile up while the other's are looked for.
class AnswerFeed : public peer::Feed {
public:
    AnswerFeed(Shared& shared) : m_server(shared, Side::Server, true), m_client(shared, Side::Client, false),
                                 m_o(shared.o) {
        std::string error;
        // The file was read before listening; should it fail now (out of
        // descriptors, the file gone), this connection is played nothing.
        if (!m_server.open(error) || !m_client.open(error)) {
            m_failed = true;
            fmt::print(stderr, "pava: {}: cannot be read again for a client: {}\n", m_o.capture, error);
        }
    }

    const peer::FeedFrame* peek() override {
        if (m_ready) return &m_next;
        const Tap::Frame* f = m_failed ? nullptr : m_server.peek();
        if (f == nullptr) return nullptr;
        for (const Tap::Frame* c = m_client.peek(); c != nullptr && c->packet < f->packet; c = m_client.peek()) {
            ++m_clientFrames;
            m_client.pop();
        }
        m_next.wire = f->wire;
        m_next.afterFrames = m_clientFrames;
        m_next.at = m_o.timed ? since(m_server.start(), f->ts, m_o.speed) : -1;
        m_ready = true;
        return &m_next;
    }
    void pop() override {
        m_server.pop();
        m_ready = false;
    }

private:
    Tap m_server, m_client;
    const ReplayOptions& m_o;
    peer::FeedFrame m_next;
    bool m_ready = false;
    bool m_failed = false;
    uint64_t m_clientFrames = 0;
};

}  // namespace

int runReplay(const ReplayOptions& o) {
    if (o.serve && o.capture == "-") {
        fmt::print(stderr, "pava: --serve reads the capture again for each client: a file, not standard input\n");
        return kExitUsage;
    }
    Shared shared{o};
    // The capture is checked, and the recorded connection looked for, before
    // anything is connected or listened on.
    auto tap = std::make_unique<Tap>(shared, o.playServer || o.serve ? Side::Server : Side::Client, true);
    std::string error;
    if (!tap->open(error)) {
        if (error.rfind(o.capture + ": ", 0) == 0) error.erase(0, o.capture.size() + 2);
        fmt::print(stderr, "pava: {}: not read as a capture: {}\n", o.capture, error);
        return kExitIo;
    }
    if (!tap->reach()) {
        if (shared.damaged) return kExitDamaged;
        fmt::print(stderr, "pava: {}: no connection {} in the capture ({} carry PAVA{})\n", o.capture, o.connection,
                   tap->connections(), o.ports.empty() ? "" : " on the ports given");
        return kExitUsage;
    }
    int rc = 0;
    if (o.serve) {
        tap.reset();
        rc = peer::runServe(o.peer, [&shared] { return std::make_unique<AnswerFeed>(shared); });
    } else {
        rc = peer::runSend(o.peer, [&]() -> std::unique_ptr<peer::Feed> {
            // One connection: the reader that found the recorded one plays it
            // (a second one, were there any, would play nothing).
            if (!tap) return nullptr;
            return std::make_unique<TimedFeed>(std::move(tap), o);
        });
    }
    return shared.damaged ? std::max(rc, static_cast<int>(kExitDamaged)) : rc;
}

#else

int runReplay(const ReplayOptions& o) {
    fmt::print(stderr, "pava: {}: a packet capture, and this build of pava reads none (built without libpcap)\n",
               o.capture);
    return kExitIo;
}

#endif

}  // namespace pava::tool::replay
