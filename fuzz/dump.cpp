// With PAVA_FUZZ_DUMP=FILE set, the harnesses append what they feed the codecs
// to FILE, one JSON object a line: {"head", "body"} for a frame, {"record"}
// for a record, in the tool's JSON form, as the golden corpus writes them.
// scripts/fuzz.sh case turns them into golden corpus cases.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "json_record.h"
#include "support.h"

namespace pava::fuzz {

namespace {

void dumpLine(const tool::Json& line) {
    static std::FILE* const file = [] {
        const char* path = std::getenv("PAVA_FUZZ_DUMP");
        return path != nullptr ? std::fopen(path, "a") : nullptr;
    }();
    if (file == nullptr) return;
    std::fprintf(file, "%s\n", tool::jsonLine(line).c_str());
    std::fflush(file);
}

}  // namespace

void dumpFrame(const PavaMsg& frame) {
    if (std::getenv("PAVA_FUZZ_DUMP") == nullptr) return;
    size_t n = MAX_PAVA_MSG_LEN;
    while (n > 0 && frame.body[n - 1] == '\0') --n;
    dumpLine({{"head", tool::bytesToUtf8({frame.head, PAVA_HEAD_LEN})}, {"body", tool::bytesToUtf8({frame.body, n})}});
}

void dumpRecord(const PavaFullData& rec) {
    if (std::getenv("PAVA_FUZZ_DUMP") == nullptr) return;
    dumpLine({{"record", tool::recordToJson(rec)}});
}

}  // namespace pava::fuzz
