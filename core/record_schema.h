// The members of the record and its nested objects as a table, built from
// the member table and the record's own structure: names, kinds and places,
// for the C interface's member paths and for bindings that convert whole
// records at once.
#ifndef ZMPAVA_CORE_RECORD_SCHEMA_H
#define ZMPAVA_CORE_RECORD_SCHEMA_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "ZMPavaAnalyzer.h"
#include "ZMPavaAnalyzerC.h"
#include "members.h"

namespace pava {

constexpr int kTypeCount = PAVA_TYPE_FIELD_ITEM + 1;

// The members that hold other objects; everything else is a leaf slot.
enum class Container : uint8_t {
    None, DataList, DataList2, SettingList, RecordList, FileBlock, FbCodes, FieldList, FieldList2
};

struct SchemaEntry {
    pava_member_info info{};
    Member member = Member::None;  // a leaf of the member table
    int recordItem = -1;           // a leaf of recordItemMembers()
    Container container = Container::None;
    ptrdiff_t offset = 0;          // within its object (the file block for its members)
};

using Schema = std::array<std::vector<SchemaEntry>, kTypeCount>;

// Every object type's members in declaration order (indexed by PAVA_TYPE_*);
// built on first use, immutable afterwards.
const Schema& schema();

// The member of an object type by name; null when it has none of that name.
const SchemaEntry* findEntry(int type, std::string_view name);

// ---------------------------------------------------------------------------
// Lists behind an object pointer of the container's owner type
// ---------------------------------------------------------------------------

template <class F>
inline auto withList(void* object, Container c, F&& f) {
    auto* rec = static_cast<PavaFullData*>(object);
    auto* row = static_cast<PavaRecordItem*>(object);
    switch (c) {
    case Container::DataList2: return f(rec->dataList2);
    case Container::SettingList: return f(rec->settingList);
    case Container::RecordList: return f(rec->recordList);
    case Container::FieldList: return f(row->fieldList);
    case Container::FieldList2: return f(row->fieldList2);
    default: return f(rec->dataList);
    }
}

inline size_t listSize(void* object, Container c) {
    return withList(object, c, [](auto& list) { return list.size(); });
}
inline void* listElement(void* object, Container c, size_t index) {
    return withList(object, c, [&](auto& list) -> void* { return &list[index]; });
}
inline void* listAppend(void* object, Container c) {
    return withList(object, c, [](auto& list) -> void* { return &list.emplace_back(); });
}
inline void listPop(void* object, Container c) {
    withList(object, c, [](auto& list) { list.pop_back(); });
}
inline void listResize(void* object, Container c, size_t size) {
    withList(object, c, [&](auto& list) { list.resize(size); });
}

}  // namespace pava

#endif
