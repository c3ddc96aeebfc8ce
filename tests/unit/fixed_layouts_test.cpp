// The fixed-layout messages: the shape of every registered layout table (their
// golden frames are in tests/data/fixed_layouts.json).
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "analyzer.h"
#include "message.h"
#include "ZMPavaAnalyzer.h"

namespace pava {
namespace {

std::vector<const MessageDef*> fixedLayoutMessages() {
    std::vector<const MessageDef*> defs;
    for (const MessageDef* def : registeredMessages())
        if (def->description != nullptr && def->description->write.empty() && def->description->read.empty() &&
            !def->description->has(kDropsFrame))
            defs.push_back(def);
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
}  // namespace
}  // namespace pava
