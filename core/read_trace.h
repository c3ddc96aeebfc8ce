// The reads of a decoder, reported as they happen: each field's body offset,
// width, how its bytes were taken and the member path it fills. Off unless
// an observer is given; then every report is one null test in the read
// primitives (field tables, item loops) and in the algorithmic decoders, no
// formatting and no allocation.
#ifndef ZMPAVA_CORE_READ_TRACE_H
#define ZMPAVA_CORE_READ_TRACE_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "layout.h"
#include "record_schema.h"

namespace pava {

// How the decoder took the bytes of one read.
enum class SpanKind : uint8_t {
    Decimal,  // a number
    Text,     // a text up to its first NUL
    Raw,      // the bytes as they stand
    Marker,   // bytes compared with a constant ("$$$")
};

const char* spanKindName(SpanKind kind) noexcept;

// A list's name as the record schema has it ("dataList", "fieldList" ...).
const char* containerName(Container c) noexcept;
constexpr SpanKind spanKindOf(FieldKind kind) noexcept {
    return kind == FieldKind::Decimal ? SpanKind::Decimal : kind == FieldKind::Text ? SpanKind::Text : SpanKind::Raw;
}

// Where a read lands: up to two list levels (an index of -1 names the list
// itself), then a member, a member with a suffix ("itemText.length") or a
// name alone ("count", "recInt"). Names come from the member table and the
// record schema; only the suffixes are words of the decoders.
struct ReadPath {
    Container list = Container::None;
    int index = -1;
    Container sublist = Container::None;
    int subIndex = -1;
    Member member = Member::None;
    const char* name = nullptr;

    constexpr ReadPath leaf(Member m, const char* suffix = nullptr) const noexcept {
        ReadPath p = *this;
        p.member = m;
        p.name = suffix;
        return p;
    }
    constexpr ReadPath named(const char* n) const noexcept { return leaf(Member::None, n); }
    constexpr ReadPath item(Container c, size_t i) const noexcept {
        ReadPath p = *this;
        (list == Container::None ? p.list : p.sublist) = c;
        (list == Container::None ? p.index : p.subIndex) = static_cast<int>(i);
        return p;
    }
    // The list itself, for its count.
    constexpr ReadPath whole(Container c) const noexcept {
        ReadPath p = item(c, 0);
        (list == Container::None ? p.index : p.subIndex) = -1;
        return p;
    }
};

inline constexpr ReadPath kRecordPath{};
inline constexpr const char* kCountName = "count";

// "recordList[2].fieldList[0].fieldText2", "dataList.count", "text12b".
std::string pathText(const ReadPath& path);
// The same, appended to `out` (many paths in one buffer).
void appendPathText(std::string& out, const ReadPath& path);

// The leaf a path names in a record, or a slot of type None when the record
// has no such list element or member.
Slot slotAt(PavaFullData& rec, const ReadPath& path);

class ReadObserver {
public:
    virtual void onRead(int offset, int width, SpanKind kind, const ReadPath& path) = 0;

protected:
    ~ReadObserver() = default;
};

// A decoder's handle on the observer of one frame.
class ReadTrace {
public:
    constexpr ReadTrace() noexcept = default;
    constexpr ReadTrace(ReadObserver* observer, const char* body) noexcept : m_observer(observer), m_body(body) {}

    explicit operator bool() const noexcept { return m_observer != nullptr; }

    // A read of `width` bytes at `at`, within the frame's body.
    void read(const char* at, int width, SpanKind kind, const ReadPath& path) const {
        if (m_observer != nullptr) m_observer->onRead(static_cast<int>(at - m_body), width, kind, path);
    }
    // The fields of a table read from an object that starts at `at`, their
    // members within `scope`; a field without member is the count of `counted`.
    void fields(std::span<const Field> table, const char* at, const ReadPath& scope = kRecordPath,
                Container counted = Container::None) const {
        if (m_observer != nullptr) report(table, at, scope, counted);
    }

private:
    void report(std::span<const Field> table, const char* at, const ReadPath& scope, Container counted) const;

    ReadObserver* m_observer = nullptr;
    const char* m_body = nullptr;
};

// readFields, the fields reported once read.
template <class Obj>
bool readFields(std::span<const Field> fields, const char* src, int room, Obj& obj, const ReadTrace& trace,
                const ReadPath& scope = kRecordPath, Container counted = Container::None) {
    if (!readFields(fields, src, room, obj)) return false;
    trace.fields(fields, src, scope, counted);
    return true;
}

// One explained run of body bytes: a read, or bytes no read covers (unread).
struct BodySpan {
    int offset = 0;
    int width = 0;
    SpanKind kind = SpanKind::Raw;
    bool unread = false;
    ReadPath path;
};

// Decodes the frame into rec as Pava_To_Data does, reporting its reads to
// the observer. Returns the entry point's code.
int decodeObserved(const PavaMsg& frame, PavaFullData& rec, ReadObserver* observer);

// The frame's body explained: the decoder's reads in offset order (a read
// repeated at the same place and width shown once, as its most specific
// path), the gaps between them and up to the declared length (or the
// furthest read, if further) as unread spans. *rc receives the decode's code.
std::vector<BodySpan> explainBody(const PavaMsg& frame, PavaFullData& rec, int* rc = nullptr);

}  // namespace pava

#endif
