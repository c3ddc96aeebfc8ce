// Speed of whole calls through the entry points, logging off.
#include <benchmark/benchmark.h>

#include <cstring>

#include "ZMPavaAnalyzer.h"

namespace {

struct QuietLog {
    QuietLog() { Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr); }
};
const QuietLog quiet;

PavaFullData addressRecord() {
    PavaFullData rec;
    rec.msgId = 20001;
    rec.rii = 5;
    std::strncpy(rec.text12b, "ABCDEFGHIJKL", 12);
    return rec;
}

// Decodes the first frame of the record's encoding, over and over.
void decodeLoop(benchmark::State& state, PavaFullData rec) {
    PavaMsgList frames;
    Data_To_Pava(&rec, &frames);
    PavaFullData out;
    for (auto _ : state) {
        benchmark::DoNotOptimize(Pava_To_Data(&frames[0], &out));
        benchmark::ClobberMemory();
    }
}

// Encodes the record, over and over, into one reused list.
void encodeLoop(benchmark::State& state, PavaFullData rec) {
    PavaMsgList frames;
    for (auto _ : state) {
        benchmark::DoNotOptimize(Data_To_Pava(&rec, &frames));
        benchmark::DoNotOptimize(frames.data());
    }
}

void BM_EncodeSingleAddress(benchmark::State& state) { encodeLoop(state, addressRecord()); }
BENCHMARK(BM_EncodeSingleAddress);

void BM_DecodeSingleAddress(benchmark::State& state) { decodeLoop(state, addressRecord()); }
BENCHMARK(BM_DecodeSingleAddress);

// A record of message `id` with `count` items (ids 0-9, the same text and block).
PavaFullData listRecord(uint16_t id, int count, const char* text) {
    PavaFullData rec = addressRecord();
    rec.msgId = id;
    PavaDataItem item;
    item.itemText = text;
    std::strncpy(item.itemBlock, "BLOCK-OF-15-CHR", 15);
    for (int i = 0; i < count; ++i) {
        item.itemId = i % 10;
        rec.dataList.push_back(item);
    }
    return rec;
}

// A list split over two frames: 340 items of 24 bytes.
void BM_EncodeSplitList(benchmark::State& state) { encodeLoop(state, listRecord(20018, 340, "V")); }
BENCHMARK(BM_EncodeSplitList);

// A full one-frame list of 545 items decoded back into the record.
void BM_DecodeFullList(benchmark::State& state) { decodeLoop(state, listRecord(20002, 545, "ITEM-TEXT")); }
BENCHMARK(BM_DecodeFullList);

void BM_UnknownId(benchmark::State& state) {
    PavaFullData rec = addressRecord();
    rec.msgId = 12345;
    PavaMsgList frames;
    for (auto _ : state) benchmark::DoNotOptimize(Data_To_Pava(&rec, &frames));
}
BENCHMARK(BM_UnknownId);

}  // namespace
