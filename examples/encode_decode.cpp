// Encodes each record of a small text file into PAVA frames, prints the
// frames and decodes them back.
//
// Each non-empty line that does not start with '#' holds:
//   msgId rii msgType headFlag address
// where address is the 12-character code carried in text12b (text12a for the
// ids that carry that one instead).
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "ZMPavaAnalyzer.h"

namespace {

void printFrame(const PavaMsg& frame, int bodyLength) {
    std::string head;
    for (char c : frame.head) head += (c >= 0x20 && c < 0x7f) ? c : '.';
    std::printf("  header |%s|\n  body   |", head.c_str());
    for (int i = 0; i < bodyLength && i < MAX_PAVA_MSG_LEN; ++i) {
        const auto c = static_cast<unsigned char>(frame.body[i]);
        if (c >= 0x20 && c < 0x7f)
            std::putchar(c);
        else
            std::printf("\\x%02x", c);
    }
    std::printf("|\n");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s RECORDS.txt\n", argv[0]);
        return 2;
    }
    std::ifstream in(argv[1]);
    if (!in) {
        std::fprintf(stderr, "cannot open %s\n", argv[1]);
        return 2;
    }
    // The codecs' own log lines are not needed here.
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);

    int failures = 0;
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream fields(line);
        int id = 0, rii = 0, type = 0, flag = 0;
        std::string address;
        if (!(fields >> id >> rii >> type >> flag >> address)) {
            std::fprintf(stderr, "skipping malformed line: %s\n", line.c_str());
            ++failures;
            continue;
        }
        PavaFullData record;
        record.msgId = static_cast<uint16_t>(id);
        record.rii = static_cast<uint16_t>(rii);
        record.msgType = static_cast<uint16_t>(type);
        record.headFlag = static_cast<uint16_t>(flag);
        std::strncpy(record.text12a, address.c_str(), 12);
        std::strncpy(record.text12b, address.c_str(), 12);

        PavaMsgList frames;
        const int rc = Data_To_Pava(&record, &frames);
        std::printf("%05d encode -> 0x%x, %zu frame(s)\n", id, rc, frames.size());
        if (rc != PAVA_OK) {
            ++failures;
            continue;
        }
        for (const PavaMsg& frame : frames) {
            PavaFullData decoded;
            const int back = Pava_To_Data(&frame, &decoded);
            printFrame(frame, decoded.msgLen);
            std::printf("  decode -> 0x%x: msgId %05u rii %u length %u text12b \"%.12s\" text12a \"%.12s\"\n",
                        back, decoded.msgId, decoded.rii, decoded.msgLen, decoded.text12b, decoded.text12a);
            if (back != PAVA_OK) ++failures;
        }
    }
    return failures == 0 ? 0 : 1;
}
