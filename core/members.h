// Names for the members that message layouts carry, so that a layout can be
// written as data (offset, width, kind, member) and enumerated at run time.
#ifndef ZMPAVA_CORE_MEMBERS_H
#define ZMPAVA_CORE_MEMBERS_H

#include <cstdint>
#include <span>
#include <string>

#include "ZMPavaAnalyzer.h"

// Inlined wherever it is used: for the small steps whose arguments are
// compile-time constants at most call sites, so that they fold away.
#if defined(__GNUC__) || defined(__clang__)
#define PAVA_ALWAYS_INLINE inline __attribute__((always_inline))
#elif defined(_MSC_VER)
#define PAVA_ALWAYS_INLINE __forceinline
#else
#define PAVA_ALWAYS_INLINE inline
#endif

namespace pava {

// X(name, owner) for every member a layout may name. Owners: Record
// (PavaFullData, fileBlock included), Item (PavaDataItem), Setting
// (PavaSettingItem), Field (PavaFieldItem).
#define PAVA_MEMBERS(X)                                                                         \
    X(rii, Record) X(msgId, Record) X(msgType, Record) X(msgLen, Record) X(headFlag, Record)     \
    X(contFlag, Record) X(intValue1, Record) X(intValue2, Record) X(intValue3, Record)           \
    X(intValue4, Record) X(intValue5, Record) X(intValue6, Record) X(intValue7, Record)          \
    X(intValue8, Record) X(intValue9, Record) X(intValue10, Record) X(intValue11, Record)        \
    X(intValue12, Record) X(intValue13, Record) X(intValue14, Record) X(intValue15, Record)      \
    X(intValue16, Record) X(text12a, Record) X(text12b, Record) X(text20a, Record)               \
    X(text20b, Record) X(text15a, Record) X(text15b, Record) X(text12c, Record)                  \
    X(text12d, Record) X(text64a, Record) X(text64b, Record) X(text32, Record) X(text26, Record) \
    X(string1, Record) X(string2, Record) X(string3, Record) X(string4, Record)                  \
    X(string5, Record) X(string6, Record) X(fbText16a, Record) X(fbText16b, Record)              \
    X(fbText16c, Record) X(fbText32a, Record) X(fbInt1, Record) X(fbText32b, Record)             \
    X(fbInt2, Record) X(fbCount, Record) X(itemId, Item) X(itemInt, Item) X(itemText, Item)      \
    X(itemBlock, Item) X(itemText2, Item) X(itemInt2, Item) X(itemInt3, Item) X(setId, Setting)  \
    X(setInt, Setting) X(setText30, Setting) X(setText, Setting) X(setText2, Setting)            \
    X(fieldType, Field) X(fieldLen, Field) X(fieldText1, Field) X(fieldText2, Field)

enum class Member : uint8_t {
#define PAVA_MEMBER_ENUM(name, owner) name,
    PAVA_MEMBERS(PAVA_MEMBER_ENUM)
#undef PAVA_MEMBER_ENUM
        None,  // a field that carries no member (a constant, a count)
};

enum class MemberOwner : uint8_t { Record, Item, Setting, Field, None };

// Storage kinds of members.
enum class SlotType : uint8_t { None, Int32, UInt16, Chars, String };

// Where a member lives in one object: its kind, address and, for character
// arrays, the size of the array.
struct Slot {
    SlotType type = SlotType::None;
    void* ptr = nullptr;
    int size = 0;
};

const char* memberName(Member m) noexcept;
MemberOwner memberOwner(Member m) noexcept;

namespace memberDetail {
template <size_t N>
constexpr Slot memberSlot(char (&array)[N]) noexcept {
    return {SlotType::Chars, array, static_cast<int>(N)};
}
constexpr Slot memberSlot(int32_t& v) noexcept { return {SlotType::Int32, &v, 4}; }
constexpr Slot memberSlot(uint16_t& v) noexcept { return {SlotType::UInt16, &v, 2}; }
constexpr Slot memberSlot(std::string& s) noexcept { return {SlotType::String, &s, 0}; }
}  // namespace memberDetail

// The slot of a member in an object; a member of another owner gives
// SlotType::None. Inline, so that a slot of a member known at compile time
// costs no lookup.
PAVA_ALWAYS_INLINE Slot slotOf(PavaFullData& rec, Member m) noexcept {
    switch (m) {
#define PAVA_RECORD_MEMBER(name) \
    case Member::name:           \
        return memberDetail::memberSlot(rec.name);
#define PAVA_BLOCK_MEMBER(name) \
    case Member::name:          \
        return memberDetail::memberSlot(rec.fileBlock.name);
        PAVA_RECORD_MEMBER(rii) PAVA_RECORD_MEMBER(msgId) PAVA_RECORD_MEMBER(msgType)
        PAVA_RECORD_MEMBER(msgLen) PAVA_RECORD_MEMBER(headFlag) PAVA_RECORD_MEMBER(contFlag)
        PAVA_RECORD_MEMBER(intValue1) PAVA_RECORD_MEMBER(intValue2) PAVA_RECORD_MEMBER(intValue3)
        PAVA_RECORD_MEMBER(intValue4) PAVA_RECORD_MEMBER(intValue5) PAVA_RECORD_MEMBER(intValue6)
        PAVA_RECORD_MEMBER(intValue7) PAVA_RECORD_MEMBER(intValue8) PAVA_RECORD_MEMBER(intValue9)
        PAVA_RECORD_MEMBER(intValue10) PAVA_RECORD_MEMBER(intValue11) PAVA_RECORD_MEMBER(intValue12)
        PAVA_RECORD_MEMBER(intValue13) PAVA_RECORD_MEMBER(intValue14) PAVA_RECORD_MEMBER(intValue15)
        PAVA_RECORD_MEMBER(intValue16) PAVA_RECORD_MEMBER(text12a) PAVA_RECORD_MEMBER(text12b)
        PAVA_RECORD_MEMBER(text20a) PAVA_RECORD_MEMBER(text20b) PAVA_RECORD_MEMBER(text15a)
        PAVA_RECORD_MEMBER(text15b) PAVA_RECORD_MEMBER(text12c) PAVA_RECORD_MEMBER(text12d)
        PAVA_RECORD_MEMBER(text64a) PAVA_RECORD_MEMBER(text64b) PAVA_RECORD_MEMBER(text32)
        PAVA_RECORD_MEMBER(text26) PAVA_RECORD_MEMBER(string1) PAVA_RECORD_MEMBER(string2)
        PAVA_RECORD_MEMBER(string3) PAVA_RECORD_MEMBER(string4) PAVA_RECORD_MEMBER(string5)
        PAVA_RECORD_MEMBER(string6) PAVA_BLOCK_MEMBER(fbText16a) PAVA_BLOCK_MEMBER(fbText16b)
        PAVA_BLOCK_MEMBER(fbText16c) PAVA_BLOCK_MEMBER(fbText32a) PAVA_BLOCK_MEMBER(fbInt1)
        PAVA_BLOCK_MEMBER(fbText32b) PAVA_BLOCK_MEMBER(fbInt2) PAVA_BLOCK_MEMBER(fbCount)
    default:
        return {};
    }
#undef PAVA_RECORD_MEMBER
#undef PAVA_BLOCK_MEMBER
}

PAVA_ALWAYS_INLINE Slot slotOf(PavaDataItem& item, Member m) noexcept {
    switch (m) {
    case Member::itemId: return memberDetail::memberSlot(item.itemId);
    case Member::itemInt: return memberDetail::memberSlot(item.itemInt);
    case Member::itemText: return memberDetail::memberSlot(item.itemText);
    case Member::itemBlock: return memberDetail::memberSlot(item.itemBlock);
    case Member::itemText2: return memberDetail::memberSlot(item.itemText2);
    case Member::itemInt2: return memberDetail::memberSlot(item.itemInt2);
    case Member::itemInt3: return memberDetail::memberSlot(item.itemInt3);
    default: return {};
    }
}

PAVA_ALWAYS_INLINE Slot slotOf(PavaSettingItem& item, Member m) noexcept {
    switch (m) {
    case Member::setId: return memberDetail::memberSlot(item.setId);
    case Member::setInt: return memberDetail::memberSlot(item.setInt);
    case Member::setText30: return memberDetail::memberSlot(item.setText30);
    case Member::setText: return memberDetail::memberSlot(item.setText);
    case Member::setText2: return memberDetail::memberSlot(item.setText2);
    default: return {};
    }
}

PAVA_ALWAYS_INLINE Slot slotOf(PavaFieldItem& item, Member m) noexcept {
    switch (m) {
    case Member::fieldType: return memberDetail::memberSlot(item.fieldType);
    case Member::fieldLen: return memberDetail::memberSlot(item.fieldLen);
    case Member::fieldText1: return memberDetail::memberSlot(item.fieldText1);
    case Member::fieldText2: return memberDetail::memberSlot(item.fieldText2);
    default: return {};
    }
}


// The member of a record's string, for a pointer to it; None for another.
Member stringMember(std::string PavaFullData::*text) noexcept;

// The members of a record item (PavaRecordItem) besides its two field lists.
// No layout names them, so they are not Members; the tool and the C interface
// reach them by name through this table.
struct RecordItemMember {
    const char* name;
    Slot (*slot)(PavaRecordItem& item) noexcept;
};
std::span<const RecordItemMember> recordItemMembers() noexcept;

}  // namespace pava

#endif
