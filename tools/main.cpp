// pava: encodes JSON records into PAVA frames, decodes and dissects frames,
// and lists the codecs' layout tables.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "dissect.h"
#include "frames.h"
#include "json_record.h"

namespace {

using namespace pava::tool;

PavaMsgList loadFrames(const std::string& path, bool raw) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw FrameError("cannot open " + path);
    return readFrames(in, raw);
}

std::vector<Json> loadRecords(const std::string& path) {
    std::ifstream in(path);
    if (!in) throw RecordError("cannot open " + path);
    Json doc = Json::parse(in);
    if (doc.is_array()) return doc.get<std::vector<Json>>();
    return {std::move(doc)};
}

int encode(const std::string& path, const std::string& output) {
    PavaMsgList all;
    bool failed = false;
    const std::vector<Json> records = loadRecords(path);
    for (size_t i = 0; i < records.size(); ++i) {
        PavaFullData rec;
        try {
            rec = recordFromJson(records[i]);
        } catch (const RecordError& e) {
            throw RecordError(fmt::format("record {}: {}", i + 1, e.what()));
        }
        PavaMsgList frames;
        const int rc = Data_To_Pava(&rec, &frames);
        failed |= rc != PAVA_OK;
        fmt::print("record {}: {:05} rc {:#x}, {} frame(s)\n", i + 1, rec.msgId, rc, frames.size());
        for (const PavaMsg& frame : frames) {
            if (output.empty())
                fmt::print("  header \"{}\"\n{}", escapeBytes({frame.head, PAVA_HEAD_LEN}),
                           byteRows({frame.body, static_cast<size_t>(declaredLength(frame))}, 0, "  "));
            all.push_back(frame);
        }
    }
    if (!output.empty()) {
        std::ofstream out(output, std::ios::binary);
        writeFrames(out, all);
        if (!out.flush()) throw FrameError("cannot write " + output);
    }
    return failed ? 1 : 0;
}

int decode(const std::string& path, bool raw) {
    bool failed = false;
    const PavaMsgList frames = loadFrames(path, raw);
    // A JSON array, one record per line: `pava encode` takes it back.
    fmt::print("[\n");
    for (size_t i = 0; i < frames.size(); ++i) {
        PavaFullData rec;
        const int rc = Pava_To_Data(&frames[i], &rec);
        failed |= rc != PAVA_OK;
        Json j = recordToJson(rec);
        j["rc"] = rc;
        fmt::print("{}{}", i == 0 ? "" : ",\n", jsonLine(j));
    }
    fmt::print("\n]\n");
    return failed ? 1 : 0;
}

int dissect(const std::string& path, bool raw) {
    const PavaMsgList frames = loadFrames(path, raw);
    for (size_t i = 0; i < frames.size(); ++i) fmt::print("{}{}", i == 0 ? "" : "\n", dissectFrame(frames[i], i + 1));
    return 0;
}

int layout(int id) {
    const pava::MessageDef* def = pava::findMessage(id);
    if (def == nullptr) {
        fmt::print(stderr, "no codec for id {:05}\n", id);
        return 1;
    }
    fmt::print("{}", describeLayout(*def));
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"PAVA frames: encode JSON records, decode and dissect frames, show the codec tables"};
    app.require_subcommand(1);
    // The same command line on every platform: on Windows CLI11 would otherwise
    // read a path such as /data/frames.pava as an option. Subcommands inherit this.
    app.allow_windows_style_options(false);
    bool log = false;
    app.add_flag("--log", log, "let the codecs write their log lines to standard output");

    auto* ids = app.add_subcommand("ids", "every registered id: family, body length, fixed fields");
    // Ids are decimal even with leading zeros ("00101", as `ids` prints them).
    std::string idText;
    auto* lay = app.add_subcommand("layout", "the field table of one id");
    lay->add_option("ID", idText, "message id")->required()->check([](const std::string& text) {
        const bool digits = !text.empty() && text.size() <= 5 &&
                            text.find_first_not_of("0123456789") == std::string::npos;
        return digits ? std::string() : std::string("an id is one to five decimal digits");
    });
    std::string input;
    std::string output;
    auto* enc = app.add_subcommand("encode", "JSON records (an object or an array) to frames");
    enc->add_option("RECORDS", input, "JSON file")->required()->check(CLI::ExistingFile);
    enc->add_option("-o,--output", output, "write the frames in wire form to this file");
    bool raw = false;
    auto* dec = app.add_subcommand("decode", "frames to JSON records, one per frame");
    auto* dis = app.add_subcommand("dissect", "frames field by field, as the layout tables read them");
    for (auto* sub : {dec, dis}) {
        sub->add_option("FILE", input, "frames in wire form")->required()->check(CLI::ExistingFile);
        sub->add_flag("--raw", raw, "the file holds whole 8208-byte frames");
    }
    CLI11_PARSE(app, argc, argv);

    if (!log) Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
    try {
        if (*ids) return fmt::print("{}", listIds()), 0;
        if (*lay) return layout(std::stoi(idText));
        if (*enc) return encode(input, output);
        if (*dec) return decode(input, raw);
        return dissect(input, raw);
    } catch (const std::exception& e) {
        std::fflush(stdout);
        fmt::print(stderr, "pava: {}\n", e.what());
        return 2;
    }
}
