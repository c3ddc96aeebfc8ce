#include "read_trace.h"

#include <algorithm>

#include "analyzer.h"
#include "frame_header.h"

namespace pava {

const char* spanKindName(SpanKind kind) noexcept {
    switch (kind) {
    case SpanKind::Decimal: return "decimal";
    case SpanKind::Text: return "text";
    case SpanKind::Raw: return "raw";
    case SpanKind::Marker: return "marker";
    }
    return "?";
}

namespace {

// A container's name as the record schema has it.
const char* containerName(Container c) {
    for (const auto& members : schema())
        for (const SchemaEntry& e : members)
            if (e.container == c) return e.info.name;
    return "?";
}

void append(std::string& out, const char* name) {
    if (!out.empty()) out += '.';
    out += name;
}

void appendList(std::string& out, Container c, int index) {
    append(out, containerName(c));
    if (index >= 0) out += '[' + std::to_string(index) + ']';
}

// The element a list index names, or null past the list's end.
template <class T>
T* element(std::vector<T>& list, int index) {
    return index >= 0 && static_cast<size_t>(index) < list.size() ? &list[static_cast<size_t>(index)] : nullptr;
}

Slot recordItemSlot(PavaRecordItem& item, const char* name) {
    for (const RecordItemMember& m : recordItemMembers())
        if (std::string_view(m.name) == name) return m.slot(item);
    return {};
}

}  // namespace

std::string pathText(const ReadPath& path) {
    std::string out;
    if (path.list != Container::None) appendList(out, path.list, path.index);
    if (path.sublist != Container::None) appendList(out, path.sublist, path.subIndex);
    if (path.member != Member::None) append(out, memberName(path.member));
    if (path.name != nullptr) append(out, path.name);
    return out;
}

Slot slotAt(PavaFullData& rec, const ReadPath& path) {
    if (path.member == Member::None && path.name != nullptr && path.list != Container::RecordList) return {};
    switch (path.list) {
    case Container::None: return path.name == nullptr ? slotOf(rec, path.member) : Slot{};
    case Container::DataList:
    case Container::DataList2: {
        PavaDataItem* item = element(path.list == Container::DataList ? rec.dataList : rec.dataList2, path.index);
        return item != nullptr && path.name == nullptr ? slotOf(*item, path.member) : Slot{};
    }
    case Container::SettingList: {
        PavaSettingItem* item = element(rec.settingList, path.index);
        return item != nullptr && path.name == nullptr ? slotOf(*item, path.member) : Slot{};
    }
    case Container::FbCodes:
        if (path.index < 0 || path.index >= static_cast<int>(std::size(rec.fileBlock.fbCodes))) return {};
        return {SlotType::Chars, rec.fileBlock.fbCodes[path.index], static_cast<int>(sizeof rec.fileBlock.fbCodes[0])};
    case Container::RecordList: {
        PavaRecordItem* record = element(rec.recordList, path.index);
        if (record == nullptr) return {};
        if (path.sublist == Container::None)
            return path.member == Member::None && path.name != nullptr ? recordItemSlot(*record, path.name) : Slot{};
        PavaFieldItem* field =
            element(path.sublist == Container::FieldList ? record->fieldList : record->fieldList2, path.subIndex);
        return field != nullptr && path.name == nullptr ? slotOf(*field, path.member) : Slot{};
    }
    default: return {};
    }
}

void ReadTrace::report(std::span<const Field> table, const char* at, const ReadPath& scope, Container counted) const {
    for (const Field& f : table) {
        const ReadPath path = f.member != Member::None ? scope.leaf(f.member)
                              : counted != Container::None ? scope.whole(counted).named(kCountName)
                                                           : scope.named(kCountName);
        m_observer->onRead(static_cast<int>(at + f.offset - m_body), f.width, spanKindOf(f.kind), path);
    }
}

namespace {

struct Collector final : ReadObserver {
    std::vector<BodySpan> spans;
    void onRead(int offset, int width, SpanKind kind, const ReadPath& path) override {
        if (width > 0) spans.push_back({offset, width, kind, false, path});
    }
};

// How much a path says: a member or element beats a bare count name.
int specificity(const ReadPath& p) {
    return (p.member != Member::None ? 4 : 0) + (p.list != Container::None ? 2 : 0) + (p.sublist != Container::None ? 1 : 0);
}

}  // namespace

std::vector<BodySpan> explainBody(const PavaMsg& frame, PavaFullData& rec, int* rc) {
    Collector reads;
    const int decoded = decodeObserved(frame, rec, &reads);
    if (rc != nullptr) *rc = decoded;
    std::vector<BodySpan>& spans = reads.spans;
    std::stable_sort(spans.begin(), spans.end(), [](const BodySpan& a, const BodySpan& b) {
        return a.offset != b.offset ? a.offset < b.offset : a.width < b.width;
    });
    // The same bytes read twice as the same field (a count both in the fixed
    // fields and as the list's count): one span, by its most specific path.
    std::vector<BodySpan> out;
    for (const BodySpan& s : spans) {
        if (!out.empty() && out.back().offset == s.offset && out.back().width == s.width && out.back().kind == s.kind) {
            if (specificity(s.path) > specificity(out.back().path)) out.back().path = s.path;
            continue;
        }
        out.push_back(s);
    }
    // The gaps, as unread spans, up to the declared length or the furthest read.
    const int declared = std::clamp(readHead(&frame).getLength(), 0, MAX_PAVA_MSG_LEN);
    std::vector<BodySpan> all;
    int covered = 0;
    for (const BodySpan& s : out) {
        if (s.offset > covered) all.push_back({covered, s.offset - covered, SpanKind::Raw, true, {}});
        all.push_back(s);
        covered = std::max(covered, s.offset + s.width);
    }
    if (covered < declared) all.push_back({covered, declared - covered, SpanKind::Raw, true, {}});
    return all;
}

}  // namespace pava
