// The fixed-layout messages: exact frames of every id from one sample record,
// the decoder specifics, the shape of every registered layout table, and a
// randomised round trip over all of them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "analyzer.h"
#include "message.h"
#include "support.h"

namespace pava {
namespace {

using namespace test;

std::string bytes(const char* data, size_t n) { return std::string(data, n); }
std::string entryText(int id) { return "Data_To_Pava_" + std::to_string(id) + "!\n"; }
std::string decodeText(int id) { return "Pava_" + std::to_string(id) + "_To_Data!\n"; }

// A record whose every member the fixed layouts carry holds something
// distinct: intValueN is N, and the 12-character codes hide bytes behind a
// NUL so that raw and bounded copies differ on the wire.
PavaFullData sampleRecord(int id) {
    PavaFullData rec = recordFor(id);
    int32_t* ints[] = {&rec.intValue1, &rec.intValue2,  &rec.intValue3,  &rec.intValue4, &rec.intValue5,
                       &rec.intValue6, &rec.intValue7,  &rec.intValue8,  &rec.intValue9, &rec.intValue10,
                       &rec.intValue11, &rec.intValue12, &rec.intValue13};
    for (int i = 0; i < 13; ++i) *ints[i] = i + 1;
    std::memcpy(rec.text12a, "CODE-A\0hidde", 12);
    std::memcpy(rec.text12b, "ADDRESS-B\0xy", 12);
    std::memcpy(rec.text12c, "CODE-C\0junkC", 12);
    std::memcpy(rec.text12d, "CODE-D\0junkD", 12);
    std::memcpy(rec.text15a, "FIFTEEN-CHARS-A", 15);
    std::memcpy(rec.text64a, "SHORT\0TEXT-64A-tail", 19);
    std::memcpy(rec.text64b, "SECOND-TEXT-64B\0tail", 20);
    std::memcpy(rec.text32, "TEXT32\0tail", 11);
    std::memcpy(rec.text26, "BLOCK-26\0tail", 13);
    rec.string1 = "string one";
    rec.string4 = "LD0/LLN0.Mod";
    rec.string5 = "string five";
    return rec;
}

struct Golden {
    int id;
    std::string body;  // the whole declared body
};

// What the sample record becomes on the wire, id by id.
std::vector<Golden> goldenBodies() {
    const std::string rawA = bytes("CODE-A\0hidde", 12), txtA = pad("CODE-A", 12);
    const std::string rawB = bytes("ADDRESS-B\0xy", 12), txtB = pad("ADDRESS-B", 12);
    const std::string rawC = bytes("CODE-C\0junkC", 12), txtC = pad("CODE-C", 12);
    const std::string rawD = bytes("CODE-D\0junkD", 12), txtD = pad("CODE-D", 12);
    const std::string raw64a = pad(bytes("SHORT\0TEXT-64A-tail", 19), 64);
    const std::string raw64b = pad(bytes("SECOND-TEXT-64B\0tail", 20), 64);
    const std::string raw26 = pad(bytes("BLOCK-26\0tail", 13), 26);
    const std::string ref = pad("LD0/LLN0.Mod", 64), five255 = pad("string five", 255);
    return {
        // Address and short fields.
        {20007, rawB + "2 "}, {20011, rawB + "2 "}, {20057, rawB + "2 "},
        {20059, rawB + "2 "}, {20106, rawB + "2 "}, {20108, rawB + "2 "},
        {20047, rawB + "3 2 "}, {20055, rawB + "3 2 "}, {20107, rawB + "3 2 "},
        {20058, rawB + "2 4"}, {20060, rawB + "2 4"}, {20087, rawB + "8 4"},
        {20110, rawB + "52 "}, {20013, rawB + "3 2 6"}, {20048, rawB + "3 2 4"},
        {20056, rawB + "3 2 4"}, {20015, rawB + "3 2 69   "},
        {20079, rawB + "4" + rawC}, {20082, rawB + "4" + rawC}, {20086, rawB + "4" + rawC},
        {20101, rawB + "4" + rawC}, {20025, rawB + "6   " + rawC + rawD},
        {20034, rawB + pad("SECOND-TEXT-64B", 40) + txtC + txtD},
        {20069, rawB + "2 4 1    SECOND-TEXT-64B"}, {20089, rawB + "FIFTEEN-CHARS-A"},
        {20105, rawB + "8" + rawC + rawD + "6"}, {20111, rawB + raw64a + rawC + raw64b},
        // 30xxx fixed fields.
        {30015, rawB + "3 2 69   "}, {30123, rawB + "2 "}, {30124, rawB + "2 4"},
        {30172, txtB + "45 " + txtC}, {30173, "5" + txtB + pad("TEXT32", 32) + "6       "},
        {30174, "5" + txtB + pad("TEXT32", 32) + "6       4" + txtC + "10"},
        {30179, "6       5 "}, {30180, "6       5 "}, {30182, txtB + "4 8 " + std::string(6, '\0')},
        // Extended range.
        {20123, rawB + "2 "}, {20124, rawB + "2 4"},
        {20127, rawB + "8 79       10      5   2 "}, {20175, rawB + "8 79       10      5   2 "},
        {20128, rawA + "6"}, {20130, rawA + "6"}, {20129, rawB + "8 105   2 "},
        {20136, rawA + "2   "}, {20139, rawB + "2 3 5 "}, {20142, rawB + "8 "},
        {20145, rawA + "5 "}, {20146, rawA + "45 8 " + rawC + rawD}, {20150, rawB + "2 3 "},
        {20163, "5 " + txtA}, {20165, txtA + "5 "}, {20166, txtA + "5 4 "}, {20173, txtB + "2 "},
        // IEC 61850.
        {61852, rawA + ref + pad("string one", 100) + pad("SHORT", 8) + "SECOND-T" + pad("TEXT32", 8)},
        {61853, rawA + ref + "3 "}, {61854, rawA + ref + "6   " + rawC + rawD},
        {61855, rawA + ref + pad("string five", 100) + "6   13      12      "},
        {61857, rawA + ref}, {61859, rawA + "48 " + rawC},
        {61860, rawA + ref + raw26 + five255 + "11          5" + pad("SHORT", 8) + "SECOND-T6       " + pad("TEXT32", 30)},
        {61863, rawA + "45 8 " + rawC + rawD}, {61864, rawA + ref + "43 " + rawC},
        {61865, rawA + ref + "43 " + rawC}, {61866, rawA + ref + raw26 + five255 + "45         "},
    };
}

// Encoders that print another id's entry text.
const std::map<int, int> kBorrowedEntryText = {{20011, 20007}, {20056, 20054}};

// Exact frame and log of every id, and the texts of a missing record or frame,
// which name the id itself even where the entry text is borrowed.
TEST(FixedLayouts, EveryIdEncodesTheSampleRecordExactly) {
    const auto golden = goldenBodies();
    ASSERT_EQ(golden.size(), 64u);
    for (const Golden& g : golden) {
        SCOPED_TRACE(g.id);
        const Encoded e = encode(sampleRecord(g.id));
        ASSERT_EQ(e.rc, PAVA_OK);
        ASSERT_EQ(e.frames.size(), 1u);
        const auto borrowed = kBorrowedEntryText.find(g.id);
        const std::string entry = entryText(borrowed == kBorrowedEntryText.end() ? g.id : borrowed->second);
        EXPECT_EQ(e.log, entry);
        EXPECT_EQ(headOf(e.frames[0]), headFor(g.id, g.body.size()));
        EXPECT_EQ(printable(bodyOf(e.frames[0], MAX_PAVA_MSG_LEN)), printable(pad(g.body, MAX_PAVA_MSG_LEN)));

        const MessageDef* def = findMessage(g.id);
        const std::string id = std::to_string(g.id);
        CPavaMsgAnalyze noRecord(nullptr);
        PavaMsgList out;
        LogCapture log;
        EXPECT_EQ(def->encode(*def, &out, &noRecord), PAVA_ERR_NULL);
        EXPECT_TRUE(out.empty());
        EXPECT_EQ(log.text(), entry + "error:: CPavaMsgAnalyze::Data_To_Pava_" + id + " set pava head erorr! ");
        log.clear();
        PavaFullData rec;
        CPavaMsgAnalyze an(&rec);
        EXPECT_EQ(def->decode(*def, nullptr, &an), -1);
        EXPECT_EQ(log.text(), decodeText(g.id) + "error:: CPavaMsgAnalyze::Pava_" + id + "_To_Data pPavaMsg == NULL! ");
    }
}

// A member as comparable bytes: numbers printed, arrays whole, strings as they are.
std::string memberText(PavaFullData& rec, Member m) {
    const Slot s = slotOf(rec, m);
    switch (s.type) {
    case SlotType::Int32: return std::to_string(*static_cast<const int32_t*>(s.ptr));
    case SlotType::UInt16: return std::to_string(*static_cast<const uint16_t*>(s.ptr));
    case SlotType::Chars: return bytes(static_cast<const char*>(s.ptr), static_cast<size_t>(s.size));
    case SlotType::String: return *static_cast<const std::string*>(s.ptr);
    case SlotType::None: break;
    }
    return {};
}

// Hand-made frames with bytes behind NULs: which text fields the decoder
// stops at the NUL (Text) and which it takes raw (Raw, TextRaw).
TEST(FixedLayouts, TextFieldsStopAtNulOnlyWhereTheDecoderSaysSo) {
    const std::string text32 = bytes("ABC\0DEFGHIJKLMNOPQRSTUVWXYZ01234", 32);
    const std::string b73 = "5" + bytes("ADDR\0ESS-B12", 12) + text32 + "6       ";
    const std::string b52 = "CODE-A      " + pad(bytes("REF\0JUNK", 8), 64) + pad("one", 100) + "12345678" +
                            bytes("AB\0CDEFG", 8) + bytes("TEXT\0-32", 8);
    const std::string text26 = bytes("BLOCK\0twenty-six-raw-bytes", 26);
    const std::string b60 = "CODE-A      " + pad("REF", 64) + text26 + pad(bytes("five\0junk", 10), 255) +
                            "-1234567890 7" + bytes("A\0aaaaaa", 8) + bytes("B\0bbbbbb", 8) + "87654321" +
                            bytes("thirty\0-characters-of-text-32", 30);
    const struct {
        int id;
        std::string body;
        Member member;
        std::string expected;
    } cases[] = {
        {30173, b73, Member::text32, pad("ABC", 33)},
        {30173, b73, Member::text12b, bytes("ADDR\0ESS-B12\0", 13)},
        {30174, b73 + "4" + pad(bytes("C\0DE", 4), 12) + "99", Member::text32, text32 + '\0'},
        {30174, b73 + "4" + pad(bytes("C\0DE", 4), 12) + "99", Member::text12c, pad(bytes("C\0DE", 4), 13)},
        {61852, b52, Member::string4, "REF"},
        {61852, b52, Member::string1, "one"},
        {61852, b52, Member::text64a, pad("12345678", 65)},
        {61852, b52, Member::text64b, pad("AB", 65)},
        {61852, b52, Member::text32, pad("TEXT", 33)},
        {61860, b60, Member::text26, text26 + '\0'},
        {61860, b60, Member::string5, "five"},
        {61860, b60, Member::text64a, pad("A", 65)},
        {61860, b60, Member::text64b, pad("B", 65)},
        {61860, b60, Member::text32, pad("thirty", 33)},
        {20165, bytes("CODE\0hidden", 12) + "9 ", Member::text12a, bytes("CODE\0hidden\0", 13)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.id << " " << memberName(c.member));
        Decoded d = decode(makeFrame(headFor(c.id, c.body.size()), c.body));
        ASSERT_EQ(d.rc, PAVA_OK);
        EXPECT_EQ(d.log, decodeText(c.id));
        EXPECT_EQ(printable(memberText(d.rec, c.member)), printable(c.expected));
    }
}

// ---------------------------------------------------------------------------
// Every registered fixed-layout table
// ---------------------------------------------------------------------------

std::vector<const MessageDef*> fixedLayoutMessages() {
    std::vector<const MessageDef*> defs;
    for (const MessageDef* def : registeredMessages())
        if (def->encode == &encodeFixedLayout) defs.push_back(def);
    return defs;
}

bool isSlotFor(FieldKind kind, SlotType type) {
    if (kind == FieldKind::Decimal) return type == SlotType::Int32 || type == SlotType::UInt16;
    return type == SlotType::Chars || type == SlotType::String;
}

// Fields lie in the body without overlap, each on a record member of a type
// its kind can carry, and end where the declared body ends.
TEST(FixedLayoutTables, FieldsTileTheDeclaredBody) {
    const auto defs = fixedLayoutMessages();
    EXPECT_GE(defs.size(), 80u);  // these families and the single-address messages
    PavaFullData probe;
    for (const MessageDef* def : defs) {
        SCOPED_TRACE(def->id);
        EXPECT_EQ(def->decode, &decodeFixedLayout);
        EXPECT_TRUE(def->layout.decodeFields.empty());  // every table decodes what it encodes
        std::vector<Field> sorted(def->layout.fields.begin(), def->layout.fields.end());
        std::sort(sorted.begin(), sorted.end(), [](const Field& a, const Field& b) { return a.offset < b.offset; });
        int end = 0;
        for (const Field& f : sorted) {
            SCOPED_TRACE(memberName(f.member));
            EXPECT_GE(static_cast<int>(f.offset), end) << "overlaps the field before";
            EXPECT_GT(f.width, 0);
            end = f.offset + f.width;
            EXPECT_EQ(memberOwner(f.member), MemberOwner::Record);
            const Slot slot = slotOf(probe, f.member);
            EXPECT_TRUE(isSlotFor(f.kind, slot.type)) << fieldKindName(f.kind);
            EXPECT_TRUE(f.kind != FieldKind::Decimal || f.width <= 16);
            EXPECT_TRUE(slot.type != SlotType::Chars || f.width < slot.size) << "no room for the terminator";
        }
        // 30182 declares 22 bytes: six NUL bytes follow its fields and are sent.
        EXPECT_EQ(end, def->id == 30182 ? 16 : def->layout.length);
        EXPECT_LE(def->layout.length, MAX_PAVA_MSG_LEN);
    }
}
// Random content for every record member, terminators and bytes behind NULs
// included, so that a field reading or writing the wrong member shows.
class RandomRecords {
public:
    explicit RandomRecords(uint32_t seed) : m_rng(seed) {}

    PavaFullData make(int id) {
        PavaFullData rec;
        for (int m = 0; m < static_cast<int>(Member::None); ++m) {
            const auto member = static_cast<Member>(m);
            if (memberOwner(member) == MemberOwner::Record) fill(slotOf(rec, member));
        }
        rec.msgId = static_cast<uint16_t>(id);
        rec.rii = static_cast<uint16_t>(pick(0, 999));
        rec.msgType = static_cast<uint16_t>(pick(0, 15));
        rec.headFlag = static_cast<uint16_t>(pick(0, 15));
        rec.contFlag = static_cast<uint16_t>(pick(0, 1));
        return rec;
    }

private:
    int pick(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(m_rng); }
    char byte() { return pick(0, 7) == 0 ? '\0' : static_cast<char>(pick(1, 255)); }
    int number() {
        switch (pick(0, 3)) {
        case 0: return pick(0, 9);
        case 1: return pick(-99, 999);
        case 2: return pick(-99999999, 999999999);
        default: return std::uniform_int_distribution<int32_t>()(m_rng);
        }
    }
    void fill(const Slot& s) {
        switch (s.type) {
        case SlotType::Int32: *static_cast<int32_t*>(s.ptr) = number(); break;
        case SlotType::UInt16: *static_cast<uint16_t*>(s.ptr) = static_cast<uint16_t>(pick(0, 65535)); break;
        case SlotType::Chars:
            for (int i = 0; i < s.size; ++i) static_cast<char*>(s.ptr)[i] = byte();
            break;
        case SlotType::String: {
            std::string text(static_cast<size_t>(pick(0, 300)), '\0');
            for (char& c : text) c = byte();
            *static_cast<std::string*>(s.ptr) = text;
            break;
        }
        case SlotType::None: break;
        }
    }
    std::mt19937 m_rng;
};

// The bytes of a text member as far as they exist; beyond them NUL.
std::string sourceBytes(const Slot& s, int width) {
    std::string out(static_cast<size_t>(width), '\0');
    const char* data = s.type == SlotType::String ? static_cast<const std::string*>(s.ptr)->data()
                                                  : static_cast<const char*>(s.ptr);
    const int size = s.type == SlotType::String ? static_cast<int>(static_cast<const std::string*>(s.ptr)->size())
                                                : s.size;
    std::memcpy(out.data(), data, static_cast<size_t>(std::min(size, width)));
    return out;
}

std::string upToNul(const std::string& field) { return field.substr(0, field.find('\0')); }

// What the member holds after the field went out and came back: a number as
// its first `width` printed characters read back, a text as the kind copies it.
void expectField(const Field& f, PavaFullData& source, PavaFullData& want) {
    const Slot from = slotOf(source, f.member);
    const Slot to = slotOf(want, f.member);
    if (f.kind == FieldKind::Decimal) {
        const int stored = from.type == SlotType::UInt16 ? *static_cast<const uint16_t*>(from.ptr)
                                                         : *static_cast<const int32_t*>(from.ptr);
        const int value = (f.flags & kWriteZero) != 0 ? 0 : stored;
        const std::string printed = std::to_string(value).substr(0, f.width);
        const auto read = static_cast<int32_t>(std::strtol(printed.c_str(), nullptr, 10));
        if (to.type == SlotType::UInt16)
            *static_cast<uint16_t*>(to.ptr) = static_cast<uint16_t>(read);
        else
            *static_cast<int32_t*>(to.ptr) = read;
        return;
    }
    std::string wire = sourceBytes(from, f.width);
    if (f.kind != FieldKind::Raw) wire = pad(upToNul(wire), wire.size());  // bounded copy out
    const std::string back = f.kind == FieldKind::Text ? upToNul(wire) : wire;
    if (to.type == SlotType::String) {
        // A NUL-padded string comes back one character longer than its field.
        *static_cast<std::string*>(to.ptr) = (f.flags & kNulPadded) != 0 ? pad(back, wire.size() + 1) : back;
        return;
    }
    auto* dest = static_cast<char*>(to.ptr);
    if ((f.flags & kClearMember) != 0) std::memset(dest, 0, static_cast<size_t>(to.size));
    const std::string field = f.kind == FieldKind::Text ? pad(back, wire.size()) : back;
    std::memcpy(dest, field.data(), std::min(field.size(), static_cast<size_t>(to.size)));
}

TEST(FixedLayoutTables, RandomRecordsComeBackAsTheFieldKindsAllow) {
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
    RandomRecords random(20240611u);
    for (const MessageDef* def : fixedLayoutMessages()) {
        SCOPED_TRACE(def->id);
        for (int round = 0; round < 40 && !HasFailure(); ++round) {
            PavaFullData source = random.make(def->id);
            PavaMsgList out;
            ASSERT_EQ(Data_To_Pava(&source, &out), PAVA_OK);
            ASSERT_EQ(out.size(), 1u);
            PavaFullData got = random.make(0);  // the decode resets it
            ASSERT_EQ(Pava_To_Data(&out[0], &got), PAVA_OK);

            PavaFullData want;
            want.rii = source.rii;
            want.msgId = source.msgId;
            want.msgType = source.msgType;
            want.msgLen = static_cast<uint16_t>(def->layout.length);
            want.headFlag = source.headFlag;
            for (const Field& f : def->layout.fields) expectField(f, source, want);
            for (int m = 0; m < static_cast<int>(Member::None); ++m) {
                const auto member = static_cast<Member>(m);
                if (memberOwner(member) != MemberOwner::Record) continue;
                EXPECT_EQ(printable(memberText(want, member)), printable(memberText(got, member))) << memberName(member);
            }
        }
    }
    Pava_SetLogOutput(PAVA_LOG_STDOUT, nullptr, nullptr);
}

}  // namespace
}  // namespace pava
