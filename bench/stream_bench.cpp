// Throughput of `pava decode` (to JSON Lines, and joined) and `pava dissect`
// in MB/s of wire input: the commands as the tool runs them, from a file of
// frames to /dev/null. Two inputs: the shipped records (short frames and one
// long list frame) and short single-address frames only, the costliest per byte.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "commands.h"
#include "frames.h"
#include "json_record.h"

namespace {

using namespace pava::tool;

// A file of about `bytes` of wire frames, repeating the frames of `records`.
std::string makeStream(const char* name, const Json& records, size_t bytes) {
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
    std::string once;
    for (const Json& j : records) {
        PavaFullData rec = recordFromJson(j);
        PavaMsgList frames;
        Data_To_Pava(&rec, &frames);
        for (const PavaMsg& f : frames) once.append(f.head, PAVA_HEAD_LEN + static_cast<size_t>(declaredLength(f)));
    }
    const std::string path = (std::filesystem::temp_directory_path() / name).string();
    std::ofstream out(path, std::ios::binary);
    for (size_t n = 0; n < bytes; n += once.size()) out << once;
    return path;
}

const std::string& shippedStream() {
    static const std::string path = [] {
        std::ifstream in(PAVA_SHIPPED_RECORDS);
        return makeStream("pava_bench_shipped.pava", Json::parse(in), 32u << 20);
    }();
    return path;
}

const std::string& shortStream() {
    static const std::string path = makeStream(
        "pava_bench_short.pava",
        Json::parse(R"([{"msgId": 20001, "rii": 5, "text12b": "ABCDEFGHIJKL"},
                        {"msgId": 20015, "rii": 6, "intValue2": 7, "intValue3": 12, "text12b": "SUB-STATION1"}])"),
        8u << 20);
    return path;
}

void run(benchmark::State& state, const std::string& path, int (*command)(const StreamOptions&), bool join = false) {
    StreamOptions o;
    o.input = path;
    o.output = "/dev/null";
    o.join = join;
    const auto size = static_cast<int64_t>(std::filesystem::file_size(path));
    for (auto _ : state)
        if (command(o) != kExitOk) state.SkipWithError("the command failed");
    state.SetBytesProcessed(state.iterations() * size);
}

void DecodeShipped(benchmark::State& s) { run(s, shippedStream(), runDecode); }
void DecodeJoinShipped(benchmark::State& s) { run(s, shippedStream(), runDecode, true); }
void DissectShipped(benchmark::State& s) { run(s, shippedStream(), runDissect); }
void DecodeShortFrames(benchmark::State& s) { run(s, shortStream(), runDecode); }
void DissectShortFrames(benchmark::State& s) { run(s, shortStream(), runDissect); }

BENCHMARK(DecodeShipped)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(DecodeJoinShipped)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(DissectShipped)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(DecodeShortFrames)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(DissectShortFrames)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();

}  // namespace
