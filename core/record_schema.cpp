#include "record_schema.h"

#include <algorithm>

namespace pava {

namespace {

ptrdiff_t offsetIn(const void* object, const void* member) {
    return static_cast<const char*>(member) - static_cast<const char*>(object);
}

int kindOf(SlotType type) {
    switch (type) {
    case SlotType::Int32: return PAVA_KIND_INT32;
    case SlotType::UInt16: return PAVA_KIND_UINT16;
    case SlotType::Chars: return PAVA_KIND_CHARS;
    case SlotType::String: return PAVA_KIND_STRING;
    case SlotType::None: break;
    }
    return 0;
}

SchemaEntry leaf(const char* name, const Slot& s, ptrdiff_t offset) {
    SchemaEntry e;
    e.info = {sizeof(pava_member_info), name, kindOf(s.type), s.type == SlotType::Chars ? s.size : 0, 0, -1};
    e.offset = offset;
    return e;
}

SchemaEntry container(const char* name, int kind, Container c, int element, ptrdiff_t offset) {
    SchemaEntry e;
    e.info = {sizeof(pava_member_info), name, kind, 0, 0, element};
    e.container = c;
    e.offset = offset;
    return e;
}

// Every object type's members in declaration order: the leaves come from the
// member table (their place from their slots in a sample object, a record's
// member inside fileBlock belonging to the file block), the containers are
// the record's structure around them.
void buildSchema(Schema& schema) {
    PavaFullData rec;
    PavaDataItem item;
    PavaSettingItem setting;
    PavaFieldItem field;
    PavaRecordItem recordItem;
    const char* blockBegin = reinterpret_cast<const char*>(&rec.fileBlock);
    for (int i = 0; i < static_cast<int>(Member::None); ++i) {
        const auto m = static_cast<Member>(i);
        SchemaEntry e;
        int type = -1;
        switch (memberOwner(m)) {
        case MemberOwner::Record: {
            const Slot s = slotOf(rec, m);
            const char* at = static_cast<const char*>(s.ptr);
            const bool inBlock = at >= blockBegin && at < blockBegin + sizeof rec.fileBlock;
            type = inBlock ? PAVA_TYPE_FILE_BLOCK : PAVA_TYPE_RECORD;
            e = leaf(memberName(m), s, inBlock ? offsetIn(&rec.fileBlock, at) : offsetIn(&rec, at));
            break;
        }
        case MemberOwner::Item: {
            const Slot s = slotOf(item, m);
            type = PAVA_TYPE_DATA_ITEM, e = leaf(memberName(m), s, offsetIn(&item, s.ptr));
            break;
        }
        case MemberOwner::Setting: {
            const Slot s = slotOf(setting, m);
            type = PAVA_TYPE_SETTING_ITEM, e = leaf(memberName(m), s, offsetIn(&setting, s.ptr));
            break;
        }
        case MemberOwner::Field: {
            const Slot s = slotOf(field, m);
            type = PAVA_TYPE_FIELD_ITEM, e = leaf(memberName(m), s, offsetIn(&field, s.ptr));
            break;
        }
        case MemberOwner::None: break;
        }
        if (type < 0) continue;
        e.member = m;
        schema[type].push_back(e);
    }
    const auto items = recordItemMembers();
    for (size_t i = 0; i < items.size(); ++i) {
        const Slot s = items[i].slot(recordItem);
        SchemaEntry e = leaf(items[i].name, s, offsetIn(&recordItem, s.ptr));
        e.recordItem = static_cast<int>(i);
        schema[PAVA_TYPE_RECORD_ITEM].push_back(e);
    }

    auto& top = schema[PAVA_TYPE_RECORD];
    top.push_back(container("dataList", PAVA_KIND_LIST, Container::DataList, PAVA_TYPE_DATA_ITEM,
                            offsetIn(&rec, &rec.dataList)));
    top.push_back(container("dataList2", PAVA_KIND_LIST, Container::DataList2, PAVA_TYPE_DATA_ITEM,
                            offsetIn(&rec, &rec.dataList2)));
    top.push_back(container("settingList", PAVA_KIND_LIST, Container::SettingList, PAVA_TYPE_SETTING_ITEM,
                            offsetIn(&rec, &rec.settingList)));
    top.push_back(container("fileBlock", PAVA_KIND_OBJECT, Container::FileBlock, PAVA_TYPE_FILE_BLOCK,
                            offsetIn(&rec, &rec.fileBlock)));
    top.push_back(container("recordList", PAVA_KIND_LIST, Container::RecordList, PAVA_TYPE_RECORD_ITEM,
                            offsetIn(&rec, &rec.recordList)));
    SchemaEntry codes = container("fbCodes", PAVA_KIND_ROWS, Container::FbCodes, -1,
                            offsetIn(&rec.fileBlock, &rec.fileBlock.fbCodes));
    codes.info.count = static_cast<int>(std::size(rec.fileBlock.fbCodes));
    codes.info.bytes = static_cast<int>(sizeof rec.fileBlock.fbCodes[0]);
    schema[PAVA_TYPE_FILE_BLOCK].push_back(codes);
    auto& rows = schema[PAVA_TYPE_RECORD_ITEM];
    rows.push_back(container("fieldList", PAVA_KIND_LIST, Container::FieldList, PAVA_TYPE_FIELD_ITEM,
                             offsetIn(&recordItem, &recordItem.fieldList)));
    rows.push_back(container("fieldList2", PAVA_KIND_LIST, Container::FieldList2, PAVA_TYPE_FIELD_ITEM,
                             offsetIn(&recordItem, &recordItem.fieldList2)));

    for (auto& members : schema)
        std::stable_sort(members.begin(), members.end(),
                         [](const SchemaEntry& a, const SchemaEntry& b) { return a.offset < b.offset; });
}

}  // namespace

const Schema& schema() {
    static const auto* const instance = [] {
        auto* s = new Schema;
        buildSchema(*s);
        return s;
    }();
    return *instance;
}

const SchemaEntry* findEntry(int type, std::string_view name) {
    for (const SchemaEntry& e : schema()[type])
        if (name == e.info.name) return &e;
    return nullptr;
}

}  // namespace pava
