// The push reader gives the same events whatever sizes the bytes arrive in,
// and holds no more than its capacity however long a damaged stream runs.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "frame_reader.h"
#include "support.h"

namespace pava::test {
namespace {

// Every event of a stream fed in pieces of the given sizes (cycled), as text.
std::vector<std::string> events(const std::string& bytes, FrameForm form, bool lookAhead,
                                const std::vector<size_t>& pieces, size_t* most = nullptr, size_t* silent = nullptr) {
    FrameReader reader(form, lookAhead);
    PavaMsg frame;
    std::vector<std::string> out;
    size_t at = 0, covered = 0;
    for (size_t i = 0;; ++i) {
        const ReadEvent e = reader.next(frame);
        if (most != nullptr) *most = std::max(*most, reader.buffered());
        if (e.kind == ReadKind::End) break;
        if (e.kind == ReadKind::NeedData) {
            if (at == bytes.size()) {
                reader.finish();
                continue;
            }
            const size_t want = std::min(pieces[i % pieces.size()], bytes.size() - at);
            at += reader.feed(bytes.data() + at, want);
            continue;
        }
        if (e.kind == ReadKind::Frame && form != FrameForm::Raw) {
            // Zeros behind the frame, whatever longer frame the same block held before.
            const size_t whole = PAVA_HEAD_LEN + static_cast<size_t>(headerBodyLength(frame.head));
            EXPECT_TRUE(std::all_of(frame.head + whole, frame.head + sizeof(PavaMsg), [](char c) { return c == 0; }))
                << "frame at " << e.offset;
        }
        const size_t whole = form == FrameForm::Raw ? sizeof(PavaMsg)
                                                    : PAVA_HEAD_LEN + static_cast<size_t>(headerBodyLength(frame.head));
        if (e.kind == ReadKind::Frame)
            out.push_back(std::to_string(e.offset) + " frame " +
                          std::string(frame.head, PAVA_HEAD_LEN + static_cast<size_t>(headerBodyLength(frame.head))));
        else
            out.push_back(std::to_string(e.offset) + " " + describe(e));
        // Every byte is in a frame or a reported run, but line breaks between frames.
        covered += e.kind == ReadKind::Frame ? whole : e.length;
    }
    if (silent != nullptr) *silent = bytes.size() - covered;
    return out;
}

std::string wire(PavaFullData rec) {
    const Encoded e = encode(rec);
    std::string out;
    for (const PavaMsg& f : e.frames) out.append(f.head, PAVA_HEAD_LEN + static_cast<size_t>(headerBodyLength(f.head)));
    return out;
}

// The wider form in capitals, as some dumps write it.
std::string hexLine(const std::string& bytes, const std::string& blanks = " ") {
    const char* digits = blanks.size() > 1 ? "0123456789ABCDEF" : "0123456789abcdef";
    std::string out = "0000: ";
    for (const unsigned char c : bytes) out += std::string{digits[c >> 4], digits[c & 15]} + blanks;
    return out + "|text|\n";
}

TEST(FrameReader, SameEventsWhateverThePieceSizes) {
    PavaFullData a = recordFor(20001);
    setText(a.text12b, sizeof a.text12b, "ABCDEFGHIJKL");
    const std::string fa = wire(a);
    const std::string fb = wire(listRecord(20014, 40, "item"));
    std::mt19937 gen(11);
    std::string noise(3000, '\0');
    for (char& c : noise) c = static_cast<char>(gen());
    // Garbage, line breaks, a frame cut short by the next header, a long
    // run of garbage, a fragment at the end.
    const std::string damaged = "JUNK" + fa + "\r\n" + fb + "xyz" + fb.substr(0, 40) + fa + fb + noise + fa + fb.substr(0, 30);
    std::string block(sizeof(PavaMsg), '\0');
    std::copy(fa.begin(), fa.end(), block.begin());
    const std::string raw = block + std::string(sizeof(PavaMsg), 'x') + block + "abc";
    // Lines of exactly the longest length read and one byte more (blanks before the text column).
    const size_t longest = FrameReader(FrameForm::Hex, false).capacity() - 1;
    const auto padded = [&](size_t n) { return hexLine(fa).insert(hexLine(fa).find('|'), n - hexLine(fa).size() + 1, ' '); };
    // A frame of the longest body with two blanks after each byte still reads.
    const Encoded split = encode(listRecord(20014, 1100, "item"));
    const std::string full(split.frames[0].head, PAVA_HEAD_LEN + static_cast<size_t>(headerBodyLength(split.frames[0].head)));
    ASSERT_GT(full.size(), 8150u);
    const std::string hex = hexLine(fa) + "\n" + hexLine(fa + "zz") + std::string(40000, '0') + "\nzz\n" +
                            hexLine(fb.substr(0, 30)) + hexLine(fb) + padded(longest) + padded(longest + 1) +
                            hexLine(full, "  ");
    struct Case {
        const char* name;
        const std::string& bytes;
        FrameForm form;
        bool lookAhead;
        size_t silent;  // line breaks between frames; the hex form's text is not counted
    };
    const Case cases[] = {
        {"wire, look-ahead", damaged, FrameForm::Wire, true, 2},
        // A live link without frames cut short: decided the same on any pieces.
        {"wire, live", "JUNK" + fa + "\n" + fb + noise + fa + fb.substr(0, 30), FrameForm::Wire, false, 1},
        {"raw", raw, FrameForm::Raw, false, 0},
        {"hex", hex, FrameForm::Hex, false, SIZE_MAX},
    };
    for (const Case& c : cases) {
        size_t silent = 0;
        const auto whole = events(c.bytes, c.form, c.lookAhead, {c.bytes.size()}, nullptr, &silent);
        EXPECT_GE(whole.size(), 4u) << c.name;
        if (c.silent != SIZE_MAX) {
            EXPECT_EQ(silent, c.silent) << c.name;
        }
        for (const std::vector<size_t>& pieces : {std::vector<size_t>{1}, {7}, {16, 1, 4096}, {5000, 3}}) {
            size_t most = 0;
            EXPECT_EQ(events(c.bytes, c.form, c.lookAhead, pieces, &most), whole) << c.name << ", pieces of " << pieces[0];
            EXPECT_LE(most, FrameReader(c.form, c.lookAhead).capacity()) << c.name;
        }
    }
    // The damaged stream read whole: every kind of damage where it is.
    const auto got = events(damaged, FrameForm::Wire, true, {damaged.size()});
    ASSERT_EQ(got.size(), 10u);
    EXPECT_EQ(got[6], std::to_string(4 + fa.size() + 2 + fb.size() + 3 + 40 + fa.size()) + " frame " + fb);
    EXPECT_EQ(got[0], "0 4 bytes skipped: not a frame");
    EXPECT_EQ(got[3], std::to_string(4 + fa.size() + 2 + fb.size()) + " 3 bytes skipped: not a frame");
    EXPECT_EQ(got[4], std::to_string(4 + fa.size() + 2 + fb.size() + 3) + " frame cut short: 40 of its " +
                          std::to_string(fb.size()) + " bytes before the next header");
    EXPECT_EQ(got[9], std::to_string(damaged.size() - 30) + " frame cut off at the end of the input: 30 of its " +
                          std::to_string(fb.size()) + " bytes");
    // Raw blocks and hex lines: their damage where it is.
    const auto blocks = events(raw, FrameForm::Raw, false, {raw.size()});
    EXPECT_EQ(blocks, (std::vector<std::string>{"0 frame " + fa, "8208 8208 bytes skipped: no frame header",
                                                 "16416 frame " + fa,
                                                 "24624 3 bytes at the end of the input, shorter than a frame"}));
    const auto lines = events(hex, FrameForm::Hex, false, {hex.size()});
    const size_t at = hexLine(fa).size() + 1 + hexLine(fa + "zz").size();
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "0 frame " + fa, "98 line 3: 2 bytes behind the frame ignored", "98 frame " + fa,
                         std::to_string(at) + " line 4: longer than any frame in hex",
                         std::to_string(at + 40001) + " line 5: not a frame in hex",
                         std::to_string(at + 40004) + " line 6: frame cut short: 30 of its " + std::to_string(fb.size()) + " bytes",
                         std::to_string(at + 40004 + hexLine(fb.substr(0, 30)).size()) + " frame " + fb,
                         std::to_string(hex.size() - hexLine(full, "  ").size() - 2 * longest - 3) + " frame " + fa,
                         std::to_string(hex.size() - hexLine(full, "  ").size() - longest - 2) +
                             " line 9: longer than any frame in hex",
                         std::to_string(hex.size() - hexLine(full, "  ").size()) + " frame " + full}));
}

TEST(FrameReader, FeedTakesOnlyWhatFitsAndNothingAfterTheEnd) {
    FrameReader reader;
    const std::string junk(100000, 'x');
    const size_t taken = reader.feed(junk.data(), junk.size());
    EXPECT_EQ(taken, reader.capacity());
    EXPECT_EQ(reader.room(), 0u);
    PavaMsg frame;
    // Full of garbage: the reader moves on without more bytes.
    EXPECT_EQ(reader.next(frame).kind, ReadKind::NeedData);
    EXPECT_EQ(reader.room(), reader.capacity() - 15);
    reader.finish();
    const ReadEvent e = reader.next(frame);
    EXPECT_EQ(e.kind, ReadKind::Skipped);
    EXPECT_EQ(e.length, taken);
    EXPECT_EQ(reader.next(frame).kind, ReadKind::End);
    EXPECT_EQ(reader.feed(junk.data(), 10), 0u);
}

}  // namespace
}  // namespace pava::test
