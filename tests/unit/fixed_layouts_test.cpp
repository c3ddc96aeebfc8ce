// The fixed-layout messages: exact frames of every id from one sample record,
// the decoder specifics, the shape of every registered layout table, and a
// randomised round trip over all of them.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
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

using test::LogCapture;
using test::printable;

std::string bytes(const char* data, size_t n) { return std::string(data, n); }
// Text followed by NUL bytes up to width.
std::string pad(const std::string& text, size_t width) { return text + std::string(width - text.size(), '\0'); }

// The header of a frame encoded from a record with rii 1, type 0 and flag 0.
std::string headerFor(int id, size_t length) {
    char head[32];
    std::snprintf(head, sizeof head, "1  %05d0%-5zu00", id, length);
    return head;
}

std::string entryText(int id) { return "Data_To_Pava_" + std::to_string(id) + "!\n"; }
std::string decodeText(int id) { return "Pava_" + std::to_string(id) + "_To_Data!\n"; }

// A record whose every member the fixed layouts carry holds something
// distinct: intValueN is N, and the 12-character codes hide bytes behind a
// NUL so that raw and bounded copies differ on the wire.
PavaFullData sampleRecord(int id) {
    PavaFullData rec = test::recordFor(id);
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

TEST(FixedLayouts, EveryIdEncodesTheSampleRecordExactly) {
    const auto golden = goldenBodies();
    ASSERT_EQ(golden.size(), 64u);
    for (const Golden& g : golden) {
        SCOPED_TRACE(g.id);
        PavaFullData rec = sampleRecord(g.id);
        PavaMsgList out(1);  // emptied by the entry point
        LogCapture log;
        ASSERT_EQ(Data_To_Pava(&rec, &out), PAVA_OK);
        ASSERT_EQ(out.size(), 1u);
        const auto borrowed = kBorrowedEntryText.find(g.id);
        EXPECT_EQ(log.text(), entryText(borrowed == kBorrowedEntryText.end() ? g.id : borrowed->second));
        EXPECT_EQ(test::headOf(out[0]), headerFor(g.id, g.body.size()));
        EXPECT_EQ(printable(test::bodyOf(out[0], g.body.size())), printable(g.body));
        const std::string rest(out[0].body + g.body.size(), out[0].body + MAX_PAVA_MSG_LEN);
        EXPECT_EQ(rest.find_first_not_of('\0'), std::string::npos);
    }
}

TEST(FixedLayouts, ErrorTextsNameTheIdItself) {
    for (const Golden& g : goldenBodies()) {
        SCOPED_TRACE(g.id);
        const MessageDef* def = findMessage(g.id);
        ASSERT_NE(def, nullptr);
        const auto borrowed = kBorrowedEntryText.find(g.id);
        const int entryId = borrowed == kBorrowedEntryText.end() ? g.id : borrowed->second;
        const std::string id = std::to_string(g.id);
        CPavaMsgAnalyze noRecord(nullptr);
        PavaMsgList out;
        LogCapture log;
        EXPECT_EQ(def->encode(*def, &out, &noRecord), PAVA_ERR_NULL);
        EXPECT_TRUE(out.empty());
        EXPECT_EQ(log.text(), entryText(entryId) + "error:: CPavaMsgAnalyze::Data_To_Pava_" + id +
                                  " set pava head erorr! ");
        log.clear();
        PavaFullData rec;
        CPavaMsgAnalyze an(&rec);
        EXPECT_EQ(def->decode(*def, nullptr, &an), -1);
        EXPECT_EQ(log.text(), decodeText(g.id) + "error:: CPavaMsgAnalyze::Pava_" + id + "_To_Data pPavaMsg == NULL! ");
    }
}

// Decodes body into rec through the id's decoder directly, so that members the
// decoder leaves alone keep what rec held.
void decodeInto(int id, const std::string& body, PavaFullData& rec) {
    const MessageDef* def = findMessage(id);
    ASSERT_NE(def, nullptr);
    const PavaMsg frame = test::makeFrame(headerFor(id, body.size()), body);
    CPavaMsgAnalyze an(&rec);
    LogCapture log;
    ASSERT_EQ(def->decode(*def, &frame, &an), 0);
    EXPECT_EQ(log.text(), decodeText(id));
}

TEST(FixedLayouts, BoundedTextDecodersKeepTheMemberBehindTheField) {
    PavaFullData rec;
    std::memset(rec.text64b, 'z', 64);
    decodeInto(20034, bytes("ADDRESS-B\0xy", 12) + pad(bytes("SHORT\0tail", 10), 40) + pad(bytes("C\0c", 3), 12), rec);
    EXPECT_EQ(bytes(rec.text64b, 65), pad("SHORT", 40) + std::string(24, 'z') + '\0');
    EXPECT_EQ(bytes(rec.text12c, 13), pad("C", 13));

    // 20069 clears the whole member before taking its 15 raw characters.
    std::memset(rec.text64b, 'z', 64);
    decodeInto(20069, bytes("ADDRESS-B\0xy2 4 1    ", 21) + bytes("RAW\0FIFTEEN-CHR", 15), rec);
    EXPECT_EQ(bytes(rec.text64b, 65), pad(bytes("RAW\0FIFTEEN-CHR", 15), 65));
    EXPECT_EQ(rec.intValue1, 1);
}

TEST(FixedLayouts, TextFieldsStopAtNulOnlyWhereTheDecoderSaysSo) {
    const std::string text32 = bytes("ABC\0DEFGHIJKLMNOPQRSTUVWXYZ01234", 32);
    const std::string body = "5" + bytes("ADDR\0ESS-B12", 12) + text32 + "6       ";
    PavaFullData rec;
    decodeInto(30173, body, rec);
    EXPECT_EQ(bytes(rec.text32, 33), pad("ABC", 33));
    EXPECT_EQ(bytes(rec.text12b, 13), bytes("ADDR\0ESS-B12\0", 13));  // raw back in
    PavaFullData full;
    decodeInto(30174, body + "4" + pad(bytes("C\0DE", 4), 12) + "99", full);
    EXPECT_EQ(bytes(full.text32, 33), text32 + '\0');
    EXPECT_EQ(bytes(full.text12c, 13), pad(bytes("C\0DE", 4), 13));
    EXPECT_EQ(full.intValue6, 6);
    EXPECT_EQ(full.intValue4, 4);
    EXPECT_EQ(full.intValue10, 99);

    // A string member receives the text up to the first NUL of its field;
    // short arrays get their characters at the start, the rest stays reset.
    PavaFullData iec;
    const PavaMsg frame = test::makeFrame(headerFor(61852, 200),
                                          "CODE-A      " + pad(bytes("REF\0JUNK", 8), 64) + pad("one", 100) +
                                              "12345678" + bytes("AB\0CDEFG", 8) + bytes("TEXT\0-32", 8));
    ASSERT_EQ(Pava_To_Data(&frame, &iec), PAVA_OK);
    EXPECT_EQ(iec.string4, "REF");
    EXPECT_EQ(iec.string1, "one");
    EXPECT_EQ(bytes(iec.text64a, 65), pad("12345678", 65));
    EXPECT_EQ(bytes(iec.text64b, 65), pad("AB", 65));
    EXPECT_EQ(bytes(iec.text32, 33), pad("TEXT", 33));

    PavaFullData wide;
    const std::string text26 = bytes("BLOCK\0twenty-six-raw-bytes", 26);
    const PavaMsg frame60 = test::makeFrame(
        headerFor(61860, 424), "CODE-A      " + pad("REF", 64) + text26 + pad(bytes("five\0junk", 10), 255) +
                                   "-1234567890 " + "7" + bytes("A\0aaaaaa", 8) + bytes("B\0bbbbbb", 8) + "87654321" +
                                   bytes("thirty\0-characters-of-text-32", 30));
    ASSERT_EQ(Pava_To_Data(&frame60, &wide), PAVA_OK);
    EXPECT_EQ(bytes(wide.text26, 27), text26 + '\0');
    EXPECT_EQ(wide.string5, "five");
    EXPECT_EQ(wide.intValue11, -1234567890);
    EXPECT_EQ(wide.intValue5, 7);
    EXPECT_EQ(bytes(wide.text64a, 9), pad("A", 9));
    EXPECT_EQ(bytes(wide.text64b, 9), pad("B", 9));
    EXPECT_EQ(wide.intValue6, 87654321);
    EXPECT_EQ(bytes(wide.text32, 33), pad("thirty", 33));

    // Bounded out, raw back in: the 12 bytes arrive as they were sent.
    PavaFullData code;
    decodeInto(20165, bytes("CODE\0hidden", 12) + "9 ", code);
    EXPECT_EQ(bytes(code.text12a, 13), bytes("CODE\0hidden\0", 13));
    EXPECT_EQ(code.intValue5, 9);
}

TEST(FixedLayouts, NumbersAreCutAndReadAsTheFieldCodecDoes) {
    PavaFullData rec = sampleRecord(20013);
    rec.intValue3 = -5;
    rec.intValue2 = 123;
    rec.intValue6 = 12;
    PavaMsgList out;
    ASSERT_EQ(Data_To_Pava(&rec, &out), PAVA_OK);
    EXPECT_EQ(test::bodyOf(out[0], 17).substr(12), "-5121");

    rec = sampleRecord(61859);
    rec.intValue4 = 12;  // does not fit its one character
    ASSERT_EQ(Data_To_Pava(&rec, &out), PAVA_OK);
    EXPECT_EQ(test::bodyOf(out[0], 15).substr(12), "18 ");

    // Blanks read as 0, a number followed by letters as its leading part.
    PavaFullData back;
    const PavaMsg frame = test::makeFrame(headerFor(20047, 16), bytes("ADDRESS-B\0xy  7x", 16));
    ASSERT_EQ(Pava_To_Data(&frame, &back), PAVA_OK);
    EXPECT_EQ(back.intValue3, 0);
    EXPECT_EQ(back.intValue2, 7);
}

TEST(FixedLayouts, TextsLongerThanTheFieldAreCutWithoutTerminator) {
    PavaFullData rec = sampleRecord(61857);
    rec.string4 = std::string(64, 'r') + "overflow";
    PavaMsgList out;
    ASSERT_EQ(Data_To_Pava(&rec, &out), PAVA_OK);
    EXPECT_EQ(test::bodyOf(out[0], 77).substr(12), std::string(64, 'r') + '\0');
    PavaFullData back;
    ASSERT_EQ(Pava_To_Data(&out[0], &back), PAVA_OK);
    EXPECT_EQ(back.string4, std::string(64, 'r'));
}

// Ids of these families that the protocol names but gives no body layout,
// and ids between them that it does not name at all.
TEST(FixedLayouts, IdsWithoutLayoutStayUnregistered) {
    for (int id : {20027, 20035, 20044, 20049, 20054, 20061, 20090, 20109, 20112, 20122, 20125, 20131,
                   20140, 20161, 30122, 30125, 30175, 30181, 30183, 61861, 61862, 61867}) {
        SCOPED_TRACE(id);
        EXPECT_EQ(findMessage(id), nullptr);
        PavaFullData rec = sampleRecord(id);
        PavaMsgList out(2);
        EXPECT_EQ(Data_To_Pava(&rec, &out), PAVA_ERR_NO_HANDLER);
        EXPECT_EQ(out.size(), 2u);
        const PavaMsg frame = test::makeFrame(headerFor(id, 12), "ADDRESS-B123");
        EXPECT_EQ(Pava_To_Data(&frame, &rec), PAVA_ERR_NO_HANDLER);
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

// Tables whose fields do not end at the declared body length, and why.
struct PaddedBody {
    int id;
    int fieldsEnd;
};
constexpr PaddedBody kPaddedBodies[] = {
    {30182, 16},  // declares 22: six NUL bytes follow the fields and are sent
};

// Tables that decode other fields than they encode, so cannot round-trip.
constexpr std::array<int, 0> kOwnDecodeTables{};

bool isSlotFor(FieldKind kind, SlotType type) {
    if (kind == FieldKind::Decimal) return type == SlotType::Int32 || type == SlotType::UInt16;
    return type == SlotType::Chars || type == SlotType::String;
}

// Checks that the fields lie in the body without overlapping; returns their end.
int checkTiling(std::span<const Field> fields) {
    std::vector<Field> sorted(fields.begin(), fields.end());
    std::sort(sorted.begin(), sorted.end(), [](const Field& a, const Field& b) { return a.offset < b.offset; });
    PavaFullData probe;
    int end = 0;
    for (const Field& f : sorted) {
        SCOPED_TRACE(memberName(f.member));
        EXPECT_GE(static_cast<int>(f.offset), end) << "overlaps the field before";
        EXPECT_GT(f.width, 0);
        end = f.offset + f.width;
        EXPECT_LE(end, MAX_PAVA_MSG_LEN);
        EXPECT_EQ(memberOwner(f.member), MemberOwner::Record);
        const Slot slot = slotOf(probe, f.member);
        EXPECT_TRUE(isSlotFor(f.kind, slot.type)) << fieldKindName(f.kind);
        if (f.kind == FieldKind::Decimal) {
            EXPECT_LE(f.width, 16);
        }
        if (slot.type == SlotType::Chars) {
            EXPECT_LT(f.width, slot.size) << "no room for the terminator";
        }
    }
    return end;
}

TEST(FixedLayoutTables, FieldsTileTheDeclaredBody) {
    const auto defs = fixedLayoutMessages();
    EXPECT_GE(defs.size(), 80u);  // these families and the single-address messages
    for (const MessageDef* def : defs) {
        SCOPED_TRACE(def->id);
        EXPECT_EQ(def->decode, &decodeFixedLayout);
        const int end = checkTiling(def->layout.fields);
        if (!def->layout.decodeFields.empty()) checkTiling(def->layout.decodeFields);
        const auto padded = std::find_if(std::begin(kPaddedBodies), std::end(kPaddedBodies),
                                         [&](const PaddedBody& p) { return p.id == def->id; });
        if (padded != std::end(kPaddedBodies)) {
            EXPECT_EQ(end, padded->fieldsEnd);
            EXPECT_GT(def->layout.length, end);
        } else {
            EXPECT_EQ(end, def->layout.length);
        }
    }
    for (const PaddedBody& p : kPaddedBodies) {
        const MessageDef* def = findMessage(p.id);
        EXPECT_TRUE(def != nullptr && def->encode == &encodeFixedLayout) << p.id << " is a stale exception";
    }
}

TEST(FixedLayoutTables, EveryIdOfTheFamiliesUsesTheGenericCodec) {
    std::vector<int> ids{20001, 20003, 20005, 20009, 20017, 20019, 20021, 20023,
                         20081, 20083, 20085, 20088, 30017, 30021, 20160, 61856};
    for (const Golden& g : goldenBodies()) ids.push_back(g.id);
    for (int id : ids) {
        const MessageDef* def = findMessage(id);
        ASSERT_NE(def, nullptr) << id;
        EXPECT_TRUE(def->encode == &encodeFixedLayout && def->decode == &decodeFixedLayout) << id;
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

void expectSameMembers(PavaFullData& want, PavaFullData& got) {
    for (int m = 0; m < static_cast<int>(Member::None); ++m) {
        const auto member = static_cast<Member>(m);
        if (memberOwner(member) != MemberOwner::Record) continue;
        SCOPED_TRACE(memberName(member));
        const Slot a = slotOf(want, member), b = slotOf(got, member);
        switch (a.type) {
        case SlotType::Int32: EXPECT_EQ(*static_cast<int32_t*>(a.ptr), *static_cast<int32_t*>(b.ptr)); break;
        case SlotType::UInt16: EXPECT_EQ(*static_cast<uint16_t*>(a.ptr), *static_cast<uint16_t*>(b.ptr)); break;
        case SlotType::Chars:
            EXPECT_EQ(printable(bytes(static_cast<char*>(a.ptr), static_cast<size_t>(a.size))),
                      printable(bytes(static_cast<char*>(b.ptr), static_cast<size_t>(b.size))));
            break;
        case SlotType::String:
            EXPECT_EQ(printable(*static_cast<std::string*>(a.ptr)), printable(*static_cast<std::string*>(b.ptr)));
            break;
        case SlotType::None: break;
        }
    }
}

TEST(FixedLayoutTables, RandomRecordsComeBackAsTheFieldKindsAllow) {
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
    RandomRecords random(20240611u);
    for (const MessageDef* def : fixedLayoutMessages()) {
        SCOPED_TRACE(def->id);
        if (!def->layout.decodeFields.empty()) {
            EXPECT_NE(std::find(kOwnDecodeTables.begin(), kOwnDecodeTables.end(), def->id), kOwnDecodeTables.end());
            continue;
        }
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
            expectSameMembers(want, got);
        }
    }
    Pava_SetLogOutput(PAVA_LOG_STDOUT, nullptr, nullptr);
}

}  // namespace
}  // namespace pava
