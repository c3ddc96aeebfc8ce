#include "read_trace.h"

#include <algorithm>
#include <array>
#include <charconv>

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

// A name after what `out` holds from `start` on, dot-separated.
void append(std::string& out, size_t start, const char* name) {
    if (out.size() > start) out += '.';
    out += name;
}

void appendList(std::string& out, size_t start, Container c, int index) {
    append(out, start, containerName(c));
    if (index < 0) return;
    char digits[12];
    const auto end = std::to_chars(digits, digits + sizeof digits, index).ptr;
    out += '[';
    out.append(digits, end);
    out += ']';
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

// A container's name as the record schema has it.
const char* containerName(Container c) noexcept {
    static const auto names = [] {
        std::array<const char*, static_cast<size_t>(Container::FieldList2) + 1> n{};
        n.fill("?");
        for (const auto& members : schema())
            for (const SchemaEntry& e : members)
                if (e.container != Container::None) n[static_cast<size_t>(e.container)] = e.info.name;
        return n;
    }();
    return static_cast<size_t>(c) < names.size() ? names[static_cast<size_t>(c)] : "?";
}


void appendPathText(std::string& out, const ReadPath& path) {
    const size_t start = out.size();
    if (path.list != Container::None) appendList(out, start, path.list, path.index);
    if (path.sublist != Container::None) appendList(out, start, path.sublist, path.subIndex);
    if (path.member != Member::None) append(out, start, memberName(path.member));
    if (path.name != nullptr) append(out, start, path.name);
}

std::string pathText(const ReadPath& path) {
    std::string out;
    appendPathText(out, path);
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
    const auto before = [](const BodySpan& x, const BodySpan& y) {
        return x.offset != y.offset ? x.offset < y.offset : x.width < y.width;
    };
    // Most decoders read in offset order already.
    if (!std::is_sorted(spans.begin(), spans.end(), before)) std::stable_sort(spans.begin(), spans.end(), before);
    // One span per read, with the gaps between them as unread spans up to the
    // declared length or the furthest read. The same bytes read twice as the
    // same field (a count both in the fixed fields and as the list's count)
    // are one span, by its most specific path.
    const int declared = std::clamp(readHead(&frame).getLength(), 0, MAX_PAVA_MSG_LEN);
    std::vector<BodySpan> all;
    all.reserve(2 * spans.size() + 1);
    int covered = 0;
    for (const BodySpan& s : spans) {
        if (!all.empty()) {  // all.back() is the last read: gaps only go before one
            BodySpan& last = all.back();
            if (last.offset == s.offset && last.width == s.width && last.kind == s.kind) {
                if (specificity(s.path) > specificity(last.path)) last.path = s.path;
                continue;
            }
        }
        if (s.offset > covered) all.push_back({covered, s.offset - covered, SpanKind::Raw, true, {}});
        all.push_back(s);
        covered = std::max(covered, s.offset + s.width);
    }
    if (covered < declared) all.push_back({covered, declared - covered, SpanKind::Raw, true, {}});
    return all;
}

}  // namespace pava
