#include "commands.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <sys/stat.h>
#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#else
#include <unistd.h>
#endif

#include "dissect.h"
#include "frames.h"
#include "json_record.h"
#include "multiframe/joiner.h"
#include "record_check.h"
#if defined(PAVA_WITH_PCAP)
#include <map>
#include <unordered_map>

#include "capture/capture_reader.h"
#endif

namespace pava::tool {

namespace {

// A failure to open, read or write a file: exit code kExitIo.
struct IoError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct FileCloser {
    void operator()(std::FILE* f) const noexcept {
        if (f != stdin && f != stdout) std::fclose(f);
    }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// Standard input and output carry bytes, never text with line-end translation.
std::FILE* binary(std::FILE* f) {
#if defined(_WIN32)
    _setmode(_fileno(f), _O_BINARY);
#endif
    return f;
}

File openInput(const std::string& path) {
    if (path == "-") return File(binary(stdin));
    struct stat st {};
    if (::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) throw IoError(path + ": is a directory");
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) throw IoError(fmt::format("{}: {}", path, std::strerror(errno)));
    return File(f);
}

File openOutput(const std::string& path) {
    if (path == "-") return File(binary(stdout));
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) throw IoError(fmt::format("{}: {}", path, std::strerror(errno)));
    return File(f);
}

bool isRegular(std::FILE* f) {
    struct stat st {};
    return fstat(fileno(f), &st) == 0 && S_ISREG(st.st_mode);
}

// Output in large writes; line by line on a terminal. Input arriving live
// (a pipe) flushes it whenever the input goes quiet (FrameStream::onIdle),
// so a frame shows as soon as it is read without a write per frame.
class Output {
public:
    explicit Output(const std::string& path, bool eager = false)
        : m_file(openOutput(path)), m_path(path), m_eager(eager || isatty(fileno(m_file.get())) != 0) {
        m_buf.reserve(kFlushAt + 16384);
    }
    std::string& buffer() { return m_buf; }
    void endRecord() {
        if (m_eager || m_buf.size() >= kFlushAt) flush();
    }
    void flush() {
        if (!m_buf.empty() && std::fwrite(m_buf.data(), 1, m_buf.size(), m_file.get()) != m_buf.size())
            throw IoError(fmt::format("{}: cannot write", m_path == "-" ? "standard output" : m_path));
        m_buf.clear();
        if (std::fflush(m_file.get()) != 0)
            throw IoError(fmt::format("{}: cannot write", m_path == "-" ? "standard output" : m_path));
    }

private:
    static constexpr size_t kFlushAt = 1 << 16;
    File m_file;
    std::string m_path;
    bool m_eager;
    std::string m_buf;
};

// The codecs' log lines of the call under way.
struct LogCapture {
    LogTo to = LogTo::Off;
    std::vector<std::string> lines;

    explicit LogCapture(LogTo where) : to(where) {
        if (to == LogTo::Off)
            Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
        else
            Pava_SetLogOutput(PAVA_LOG_CALLBACK, &LogCapture::collect, this);
    }
    ~LogCapture() { Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    static void collect(const char* text, void* user) {
        try {
            static_cast<LogCapture*>(user)->lines.emplace_back(text);
        } catch (...) {  // a lost log line is no reason to stop
        }
    }
    // To standard error, one line each (the codecs' texts end in "\n",
    // "\r\n" or nothing at all), or into the frame's JSON.
    void flushTo(Json* j, const std::string& where) {
        if (lines.empty()) return;
        if (to == LogTo::Json && j != nullptr) {
            Json& arr = (*j)["log"] = Json::array();
            for (const std::string& l : lines) arr.push_back(bytesToUtf8(l));
        } else {
            for (std::string l : lines) {
                while (!l.empty() && (l.back() == '\n' || l.back() == '\r' || l.back() == ' ')) l.pop_back();
                fmt::print(stderr, "pava: {}log: {}\n", where, escapeBytes(l));
            }
        }
        lines.clear();
    }
};

// Counts and reports damage; with --strict the first one stops the run.
struct StrictStop {};

class DamageReport {
public:
    explicit DamageReport(bool strict) : m_strict(strict) {}
    void operator()(const StreamDamage& d) {
        ++m_count;
        fmt::print(stderr, "pava: offset {}: {}\n", d.offset, d.what);
        if (m_strict) throw StrictStop{};
    }
    void problem(uint64_t offset, const std::string& what) { (*this)(StreamDamage{offset, 0, what}); }
    // Damage at a place of another kind than a byte offset (a capture's stream).
    void at(const std::string& where, const std::string& what) {
        ++m_count;
        fmt::print(stderr, "pava: {}: {}\n", where, what);
        if (m_strict) throw StrictStop{};
    }
    size_t count() const noexcept { return m_count; }

private:
    bool m_strict;
    size_t m_count = 0;
};

int worst(int a, int b) { return std::max(a, b); }

template <class Body>
int guarded(Body&& body) {
    try {
        return body();
    } catch (const IoError& e) {
        std::fflush(stdout);
        fmt::print(stderr, "pava: {}\n", e.what());
        return kExitIo;
    }
}

// Frames of the input, each handed to fn(frame, offset); then the exit code
// for what the stream itself held.
template <class Fn>
int eachFrame(const StreamOptions& o, std::FILE* in, Output& out, DamageReport& damage, Fn&& fn) {
    FrameStream stream(in, o.form, [&](const StreamDamage& d) { damage(d); });
    stream.onIdle([&] { out.flush(); });
    auto frame = std::make_unique<PavaMsg>();
    uint64_t offset = 0;
    int rc = kExitOk;
    try {
        while (stream.next(*frame, offset)) rc = worst(rc, fn(*frame, offset));
    } catch (const StrictStop&) {
        rc = kExitDamaged;
    }
    if (stream.readError()) throw IoError(fmt::format("{}: cannot read", o.input == "-" ? "standard input" : o.input));
    return worst(rc, damage.count() > 0 ? kExitDamaged : kExitOk);
}

// The rest of a decoded line behind its offset and rc: the join's counts,
// the record's members, the log lines of the call, the line's end.
void appendDecoded(std::string& buf, LogCapture& log, const PavaFullData& rec, const JoinedMessage* m,
                   uint64_t offset) {
    if (m != nullptr) {
        fmt::format_to(std::back_inserter(buf), ",\"frames\":{}", m->frames);
        if (!m->complete) buf += ",\"complete\":false";
    }
    bool first = false;
    appendRecordMembers(buf, first, rec);
    if (!log.lines.empty()) {
        if (log.to == LogTo::Json) {
            buf += ",\"log\":";
            Json lines = Json::array();
            for (const std::string& l : log.lines) lines.push_back(bytesToUtf8(l));
            buf += jsonLine(lines);
            log.lines.clear();
        } else {
            log.flushTo(nullptr, fmt::format("offset {}: ", offset));
        }
    }
    buf += "}\n";
}

#if defined(PAVA_WITH_PCAP)
using capture::CaptureEvent;
using capture::CaptureReader;

// "conn 2 10.0.0.1:40000 > 10.0.0.2:7766"
std::string streamName(const capture::StreamInfo& s) {
    return fmt::format("conn {} {} > {}", s.connection, capture::toString(s.src), capture::toString(s.dst));
}

// Reads the capture, handing every event to fn; then the exit code for what
// the capture itself held. A sink's StrictStop ends the reading.
template <class Fn>
int eachCaptureEvent(const StreamOptions& o, DamageReport& damage, Fn&& fn) {
    capture::CaptureOptions co;
    co.ports = o.ports;
    CaptureReader reader(co, [&](const CaptureEvent& e) {
        if (e.kind == CaptureEvent::Damage)
            damage.at(fmt::format("{} offset {}", streamName(*e.stream), e.offset), e.what);
        fn(e);
    });
    std::string error;
    CaptureReader::Result result = CaptureReader::Result::Ok;
    try {
        result = reader.read(o.input, error);
    } catch (const StrictStop&) {
        return kExitDamaged;
    }
    const std::string name = o.input == "-" ? "standard input" : o.input;
    if (result == CaptureReader::Result::CannotOpen) {
        // libpcap names the file itself in some of its errors.
        if (error.rfind(o.input + ": ", 0) == 0) error.erase(0, o.input.size() + 2);
        throw IoError(fmt::format("{}: not read as a capture: {}", name, error));
    }
    if (result == CaptureReader::Result::Damaged) {
        std::fflush(stdout);
        fmt::print(stderr, "pava: {}: damaged capture {}\n", name, error);
        return kExitDamaged;
    }
    return damage.count() > 0 ? kExitDamaged : kExitOk;
}

// What every line of a capture's frame starts with: time, connection,
// direction, addresses, packet, offset in the direction's stream. The
// stream's part is made once per run of frames of one stream.
class CaptureHead {
public:
    void append(std::string& buf, const capture::Timestamp& ts, const capture::StreamInfo& s, uint64_t packet,
                uint64_t offset, int rc) {
        const uint64_t key = s.connection * 2 + (s.from == capture::Side::Server ? 1 : 0);
        if (key != m_key) {
            m_key = key;
            m_stream = fmt::format(R"(,"conn":{},"from":"{}","src":"{}","dst":"{}","packet":)", s.connection,
                                   capture::sideName(s.from), capture::toString(s.src), capture::toString(s.dst));
        }
        fmt::format_to(std::back_inserter(buf), R"({{"ts":{}.{:09})", ts.sec, ts.nsec);
        buf += m_stream;
        fmt::format_to(std::back_inserter(buf), R"({},"offset":{},"rc":{})", packet, offset, rc);
    }

private:
    uint64_t m_key = 0;
    std::string m_stream;
};

int runCaptureDecode(const StreamOptions& o) {
    LogCapture log(o.log);
    DamageReport damage(o.strict);
    Output out(o.output);
    int codec = kExitOk;
    auto rec = std::make_unique<PavaFullData>();
    // Per direction with --join: its joiner, and the time and packet of the
    // frames waiting in it (as many as it may hold).
    struct Stamp {
        capture::Timestamp ts;
        uint64_t packet;
    };
    struct Joining {
        MessageJoiner joiner;
        std::map<uint64_t, Stamp> stamps;
    };
    std::unordered_map<uint64_t, std::unique_ptr<Joining>> joining;
    JoinedMessage m;
    CaptureHead head;
    const auto drain = [&](Joining& j, const capture::StreamInfo& s) {
        while (j.joiner.pop(m)) {
            for (const JoinProblem& p : m.problems) damage.at(fmt::format("{} offset {}", streamName(s), p.tag), p.what);
            const auto at = j.stamps.find(m.tag);
            const Stamp st = at != j.stamps.end() ? at->second : Stamp{};
            head.append(out.buffer(), st.ts, s, st.packet, m.tag, m.rc);
            appendDecoded(out.buffer(), log, m.record, &m, m.tag);
            out.endRecord();
            if (m.rc != PAVA_OK) codec = kExitCodec;
        }
    };
    const int rc = eachCaptureEvent(o, damage, [&](const CaptureEvent& e) {
        const capture::StreamInfo& s = *e.stream;
        if (!o.join) {
            if (e.kind != CaptureEvent::Frame) return;
            const int call = Pava_To_Data(e.frame, rec.get());
            head.append(out.buffer(), e.ts, s, e.packet, e.offset, call);
            appendDecoded(out.buffer(), log, *rec, nullptr, e.offset);
            out.endRecord();
            if (call != PAVA_OK) codec = kExitCodec;
            return;
        }
        const uint64_t key = s.connection * 2 + (s.from == capture::Side::Server ? 1 : 0);
        auto& slot = joining[key];
        if (!slot) slot = std::make_unique<Joining>();
        if (e.kind == CaptureEvent::Frame) {
            slot->stamps[e.offset] = Stamp{e.ts, e.packet};
            while (slot->stamps.size() > 2 * MessageJoiner::kMaxPendingFrames) slot->stamps.erase(slot->stamps.begin());
            if (slot->joiner.push(e.frame, e.offset) != PAVA_OK) throw std::bad_alloc();
            drain(*slot, s);
        } else if (e.kind == CaptureEvent::End) {
            slot->joiner.finish();
            drain(*slot, s);
            joining.erase(key);
        }
    });
    out.flush();
    return worst(rc, codec);
}

int runCaptureDissect(const StreamOptions& o) {
    LogCapture log(o.log == LogTo::Json ? LogTo::Stderr : o.log);
    DamageReport damage(o.strict);
    Output out(o.output);
    size_t number = 0;
    int codec = kExitOk;
    const int rc = eachCaptureEvent(o, damage, [&](const CaptureEvent& e) {
        if (e.kind != CaptureEvent::Frame) return;
        std::string& buf = out.buffer();
        int decoded = PAVA_OK;
        if (o.json) {
            // The connection and packet go with the frame's own object.
            std::string line = dissectFrameJson(*e.frame, e.offset, &decoded);
            line.pop_back();
            fmt::format_to(std::back_inserter(buf), "{},\"conn\":\"{}\",\"side\":\"{}\",\"packet\":{}}}\n", line,
                           streamName(*e.stream), capture::sideName(e.stream->from), e.packet);
        } else {
            if (number > 0) buf += '\n';
            fmt::format_to(std::back_inserter(buf), "{} ({}), packet {}, time {}.{:09}\n", streamName(*e.stream),
                           capture::sideName(e.stream->from), e.packet, e.ts.sec, e.ts.nsec);
            buf += dissectFrame(*e.frame, ++number, e.offset, &decoded);
        }
        if (decoded != PAVA_OK) codec = kExitCodec;
        log.flushTo(nullptr, fmt::format("{} offset {}: ", streamName(*e.stream), e.offset));
        out.endRecord();
    });
    out.flush();
    return worst(rc, codec);
}
#endif

}  // namespace

bool capturesSupported() {
#if defined(PAVA_WITH_PCAP)
    return true;
#else
    return false;
#endif
}

bool captureInput(const StreamOptions& o) {
    if (o.pcap) return true;
    if (o.input == "-") return false;
    struct stat st {};
    if (::stat(o.input.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return false;
    std::FILE* f = std::fopen(o.input.c_str(), "rb");
    if (f == nullptr) return false;
    unsigned char magic[4] = {};
    const size_t got = std::fread(magic, 1, sizeof magic, f);
    std::fclose(f);
#if defined(PAVA_WITH_PCAP)
    return capture::looksLikeCapture(magic, got);
#else
    // Told apart all the same, so that a capture is refused rather than read as frames.
    static const unsigned char kPcap[][4] = {{0xd4, 0xc3, 0xb2, 0xa1}, {0xa1, 0xb2, 0xc3, 0xd4},
                                             {0x4d, 0x3c, 0xb2, 0xa1}, {0xa1, 0xb2, 0x3c, 0x4d},
                                             {0x0a, 0x0d, 0x0d, 0x0a}};
    for (const auto& m : kPcap)
        if (got == 4 && std::memcmp(magic, m, 4) == 0) return true;
    return false;
#endif
}

#if !defined(PAVA_WITH_PCAP)
namespace {

int noCaptures(const StreamOptions& o) {
    fmt::print(stderr, "pava: {}: a packet capture, and this build of pava reads none (built without libpcap)\n",
               o.input);
    return kExitIo;
}

}  // namespace
#endif

int runDecode(const StreamOptions& o) {
    if (captureInput(o)) {
#if defined(PAVA_WITH_PCAP)
        return guarded([&] { return runCaptureDecode(o); });
#else
        return noCaptures(o);
#endif
    }
    return guarded([&] {
        LogCapture log(o.log);
        DamageReport damage(o.strict);
        File in = openInput(o.input);
        Output output(o.output);
        Output* out = &output;
        int codec = kExitOk;
        const auto emit = [&](const PavaFullData& rec, int rc, uint64_t offset, const JoinedMessage* m) {
            std::string& buf = out->buffer();
            fmt::format_to(std::back_inserter(buf), "{{\"offset\":{},\"rc\":{}", offset, rc);
            appendDecoded(buf, log, rec, m, offset);
            out->endRecord();
            if (rc != PAVA_OK) codec = kExitCodec;
        };
        if (!o.join) {
            auto rec = std::make_unique<PavaFullData>();
            const int rc = eachFrame(o, in.get(), output, damage, [&](const PavaMsg& frame, uint64_t offset) {
                // Pava_To_Data resets the record before it fills it.
                emit(*rec, Pava_To_Data(&frame, rec.get()), offset, nullptr);
                return kExitOk;
            });
            output.flush();
            return worst(rc, codec);
        }
        MessageJoiner joiner;
        JoinedMessage m;
        const auto drain = [&] {
            while (joiner.pop(m)) {
                for (const JoinProblem& p : m.problems) damage.problem(p.tag, p.what);
                emit(m.record, m.rc, m.tag, &m);
            }
        };
        int rc = eachFrame(o, in.get(), output, damage, [&](const PavaMsg& frame, uint64_t offset) {
            if (joiner.push(&frame, offset) != PAVA_OK) throw std::bad_alloc();
            drain();
            return kExitOk;
        });
        // What is still waiting was cut off by the end of the input.
        if (rc != kExitDamaged || !o.strict) {
            joiner.finish();
            try {
                const size_t before = damage.count();
                drain();
                if (damage.count() > before) rc = worst(rc, kExitDamaged);
            } catch (const StrictStop&) {
                rc = kExitDamaged;
            }
        }
        output.flush();
        return worst(rc, codec);
    });
}

int runDissect(const StreamOptions& o) {
    if (captureInput(o)) {
#if defined(PAVA_WITH_PCAP)
        return guarded([&] { return runCaptureDissect(o); });
#else
        return noCaptures(o);
#endif
    }
    return guarded([&] {
        LogCapture log(o.log == LogTo::Json ? LogTo::Stderr : o.log);
        DamageReport damage(o.strict);
        File in = openInput(o.input);
        Output output(o.output);
        size_t number = 0;
        int codec = kExitOk;
        const int rc = eachFrame(o, in.get(), output, damage, [&](const PavaMsg& frame, uint64_t offset) {
            std::string& buf = output.buffer();
            int decoded = PAVA_OK;
            if (o.json) {
                buf += dissectFrameJson(frame, offset, &decoded) + '\n';
            } else {
                if (number > 0) buf += '\n';
                buf += dissectFrame(frame, ++number, offset, &decoded);
            }
            if (decoded != PAVA_OK) codec = kExitCodec;
            log.flushTo(nullptr, fmt::format("offset {}: ", offset));
            output.endRecord();
            return kExitOk;
        });
        output.flush();
        return worst(rc, codec);
    });
}

namespace {

// Records one after another from a stream: JSON Lines, objects written
// back to back, or one array of them (read whole).
class RecordSource {
public:
    explicit RecordSource(const std::string& path) {
        if (path == "-") {
            m_in = &std::cin;
        } else {
            struct stat st {};
            if (::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) throw IoError(path + ": is a directory");
            m_file.open(path, std::ios::binary);
            if (!m_file) throw IoError(fmt::format("{}: {}", path, std::strerror(errno)));
            m_in = &m_file;
        }
    }
    // False at the end; throws Json::parse_error for text that is not JSON.
    bool next(Json& out) {
        if (m_index < m_array.size()) {
            out = std::move(m_array[m_index++]);
            return true;
        }
        *m_in >> std::ws;
        if (m_in->peek() == std::char_traits<char>::eof()) return false;
        Json j;
        *m_in >> j;
        if (j.is_array()) {
            m_array = j.get<std::vector<Json>>();
            m_index = 0;
            return next(out);
        }
        out = std::move(j);
        return true;
    }

private:
    std::ifstream m_file;
    std::istream* m_in = nullptr;
    std::vector<Json> m_array;
    size_t m_index = 0;
};

void writeFrame(std::string& buf, const PavaMsg& frame, FrameForm form) {
    const size_t wire = PAVA_HEAD_LEN + static_cast<size_t>(declaredLength(frame));
    switch (form) {
    case FrameForm::Wire: buf.append(frame.head, wire); break;
    case FrameForm::Raw: buf.append(frame.head, sizeof(PavaMsg)); break;
    case FrameForm::Hex: {
        static constexpr char kDigits[] = "0123456789abcdef";
        // The frame as one block of bytes, header and body.
        const auto* bytes = reinterpret_cast<const unsigned char*>(&frame);
        for (size_t i = 0; i < wire; ++i) {
            const unsigned char b = bytes[i];
            buf += kDigits[b >> 4];
            buf += kDigits[b & 15];
        }
        buf += '\n';
        break;
    }
    }
}

}  // namespace

int runEncode(const StreamOptions& o) {
    return guarded([&] {
        LogCapture log(o.log == LogTo::Json ? LogTo::Stderr : o.log);
        RecordSource source(o.input);
        // Records typed or piped in come out as they are read.
        Output out(o.output, o.input == "-" && !isRegular(stdin));
        int rc = kExitOk;
        size_t number = 0;
        Json given;
        PavaMsgList frames;
        for (;;) {
            try {
                if (!source.next(given)) break;
            } catch (const Json::exception& e) {
                fmt::print(stderr, "pava: record {}: not JSON: {}\n", number + 1, e.what());
                rc = worst(rc, kExitDamaged);
                break;
            }
            ++number;
            PavaFullData rec;
            try {
                rec = recordFromJson(given);
            } catch (const RecordError& e) {
                fmt::print(stderr, "pava: record {}: {}\n", number, e.what());
                rc = worst(rc, kExitDamaged);
                if (o.strict) break;
                continue;
            }
            // Taken before the call: an encoder may change the record it is given.
            const Json asked = recordToJson(rec);
            const int call = Data_To_Pava(&rec, &frames);
            log.flushTo(nullptr, fmt::format("record {}: ", number));
            if (call != PAVA_OK) {
                fmt::print(stderr, "pava: record {}: {:05} not encoded: Data_To_Pava returned {:#x}\n", number,
                           rec.msgId, call);
                rc = worst(rc, kExitCodec);
                if (o.strict) break;
                continue;
            }
            // What the frames carry, against what was asked for.
            std::vector<std::string> lost;
            if (frames.empty()) {
                lost.push_back("no frame sent: the codec produced none for this record");
            } else {
                Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
                int back = PAVA_OK;
                const Json received = receivedRecord(frames, back);
                if (o.log != LogTo::Off) Pava_SetLogOutput(PAVA_LOG_CALLBACK, &LogCapture::collect, &log);
                lost = lostMembers(asked, received);
                if (back != PAVA_OK) lost.insert(lost.begin(), fmt::format("the frames decode with rc {:#x}", back));
            }
            for (const std::string& l : lost) fmt::print(stderr, "pava: record {} ({:05}): {}\n", number, rec.msgId, l);
            if (!lost.empty() && o.strict) {
                rc = worst(rc, kExitCodec);
                break;
            }
            for (const PavaMsg& f : frames) writeFrame(out.buffer(), f, o.form);
            out.endRecord();
        }
        out.flush();
        return rc;
    });
}

}  // namespace pava::tool
