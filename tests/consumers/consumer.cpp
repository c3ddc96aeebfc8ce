// A program written against the installed library only: one record encoded,
// its frame decoded again. Kept to C++11 so it proves what the header asks of callers.
#include <ZMPavaAnalyzer.h>

#include <cstdio>
#include <cstring>

int main() {
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
    PavaFullData record;
    record.msgId = 20001;
    record.rii = 5;
    std::memcpy(record.text12b, "ABCDEFGHIJKL", 12);

    PavaMsgList frames;
    if (Data_To_Pava(&record, &frames) != PAVA_OK || frames.size() != 1) return 1;
    if (std::memcmp(frames[0].body, "ABCDEFGHIJKL", 12) != 0) return 2;

    PavaFullData decoded;
    if (Pava_To_Data(&frames[0], &decoded) != PAVA_OK) return 3;
    if (decoded.msgId != 20001 || decoded.rii != 5 || std::strcmp(decoded.text12b, "ABCDEFGHIJKL") != 0) return 4;
    std::printf("consumer: %.16s%.12s\n", frames[0].head, frames[0].body);
    return 0;
}
