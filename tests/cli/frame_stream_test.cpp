// Frames read from damaged streams: what is recovered, what is reported, and where.
#include <gtest/gtest.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "frame_stream.h"
#include "json_record.h"

namespace pava::tool {
namespace {

struct Read {
    std::vector<uint64_t> offsets;
    std::vector<std::string> frames;  // header and declared body
    std::vector<StreamDamage> damage;
};

Read readAll(const std::string& bytes, FrameForm form = FrameForm::Wire) {
    std::FILE* f = std::tmpfile();
    std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::rewind(f);
    Read r;
    FrameStream stream(f, form, [&](const StreamDamage& d) { r.damage.push_back(d); });
    PavaMsg frame;
    uint64_t offset = 0;
    while (stream.next(frame, offset)) {
        r.offsets.push_back(offset);
        r.frames.emplace_back(frame.head, PAVA_HEAD_LEN + static_cast<size_t>(headerBodyLength(frame.head)));
    }
    std::fclose(f);
    return r;
}

std::string encoded(const char* json) {
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
    PavaFullData rec = recordFromJson(Json::parse(json));
    PavaMsgList frames;
    EXPECT_EQ(Data_To_Pava(&rec, &frames), PAVA_OK);
    std::string out;
    for (const PavaMsg& f : frames) out.append(f.head, PAVA_HEAD_LEN + static_cast<size_t>(headerBodyLength(f.head)));
    return out;
}

class FrameStreamTest : public ::testing::Test {
protected:
    void SetUp() override { Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr); }
    const std::string a = encoded(R"({"msgId": 20001, "rii": 5, "text12b": "ABCDEFGHIJKL"})");
    const std::string b = encoded(R"({"msgId": 203, "rii": 1, "string1": "a text"})");
};

// Garbage between frames, frames cut short and cut off, empty input and
// letters alone are reported by `pava decode` as tests/cli/test_pava.py checks.
// Arbitrary bytes around a frame: the frame is still found, and every byte is
// either in a frame or reported.
TEST_F(FrameStreamTest, EveryByteIsInAFrameOrReported) {
    std::mt19937 gen(7);
    for (int round = 0; round < 50; ++round) {
        std::string noise(gen() % 300, '\0');
        for (char& ch : noise) ch = static_cast<char>(gen());
        const Read n = readAll(noise + b + noise);
        uint64_t covered = 0;
        for (const auto& f : n.frames) covered += f.size();
        for (const auto& d : n.damage) covered += d.length;
        EXPECT_EQ(covered, 2 * noise.size() + b.size());
        EXPECT_NE(std::find(n.frames.begin(), n.frames.end(), b), n.frames.end());
    }
}

TEST_F(FrameStreamTest, RawBlocks) {
    std::string block(sizeof(PavaMsg), '\0');
    std::copy(a.begin(), a.end(), block.begin());
    const Read r = readAll(block + std::string(sizeof(PavaMsg), 'x') + block + "abc", FrameForm::Raw);
    ASSERT_EQ(r.frames.size(), 2u);
    EXPECT_EQ(r.offsets[1], 2 * sizeof(PavaMsg));
    ASSERT_EQ(r.damage.size(), 2u);
    EXPECT_EQ(r.damage[0].offset, sizeof(PavaMsg));
    EXPECT_EQ(r.damage[1].length, 3u);
}

TEST_F(FrameStreamTest, HexLinesAsPastedFromLogs) {
    std::string hex;
    for (const unsigned char ch : b) hex += fmt::format("{:02x} ", ch);
    std::string plain;
    for (const unsigned char ch : a) plain += fmt::format("{:02X}", ch);
    const std::string input = "00000000: " + hex + " |ascii|\n\n" + plain + "\r\n" + "0010 zz\n" + plain.substr(0, 40) + "\n";
    const Read r = readAll(input, FrameForm::Hex);
    ASSERT_EQ(r.frames.size(), 2u);
    EXPECT_EQ(r.frames[0], b);
    EXPECT_EQ(r.frames[1], a);
    ASSERT_EQ(r.damage.size(), 2u);
    EXPECT_EQ(r.damage[0].what, "line 4: not a frame in hex");
    EXPECT_EQ(r.damage[1].what, "line 5: frame cut short: 20 of its 28 bytes");
}

// Every frame the codecs write passes the header check, or a good frame
// would be thrown away as damage.
TEST_F(FrameStreamTest, EveryEncodedFrameOfTheCorpusLooksLikeAFrame) {
    size_t checked = 0;
    for (const auto& entry : std::filesystem::directory_iterator(PAVA_CORPUS_DIR)) {
        std::ifstream in(entry.path());
        const Json doc = Json::parse(in);
        for (const Json& kase : doc.at("cases")) {
            if (!kase.contains("frames")) continue;
            for (const Json& f : kase["frames"]) {
                if (!f.contains("head") || !f["head"].is_string()) continue;
                const std::string head = utf8ToBytes(f["head"].get<std::string>());
                if (head.size() != PAVA_HEAD_LEN) continue;
                // Where the RII was too large to write, the encoder leaves those bytes as they were.
                if (kase.contains("record") && kase["record"].is_object() && kase["record"].value("rii", 0) > 999) continue;
                EXPECT_TRUE(plausibleHeader(head.data())) << kase.value("name", "?") << ": " << head;
                ++checked;
            }
        }
    }
    EXPECT_GT(checked, 100u);
}

}  // namespace
}  // namespace pava::tool
