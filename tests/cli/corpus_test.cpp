// The golden corpus: every case of tests/data/*.json run through the entry
// points and compared byte for byte. A file is {"about", "cases": [...]}.
//   encode: {"name", "record", "rc", "frames": [{"head", "body"}], "log",
//            "recordAfter" (only where the encoder changes the caller's record),
//            "decoded": [{"rc", "record", "log"} per frame] (optional)}
//   decode: {"name", "head", "body", "rc", "record" (all members) or
//            "members" (only these), "log"}
// A null record or head calls the codec of "id" directly without one.
// "body" is the whole 8192-byte body up to its last non-NUL byte; any text
// may be written as pieces: ["abc", {"repeat": "x", "times": 8154}, ...], and
// a run of equal list items as {"repeatItem": {...}, "times": 545}.
// Records use the tool's JSON names; members not named are zero.
// PAVA_CORPUS_UPDATE=1 rewrites the files with what the codecs produce (review the diff).
// PAVA_CORPUS_DUMP=DIR writes what the codecs produce, case by case, to DIR/<file>.json,
// so builds for other platforms can be compared with this one byte for byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "analyzer.h"
#include "json_record.h"
#include "message.h"
#include "multiframe/joiner.h"
#include "corpus_text.h"
#include "unit/support.h"

namespace pava::tool {
namespace {

namespace fs = std::filesystem;
using test::printable;

bool isPieces(const Json& j) {
    return j.is_array() && std::any_of(j.begin(), j.end(), [](const Json& p) { return p.is_object() && p.contains("repeat"); });
}

using test::textOf;

// Runs of 16 or more equal bytes as repeat pieces.
Json piecesOf(const std::string& bytes) {
    Json pieces = Json::array();
    std::string plain;
    for (size_t i = 0, n = 1; i < bytes.size(); i += n, n = 1) {
        while (i + n < bytes.size() && bytes[i + n] == bytes[i]) ++n;
        if (n < 16) {
            plain.append(bytes, i, n);
            continue;
        }
        if (!plain.empty()) pieces.push_back(bytesToUtf8(plain));
        plain.clear();
        pieces.push_back(Json{{"repeat", bytesToUtf8(bytes.substr(i, 1))}, {"times", n}});
    }
    if (pieces.empty()) return bytesToUtf8(bytes);
    if (!plain.empty()) pieces.push_back(bytesToUtf8(plain));
    return pieces;
}

// A record's JSON with its piece lists joined and its item runs
// ({"repeatItem": {...}, "times": n}) spelled out, and the other way: the
// texts of a record in pieces, 16 or more equal list items in a row as a run.
Json joined(const Json& j) {
    if (isPieces(j)) return bytesToUtf8(textOf(j));
    Json out = j.is_array() ? Json::array() : j;
    if (j.is_array()) {
        for (const Json& v : j) {
            const bool run = v.is_object() && v.contains("repeatItem");
            for (int n = run ? v.at("times").get<int>() : 1; n > 0; --n) out.push_back(joined(run ? v["repeatItem"] : v));
        }
    } else if (out.is_object()) {
        for (Json& v : out) v = joined(v);
    }
    return out;
}
Json pieced(const Json& j) {
    if (j.is_string()) return piecesOf(utf8ToBytes(j.get_ref<const std::string&>()));
    Json out = j.is_array() ? Json::array() : j;
    if (j.is_array()) {
        for (size_t i = 0, n = 1; i < j.size(); i += n, n = 1) {
            while (i + n < j.size() && j[i + n] == j[i]) ++n;
            if (n < 16 || !j[i].is_object()) {
                for (size_t k = 0; k < n; ++k) out.push_back(pieced(j[i + k]));
                continue;
            }
            out.push_back(Json{{"repeatItem", pieced(j[i])}, {"times", n}});
        }
    } else if (out.is_object()) {
        for (Json& v : out) v = pieced(v);
    }
    return out;
}
Json recordJson(const PavaFullData& rec) { return pieced(recordToJson(rec)); }

std::string trimmed(const char* bytes, size_t size) {
    while (size > 0 && bytes[size - 1] == '\0') --size;
    return {bytes, size};
}

// Where two byte strings first differ, with printable context; empty when equal.
std::string difference(const std::string& want, const std::string& got) {
    size_t i = 0;
    while (i < want.size() && i < got.size() && want[i] == got[i]) ++i;
    if (i == want.size() && i == got.size()) return {};
    const size_t from = i < 24 ? 0 : i - 24;
    std::ostringstream s;
    s << "first difference at byte " << i << " (lengths " << want.size() << " / " << got.size() << ")\n  want ..."
      << printable(want.substr(from, 48)) << "\n  got  ..." << printable(got.substr(from, 48));
    return s.str();
}

std::string shown(const Json& j) {
    const std::string text = j.is_null() ? "(zero)" : jsonLine(j);
    return text.size() > 300 ? text.substr(0, 300) + "..." : text;
}

// What one run produced, in the corpus's own shape.
Json decodeResult(const PavaMsg* frame, int id) {
    PavaFullData rec;
    test::LogCapture capture;
    int rc = 0;
    if (frame != nullptr) {
        rc = Pava_To_Data(frame, &rec);
    } else {
        const MessageDef* def = findMessage(id);
        CPavaMsgAnalyze an(&rec);
        rc = def->decode(*def, nullptr, &an);
    }
    return Json{{"rc", rc}, {"record", recordJson(rec)}, {"log", piecesOf(capture.text())}};
}

Json encodeResult(const Json& c) {
    Json result = Json::object();
    PavaMsgList frames(2);  // the entry point empties the list first
    std::string log;
    PavaFullData rec;
    {
        test::LogCapture capture;
        if (c.at("record").is_null()) {
            const MessageDef* def = findMessage(c.at("id").get<int>());
            CPavaMsgAnalyze an(nullptr);
            FrameList out(frames);
            result["rc"] = def->encode(*def, &out, &an);
        } else {
            rec = recordFromJson(joined(c["record"]));
            result["rc"] = Data_To_Pava(&rec, &frames);
        }
        log = capture.text();
    }
    result["frames"] = Json::array();
    for (const PavaMsg& f : frames)
        result["frames"].push_back(Json{{"head", bytesToUtf8(test::headOf(f))},
                                        {"body", piecesOf(trimmed(f.body, MAX_PAVA_MSG_LEN))}});
    result["log"] = piecesOf(log);
    if (!c["record"].is_null() && recordToJson(rec) != recordToJson(recordFromJson(joined(c["record"]))))
        result["recordAfter"] = recordJson(rec);
    if (c.contains("decoded")) {
        result["decoded"] = Json::array();
        for (const PavaMsg& f : frames) result["decoded"].push_back(decodeResult(&f, 0));
    }
    return result;
}

Json caseResult(const Json& c) {
    if (!c.contains("head")) return encodeResult(c);
    if (c["head"].is_null()) return decodeResult(nullptr, c.at("id").get<int>());
    const PavaMsg frame = test::makeFrame(textOf(c["head"]), textOf(c.at("body")));
    return decodeResult(&frame, 0);
}

// Every expected member of a record equals the decoded one; without
// `partial` the members not named must be zero too.
void expectRecord(const Json& want, const Json& got, bool partial, const std::string& where) {
    const Json w = recordToJson(recordFromJson(joined(want)));
    const Json g = recordToJson(recordFromJson(joined(got)));
    Json keys = Json::object();
    for (const auto& [k, v] : (partial ? want : w).items()) keys[k] = true;
    if (!partial)
        for (const auto& [k, v] : g.items()) keys[k] = true;
    for (const auto& [k, unused] : keys.items()) {
        const Json& wv = w.contains(k) ? w[k] : Json();
        const Json& gv = g.contains(k) ? g[k] : Json();
        if (wv == gv) continue;
        if (wv.is_string() && gv.is_string())
            ADD_FAILURE() << where << " member " << k << ": " << difference(textOf(wv), textOf(gv));
        else
            ADD_FAILURE() << where << " member " << k << "\n  want " << shown(wv) << "\n  got  " << shown(gv);
    }
}

void expectText(const Json& want, const Json& got, const std::string& where) {
    if (const std::string d = difference(textOf(want), textOf(got)); !d.empty()) ADD_FAILURE() << where << ": " << d;
}

void expectResult(const Json& want, const Json& got, const std::string& name) {
    EXPECT_EQ(want.at("rc"), got["rc"]) << name << ": rc";
    expectText(want.at("log"), got["log"], name + ": log");
    if (want.contains("members")) expectRecord(want["members"], got["record"], true, name);
    if (want.contains("record") && got.contains("record") && !got.contains("frames"))
        expectRecord(want["record"], got["record"], false, name);
    if (!got.contains("frames")) return;
    const Json& frames = want.at("frames");
    EXPECT_EQ(frames.size(), got["frames"].size()) << name << ": frame count";
    for (size_t i = 0; i < std::min(frames.size(), got["frames"].size()); ++i) {
        const std::string at = name + ", frame " + std::to_string(i + 1);
        expectText(frames[i].at("head"), got["frames"][i]["head"], at + " head");
        std::string body = textOf(frames[i].at("body"));
        body.resize(MAX_PAVA_MSG_LEN, '\0');
        std::string gotBody = textOf(got["frames"][i]["body"]);
        gotBody.resize(MAX_PAVA_MSG_LEN, '\0');
        if (const std::string d = difference(body, gotBody); !d.empty()) ADD_FAILURE() << at << " body: " << d;
    }
    if (!want["record"].is_null())
        expectRecord(want.contains("recordAfter") ? want["recordAfter"] : want["record"],
                     got.contains("recordAfter") ? got["recordAfter"] : want["record"], false, name + ", record after");
    if (!want.contains("decoded")) return;
    EXPECT_EQ(want["decoded"].size(), got["decoded"].size()) << name << ": decoded frames";
    for (size_t i = 0; i < std::min(want["decoded"].size(), got["decoded"].size()); ++i)
        expectResult(want["decoded"][i], got["decoded"][i], name + ", frame " + std::to_string(i + 1) + " decoded");
}

// The frames of a message that an encoder split, joined again, are one
// complete message whose record encodes to the same frames (but where the
// case says why the frames lose something of the record: "lossy").
void expectRejoined(const Json& c, const std::string& name) {
    if (!c.contains("frames") || c["record"].is_null() || c.at("rc") != 0 || c["frames"].empty() || c.contains("lossy"))
        return;
    const PavaFullData sent = recordFromJson(joined(c["record"]));
    if (!MessageJoiner::splits(sent.msgId)) return;
    test::LogCapture quiet;
    MessageJoiner joiner;
    for (const Json& f : c["frames"]) {
        const PavaMsg frame = test::makeFrame(textOf(f.at("head")), textOf(f.at("body")));
        joiner.push(&frame, 0);
    }
    joiner.finish();
    JoinedMessage m;
    ASSERT_TRUE(joiner.pop(m)) << name;
    EXPECT_TRUE(m.complete && m.problems.empty() && m.frames == c["frames"].size()) << name << ": joined";
    EXPECT_FALSE(joiner.pop(m)) << name << ": one message";
    PavaMsgList again;
    Data_To_Pava(&m.record, &again);
    ASSERT_EQ(again.size(), c["frames"].size()) << name << ": the joined record encoded again";
    for (size_t i = 0; i < again.size(); ++i) {
        const PavaMsg want = test::makeFrame(textOf(c["frames"][i]["head"]), textOf(c["frames"][i]["body"]));
        EXPECT_EQ(std::memcmp(&again[i], &want, sizeof want), 0) << name << ": the joined record encoded again, frame " << i + 1;
    }
}

// One case per line group: a reviewable diff when the corpus is rewritten.
std::string dumpCase(const Json& c) {
    std::string out = "  {";
    for (const auto& [k, v] : c.items()) {
        out += out.size() > 3 ? ",\n   " : "";
        out += jsonLine(Json(k));
        out += ": ";
        if (v.is_array() && v.size() > 1 && (k == "frames" || k == "decoded")) {
            for (size_t i = 0; i < v.size(); ++i) {
                out += i == 0 ? "[" : ",\n    ";
                out += jsonLine(v[i]);
            }
            out += "]";
        } else {
            out += jsonLine(v);
        }
    }
    return out + "}";
}

class Corpus : public testing::TestWithParam<std::string> {};

TEST_P(Corpus, EveryCaseGivesItsGoldenResult) {
    const fs::path path = fs::path(PAVA_CORPUS_DIR) / (GetParam() + ".json");
    std::ifstream in(path);
    Json file = Json::parse(in);
    const bool update = std::getenv("PAVA_CORPUS_UPDATE") != nullptr;
    const char* dumpDir = std::getenv("PAVA_CORPUS_DUMP");
    std::string dump;
    for (Json& c : file.at("cases")) {
        const std::string name = c.at("name").get<std::string>();
        const Json got = caseResult(c);
        if (dumpDir != nullptr) dump += jsonLine(Json{{"name", name}, {"got", got}}) + "\n";
        if (!update) {
            expectResult(c, got, name);
            expectRejoined(c, name);
            continue;
        }
        Json out = Json{{"name", name}};
        const auto take = [&](const Json& from, std::initializer_list<const char*> keys) {
            for (const char* k : keys)
                if (from.contains(k)) out[k] = from[k];
        };
        take(c, c.contains("head") ? std::initializer_list<const char*>{"id", "head", "body"}
                                   : std::initializer_list<const char*>{"id", "record", "lossy"});
        take(got, {"rc", "frames", "record", "log", "recordAfter", "decoded"});
        c = std::move(out);
    }
    if (dumpDir != nullptr) {
        std::ofstream out(fs::path(dumpDir) / (GetParam() + ".json"), std::ios::binary);
        out << dump;
        EXPECT_TRUE(out.good()) << "cannot write the dump to " << dumpDir;
    }
    if (!update) return;
    std::string text = "{\"about\": " + jsonLine(file["about"]) + ",\n \"cases\": [\n";
    for (size_t i = 0; i < file["cases"].size(); ++i) {
        text += i == 0 ? "" : ",\n";
        text += dumpCase(file["cases"][i]);
    }
    std::ofstream(path) << text << "\n]}\n";
}

std::vector<std::string> corpusFiles() {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(PAVA_CORPUS_DIR))
        if (e.path().extension() == ".json") names.push_back(e.path().stem().string());
    std::sort(names.begin(), names.end());
    return names;
}

INSTANTIATE_TEST_SUITE_P(Golden, Corpus, testing::ValuesIn(corpusFiles()),
                         [](const testing::TestParamInfo<std::string>& p) { return p.param; });

}  // namespace
}  // namespace pava::tool
