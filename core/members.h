// Names for the members that message layouts carry, so that a layout can be
// written as data (offset, width, kind, member) and enumerated at run time.
#ifndef ZMPAVA_CORE_MEMBERS_H
#define ZMPAVA_CORE_MEMBERS_H

#include <cstdint>
#include <span>
#include <string>

#include "ZMPavaAnalyzer.h"

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

// The slot of a member in an object; a member of another owner gives SlotType::None.
Slot slotOf(PavaFullData& rec, Member m) noexcept;
Slot slotOf(PavaDataItem& item, Member m) noexcept;
Slot slotOf(PavaSettingItem& item, Member m) noexcept;
Slot slotOf(PavaFieldItem& item, Member m) noexcept;

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
