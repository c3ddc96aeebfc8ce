#include "peer.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <deque>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <asio.hpp>
#include <fmt/format.h>

#include "frame_stream.h"
#include "recorder.h"
#include "json_record.h"
#include "multiframe/joiner.h"
#include "script.h"

namespace pava::tool::peer {

namespace {

using asio::ip::tcp;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr int kExitExpect = 1;
constexpr int kExitUsage = 2;
constexpr int kExitIo = 4;
// Replies waiting for their delay on one connection; past this the peer is
// sending faster than its answers are due and the connection is closed.
constexpr size_t kMaxDelayed = 1024;
// How long a connection may take to write what it owes once reading is
// over (the peer closed its side, or shutdown).
constexpr auto kLinger = std::chrono::seconds(5);
// Output a sending connection keeps queued ahead of the socket.
constexpr size_t kSendAhead = 64 * 1024;

// Wall-clock time, UTC, to the microsecond: "2026-05-04T10:11:12.123456Z".
std::string timeText() {
    using namespace std::chrono;
    const auto now = time_point_cast<microseconds>(system_clock::now());
    const auto day = floor<days>(now);
    const year_month_day ymd{day};
    const hh_mm_ss<microseconds> t{now - day};
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:06}Z", static_cast<int>(ymd.year()),
                       static_cast<unsigned>(ymd.month()), static_cast<unsigned>(ymd.day()), t.hours().count(),
                       t.minutes().count(), t.seconds().count(), t.subseconds().count());
}

// JSON Lines events on standard output, written in batches: whatever the
// handlers of one turn of the loop produced goes out together.
class EventLog {
public:
    EventLog(asio::io_context& io, bool frames) : m_io(io), m_frames(frames) { m_buf.reserve(1 << 17); }
    ~EventLog() { flush(); }
    bool frames() const noexcept { return m_frames; }

    std::string& begin(const char* event, uint64_t conn) {
        fmt::format_to(std::back_inserter(m_buf), "{{\"event\":\"{}\",\"conn\":{},\"time\":\"{}\"", event, conn,
                       timeText());
        return m_buf;
    }
    void end() {
        m_buf += "}\n";
        if (m_buf.size() >= (1 << 16)) {
            flush();
        } else if (!m_posted) {
            m_posted = true;
            asio::post(m_io, [this] {
                m_posted = false;
                flush();
            });
        }
    }
    void flush() {
        if (m_buf.empty()) return;
        std::fwrite(m_buf.data(), 1, m_buf.size(), stdout);
        std::fflush(stdout);
        m_buf.clear();
    }

private:
    asio::io_context& m_io;
    bool m_frames;
    bool m_posted = false;
    std::string m_buf;
};

// A message to send: its frames in wire form, and what replies are matched by.
struct Outgoing {
    std::vector<std::string> frames;
    int id = 0;
    int rii = 0;
};

// One frame's wire bytes: header and declared body.
std::string wireOf(const PavaMsg& f) {
    return std::string(f.head, PAVA_HEAD_LEN + static_cast<size_t>(headerBodyLength(f.head)));
}

// Whether a message's frames go out as they are, each once and in order:
// then no order is made for them (a reply's hot path allocates nothing).
bool inOrder(const Faults& f) noexcept { return f.drop == 0 && f.repeat == 0 && f.swap == 0; }

// The order a split message's frames go out in: a frame dropped, one sent
// twice, one sent after the frame behind it (frame numbers from 1).
std::vector<size_t> frameOrder(size_t n, const Faults& f) {
    std::vector<size_t> order;
    for (size_t i = 0; i < n; ++i) {
        const int number = static_cast<int>(i) + 1;
        if (number == f.drop) continue;
        order.push_back(i);
        if (number == f.repeat) order.push_back(i);
    }
    if (f.swap > 0 && static_cast<size_t>(f.swap) < n) {
        const auto a = std::find(order.begin(), order.end(), static_cast<size_t>(f.swap - 1));
        const auto b = std::find(order.begin(), order.end(), static_cast<size_t>(f.swap));
        if (a != order.end() && b != order.end()) std::iter_swap(a, b);
    }
    return order;
}

// Round-trip times and counts of a load run.
struct LoadStats {
    std::vector<uint32_t> rttMicros;
    uint64_t framesIn = 0, framesOut = 0, bytesIn = 0, bytesOut = 0, skipped = 0;
};

class Connection;

// What every connection of one run shares: the loop, the events, the
// script, the scratch frame and record (one thread), the counters.
struct Peer {
    explicit Peer(const PeerOptions& opts) : o(opts), log(io, !opts.quiet), signals(io, SIGINT, SIGTERM) {}

    const PeerOptions& o;
    asio::io_context io;
    EventLog log;
    asio::signal_set signals;
    std::optional<Script> script;
    std::optional<Expectation> expectation;
    std::vector<bool> met;  // per expectation matcher
    size_t nextExpected = 0;
    std::unique_ptr<PavaMsg> outFrame = std::make_unique<PavaMsg>();  // a frame of the input being sent
    PavaFullData record;  // scratch: a decoded frame
    PavaMsgList encoded;  // scratch: a reply's frames
    std::unordered_set<std::shared_ptr<Connection>> connections;
    uint64_t nextId = 0;
    bool stopping = false;
    std::function<void()> onIdle;  // every connection closed
    LoadStats stats;
    std::vector<Outgoing> input;
    FeedMaker makeFeed;  // replay: what each connection plays
    std::unique_ptr<capture::SessionRecorder> recorder;  // --record
    Clock::time_point started = Clock::now();
    Clock::time_point lastSend = Clock::now();

    void seen(const PavaFullData& rec);
    bool expectationsMet() const {
        return expectation && std::all_of(met.begin(), met.end(), [](bool b) { return b; });
    }
    void closeAll(const char* reason);
    void closed(const std::shared_ptr<Connection>& c);
};

class Connection : public std::enable_shared_from_this<Connection> {
public:
    Connection(Peer& peer, tcp::socket socket, bool sending)
        : m_peer(peer), m_socket(std::move(socket)), m_id(++peer.nextId), m_sending(sending),
          m_writeTimer(peer.io), m_idleTimer(peer.io) {
        if (peer.o.join) m_joiner = std::make_unique<MessageJoiner>();
        asio::error_code ec;
        const auto ep = m_socket.remote_endpoint(ec);
        m_address = ec ? "?" : fmt::format("{}:{}", ep.address().to_string(), ep.port());
        m_socket.set_option(tcp::no_delay(true), ec);
        if (peer.recorder) {
            // The peer that connects is the client: this end when sending.
            const auto local = m_socket.local_endpoint(ec);
            const capture::Endpoint here = endpointOf(local), there = endpointOf(ep);
            m_recording = peer.recorder->open(sending ? here : there, sending ? there : here);
        }
    }

    uint64_t id() const noexcept { return m_id; }
    bool closed() const noexcept { return m_closed; }

    void start() {
        m_peer.log.begin("open", m_id) += fmt::format(",\"peer\":\"{}\"", m_address);
        m_peer.log.end();
        m_lastRead = Clock::now();
        if (m_peer.o.idleTimeout > 0) armIdle(std::chrono::duration_cast<Clock::duration>(
                                          std::chrono::duration<double>(m_peer.o.idleTimeout)));
        if (m_peer.script) {
            if (m_peer.script->onConnect) run(*m_peer.script->onConnect, nullptr);
            for (const Periodic& p : m_peer.script->periodic) startPeriodic(p);
        }
        if (m_peer.makeFeed) m_feed = m_peer.makeFeed();
        if (m_feed) {
            m_sendStart = Clock::now();
            pumpFeed();
        } else if (m_sending) {
            m_sendStart = Clock::now();
            pump();
        }
        read();
    }

    // Refused at once (too many connections): reported as opened and closed.
    void refuse(const char* reason) {
        m_peer.log.begin("open", m_id) += fmt::format(",\"peer\":\"{}\"", m_address);
        m_peer.log.end();
        close(reason);
    }

    // Stop reading, write what is owed, then close (SIGINT, SIGTERM, done).
    void drain(const char* reason) {
        if (m_closed) return;
        m_drainReason = reason;
        for (auto& t : m_periodic) t->cancel();
        for (auto& t : m_sendTimers) t->cancel();
        m_sendsLeft = false;
        m_feed.reset();
        asio::error_code ec;
        m_socket.shutdown(tcp::socket::shutdown_receive, ec);
        readOver();
    }

    void close(const std::string& reason) {
        if (m_closed) return;
        m_closed = true;
        // What the reader still holds is judged as the stream's end.
        m_reader.finish();
        events();
        if (m_joiner) {
            m_joiner->finish();
            joined();
        }
        asio::error_code ec;
        m_socket.shutdown(tcp::socket::shutdown_both, ec);
        m_socket.close(ec);
        m_writeTimer.cancel();
        m_idleTimer.cancel();
        for (auto& t : m_periodic) t->cancel();
        for (auto& t : m_sendTimers) t->cancel();
        for (auto& t : m_delays) t->cancel();
        m_peer.log.begin("close", m_id) += fmt::format(
            ",\"reason\":\"{}\",\"bytesIn\":{},\"framesIn\":{},\"bytesOut\":{},\"framesOut\":{}", reason,
            m_bytesIn, m_framesIn, m_bytesOut, m_framesOut);
        m_peer.log.end();
        if (m_peer.recorder) m_peer.recorder->close(m_recording, m_readOver ? theirSide() : ourSide());
        LoadStats& s = m_peer.stats;
        s.bytesIn += m_bytesIn;
        s.framesIn += m_framesIn;
        s.bytesOut += m_bytesOut;
        s.framesOut += m_framesOut;
        m_out.clear();
        m_peer.closed(shared_from_this());
    }

private:
    static capture::Endpoint endpointOf(const tcp::endpoint& ep) {
        capture::Endpoint e;
        e.port = ep.port();
        if (ep.address().is_v4()) {
            const auto b = ep.address().to_v4().to_bytes();
            std::copy(b.begin(), b.end(), e.addr.bytes.begin());
        } else {
            const auto b = ep.address().to_v6().to_bytes();
            std::copy(b.begin(), b.end(), e.addr.bytes.begin());
            e.addr.v6 = true;
        }
        return e;
    }
    capture::Side ourSide() const { return m_sending ? capture::Side::Client : capture::Side::Server; }
    capture::Side theirSide() const { return capture::other(ourSide()); }

    struct Chunk {
        std::string bytes;
        int pauseMs = 0;       // wait before writing
        bool paused = false;   // the wait is over
        bool plain = true;     // may take more bytes behind it
        bool closeAfter = false;
        std::string why;       // closeAfter: the close reason
    };

    void read() {
        if (m_closed || m_readOver) return;
        m_socket.async_read_some(asio::buffer(m_readBuf), [self = shared_from_this()](asio::error_code ec, size_t n) {
            self->onRead(ec, n);
        });
    }

    void onRead(asio::error_code ec, size_t n) {
        if (m_closed || m_readOver) return;
        if (ec) {
            if (ec == asio::error::eof) {
                readOver();
            } else if (ec != asio::error::operation_aborted) {
                close("error: " + ec.message());
            }
            return;
        }
        m_lastRead = Clock::now();
        m_bytesIn += n;
        if (m_peer.recorder) m_peer.recorder->data(m_recording, theirSide(), m_readBuf.data(), n);
        for (size_t at = 0; at < n && !m_closed;) {
            at += m_reader.feed(m_readBuf.data() + at, n - at);
            events();
        }
        if (m_feed) pumpFeed();
        read();
    }

    // No more input: what the reader holds is judged, replies still owed
    // are written, then the connection closes.
    void readOver() {
        if (m_readOver) return;
        m_readOver = true;
        // Nobody to play the rest to.
        if (m_feed) {
            m_feed.reset();
            m_sendsLeft = false;
        }
        m_reader.finish();
        events();
        if (m_joiner) {
            m_joiner->finish();
            joined();
        }
        for (auto& t : m_periodic) t->cancel();
        armIdle(kLinger);
        finishIfDone();
    }

    void finishIfDone() {
        if (m_closed || !m_readOver || m_writing || !m_out.empty() || m_delayed > 0) return;
        if (m_sending && m_sendsLeft) return;
        close(m_drainReason != nullptr ? m_drainReason : "peer closed");
    }

    void armIdle(Clock::duration after) {
        m_idleTimer.expires_after(after);
        m_idleTimer.async_wait([self = shared_from_this()](asio::error_code ec) {
            if (ec || self->m_closed) return;
            if (self->m_readOver) return self->close("output not taken in time");
            const auto limit = std::chrono::duration_cast<Clock::duration>(
                std::chrono::duration<double>(self->m_peer.o.idleTimeout));
            const auto quiet = Clock::now() - self->m_lastRead;
            if (quiet >= limit) return self->close("idle timeout");
            self->armIdle(limit - quiet);
        });
    }

    void events() {
        for (;;) {
            const ReadEvent e = m_reader.next(frame());
            if (e.kind == ReadKind::Frame) {
                frameIn(e.offset);
            } else if (e.kind == ReadKind::Skipped) {
                ++m_peer.stats.skipped;
                m_peer.log.begin("skipped", m_id) += fmt::format(",\"offset\":{},\"count\":{},\"what\":\"{}\"", e.offset,
                                                                 e.length, describe(e));
                m_peer.log.end();
            } else {
                return;
            }
        }
    }

    void frameIn(uint64_t offset) {
        ++m_framesIn;
        if (m_joiner) {
            m_joiner->push(&frame(), offset);
            joined();
            return;
        }
        PavaFullData& rec = m_peer.record;
        const int rc = Pava_To_Data(&frame(), &rec);
        message(rec, rc, offset, nullptr);
    }

    void joined() {
        JoinedMessage m;
        while (m_joiner->pop(m)) message(m.record, m.rc, m.tag, &m);
    }

    // One message received (a frame, or a joined split message).
    void message(const PavaFullData& rec, int rc, uint64_t offset, const JoinedMessage* m) {
        if (m_peer.log.frames()) {
            std::string& buf = m_peer.log.begin("frame", m_id);
            fmt::format_to(std::back_inserter(buf), ",\"dir\":\"in\",\"offset\":{},\"rc\":{}", offset, rc);
            if (m != nullptr) {
                fmt::format_to(std::back_inserter(buf), ",\"frames\":{}", m->frames);
                if (!m->complete) buf += ",\"complete\":false";
                if (!m->problems.empty()) {
                    Json problems = Json::array();
                    for (const JoinProblem& p : m->problems) problems.push_back({{"offset", p.tag}, {"what", p.what}});
                    buf += ",\"problems\":" + jsonLine(problems);
                }
            }
            bool first = false;
            appendRecordMembers(buf, first, rec);
            m_peer.log.end();
        }
        if (m_sending) matchReply(rec);
        m_peer.seen(rec);
        if (m_closed || m_readOver || !m_peer.script) return;
        if (const Rule* rule = m_peer.script->ruleFor(rec)) run(rule->action, &rec);
    }

    // A reply matched to the oldest request sent with its RII (and its id
    // where one was sent with it) gives a round-trip time.
    void matchReply(const PavaFullData& rec) {
        const auto it = m_waiting.find(rec.rii);
        if (it == m_waiting.end() || it->second.empty()) return;
        auto& queue = it->second;
        auto pick = std::find_if(queue.begin(), queue.end(), [&](const auto& w) { return w.first == rec.msgId; });
        if (pick == queue.end()) pick = queue.begin();
        const auto rtt = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - pick->second).count();
        m_peer.stats.rttMicros.push_back(static_cast<uint32_t>(std::min<int64_t>(rtt, UINT32_MAX)));
        queue.erase(pick);
        --m_unanswered;
        doneIfAnswered();
    }

    // A load run (--summary) ends as soon as everything was sent, answered and
    // written, whichever of the last reply and the last write comes last.
    void doneIfAnswered() {
        if (m_peer.o.summary && m_waitArmed && m_drainReason == nullptr && !m_sendsLeft && m_unanswered == 0 &&
            m_out.empty())
            drain("done");
    }

    // A script action: its records built now (copying from the request),
    // sent now or after its delay.
    void run(const Action& a, const PavaFullData* request) {
        const Faults& faults = a.faults ? *a.faults : m_peer.script->faults;
        std::vector<PavaMsgList> later;  // a delayed action's frames, built now
        for (const Reply& r : a.send) {
            PavaFullData& reply = r.build(request);
            const int rc = Data_To_Pava(&reply, &m_peer.encoded);
            if (rc != PAVA_OK) {
                fmt::print(stderr, "pava: connection {}: {:05} not encoded: rc {:#x}\n", m_id, reply.msgId, rc);
                continue;
            }
            if (a.delayMs == 0)
                send(m_peer.encoded, faults);
            else
                later.push_back(m_peer.encoded);
        }
        if (a.delayMs == 0) {
            if (a.close) closeAfterOutput("script: close");
            return;
        }
        if (m_delays.size() >= kMaxDelayed) return close("too many replies waiting for their delay");
        auto timer = std::make_shared<asio::steady_timer>(m_peer.io, milliseconds(a.delayMs));
        m_delays.insert(timer);
        ++m_delayed;
        timer->async_wait([self = shared_from_this(), timer, messages = std::move(later), &faults,
                           close = a.close](asio::error_code ec) {
            self->m_delays.erase(timer);
            --self->m_delayed;
            if (ec || self->m_closed) return;
            for (const PavaMsgList& frames : messages) self->send(frames, faults);
            if (close) self->closeAfterOutput("script: close");
            self->finishIfDone();
        });
    }

    void startPeriodic(const Periodic& p) {
        auto timer = std::make_shared<asio::steady_timer>(m_peer.io);
        m_periodic.push_back(timer);
        tick(timer, &p, Clock::now());
    }

    void tick(const std::shared_ptr<asio::steady_timer>& timer, const Periodic* p, Clock::time_point last) {
        const auto next = last + milliseconds(p->everyMs);
        timer->expires_at(next);
        timer->async_wait([self = shared_from_this(), timer, p, next](asio::error_code ec) {
            if (ec || self->m_closed || self->m_readOver) return;
            self->run(p->action, nullptr);
            self->tick(timer, p, next);
        });
    }

    void closeAfterOutput(const char* reason) {
        Chunk c;
        c.plain = false;
        c.closeAfter = true;
        c.why = reason;
        queue(std::move(c));
    }

    // The frames of one message onto the wire, with the faults asked for.
    void send(const PavaMsgList& frames, const Faults& f) {
        if (m_closed || m_closing) return;
        if (inOrder(f)) {
            for (const PavaMsg& frame : frames) {
                sendFrame(frame, f);
                if (m_closing) break;
            }
            return;
        }
        for (const size_t i : frameOrder(frames.size(), f)) {
            sendFrame(frames[i], f);
            if (m_closing) break;
        }
    }

    void sendFrame(const PavaMsg& frame, const Faults& f) {
        if (!f.any() && !m_peer.log.frames()) {
            // The common case in one append, without a copy of its own.
            ++m_framesOut;
            const size_t n = PAVA_HEAD_LEN + static_cast<size_t>(headerBodyLength(frame.head));
            m_outOffset += n;
            queuePlain(frame.head, n);
            return;
        }
        std::string wire = wireOf(frame);
        if (f.length) {
            const std::string text = fmt::format("{:<5}", *f.length);
            std::memcpy(wire.data() + 9, text.data(), 5);
        }
        if (f.damageAt >= 0) wire[static_cast<size_t>(f.damageAt)] = '#';
        if (m_peer.log.frames()) {
            const int rc = Pava_To_Data(&frame, &m_peer.record);
            std::string& buf = m_peer.log.begin("frame", m_id);
            fmt::format_to(std::back_inserter(buf), ",\"dir\":\"out\",\"offset\":{},\"rc\":{}", m_outOffset, rc);
            if (f.any()) buf += ",\"faults\":true";
            bool first = false;
            appendRecordMembers(buf, first, m_peer.record);
            m_peer.log.end();
        }
        ++m_framesOut;
        m_outOffset += wire.size();
        if (!f.any()) {
            queuePlain(wire.data(), wire.size());
            return;
        }
        // Where the frame's bytes are cut into writes.
        std::vector<size_t> cuts;
        if (f.headerApart) cuts.push_back(PAVA_HEAD_LEN);
        if (!f.segments.empty())
            for (size_t at = 0, i = 0; at < wire.size(); at += f.segments[i++ % f.segments.size()])
                if (at > 0) cuts.push_back(at);
        // "Halfway": inside the body, so the header promises bytes that do not come.
        const size_t body = wire.size() - PAVA_HEAD_LEN;
        const size_t half = body > 0 ? PAVA_HEAD_LEN + (body + 1) / 2 : PAVA_HEAD_LEN / 2;
        if (f.stallMs > 0 || f.closeMidFrame) cuts.push_back(half);
        std::sort(cuts.begin(), cuts.end());
        cuts.erase(std::unique(cuts.begin(), cuts.end()), cuts.end());
        cuts.erase(std::remove_if(cuts.begin(), cuts.end(), [&](size_t c) { return c == 0 || c >= wire.size(); }),
                   cuts.end());
        cuts.push_back(wire.size());
        size_t from = 0;
        for (const size_t to : cuts) {
            Chunk c;
            c.bytes = wire.substr(from, to - from);
            c.plain = false;
            if (from > 0) c.pauseMs = (from == half && f.stallMs > 0) ? std::max(f.stallMs, f.gapMs) : f.gapMs;
            if (f.closeMidFrame && to == half) {
                c.closeAfter = true;
                c.why = "script: closed halfway through a frame";
                queue(std::move(c));
                m_closing = true;
                return;
            }
            queue(std::move(c));
            from = to;
        }
    }

    void queuePlain(const char* bytes, size_t n) {
        if (m_closed) return;
        const bool inFlight = m_writing && m_out.size() == 1;
        if (!m_out.empty() && !inFlight && m_out.back().plain) {
            m_outBytes += n;
            m_out.back().bytes.append(bytes, n);
            if (m_outBytes > m_peer.o.maxPending) return close("output limit: the peer does not take what is sent");
            return write();
        }
        Chunk c;
        c.bytes.assign(bytes, n);
        queue(std::move(c));
    }

    void queue(Chunk c) {
        if (m_closed) return;
        m_outBytes += c.bytes.size();
        const bool inFlight = m_writing && m_out.size() == 1;
        if (c.plain && !m_out.empty() && !inFlight && m_out.back().plain) {
            m_out.back().bytes += c.bytes;
        } else {
            m_out.push_back(std::move(c));
        }
        if (m_outBytes > m_peer.o.maxPending) return close("output limit: the peer does not take what is sent");
        write();
    }

    void write() {
        if (m_closed || m_writing || m_out.empty()) return;
        Chunk& c = m_out.front();
        m_writing = true;
        if (c.pauseMs > 0 && !c.paused) {
            c.paused = true;
            m_writeTimer.expires_after(milliseconds(c.pauseMs));
            m_writeTimer.async_wait([self = shared_from_this()](asio::error_code ec) {
                self->m_writing = false;
                if (!ec && !self->m_closed) self->write();
            });
            return;
        }
        m_inFlight = true;
        if (!m_stallArmed) stallCheck();
        // Every part of the chunk the socket takes counts as progress, not
        // only the whole of it.
        asio::async_write(
            m_socket, asio::buffer(c.bytes),
            [self = shared_from_this()](const asio::error_code& ec, size_t n) {
                self->m_chunkTaken = n;
                return asio::transfer_all()(ec, n);
            },
            [self = shared_from_this()](asio::error_code ec, size_t n) { self->written(ec, n); });
    }

    void written(asio::error_code ec, size_t n) {
        m_writing = false;
        m_inFlight = false;
        m_chunkTaken = 0;
        if (m_closed) return;
        if (ec) return close("error: " + ec.message());
        if (m_peer.recorder) m_peer.recorder->data(m_recording, ourSide(), m_out.front().bytes.data(), n);
        m_bytesOut += n;
        m_outBytes -= n;
        const bool closeAfter = m_out.front().closeAfter;
        const std::string why = closeAfter ? m_out.front().why : std::string();
        m_out.pop_front();
        if (closeAfter) return close(why);
        if (m_feed)
            pumpFeed();
        else if (m_sending)
            pump();
        write();
        if (m_sending) doneIfAnswered();
        finishIfDone();
    }

    // A sending connection: the input's messages, round after round, kept a
    // little ahead of the socket (or at the rate asked for).
    void pump() {
        const auto& input = m_peer.input;
        while (m_sendsLeft && !m_closed && !m_closing) {
            if (input.empty() || m_round >= m_peer.o.repeat) {
                m_sendsLeft = false;
                break;
            }
            if (m_outBytes >= kSendAhead) return;
            if (m_peer.o.rate > 0) {
                const auto due = m_sendStart + std::chrono::duration_cast<Clock::duration>(
                                                   std::chrono::duration<double>(m_sent / m_peer.o.rate));
                if (resumeAt(due, &Connection::pump)) return;
            }
            const Outgoing& msg = input[m_next];
            m_waiting[msg.rii].emplace_back(msg.id, Clock::now());
            ++m_unanswered;
            ++m_sent;
            const Faults& f = m_peer.script ? m_peer.script->faults : kNoFaults;
            for (const size_t i : frameOrder(msg.frames.size(), f)) {
                const std::string& w = msg.frames[i];
                std::memcpy(m_peer.outFrame->head, w.data(), w.size());
                std::memset(m_peer.outFrame->head + w.size(), 0, sizeof(PavaMsg) - w.size());
                sendFrame(*m_peer.outFrame, f);
                if (m_closing) break;
            }
            if (++m_next == input.size()) {
                m_next = 0;
                ++m_round;
            }
        }
        if (!m_sendsLeft) sendsOver();
    }

    // Everything was sent: the connection reads for --wait seconds more.
    void sendsOver() {
        if (m_waitArmed) return;
        m_waitArmed = true;
        m_peer.lastSend = Clock::now();
        doneIfAnswered();
        if (m_drainReason != nullptr) return;
        doneTimer().expires_after(std::chrono::duration_cast<Clock::duration>(
            std::chrono::duration<double>(m_peer.o.wait)));
        doneTimer().async_wait([self = shared_from_this()](asio::error_code ec) {
            if (!ec) self->drain("done");
        });
    }

    // A playing connection: each frame of its feed once the peer has sent the
    // frames it waits for and its time has come, kept a little ahead of the
    // socket. Waiting longer than --wait for the peer closes the connection.
    void pumpFeed() {
        while (m_feed && !m_closed && !m_closing) {
            const FeedFrame* f = m_feed->peek();
            if (f == nullptr) {
                m_feed.reset();
                m_sendsLeft = false;
                return sendsOver();
            }
            if (m_outBytes >= kSendAhead) return stallCheck();
            if (m_framesIn < f->afterFrames) return stallCheck();
            if (f->at >= 0) {
                // A time beyond some thirty years (a capture's time stamps far
                // apart, a tiny --speed) is held there, within the clock's range.
                const auto due = m_sendStart + std::chrono::duration_cast<Clock::duration>(
                                                   std::chrono::duration<double>(std::min(f->at, 1e9)));
                if (resumeAt(due, &Connection::pumpFeed)) return;
            }
            const size_t n = std::min(f->wire.size(), sizeof(PavaMsg));
            std::memcpy(m_peer.outFrame->head, f->wire.data(), n);
            std::memset(m_peer.outFrame->head + n, 0, sizeof(PavaMsg) - n);
            m_feed->pop();
            sendFrame(*m_peer.outFrame, kNoFaults);
        }
    }

    // The connection waits for the peer: to take the output being written,
    // or (playing a feed) to send the frames the feed waits for. Without
    // progress for the bound (--wait for send and replay, kLinger for serve)
    // it is closed as stalled. Progress on output in flight is a byte taken,
    // whatever the peer sends; otherwise a byte taken or a frame received.
    void stallCheck() {
        const uint64_t taken = m_bytesOut + m_chunkTaken;
        if (m_stallArmed && taken == m_stallTaken && m_framesIn == m_stallFrames) return;
        m_stallArmed = true;
        m_stallTaken = taken;
        m_stallFrames = m_framesIn;
        const uint64_t generation = ++m_stallGeneration;
        if (!m_stallTimer) {
            m_stallTimer = std::make_shared<asio::steady_timer>(m_peer.io);
            m_sendTimers.push_back(m_stallTimer);
        }
        const bool timed = m_sending || m_peer.makeFeed;
        m_stallTimer->expires_after(timed ? std::chrono::duration_cast<Clock::duration>(
                                                std::chrono::duration<double>(m_peer.o.wait))
                                          : Clock::duration(kLinger));
        m_stallTimer->async_wait([self = shared_from_this(), generation](asio::error_code ec) {
            if (generation != self->m_stallGeneration) return;
            self->m_stallArmed = false;
            if (ec || self->m_closed) return;
            const bool took = self->m_bytesOut + self->m_chunkTaken != self->m_stallTaken;
            if (self->m_inFlight) {
                if (took) return self->stallCheck();
                return self->close("stalled: the peer takes nothing of what is sent");
            }
            if (!self->m_feed) return;
            if (took || self->m_framesIn != self->m_stallFrames) return self->pumpFeed();
            self->close("stalled: the peer did not send or take what the replay waits for within --wait");
        });
    }

    // The frame this connection's reader writes into: its own, since the
    // reader clears only what it wrote there itself. Made with the first bytes.
    PavaMsg& frame() {
        if (!m_frame) m_frame = std::make_unique<PavaMsg>();
        return *m_frame;
    }

    // While due is ahead, step runs again then (one wait at a time): true.
    bool resumeAt(Clock::time_point due, void (Connection::*step)()) {
        if (due <= Clock::now()) return false;
        if (!m_rateArmed) {
            m_rateArmed = true;
            rateTimer().expires_at(due);
            rateTimer().async_wait([self = shared_from_this(), step](asio::error_code ec) {
                self->m_rateArmed = false;
                if (!ec) (self.get()->*step)();
            });
        }
        return true;
    }

    // Both cancelled with the periodic ones when the connection closes.
    asio::steady_timer& rateTimer() {
        if (!m_rateTimer) {
            m_rateTimer = std::make_shared<asio::steady_timer>(m_peer.io);
            m_sendTimers.push_back(m_rateTimer);
        }
        return *m_rateTimer;
    }
    asio::steady_timer& doneTimer() {
        if (!m_doneTimer) {
            m_doneTimer = std::make_shared<asio::steady_timer>(m_peer.io);
            m_sendTimers.push_back(m_doneTimer);
        }
        return *m_doneTimer;
    }

    static inline const Faults kNoFaults{};

    Peer& m_peer;
    tcp::socket m_socket;
    uint64_t m_id;
    std::string m_address;
    bool m_sending;
    uint64_t m_recording = 0;  // the connection's number in the recording
    FrameReader m_reader;
    std::unique_ptr<PavaMsg> m_frame;
    std::array<char, 4096> m_readBuf{};
    std::unique_ptr<MessageJoiner> m_joiner;
    std::deque<Chunk> m_out;
    size_t m_outBytes = 0;
    uint64_t m_outOffset = 0;
    bool m_writing = false;
    bool m_inFlight = false;   // a write is on the socket (not waiting out a pause)
    size_t m_chunkTaken = 0;   // of the chunk in flight, what the socket took so far
    bool m_closing = false;  // closes once the output queued is written
    bool m_closed = false;
    bool m_readOver = false;
    const char* m_drainReason = nullptr;
    asio::steady_timer m_writeTimer;
    asio::steady_timer m_idleTimer;
    Clock::time_point m_lastRead;
    std::vector<std::shared_ptr<asio::steady_timer>> m_periodic;
    std::unordered_set<std::shared_ptr<asio::steady_timer>> m_delays;
    size_t m_delayed = 0;
    uint64_t m_bytesIn = 0, m_framesIn = 0, m_bytesOut = 0, m_framesOut = 0;
    // Sending.
    bool m_sendsLeft = true;
    size_t m_next = 0, m_round = 0;
    uint64_t m_sent = 0, m_unanswered = 0;
    Clock::time_point m_sendStart;
    bool m_rateArmed = false, m_waitArmed = false;
    std::shared_ptr<asio::steady_timer> m_rateTimer, m_doneTimer;
    std::vector<std::shared_ptr<asio::steady_timer>> m_sendTimers;
    // Playing a feed.
    std::unique_ptr<Feed> m_feed;
    std::shared_ptr<asio::steady_timer> m_stallTimer;
    bool m_stallArmed = false;
    uint64_t m_stallTaken = 0, m_stallFrames = 0, m_stallGeneration = 0;
    std::unordered_map<int, std::deque<std::pair<int, Clock::time_point>>> m_waiting;
};

void Peer::seen(const PavaFullData& rec) {
    if (!expectation || expectationsMet()) return;
    const auto& ms = expectation->matches;
    if (expectation->anyOrder) {
        for (size_t i = 0; i < ms.size(); ++i) {
            if (!met[i] && ms[i].matches(rec)) {
                met[i] = true;
                break;
            }
        }
    } else if (nextExpected < ms.size() && ms[nextExpected].matches(rec)) {
        met[nextExpected++] = true;
    }
    if (expectationsMet()) asio::post(io, [this] { closeAll("expectations met"); });
}

void Peer::closeAll(const char* reason) {
    std::vector<std::shared_ptr<Connection>> all(connections.begin(), connections.end());
    std::sort(all.begin(), all.end(), [](const auto& a, const auto& b) { return a->id() < b->id(); });
    for (const auto& c : all) c->drain(reason);
}

void Peer::closed(const std::shared_ptr<Connection>& c) {
    connections.erase(c);
    if (connections.empty() && onIdle) asio::post(io, [this] {
        if (connections.empty() && onIdle) onIdle();
    });
}

// "HOST:PORT", "[::1]:PORT".
std::pair<std::string, std::string> splitAddress(const std::string& text) {
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos) throw std::invalid_argument(text + ": expected HOST:PORT");
    std::string host = text.substr(0, colon);
    if (host.size() >= 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
    return {host, text.substr(colon + 1)};
}

bool loadFiles(Peer& p, const PeerOptions& o) {
    try {
        if (!o.script.empty()) p.script = loadScript(o.script);
        if (!o.expect.empty()) {
            p.expectation = loadExpectation(o.expect);
            p.met.assign(p.expectation->matches.size(), false);
        }
    } catch (const ScriptError& e) {
        fmt::print(stderr, "pava: {}\n", e.what());
        return false;
    }
    return true;
}

// Stops at the first signal: listening ends, every connection writes what
// it owes and closes; a second signal, or kLinger, ends it all at once.
void onSignals(Peer& p, const std::function<void()>& stopListening) {
    p.signals.async_wait([&p, stopListening](asio::error_code ec, int) {
        if (ec) return;
        p.stopping = true;
        if (stopListening) stopListening();
        p.closeAll("shutdown");
        if (p.connections.empty()) p.signals.cancel();
    });
}

}  // namespace

// --record: the capture file, created before any connection.
static bool startRecording(Peer& p, const PeerOptions& o) {
    if (o.record.empty()) return true;
    try {
        p.recorder = std::make_unique<capture::SessionRecorder>(o.record);
    } catch (const std::exception& e) {
        fmt::print(stderr, "pava: cannot record: {}\n", e.what());
        return false;
    }
    return true;
}

int runServe(const PeerOptions& o, const FeedMaker& feed) {
    Peer p(o);
    p.makeFeed = feed;
    if (!loadFiles(p, o)) return kExitUsage;
    if (!startRecording(p, o)) return kExitIo;
    tcp::acceptor acceptor(p.io);
    try {
        const auto [host, port] = splitAddress(o.listen);
        tcp::resolver resolver(p.io);
        const auto ep = resolver.resolve(host, port, tcp::resolver::passive)->endpoint();
        acceptor.open(ep.protocol());
        acceptor.set_option(tcp::acceptor::reuse_address(true));
        acceptor.bind(ep);
        acceptor.listen();
    } catch (const std::exception& e) {
        fmt::print(stderr, "pava: cannot listen on {}: {}\n", o.listen, e.what());
        return kExitIo;
    }
    const auto bound = acceptor.local_endpoint();
    fmt::print(stderr, "pava: listening on {}:{}\n", bound.address().to_string(), bound.port());
    std::fflush(stderr);

    std::function<void()> accept = [&] {
        acceptor.async_accept([&](asio::error_code ec, tcp::socket s) {
            if (ec) {
                if (ec == asio::error::operation_aborted || !acceptor.is_open()) return;
                // Out of descriptors and the like: the listener goes on.
                fmt::print(stderr, "pava: accept: {}\n", ec.message());
                return accept();
            }
            auto c = std::make_shared<Connection>(p, std::move(s), false);
            p.connections.insert(c);
            if (p.stopping)
                c->refuse("shutdown");
            else if (p.connections.size() > o.maxConnections)
                c->refuse("too many connections");
            else
                c->start();
            accept();
        });
    };
    accept();
    p.onIdle = [&] {
        if (p.stopping) p.signals.cancel();
    };
    onSignals(p, [&] {
        asio::error_code ec;
        acceptor.close(ec);
    });
    p.io.run();
    p.log.flush();
    return 0;
}

namespace {

// The messages to send: JSON records (each encoded) or frames as read.
bool loadInput(Peer& p, const PeerOptions& o) {
    if (o.input.empty()) return true;
    std::ifstream file;
    std::istream* in = &std::cin;
    if (o.input != "-") {
        file.open(o.input, std::ios::binary);
        if (!file) {
            fmt::print(stderr, "pava: {}: cannot be opened\n", o.input);
            return false;
        }
        in = &file;
    }
    if (o.inputFrames) {
        std::FILE* f = o.input == "-" ? stdin : std::fopen(o.input.c_str(), "rb");
        if (f == nullptr) return false;
        FrameStream stream(f, o.inputForm, [](const StreamDamage& d) {
            fmt::print(stderr, "pava: offset {}: {}\n", d.offset, d.what);
        });
        auto frame = std::make_unique<PavaMsg>();
        uint64_t offset = 0;
        while (stream.next(*frame, offset)) {
            PavaFullData rec;
            Pava_To_Data(frame.get(), &rec);
            p.input.push_back(Outgoing{{wireOf(*frame)}, rec.msgId, rec.rii});
        }
        if (f != stdin) std::fclose(f);
        return true;
    }
    std::vector<Json> records;
    try {
        for (;;) {
            *in >> std::ws;
            if (in->peek() == std::char_traits<char>::eof()) break;
            Json j;
            *in >> j;
            if (j.is_array())
                for (Json& e : j) records.push_back(std::move(e));
            else
                records.push_back(std::move(j));
        }
    } catch (const Json::exception& e) {
        fmt::print(stderr, "pava: {}: record {}: not JSON: {}\n", o.input, records.size() + 1, e.what());
        return false;
    }
    PavaMsgList frames;
    for (size_t i = 0; i < records.size(); ++i) {
        try {
            PavaFullData rec = recordFromJson(records[i]);
            const int rc = Data_To_Pava(&rec, &frames);
            if (rc != PAVA_OK || frames.empty()) {
                fmt::print(stderr, "pava: record {}: {:05} not encoded: rc {:#x}\n", i + 1, rec.msgId, rc);
                return false;
            }
            Outgoing m{{}, rec.msgId, rec.rii};
            for (const PavaMsg& f : frames) m.frames.push_back(wireOf(f));
            p.input.push_back(std::move(m));
        } catch (const RecordError& e) {
            fmt::print(stderr, "pava: record {}: {}\n", i + 1, e.what());
            return false;
        }
    }
    return true;
}

uint32_t percentile(std::vector<uint32_t>& v, double q) {
    if (v.empty()) return 0;
    // Nearest rank: the smallest value with at least q of the values at or below it.
    const auto rank = static_cast<size_t>(std::ceil(q * static_cast<double>(v.size())));
    const size_t k = std::min(v.size(), std::max<size_t>(rank, 1)) - 1;
    std::nth_element(v.begin(), v.begin() + static_cast<std::ptrdiff_t>(k), v.end());
    return v[k];
}

void printSummary(Peer& p, double seconds) {
    LoadStats& s = p.stats;
    std::vector<uint32_t>& rtt = s.rttMicros;
    const uint32_t p50 = percentile(rtt, 0.5), p99 = percentile(rtt, 0.99);
    const uint32_t most = rtt.empty() ? 0 : *std::max_element(rtt.begin(), rtt.end());
    const double fps = seconds > 0 ? static_cast<double>(s.framesIn) / seconds : 0;
    std::string& buf = p.log.begin("summary", 0);
    fmt::format_to(std::back_inserter(buf),
                   ",\"connections\":{},\"seconds\":{:.3f},\"framesOut\":{},\"bytesOut\":{},\"framesIn\":{},"
                   "\"bytesIn\":{},\"answered\":{},\"skipped\":{},\"framesInPerSecond\":{:.0f},"
                   "\"rttMicros\":{{\"p50\":{},\"p99\":{},\"max\":{}}}",
                   p.o.connections, seconds, s.framesOut, s.bytesOut, s.framesIn, s.bytesIn, rtt.size(), s.skipped,
                   fps, p50, p99, most);
    p.log.end();
    p.log.flush();
    fmt::print(stderr,
               "pava: {} connections, {:.3f} s: {} frames ({} bytes) out, {} frames ({} bytes) in, {} answered, "
               "{:.0f} frames/s in; round trip p50 {} us, p99 {} us, max {} us\n",
               p.o.connections, seconds, s.framesOut, s.bytesOut, s.framesIn, s.bytesIn, rtt.size(), fps, p50, p99,
               most);
}

}  // namespace

int runSend(const PeerOptions& o, const FeedMaker& feed) {
    Peer p(o);
    p.makeFeed = feed;
    if (!loadFiles(p, o)) return kExitUsage;
    if (!loadInput(p, o)) return kExitUsage;
    if (!startRecording(p, o)) return kExitIo;
    tcp::resolver::results_type endpoints;
    try {
        const auto [host, port] = splitAddress(o.target);
        endpoints = tcp::resolver(p.io).resolve(host, port);
    } catch (const std::exception& e) {
        fmt::print(stderr, "pava: {}: {}\n", o.target, e.what());
        return kExitIo;
    }
    int rc = 0;
    size_t pending = o.connections;
    for (size_t i = 0; i < o.connections; ++i) {
        auto socket = std::make_shared<tcp::socket>(p.io);
        asio::async_connect(*socket, endpoints, [&, socket](asio::error_code ec, const tcp::endpoint&) {
            --pending;
            if (ec) {
                if (rc == 0) fmt::print(stderr, "pava: {}: {}\n", o.target, ec.message());
                rc = kExitIo;
            } else if (p.stopping) {
                return;
            } else {
                auto c = std::make_shared<Connection>(p, std::move(*socket), true);
                p.connections.insert(c);
                c->start();
            }
            if (pending == 0 && p.connections.empty()) p.signals.cancel();
        });
    }
    p.onIdle = [&] {
        if (pending == 0) p.signals.cancel();
    };
    onSignals(p, nullptr);
    p.started = Clock::now();
    p.io.run();
    const double seconds = std::chrono::duration<double>(Clock::now() - p.started).count();
    p.log.flush();
    if (o.summary) printSummary(p, seconds);
    if (p.expectation && !p.expectationsMet()) {
        const auto& ms = p.expectation->matches;
        for (size_t i = 0; i < ms.size(); ++i)
            if (!p.met[i]) fmt::print(stderr, "pava: expected, not received: {}\n", ms[i].text);
        return std::max(rc, kExitExpect);
    }
    return rc;
}

}  // namespace pava::tool::peer
