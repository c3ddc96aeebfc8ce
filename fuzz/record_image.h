// Byte images of PavaFullData records: equal images mean equal records
// (every member, the code rows, list items member by member). Used by the fuzz
// harnesses and the concurrency test to compare records; and a record crowded
// with list items, for decodes that reuse what a record holds.
#ifndef ZMPAVA_FUZZ_RECORD_IMAGE_H
#define ZMPAVA_FUZZ_RECORD_IMAGE_H

#include <bitset>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "ZMPavaAnalyzer.h"
#include "members.h"

namespace pava::fuzz {

constexpr size_t kMemberCount = static_cast<size_t>(Member::None);

// Parts of the record that are no member a layout names.
enum Container : uint8_t {
    kDataList = 1,
    kDataList2 = 2,
    kSettingList = 4,
    kRecordList = 8,
    kFbCodes = 16,
};

// The parts of PavaFullData one id's decoder may write.
struct Carried {
    std::bitset<kMemberCount> members;  // record members (owner Record)
    uint8_t containers = 0;             // Container bits

    bool has(Member m) const { return members.test(static_cast<size_t>(m)); }
};

namespace detail {

inline bool isRecordMember(Member m) { return memberOwner(m) == MemberOwner::Record; }

template <class Obj>
inline void appendMembers(std::string& out, Obj& obj, MemberOwner owner) {
    for (size_t i = 0; i < kMemberCount; ++i) {
        const Member m = static_cast<Member>(i);
        if (memberOwner(m) != owner) continue;
        const Slot s = slotOf(obj, m);
        switch (s.type) {
            case SlotType::Int32: out.append(static_cast<const char*>(s.ptr), 4); break;
            case SlotType::UInt16: out.append(static_cast<const char*>(s.ptr), 2); break;
            case SlotType::Chars: out.append(static_cast<const char*>(s.ptr), static_cast<size_t>(s.size)); break;
            case SlotType::String: {
                const auto& text = *static_cast<const std::string*>(s.ptr);
                out += std::to_string(text.size()) + ':';
                out += text;
                break;
            }
            case SlotType::None: break;
        }
    }
}

template <class Item>
inline void appendList(std::string& out, const std::vector<Item>& items, MemberOwner owner) {
    out += "[" + std::to_string(items.size()) + "]";
    for (const Item& item : items) appendMembers(out, const_cast<Item&>(item), owner);
}

inline void appendRecordList(std::string& out, const std::vector<PavaRecordItem>& items) {
    out += "{" + std::to_string(items.size()) + "}";
    for (const PavaRecordItem& r : items) {
        appendList(out, r.fieldList, MemberOwner::Field);
        appendList(out, r.fieldList2, MemberOwner::Field);
        out += std::to_string(r.recText1.size()) + ':' + r.recText1;
        out += std::to_string(r.recText2.size()) + ':' + r.recText2;
        out += std::to_string(r.recText3.size()) + ':' + r.recText3;
        out.append(reinterpret_cast<const char*>(&r.recInt), sizeof r.recInt);
    }
}

}  // namespace detail

// A byte image of the parts of the record that `parts` names, or with
// `inverted` of all other parts (list items member by member).
inline std::string image(const PavaFullData& rec, const Carried& parts, bool inverted) {
    std::string out;
    auto& r = const_cast<PavaFullData&>(rec);
    const auto wanted = [&](bool has) { return has != inverted; };
    for (size_t i = 0; i < kMemberCount; ++i) {
        const Member m = static_cast<Member>(i);
        if (!detail::isRecordMember(m) || !wanted(parts.has(m))) continue;
        out += memberName(m);
        out += '=';
        const Slot s = slotOf(r, m);
        if (s.type == SlotType::String) {
            const auto& text = *static_cast<const std::string*>(s.ptr);
            out += std::to_string(text.size()) + ':' + text;
        } else {
            out.append(static_cast<const char*>(s.ptr),
                       s.type == SlotType::Int32 ? 4 : s.type == SlotType::UInt16 ? 2 : static_cast<size_t>(s.size));
        }
    }
    if (wanted(parts.containers & kFbCodes)) out.append(&rec.fileBlock.fbCodes[0][0], sizeof rec.fileBlock.fbCodes);
    if (wanted(parts.containers & kDataList)) detail::appendList(out, rec.dataList, MemberOwner::Item);
    if (wanted(parts.containers & kDataList2)) detail::appendList(out, rec.dataList2, MemberOwner::Item);
    if (wanted(parts.containers & kSettingList)) detail::appendList(out, rec.settingList, MemberOwner::Setting);
    if (wanted(parts.containers & kRecordList)) detail::appendRecordList(out, rec.recordList);
    return out;
}

// The image of the whole record: equal images mean equal records.
inline std::string image(const PavaFullData& rec) { return image(rec, Carried{}, true); }

// Every member of `owner` in the object set to something a decode must
// replace: numbers 9, character arrays full, long strings.
template <class Obj>
inline void crowd(Obj& obj, MemberOwner owner) {
    for (size_t i = 0; i < kMemberCount; ++i) {
        if (memberOwner(static_cast<Member>(i)) != owner) continue;
        const Slot s = slotOf(obj, static_cast<Member>(i));
        if (s.type == SlotType::Int32) *static_cast<int32_t*>(s.ptr) = 9;
        if (s.type == SlotType::UInt16) *static_cast<uint16_t*>(s.ptr) = 9;
        if (s.type == SlotType::Chars) std::memset(s.ptr, 'c', static_cast<size_t>(s.size));
        if (s.type == SlotType::String) static_cast<std::string*>(s.ptr)->assign(120, 's');
    }
}

// A crowded record whose every list holds `n` crowded items (records with
// nested fields and where-items): what an earlier decode may leave for the next.
inline PavaFullData crowdedRecord(size_t n) {
    PavaFullData rec;
    crowd(rec, MemberOwner::Record);
    std::memset(rec.fileBlock.fbCodes, 'c', sizeof rec.fileBlock.fbCodes);
    PavaFieldItem field;
    crowd(field, MemberOwner::Field);
    PavaRecordItem record;
    record.fieldList.assign(3, field);
    record.fieldList2.assign(2, field);
    record.recText1 = record.recText2 = record.recText3 = std::string(30, 'r');
    record.recInt = 3;
    rec.recordList.assign(n, record);
    PavaDataItem item;
    crowd(item, MemberOwner::Item);
    rec.dataList.assign(n, item);
    rec.dataList2.assign(n, item);
    PavaSettingItem setting;
    crowd(setting, MemberOwner::Setting);
    rec.settingList.assign(n, setting);
    return rec;
}

}  // namespace pava::fuzz

#endif
