#include "layout_json.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "dissect.h"

namespace pava::tool {

namespace {

using Json = nlohmann::ordered_json;

const char* ownerName(MemberOwner owner) {
    switch (owner) {
    case MemberOwner::Record: return "record";
    case MemberOwner::Item: return "item";
    case MemberOwner::Setting: return "setting";
    case MemberOwner::Field: return "field";
    case MemberOwner::None: break;
    }
    return nullptr;
}

Slot slotIn(Member m) {
    // Only the slot's type and size are used: the objects are never touched.
    static PavaFullData rec;
    static PavaDataItem item;
    static PavaSettingItem setting;
    static PavaFieldItem field;
    switch (memberOwner(m)) {
    case MemberOwner::Record: return slotOf(rec, m);
    case MemberOwner::Item: return slotOf(item, m);
    case MemberOwner::Setting: return slotOf(setting, m);
    case MemberOwner::Field: return slotOf(field, m);
    case MemberOwner::None: break;
    }
    return {};
}

// The bytes of the field the decoder keeps: a character array takes no more
// than its size, anything else the whole field.
int keptWidth(const Field& f) {
    const Slot s = slotIn(f.member);
    return s.type == SlotType::Chars ? std::min<int>(f.width, s.size) : f.width;
}

Json fieldJson(const Field& f) {
    Json j;
    j["offset"] = f.offset;
    j["width"] = f.width;
    j["kind"] = fieldKindName(f.kind);
    const bool none = f.member == Member::None;
    j["member"] = none ? Json(nullptr) : Json(memberName(f.member));
    j["owner"] = none ? Json(nullptr) : Json(ownerName(memberOwner(f.member)));
    const SlotType type = slotIn(f.member).type;
    j["number"] = none || type == SlotType::Int32 || type == SlotType::UInt16;
    j["keeps"] = keptWidth(f);
    Json flags = Json::array();
    if ((f.flags & kClearMember) != 0) flags.push_back("clear");
    if ((f.flags & kWriteZero) != 0) flags.push_back("zero");
    if ((f.flags & kNulPadded) != 0) flags.push_back("nul-padded");
    j["flags"] = std::move(flags);
    return j;
}

Json fieldsJson(std::span<const Field> fields) {
    Json a = Json::array();
    for (const Field& f : fields) a.push_back(fieldJson(f));
    return a;
}

void addMembers(std::vector<std::string>& out, std::span<const Field> fields) {
    for (const Field& f : fields) {
        if (f.member == Member::None) continue;
        const std::string name = memberName(f.member);
        if (std::find(out.begin(), out.end(), name) == out.end()) out.push_back(name);
    }
}

}  // namespace

std::vector<std::string> carriedMembers(const MessageDef& def) {
    const Layout& layout = def.layout;
    std::vector<std::string> out;
    addMembers(out, layout.fields);
    addMembers(out, layout.decodeFields);
    if (layout.body.member != Member::None) addMembers(out, std::array{Field{0, 0, FieldKind::Raw, layout.body.member}});
    for (const Member m : layout.body.carries) addMembers(out, std::array{Field{0, 0, FieldKind::Raw, m}});
    addMembers(out, layout.body.trailer);
    if (const ListShape* list = layout.list) {
        addMembers(out, list->itemFields);
        addMembers(out, list->itemDecodeFields);
        addMembers(out, list->trailer);
    }
    return out;
}

Json layoutJson(const MessageDef& def) {
    const Layout& layout = def.layout;
    Json j;
    j["id"] = def.id;
    j["family"] = familyName(def);
    j["length"] = layout.length < 0 ? Json(nullptr) : Json(layout.length);
    j["fields"] = fieldsJson(layout.fields);
    j["readFields"] = fieldsJson(layout.readFields());
    if (const ListShape* list = layout.list) {
        Json l;
        l["countAt"] = list->countWidth == 0 ? Json(nullptr) : Json(list->countAt);
        l["countWidth"] = list->countWidth;
        l["itemsAt"] = list->itemsAt;
        l["itemSize"] = list->itemSize;
        l["itemFields"] = fieldsJson(list->itemFields);
        l["itemReadFields"] = fieldsJson(list->itemReadFields());
        l["trailer"] = fieldsJson(list->trailer);
        j["list"] = std::move(l);
    } else {
        j["list"] = nullptr;
    }
    const BodyPart& body = layout.body;
    Json b;
    b["kind"] = bodyKindName(body.kind);
    b["at"] = body.at;
    b["countAt"] = body.countAt < 0 ? Json(nullptr) : Json(body.countAt);
    b["countWidth"] = body.countWidth;
    b["member"] = body.member == Member::None ? Json(nullptr) : Json(memberName(body.member));
    b["words"] = body.words != nullptr ? Json(body.words) : Json(nullptr);
    Json carries = Json::array();
    for (const Member m : body.carries) carries.push_back(memberName(m));
    b["carries"] = std::move(carries);
    b["trailer"] = fieldsJson(body.trailer);
    b["textCut"] = body.textCut > 0 ? Json(body.textCut) : Json(nullptr);
    j["body"] = std::move(b);
    j["members"] = carriedMembers(def);
    return j;
}

Json membersJson() {
    Json all = Json::array();
    for (int i = 0; i < static_cast<int>(Member::None); ++i) {
        const auto m = static_cast<Member>(i);
        const SlotType type = slotIn(m).type;
        all.push_back({{"name", memberName(m)},
                       {"owner", ownerName(memberOwner(m))},
                       {"number", type == SlotType::Int32 || type == SlotType::UInt16}});
    }
    return all;
}

Json allLayoutsJson() {
    Json all = Json::array();
    for (const MessageDef* def : registeredMessages()) all.push_back(layoutJson(*def));
    return all;
}

}  // namespace pava::tool
