#include "members.h"

namespace pava {

namespace {

template <size_t N>
Slot slot(char (&array)[N]) noexcept {
    return {SlotType::Chars, array, static_cast<int>(N)};
}
Slot slot(int32_t& v) noexcept { return {SlotType::Int32, &v, 4}; }
Slot slot(uint16_t& v) noexcept { return {SlotType::UInt16, &v, 2}; }
Slot slot(std::string& s) noexcept { return {SlotType::String, &s, 0}; }

struct Info {
    const char* name;
    MemberOwner owner;
};

constexpr Info kInfo[] = {
#define PAVA_MEMBER_INFO(name, owner) {#name, MemberOwner::owner},
    PAVA_MEMBERS(PAVA_MEMBER_INFO)
#undef PAVA_MEMBER_INFO
        {"none", MemberOwner::None},
};

}  // namespace

const char* memberName(Member m) noexcept {
    const auto i = static_cast<size_t>(m);
    return i < std::size(kInfo) ? kInfo[i].name : "?";
}

MemberOwner memberOwner(Member m) noexcept {
    const auto i = static_cast<size_t>(m);
    return i < std::size(kInfo) ? kInfo[i].owner : MemberOwner::None;
}

Slot slotOf(PavaFullData& rec, Member m) noexcept {
    switch (m) {
#define PAVA_RECORD_MEMBER(name) \
    case Member::name:           \
        return slot(rec.name);
#define PAVA_BLOCK_MEMBER(name) \
    case Member::name:          \
        return slot(rec.fileBlock.name);
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

Slot slotOf(PavaDataItem& item, Member m) noexcept {
    switch (m) {
    case Member::itemId: return slot(item.itemId);
    case Member::itemInt: return slot(item.itemInt);
    case Member::itemText: return slot(item.itemText);
    case Member::itemBlock: return slot(item.itemBlock);
    case Member::itemText2: return slot(item.itemText2);
    case Member::itemInt2: return slot(item.itemInt2);
    case Member::itemInt3: return slot(item.itemInt3);
    default: return {};
    }
}

Slot slotOf(PavaSettingItem& item, Member m) noexcept {
    switch (m) {
    case Member::setId: return slot(item.setId);
    case Member::setInt: return slot(item.setInt);
    case Member::setText30: return slot(item.setText30);
    case Member::setText: return slot(item.setText);
    case Member::setText2: return slot(item.setText2);
    default: return {};
    }
}

Slot slotOf(PavaFieldItem& item, Member m) noexcept {
    switch (m) {
    case Member::fieldType: return slot(item.fieldType);
    case Member::fieldLen: return slot(item.fieldLen);
    case Member::fieldText1: return slot(item.fieldText1);
    case Member::fieldText2: return slot(item.fieldText2);
    default: return {};
    }
}

Member stringMember(std::string PavaFullData::*text) noexcept {
    if (text == &PavaFullData::string1) return Member::string1;
    if (text == &PavaFullData::string2) return Member::string2;
    if (text == &PavaFullData::string3) return Member::string3;
    if (text == &PavaFullData::string4) return Member::string4;
    if (text == &PavaFullData::string5) return Member::string5;
    if (text == &PavaFullData::string6) return Member::string6;
    return Member::None;
}

namespace {
constexpr RecordItemMember kRecordItemMembers[] = {
    {"recText1", [](PavaRecordItem& r) noexcept { return slot(r.recText1); }},
    {"recText2", [](PavaRecordItem& r) noexcept { return slot(r.recText2); }},
    {"recText3", [](PavaRecordItem& r) noexcept { return slot(r.recText3); }},
    {"recInt", [](PavaRecordItem& r) noexcept { return slot(r.recInt); }},
};
}  // namespace

std::span<const RecordItemMember> recordItemMembers() noexcept { return kRecordItemMembers; }

}  // namespace pava
