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

void BM_EncodeSingleAddress(benchmark::State& state) {
    PavaFullData rec = addressRecord();
    PavaMsgList frames;
    frames.reserve(4);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Data_To_Pava(&rec, &frames));
        benchmark::DoNotOptimize(frames.data());
    }
}
BENCHMARK(BM_EncodeSingleAddress);

void BM_DecodeSingleAddress(benchmark::State& state) {
    PavaFullData rec = addressRecord();
    PavaMsgList frames;
    Data_To_Pava(&rec, &frames);
    PavaFullData out;
    for (auto _ : state) {
        benchmark::DoNotOptimize(Pava_To_Data(&frames[0], &out));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_DecodeSingleAddress);

void BM_UnknownId(benchmark::State& state) {
    PavaFullData rec = addressRecord();
    rec.msgId = 12345;
    PavaMsgList frames;
    for (auto _ : state) benchmark::DoNotOptimize(Data_To_Pava(&rec, &frames));
}
BENCHMARK(BM_UnknownId);

}  // namespace
