#include "members.h"

namespace pava {

namespace {

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
    {"recText1", [](PavaRecordItem& r) noexcept { return memberDetail::memberSlot(r.recText1); }},
    {"recText2", [](PavaRecordItem& r) noexcept { return memberDetail::memberSlot(r.recText2); }},
    {"recText3", [](PavaRecordItem& r) noexcept { return memberDetail::memberSlot(r.recText3); }},
    {"recInt", [](PavaRecordItem& r) noexcept { return memberDetail::memberSlot(r.recInt); }},
};
}  // namespace

std::span<const RecordItemMember> recordItemMembers() noexcept { return kRecordItemMembers; }

}  // namespace pava
