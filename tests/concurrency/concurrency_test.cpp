// Several threads encode and decode every registered id at the same time,
// their first calls racing on the registry's first use; each thread's results
// (return codes, frames, decoded records, log lines) must equal a
// single-threaded run's. Built as its own program so that nothing touches the
// registry before the threads do; the `tsan` preset runs it under
// ThreadSanitizer.
#include <gtest/gtest.h>

#include <cstring>
#include <latch>
#include <map>
#include <thread>
#include <vector>

#include "message.h"
#include "record_image.h"
#include "../unit/support.h"

namespace pava {
namespace {

constexpr int kThreads = 4;
constexpr int kVariants = 3;

// The log lines of the calls on this thread since the last take.
thread_local std::string t_log;
void PAVA_CALL collectLog(const char* text, void*) { t_log += text; }

// A record for the id: variant 0 small values and lists, variant 1 long lists
// and texts (split frames, refusals part way), variant 2 nothing but the id.
PavaFullData sampleRecord(int id, int variant) {
    return variant == 2 ? test::recordFor(id) : test::busyRecord(id, variant == 0 ? 3 : 260, variant == 1);
}

// Everything one id and variant gives: encoder code, frames, then per frame
// the decoder code and record; the log lines of all of it.
std::string runOne(int id, int variant) {
    t_log.clear();
    PavaFullData rec = sampleRecord(id, variant);
    PavaMsgList frames;
    std::string out = "encode " + std::to_string(Data_To_Pava(&rec, &frames)) + "\n";
    for (const PavaMsg& frame : frames) {
        out.append(reinterpret_cast<const char*>(&frame), sizeof frame);
        PavaFullData decoded;
        out += "decode " + std::to_string(Pava_To_Data(&frame, &decoded)) + "\n";
        out += fuzz::image(decoded);
    }
    return out + "log\n" + t_log;
}

using Results = std::map<std::pair<int, int>, std::string>;

// Every id and variant, starting at a different id on each thread so that
// different codecs run at the same moment.
Results runAll(int start) {
    Results results;
    const auto defs = registeredMessages();
    for (size_t k = 0; k < defs.size(); ++k) {
        const int id = defs[(k + static_cast<size_t>(start) * 7) % defs.size()]->id;
        for (int v = 0; v < kVariants; ++v) results[{id, v}] = runOne(id, v);
    }
    return results;
}

TEST(Concurrency, ThreadsMatchASingleThreadedRun) {
    ASSERT_EQ(Pava_SetLogOutput(PAVA_LOG_CALLBACK, collectLog, nullptr), 0);
    std::vector<Results> perThread(kThreads);
    std::vector<std::string> firstCalls(kThreads);
    {
        std::latch start(kThreads);
        std::vector<std::jthread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([&, t] {
                start.arrive_and_wait();
                // The first call of every thread builds or waits for the registry.
                firstCalls[t] = runOne(t % 2 == 0 ? 20001 : 61850, 0);
                perThread[t] = runAll(t);
            });
    }
    const Results reference = runAll(0);
    // The comparison means something only when most codecs produce frames.
    size_t framed = 0;
    for (const auto& [key, text] : reference) framed += text.starts_with("encode 0\n") && text.size() > sizeof(PavaMsg);
    EXPECT_GT(framed, reference.size() / 2) << framed << " of " << reference.size() << " runs produced frames";
    for (int t = 0; t < kThreads; ++t) {
        EXPECT_EQ(firstCalls[t], runOne(t % 2 == 0 ? 20001 : 61850, 0)) << "first call of thread " << t;
        ASSERT_EQ(perThread[t].size(), reference.size()) << "thread " << t;
        for (const auto& [key, text] : reference)
            EXPECT_TRUE(perThread[t].at(key) == text)
                << "thread " << t << ": id " << key.first << " variant " << key.second << " differs";
    }
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
}

}  // namespace
}  // namespace pava
