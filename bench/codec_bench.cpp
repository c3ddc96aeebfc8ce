// Speed of the codecs beside the anchors they are judged against, in one run.
//
// Anchors: a memcpy of one 8208-byte frame, the frame floor (append a zeroed
// frame to a list and write its header), one fixed-width number written and
// read, one small allocation, one log line formatted by the C library, and the
// per-call design that builds two ordered maps of every handler on each call.
// Codecs: one id of every family (encode and decode of one frame), 20001 on one
// and two threads, every splitting id at 1 to 30,000 items into fresh and
// reused lists (encode) and records (decode), and log lines off and to a sink.
// Every benchmark counts the allocations of its calls (`allocs` per call).
//
// `zmpava_bench` prints Google Benchmark's tables; `zmpava_bench --report`
// runs every benchmark five times in random order and prints the medians as
// ratios against the targets (see docs/speed.md).
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "ZMPavaAnalyzer.h"
#include "allocation_counter.h"
#include "analyzer.h"
#include "field_codec.h"
#include "log.h"
#include "message.h"
#include "messages/catalog.h"

namespace {

using namespace pava;

long minorFaults() {
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_minflt;
}

// Counts the allocations made while a benchmark loop runs.
class AllocationMeter {
public:
    explicit AllocationMeter(benchmark::State& state) : m_state(state), m_start(bench::allocationsOfThisThread()) {}
    ~AllocationMeter() {
        m_state.counters["allocs"] =
            benchmark::Counter(static_cast<double>(bench::allocationsOfThisThread() - m_start), benchmark::Counter::kAvgIterations);
    }

private:
    benchmark::State& m_state;
    uint64_t m_start;
};

// Repeats call, untimed, until one call touches no page the process had not
// touched before (at most eight calls). A first touch of memory costs a page
// fault, which on the development machine's hypervisor takes about 11 us, as
// much as encoding 700 list items; the first calls of a long list grow the
// heap and fault on every page of it, and a benchmark of 70 iterations would
// count that start-up as part of the codec. A long-running caller has long
// paid it.
template <class Call>
void warmUp(Call call) {
    for (int i = 0; i < 8; ++i) {
        const long before = minorFaults();
        call();
        if (minorFaults() == before) return;
    }
}

struct QuietLog {
    QuietLog() { Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr); }
};
const QuietLog quiet;

// ---------------------------------------------------------------------------
// Records
// ---------------------------------------------------------------------------

constexpr char kReference[] = "LD0/LLN0.Mod.stVal";  // 18 characters: outgrows a string's inline buffer

PavaFieldItem fieldItem(int type, const char* value) {
    PavaFieldItem f;
    f.fieldType = type;
    f.fieldLen = static_cast<int>(std::strlen(value));
    f.fieldText1 = value;
    f.fieldText2 = value;
    return f;
}

PavaDataItem dataItem(int id) {
    PavaDataItem item;
    item.itemId = id;
    item.itemText = "ITEM";
    item.itemText2 = "BETA";
    item.itemInt2 = 8;
    std::memcpy(item.itemBlock, "BLOCK-OF-15-CHR", 15);
    return item;
}

// A record with every member a codec of this library reads filled in.
PavaFullData richRecord(int id) {
    PavaFullData rec;
    rec.msgId = static_cast<uint16_t>(id);
    rec.rii = 5;
    rec.msgType = 1;
    rec.intValue1 = rec.intValue2 = rec.intValue3 = rec.intValue5 = rec.intValue6 = 7;
    rec.intValue4 = 1;
    rec.intValue7 = rec.intValue8 = rec.intValue9 = rec.intValue10 = 12;
    rec.intValue11 = rec.intValue12 = rec.intValue13 = 3;
    rec.intValue14 = 2;
    rec.intValue15 = 77;
    rec.intValue16 = 1;
    for (char* text : {rec.text12a, rec.text12b, rec.text12c, rec.text12d}) std::memcpy(text, "ABCDEFGHIJKL", 12);
    std::strcpy(rec.text20a, "TWENTY-CHARACTERS-20");
    std::strcpy(rec.text20b, "TWENTY-CHARACTERS-20");
    std::strcpy(rec.text15a, "FIFTEEN-CHARS15");
    std::strcpy(rec.text15b, "FIFTEEN-CHARS15");
    std::strcpy(rec.text32, "THIRTY-TWO-CHARACTERS-OF-TEXT-32");
    std::strcpy(rec.text64a, "A TEXT OF SIXTY-FOUR CHARACTERS AT MOST");
    std::strcpy(rec.text64b, "A TEXT OF SIXTY-FOUR CHARACTERS AT MOST");
    std::strcpy(rec.text26, "TWENTY-SIX-CHARACTER-TEXTS");
    for (std::string* s : {&rec.string1, &rec.string2, &rec.string3, &rec.string4, &rec.string5, &rec.string6})
        *s = "a free-length text of some forty characters";
    for (int i = 0; i < 3; ++i) {
        rec.dataList.push_back(dataItem(i + 1));
        rec.dataList2.push_back(dataItem(i + 1));
        PavaSettingItem setting;
        setting.setId = i + 1;
        setting.setInt = 3;
        std::memcpy(setting.setText30, "SETTING-TEXT-OF-THIRTY-CHARS-", 30);
        setting.setText = "SETTING";
        setting.setText2 = "VALUE";
        rec.settingList.push_back(setting);
    }
    for (int i = 0; i < 2; ++i) {
        PavaRecordItem record;
        record.fieldList = {fieldItem(1, "VALUE-08"), fieldItem(2, "VALUE-08")};
        record.recInt = i + 1;
        rec.recordList.push_back(record);
    }
    PavaFileBlock& block = rec.fileBlock;
    std::strcpy(block.fbText16a, "SIXTEEN-CHARS-16");
    std::strcpy(block.fbText16b, "SIXTEEN-CHARS-16");
    std::strcpy(block.fbText32a, "THIRTY-TWO-CHARACTERS-OF-TEXT-32");
    block.fbCount = 3;
    for (int i = 0; i < 3; ++i) std::memcpy(block.fbCodes[i], "CODE-12-CHAR", 12);
    return rec;
}

// Splitting ids and how one of their list items is built. A list item costs
// `numbers` fixed-width numbers and `bytes` copied bytes on the wire.
struct SplitId {
    int id;
    int numbers;
    int bytes;
};
constexpr SplitId kSplitIds[] = {
    {20014, 1, 8},  {20016, 1, 8},  {20018, 1, 16}, {20020, 1, 16}, {20155, 3, 9},
    {30014, 1, 8},  {30016, 1, 8},  {30018, 1, 16}, {10002, 3, 16},  {10004, 5, 9},
    {10006, 3, 8},  {61851, 2, 108}, {61901, 2, 108}, {61858, 3, 108},
};
constexpr int kListSizes[] = {1, 100, 1000, 30000};

// A record of the id whose list holds n items.
PavaFullData listRecord(int id, int n) {
    PavaFullData rec = richRecord(id);
    rec.dataList.clear();
    rec.recordList.clear();
    if (id == 10004) rec.intValue16 = 3;
    for (int i = 0; i < n; ++i) {
        if (id >= 10001 && id <= 10006) {
            // Value sizes that make every frame decode in full: no field count
            // of a record that did not fit is left at a frame's end (decoding
            // would read past the body and fail), and 10002's per-frame record
            // count, written over the prefix, leaves a sub-type of 2 or 3.
            const char* value = id == 10002 ? "VALUE-OF-16-CHRS" : id == 10004 ? "VALUE-009" : "VALUE-08";
            PavaRecordItem record;
            record.fieldList = {fieldItem(1, value)};
            rec.recordList.push_back(record);
        } else if (id == 61858) {
            PavaRecordItem structure;
            PavaFieldItem attr = fieldItem(1, "VALUE-08");
            attr.fieldText1 = kReference;
            structure.fieldList = {attr};
            rec.recordList.push_back(structure);
        } else {
            // Item numbers repeat every 1,000, so that a list of any length
            // holds the same mix of numbers: one longer than its field is cut,
            // which costs more than one that fits, and ids up to 30,000 would
            // make the long lists' items dearer than the short lists'.
            PavaDataItem item = dataItem(i % 1000);
            if (id == 20155) item.itemText = "ALPHA";
            if (id == 61851 || id == 61901) {
                item.itemText = kReference;
                item.itemText2 = "VALUE-08";
            }
            rec.dataList.push_back(item);
        }
    }
    return rec;
}

// The allocations a decoded record must own: one per non-empty list, one per
// string that outgrows its inline buffer. A reused record keeps the capacity
// of its own strings and lists; the elements of its lists are new.
double ownedAllocations(const PavaFullData& rec, bool reused) {
    const size_t inline_ = std::string().capacity();
    double n = 0;
    auto str = [&](const std::string& s, bool kept) {
        if (s.size() > inline_ && !kept) ++n;
    };
    auto list = [&](const auto& v, bool kept) {
        if (!v.empty() && !kept) ++n;
    };
    for (const std::string* s : {&rec.string1, &rec.string2, &rec.string3, &rec.string4, &rec.string5, &rec.string6})
        str(*s, reused);
    for (const auto* items : {&rec.dataList, &rec.dataList2}) {
        list(*items, reused);
        for (const PavaDataItem& item : *items) str(item.itemText, false), str(item.itemText2, false);
    }
    list(rec.settingList, reused);
    for (const PavaSettingItem& s : rec.settingList) str(s.setText, false), str(s.setText2, false);
    list(rec.recordList, reused);
    for (const PavaRecordItem& r : rec.recordList) {
        list(r.fieldList, false), list(r.fieldList2, false);
        str(r.recText1, false), str(r.recText2, false), str(r.recText3, false);
        for (const auto* fields : {&r.fieldList, &r.fieldList2})
            for (const PavaFieldItem& f : *fields) str(f.fieldText1, false), str(f.fieldText2, false);
    }
    return n;
}

PavaMsgList encodeOrFail(benchmark::State& state, PavaFullData& rec) {
    PavaMsgList frames;
    if (Data_To_Pava(&rec, &frames) != 0 || frames.empty()) state.SkipWithError("the record does not encode");
    return frames;
}

// ---------------------------------------------------------------------------
// Anchors
// ---------------------------------------------------------------------------

void BM_Anchor_Memcpy8208(benchmark::State& state) {
    struct alignas(64) Block {
        char bytes[sizeof(PavaMsg)];
    };
    static Block source, target;
    std::memset(source.bytes, 'x', sizeof source.bytes);
    char* from = source.bytes;
    char* to = target.bytes;
    for (auto _ : state) {
        benchmark::DoNotOptimize(from);
        benchmark::DoNotOptimize(to);
        std::memcpy(to, from, sizeof(PavaMsg));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Anchor_Memcpy8208);

// The least an encoder of one frame does: a zeroed frame appended to a list
// with capacity and its header written from the record, by hand.
void writeHeadByHand(char* head, const PavaFullData& rec, int length) {
    std::memset(head, ' ', PAVA_HEAD_LEN);
    for (int v = rec.rii, i = rec.rii >= 100 ? 2 : rec.rii >= 10 ? 1 : 0; i >= 0; --i, v /= 10)
        head[i] = static_cast<char>('0' + v % 10);
    for (int v = rec.msgId, i = 7; i >= 3; --i, v /= 10) head[i] = static_cast<char>('0' + v % 10);
    head[8] = static_cast<char>('0' + rec.msgType % 10);
    for (int v = length, i = length >= 10 ? 10 : 9; i >= 9; --i, v /= 10) head[i] = static_cast<char>('0' + v % 10);
    head[14] = static_cast<char>('0' + rec.headFlag % 10);
    head[15] = '0';
}

void BM_Anchor_FrameFloor(benchmark::State& state) {
    PavaFullData rec = richRecord(20001);
    PavaMsgList frames;
    frames.reserve(1);
    AllocationMeter meter(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(rec.msgId);
        frames.clear();
        PavaMsg& frame = frames.emplace_back();
        writeHeadByHand(frame.head, rec, 12);
        benchmark::DoNotOptimize(frames.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Anchor_FrameFloor);

// Values of 1 to 8 digits, evenly by digit count, some negative.
std::vector<int> numberSamples() {
    std::vector<int> values;
    uint32_t seed = 12345;
    for (int i = 0; i < 1024; ++i) {
        seed = seed * 1664525u + 1013904223u;
        int v = static_cast<int>(seed >> 8) % 100000000;
        for (int d = i % 8; d < 7; ++d) v /= 10;
        values.push_back(i % 16 == 15 ? -v : v);
    }
    return values;
}

void BM_Anchor_FormatNumber(benchmark::State& state) {
    const std::vector<int> values = numberSamples();
    char field[16];
    size_t i = 0;
    for (auto _ : state) {
        writeIntField(values[i++ & 1023], field, 8);
        benchmark::DoNotOptimize(field);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Anchor_FormatNumber);

// The same numbers through the C library, as a "%-8d" field was once written.
void BM_Anchor_FormatNumberPrintf(benchmark::State& state) {
    const std::vector<int> values = numberSamples();
    char field[16];
    char text[24];
    size_t i = 0;
    for (auto _ : state) {
        std::snprintf(text, sizeof text, "%-8d", values[i++ & 1023]);
        std::memcpy(field, text, 8);
        benchmark::DoNotOptimize(field);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Anchor_FormatNumberPrintf);

void BM_Anchor_ParseNumber(benchmark::State& state) {
    std::vector<char> fields(1024 * 8);
    const std::vector<int> values = numberSamples();
    for (size_t k = 0; k < values.size(); ++k) writeIntField(values[k], &fields[k * 8], 8);
    size_t i = 0;
    for (auto _ : state) benchmark::DoNotOptimize(readIntField(&fields[(i++ & 1023) * 8], 8));
}
BENCHMARK(BM_Anchor_ParseNumber);

// One allocation a decoded record must own (a string past its inline buffer).
void BM_Anchor_Allocation(benchmark::State& state) {
    for (auto _ : state) {
        void* p = ::operator new(32);
        benchmark::DoNotOptimize(p);
        ::operator delete(p);
    }
}
BENCHMARK(BM_Anchor_Allocation);

// One log line formatted by the C library.
void BM_Anchor_FormatLogLine(benchmark::State& state) {
    char text[512];
    int id = 20001;
    for (auto _ : state) {
        benchmark::DoNotOptimize(id);
        std::snprintf(text, sizeof text, "Data_To_Pava_%05d!\n", id);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(BM_Anchor_FormatLogLine);

// The per-call design: two ordered maps of every handler built on each call,
// one lookup, the encoder, the maps torn down. That design registers a
// handler for each of the 211 ids the protocol names, in id order, those
// without a body layout included (here without a codec).
void BM_Anchor_PerCallMaps(benchmark::State& state) {
    PavaFullData rec = richRecord(20001);
    PavaMsgList frames;
    CPavaMsgAnalyze analyzer(&rec);
    std::vector<std::pair<int, const MessageDef*>> handlers;
    for (const MessageDef* def : registeredMessages()) handlers.emplace_back(def->id, def);
    for (const int id : messages::kIdsWithoutLayout) handlers.emplace_back(id, nullptr);
    std::sort(handlers.begin(), handlers.end());
    AllocationMeter meter(state);
    for (auto _ : state) {
        std::map<int, const MessageDef*> encoders;
        std::map<int, const MessageDef*> decoders;
        for (const auto& [id, def] : handlers) {
            encoders[id] = def;
            decoders[id] = def;
        }
        const auto it = encoders.lower_bound(rec.msgId);
        FrameList out(frames);
        benchmark::DoNotOptimize(it->second->encode(*it->second, &out, &analyzer));
        benchmark::DoNotOptimize(frames.data());
    }
}
BENCHMARK(BM_Anchor_PerCallMaps);

// ---------------------------------------------------------------------------
// One frame: one id of every family, 20001 on one and two threads
// ---------------------------------------------------------------------------

void encodeLoop(benchmark::State& state, PavaFullData rec) {
    PavaMsgList frames = encodeOrFail(state, rec);
    AllocationMeter meter(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Data_To_Pava(&rec, &frames));
        benchmark::DoNotOptimize(frames.data());
    }
}

void decodeLoop(benchmark::State& state, PavaFullData rec) {
    const PavaMsgList frames = encodeOrFail(state, rec);
    if (frames.empty()) return;
    PavaFullData out;
    if (Pava_To_Data(&frames[0], &out) != 0) state.SkipWithError("the frame does not decode");
    state.counters["owned"] = ownedAllocations(out, true);
    AllocationMeter meter(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Pava_To_Data(&frames[0], &out));
        benchmark::ClobberMemory();
    }
}

void BM_Encode20001(benchmark::State& state) { encodeLoop(state, richRecord(20001)); }
BENCHMARK(BM_Encode20001)->Threads(1)->Threads(2);

void BM_Decode20001(benchmark::State& state) { decodeLoop(state, richRecord(20001)); }
BENCHMARK(BM_Decode20001)->Threads(1)->Threads(2);

// The family representatives: a message of each family that the rich record
// fills completely.
constexpr int kFamilyIds[] = {20018, 10002, 801,   30123, 101,   204,   205,   901,
                              210,   213,   30042, 20001, 20007, 20002, 20138, 20169,
                              20123, 20113, 20176, 61851, 61858, 61852};
static_assert(std::size(kFamilyIds) == std::size(messages::kFamilies));

void registerFamilies() {
    for (size_t f = 0; f < std::size(kFamilyIds); ++f) {
        const int id = kFamilyIds[f];
        const std::string name = std::to_string(id) + "/" + messages::kFamilies[f].name;
        benchmark::RegisterBenchmark(("BM_EncodeFamily/" + name).c_str(),
                                     [id](benchmark::State& s) { encodeLoop(s, richRecord(id)); });
        benchmark::RegisterBenchmark(("BM_DecodeFamily/" + name).c_str(),
                                     [id](benchmark::State& s) { decodeLoop(s, richRecord(id)); });
    }
}

// ---------------------------------------------------------------------------
// Lists: every splitting id at 1 to 30,000 items
// ---------------------------------------------------------------------------

// The whole list into frames; a fresh list per call or one reused list.
void listEncode(benchmark::State& state, int id, int n, bool reused) {
    PavaFullData rec = listRecord(id, n);
    const PavaMsgList sample = encodeOrFail(state, rec);
    state.counters["frames"] = static_cast<double>(sample.size());
    state.counters["items"] = n;
    // A reused list holds the frames of earlier encodes of this message.
    PavaMsgList kept;
    warmUp([&] {
        if (reused) {
            Data_To_Pava(&rec, &kept);
        } else {
            PavaMsgList frames;
            Data_To_Pava(&rec, &frames);
        }
    });
    AllocationMeter meter(state);
    for (auto _ : state) {
        if (reused) {
            benchmark::DoNotOptimize(Data_To_Pava(&rec, &kept));
            benchmark::DoNotOptimize(kept.data());
        } else {
            PavaMsgList frames;
            benchmark::DoNotOptimize(Data_To_Pava(&rec, &frames));
            benchmark::DoNotOptimize(frames.data());
        }
    }
}

// Every frame of the list decoded, into one reused record or a fresh one
// per frame.
void listDecode(benchmark::State& state, int id, int n, bool reused) {
    PavaFullData rec = listRecord(id, n);
    const PavaMsgList frames = encodeOrFail(state, rec);
    state.counters["frames"] = static_cast<double>(frames.size());
    state.counters["items"] = n;
    double owned = 0;
    size_t items = 0;
    PavaFullData out;
    for (const PavaMsg& frame : frames) {
        if (Pava_To_Data(&frame, &out) != 0) state.SkipWithError("a frame does not decode");
        owned += ownedAllocations(out, reused);
        items += out.dataList.size() + out.recordList.size();
    }
    // A per-item figure means nothing for frames that give back fewer items.
    if (items < static_cast<size_t>(n)) state.SkipWithError("the frames do not give back every item");
    state.counters["owned"] = owned;
    AllocationMeter meter(state);
    for (auto _ : state) {
        for (const PavaMsg& frame : frames) {
            if (reused) {
                benchmark::DoNotOptimize(Pava_To_Data(&frame, &out));
            } else {
                PavaFullData fresh;
                benchmark::DoNotOptimize(Pava_To_Data(&frame, &fresh));
            }
            benchmark::ClobberMemory();
        }
    }
}

void registerLists() {
    for (const SplitId& s : kSplitIds) {
        for (const int n : kListSizes) {
            for (const bool reused : {false, true}) {
                const std::string name =
                    std::to_string(s.id) + "/" + std::to_string(n) + (reused ? "/reused" : "/fresh");
                const int id = s.id;
                benchmark::RegisterBenchmark(("BM_ListEncode/" + name).c_str(),
                                             [=](benchmark::State& st) { listEncode(st, id, n, reused); })
                    ->MinTime(0.05);
                benchmark::RegisterBenchmark(("BM_ListDecode/" + name).c_str(),
                                             [=](benchmark::State& st) { listDecode(st, id, n, reused); })
                    ->MinTime(0.05);
            }
        }
    }
}

// ---------------------------------------------------------------------------
// Log lines
// ---------------------------------------------------------------------------

void sink(const char* text, void*) { benchmark::DoNotOptimize(text); }

void logLines(benchmark::State& state, int mode, bool frameLine) {
    Pava_SetLogOutput(mode, mode == PAVA_LOG_CALLBACK ? sink : nullptr, nullptr);
    int id = 20001;
    for (auto _ : state) {
        benchmark::DoNotOptimize(id);
        if (frameLine)
            log::format("Data_To_Pava_%05d make frame datanum %d, frmidx = %d \r\n", id, 339, 1);
        else
            log::encodeEntry(id);
    }
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
}

void BM_LogEntryLine_Off(benchmark::State& state) { logLines(state, PAVA_LOG_OFF, false); }
BENCHMARK(BM_LogEntryLine_Off);
void BM_LogEntryLine_Sink(benchmark::State& state) { logLines(state, PAVA_LOG_CALLBACK, false); }
BENCHMARK(BM_LogEntryLine_Sink);
void BM_LogFrameLine_Sink(benchmark::State& state) { logLines(state, PAVA_LOG_CALLBACK, true); }
BENCHMARK(BM_LogFrameLine_Sink);

// The same line through the C library, the anchor of the make-frame line.
void BM_Anchor_FormatFrameLine(benchmark::State& state) {
    char text[512];
    int id = 20001;
    for (auto _ : state) {
        benchmark::DoNotOptimize(id);
        std::snprintf(text, sizeof text, "Data_To_Pava_%05d make frame datanum %d, frmidx = %d \r\n", id, 339, 1);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(BM_Anchor_FormatFrameLine);

// ---------------------------------------------------------------------------
// Report mode
// ---------------------------------------------------------------------------

struct Figures {
    double cpu = 0;   // CPU time per call, ns (median)
    double real = 0;  // wall time per call, ns (median)
    std::map<std::string, double> counters;
};

// Keeps the medians of every benchmark; prints a dot per benchmark.
class MedianCollector : public benchmark::BenchmarkReporter {
public:
    std::map<std::string, Figures> medians;
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.error_occurred) {
                std::fprintf(stderr, "\n%s: %s\n", run.benchmark_name().c_str(), run.error_message.c_str());
                continue;
            }
            if (run.run_type != Run::RT_Aggregate) continue;
            // Named without the run's own settings ("/min_time:0.050").
            std::string name = run.run_name.str();
            if (const size_t at = name.find("/min_time:"); at != std::string::npos) name.erase(at);
            if (run.aggregate_name != "median") continue;
            Figures& f = medians[name];
            f.cpu = run.GetAdjustedCPUTime();
            f.real = run.GetAdjustedRealTime();
            for (const auto& [key, counter] : run.counters) f.counters[key] = counter.value;
            std::fputc('.', stderr);
        }
    }
};

class Report {
public:
    explicit Report(const std::map<std::string, Figures>& m) : m_medians(m) {}

    const Figures* find(const std::string& name) const {
        const auto it = m_medians.find(name);
        return it == m_medians.end() ? nullptr : &it->second;
    }
    double cpu(const std::string& name) const {
        const Figures* f = find(name);
        return f != nullptr ? f->cpu : 0;
    }
    double counter(const std::string& name, const char* key) const {
        const Figures* f = find(name);
        if (f == nullptr) return 0;
        const auto it = f->counters.find(key);
        return it == f->counters.end() ? 0 : it->second;
    }

    void section(const char* title) { std::printf("\n%s\n", title); }
    void line(const std::string& what, const std::string& figure) { std::printf("  %-58s %s\n", what.c_str(), figure.c_str()); }
    // A ratio against its limit: at most (or at least) the limit.
    void check(const std::string& what, double value, double limit, bool atMost, const char* unit = "x") {
        // A figure that is missing (0 from an absent benchmark, NaN) never meets a target.
        const bool measured = value == value && (value > 0 || (atMost && limit == 0 && value == 0));
        const bool met = measured && (atMost ? value <= limit : value >= limit);
        char text[160];
        std::snprintf(text, sizeof text, "%8.3f%s  (%s %.2f%s)  %s", value, unit, atMost ? "<=" : ">=", limit, unit,
                      met ? "met" : "NOT MET");
        line(what, text);
        ++m_checked;
        if (!met) ++m_missed;
    }
    int missed() const { return m_missed; }
    int checked() const { return m_checked; }

private:
    const std::map<std::string, Figures>& m_medians;
    int m_checked = 0;
    int m_missed = 0;
};

std::string listName(const char* direction, int id, int n, bool reused) {
    return std::string("BM_List") + direction + "/" + std::to_string(id) + "/" + std::to_string(n) +
           (reused ? "/reused" : "/fresh");
}

std::string ns(double v) {
    char text[64];
    std::snprintf(text, sizeof text, "%10.2f ns", v);
    return text;
}

int printReport(const std::map<std::string, Figures>& medians) {
    Report r(medians);
    std::printf("\nMedians of CPU time per call (ns); ratios against the targets.\n");

    r.section("Anchors");
    const double memcpyNs = r.cpu("BM_Anchor_Memcpy8208");
    const double floorNs = r.cpu("BM_Anchor_FrameFloor");
    const double fmtNs = r.cpu("BM_Anchor_FormatNumber");
    const double parseNs = r.cpu("BM_Anchor_ParseNumber");
    const double allocNs = r.cpu("BM_Anchor_Allocation");
    r.line("memcpy of 8208 bytes", ns(memcpyNs));
    r.line("frame floor (zeroed frame appended, header written)", ns(floorNs));
    r.line("one fixed-width number written", ns(fmtNs));
    r.line("  the same through snprintf", ns(r.cpu("BM_Anchor_FormatNumberPrintf")));
    r.line("one fixed-width number read", ns(parseNs));
    r.line("one allocation and its release", ns(allocNs));
    r.line("per-call design: two maps of every handler, then 20001", ns(r.cpu("BM_Anchor_PerCallMaps")));

    r.section("One frame");
    const double enc = r.cpu("BM_Encode20001/threads:1");
    const double dec = r.cpu("BM_Decode20001/threads:1");
    r.line("20001 encode", ns(enc));
    r.line("20001 decode", ns(dec));
    r.check("20001 encode / frame floor", enc / floorNs, 1.2, true);
    r.check("20001 decode / memcpy 8208", dec / memcpyNs, 0.7, true);
    r.check("per-call design / 20001 encode", r.cpu("BM_Anchor_PerCallMaps") / enc, 150, false);
    for (size_t f = 0; f < std::size(kFamilyIds); ++f) {
        const std::string name = std::to_string(kFamilyIds[f]) + "/" + messages::kFamilies[f].name;
        char text[96];
        std::snprintf(text, sizeof text, "%9.1f ns encode %9.1f ns decode",
                      r.cpu("BM_EncodeFamily/" + name), r.cpu("BM_DecodeFamily/" + name));
        r.line(name, text);
    }

    r.section("Lists: per item at 1,000 items (reused) against the floor");
    const double perByte = memcpyNs / static_cast<double>(sizeof(PavaMsg));
    for (const SplitId& s : kSplitIds) {
        const int n = 1000;
        const std::string e = listName("Encode", s.id, n, true);
        const std::string d = listName("Decode", s.id, n, true);
        const double frames = r.counter(e, "frames");
        const double encFloor = s.numbers * fmtNs + s.bytes * perByte + frames * floorNs / n;
        const double decFloor = s.numbers * parseNs + s.bytes * perByte + r.counter(d, "owned") / n * allocNs;
        const double encItem = r.cpu(e) / n;
        const double decItem = r.cpu(d) / n;
        char text[128];
        std::snprintf(text, sizeof text, "%d encode %.1f ns/item (floor %.1f), decode %.1f ns/item (floor %.1f)",
                      s.id, encItem, encFloor, decItem, decFloor);
        r.line(text, "");
        r.check("  " + std::to_string(s.id) + " encode per item / floor", encItem / encFloor, 2.0, true);
        r.check("  " + std::to_string(s.id) + " decode per item / floor", decItem / decFloor, 2.0, true);
    }

    r.section("Linear: per item at 30,000 items / per item at 1,000");
    for (const SplitId& s : kSplitIds)
        for (const char* direction : {"Encode", "Decode"})
            for (const bool reused : {false, true}) {
                const double big = r.cpu(listName(direction, s.id, 30000, reused)) / 30000;
                const double small = r.cpu(listName(direction, s.id, 1000, reused)) / 1000;
                r.check(std::to_string(s.id) + " " + direction + (reused ? " reused" : " fresh"), big / small, 1.15,
                        true);
            }

    r.section("Allocations per call");
    int encodeAllocs = 0, decodeExtra = 0, decodeChecked = 0;
    std::string worst;
    for (const auto& [name, figures] : medians) {
        const auto allocs = figures.counters.find("allocs");
        if (allocs == figures.counters.end()) continue;
        const bool encodeIntoCapacity = name.rfind("BM_EncodeFamily/", 0) == 0 || name.rfind("BM_Encode20001", 0) == 0 ||
                                        (name.rfind("BM_ListEncode/", 0) == 0 && name.find("/reused") != std::string::npos);
        if (encodeIntoCapacity && allocs->second > 0) {
            ++encodeAllocs;
            worst += "\n    " + name + ": " + std::to_string(allocs->second);
        }
        const auto owned = figures.counters.find("owned");
        if (owned != figures.counters.end()) {
            ++decodeChecked;
            if (allocs->second > owned->second + 1e-9) {
                ++decodeExtra;
                worst += "\n    " + name + ": " + std::to_string(allocs->second) + " where " +
                         std::to_string(owned->second) + " are owned";
            }
        }
    }
    r.check("encodes into a list with capacity that allocate", encodeAllocs, 0, true, "");
    r.check("decodes allocating more than the record owns (of " + std::to_string(decodeChecked) + ")", decodeExtra, 0,
            true, "");
    if (!worst.empty()) std::printf("  offenders:%s\n", worst.c_str());

    r.section("Two threads (20001)");
    for (const char* what : {"Encode", "Decode"}) {
        const Figures* one = r.find(std::string("BM_") + what + "20001/threads:1");
        const Figures* two = r.find(std::string("BM_") + what + "20001/threads:2");
        if (one == nullptr || two == nullptr) continue;
        r.check(std::string(what) + ": CPU per call, two threads / one", two->cpu / one->cpu, 1.10, true);
        r.check(std::string(what) + ": throughput, two threads / one", one->real / two->real, 1.8, false);
    }

    r.section("Log lines");
    r.check("entry line, logging off (ns per line)", r.cpu("BM_LogEntryLine_Off"), 1.0, true, " ns");
    r.check("entry line to a sink / its snprintf", r.cpu("BM_LogEntryLine_Sink") / r.cpu("BM_Anchor_FormatLogLine"),
            1.0, true);
    r.check("make-frame line to a sink / its snprintf",
            r.cpu("BM_LogFrameLine_Sink") / r.cpu("BM_Anchor_FormatFrameLine"), 1.0, true);

    std::printf("\n%d of %d targets met.\n", r.checked() - r.missed(), r.checked());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<char*> args(argv, argv + argc);
    const auto reportFlag = std::find_if(args.begin(), args.end(), [](char* a) { return std::strcmp(a, "--report") == 0; });
    const bool report = reportFlag != args.end();
    // Report mode: five repetitions in random order, so that a slow phase of
    // the machine falls on every benchmark alike and the medians leave it out;
    // 0.1 s per run; aggregates only. A flag given on the command line wins.
    std::string defaults[] = {"--benchmark_repetitions=5", "--benchmark_enable_random_interleaving=true",
                              "--benchmark_min_time=0.1", "--benchmark_report_aggregates_only=true"};
    if (report) {
        args.erase(reportFlag);
        for (std::string& flag : defaults) {
            const std::string name = flag.substr(0, flag.find('='));
            const bool given = std::any_of(args.begin(), args.end(),
                                           [&](char* a) { return std::strncmp(a, name.c_str(), name.size()) == 0; });
            if (!given) args.push_back(flag.data());
        }
    }
    int count = static_cast<int>(args.size());
    args.push_back(nullptr);
    registerFamilies();
    registerLists();
    benchmark::Initialize(&count, args.data());
    if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 1;
    if (!report) {
        benchmark::RunSpecifiedBenchmarks();
        benchmark::Shutdown();
        return 0;
    }
    MedianCollector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    benchmark::Shutdown();
    return printReport(collector.medians);
}
