// The C++ entry points on the tool's JSON records, for the Python package's
// tests to compare with byte for byte:
//   pava_reference encode RECORDS.json OUT   per record: rc and frame count
//                                            (int32, little-endian), then
//                                            each whole 8208-byte frame
//   pava_reference decode FRAMES             whole frames in, a JSON array
//                                            of {"rc", "record"} out
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include "json_record.h"

namespace {

using namespace pava::tool;

void putInt(std::ostream& out, int32_t value) {
    const auto v = static_cast<uint32_t>(value);
    const char bytes[4] = {static_cast<char>(v), static_cast<char>(v >> 8), static_cast<char>(v >> 16),
                           static_cast<char>(v >> 24)};
    out.write(bytes, 4);
}

int encode(const char* records, const char* output) {
    std::ifstream in(records);
    const Json all = Json::parse(in);
    std::ofstream out(output, std::ios::binary);
    for (const Json& j : all) {
        PavaFullData rec = recordFromJson(j);
        PavaMsgList frames;
        putInt(out, Data_To_Pava(&rec, &frames));
        putInt(out, static_cast<int32_t>(frames.size()));
        for (const PavaMsg& frame : frames) out.write(frame.head, sizeof frame);
    }
    return out.flush() ? 0 : 1;
}

int decode(const char* path) {
    std::ifstream in(path, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    Json all = Json::array();
    for (size_t at = 0; at + sizeof(PavaMsg) <= bytes.size(); at += sizeof(PavaMsg)) {
        PavaMsg frame;
        bytes.copy(frame.head, sizeof frame, at);
        PavaFullData rec;
        const int rc = Pava_To_Data(&frame, &rec);
        all.push_back(Json{{"rc", rc}, {"record", recordToJson(rec)}});
    }
    std::cout << jsonLine(all) << '\n';
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "encode" && argc == 4) return encode(argv[2], argv[3]);
    if (command == "decode" && argc == 3) return decode(argv[2]);
    std::fprintf(stderr, "usage: %s encode RECORDS.json OUT | decode FRAMES\n", argv[0]);
    return 2;
}
