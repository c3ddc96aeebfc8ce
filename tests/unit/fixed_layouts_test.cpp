// The fixed-layout messages: the shape of every registered layout table and a
// randomised round trip over all of them (their golden frames are in
// tests/data/fixed_layouts.json).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
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
