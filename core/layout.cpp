#include "layout.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "field_codec.h"

namespace pava {

const char* fieldKindName(FieldKind kind) noexcept {
    switch (kind) {
    case FieldKind::Raw: return "raw";
    case FieldKind::Text: return "text";
    case FieldKind::TextRaw: return "text/raw";
    case FieldKind::Decimal: return "decimal";
    }
    return "?";
}

const char* bodyKindName(BodyKind kind) noexcept {
    switch (kind) {
    case BodyKind::Fixed: return "fixed";
    case BodyKind::Items: return "items";
    case BodyKind::Text: return "text";
    case BodyKind::CodeRows: return "code-rows";
    case BodyKind::EscapedItems: return "escaped-items";
    case BodyKind::PrefixedItems: return "prefixed-items";
    case BodyKind::GenericTable: return "generic-table";
    case BodyKind::References: return "references";
    case BodyKind::DataTypes: return "data-types";
    case BodyKind::RecordFields: return "record-fields";
    }
    return "?";
}

bool fieldsFit(std::span<const Field> fields, int room) noexcept {
    for (const Field& f : fields)
        if (f.offset + f.width > room) return false;
    return true;
}

namespace {

int slotNumber(const Slot& s) noexcept {
    switch (s.type) {
    case SlotType::Int32: return *static_cast<const int32_t*>(s.ptr);
    case SlotType::UInt16: return *static_cast<const uint16_t*>(s.ptr);
    default: return 0;
    }
}

void setSlotNumber(const Slot& s, int value) noexcept {
    if (s.type == SlotType::Int32) *static_cast<int32_t*>(s.ptr) = value;
    if (s.type == SlotType::UInt16) *static_cast<uint16_t*>(s.ptr) = static_cast<uint16_t>(value);
}

// The source bytes of a text member: a character array is read no further
// than its size, a string no further than its end.
struct Source {
    const char* data = nullptr;
    int size = 0;
};

Source slotSource(const Slot& s) noexcept {
    if (s.type == SlotType::Chars) return {static_cast<const char*>(s.ptr), s.size};
    if (s.type == SlotType::String) {
        const auto* str = static_cast<const std::string*>(s.ptr);
        const size_t n = str->size();
        return {str->data(), n > 0x7fffffff ? 0x7fffffff : static_cast<int>(n)};
    }
    return {};
}

void writeField(const Field& f, const Slot& s, char* dest) noexcept {
    if (f.kind == FieldKind::Decimal) {
        writeIntField((f.flags & kWriteZero) != 0 ? 0 : slotNumber(s), dest, f.width);
        return;
    }
    const Source src = slotSource(s);
    if (f.kind == FieldKind::Raw) {
        copyRawField(dest, f.width, src.data, src.size);
    } else {
        copyTextField(dest, f.width, src.data, src.size);
    }
}

void readField(const Field& f, const char* src, const Slot& s) {
    if (f.kind == FieldKind::Decimal) {
        setSlotNumber(s, readIntField(src, f.width));
        return;
    }
    const bool raw = f.kind != FieldKind::Text;
    if (s.type == SlotType::String) {
        auto* str = static_cast<std::string*>(s.ptr);
        const auto n = static_cast<size_t>(raw ? f.width : fieldTextLength(src, f.width));
        if ((f.flags & kNulPadded) != 0) {
            str->assign(static_cast<size_t>(f.width) + 1, '\0');
            str->replace(0, n, src, n);
        } else {
            str->assign(src, n);
        }
        return;
    }
    if (s.type != SlotType::Chars) return;
    auto* dest = static_cast<char*>(s.ptr);
    if ((f.flags & kClearMember) != 0) std::memset(dest, 0, static_cast<size_t>(s.size));
    // Never write past the member, whatever the field's width.
    const int width = f.width < s.size ? f.width : s.size;
    if (raw)
        std::memcpy(dest, src, static_cast<size_t>(width));
    else
        copyTextField(dest, width, src, f.width);
}

}  // namespace

template <class Item>
typename ItemFields<Item>::Plan ItemFields<Item>::planOf(const Field& f, SlotType type) noexcept {
    if (f.flags != 0) return Plan::Generic;
    switch (type) {
    case SlotType::Int32: return f.kind == FieldKind::Decimal ? Plan::Number : Plan::Generic;
    case SlotType::Chars:
        // Character arrays read back through the generic path (the width
        // bound by the array); only writing has forms of its own.
        if (f.kind == FieldKind::Decimal) return Plan::Generic;
        return f.kind == FieldKind::Raw ? Plan::RawChars : Plan::TextChars;
    case SlotType::String:
        // TextRaw writes as text but reads raw: the generic path.
        if (f.kind == FieldKind::Raw) return Plan::RawString;
        return f.kind == FieldKind::Text ? Plan::TextString : Plan::Generic;
    default: return Plan::Generic;
    }
}

template <class Obj>
bool writeFields(std::span<const Field> fields, const Obj& obj, char* dest, int room) noexcept {
    if (!fieldsFit(fields, room)) return false;
    // Slots are only read here.
    Obj& source = const_cast<Obj&>(obj);
    for (const Field& f : fields) writeField(f, slotOf(source, f.member), dest + f.offset);
    return true;
}

template <class Obj>
bool readFields(std::span<const Field> fields, const char* src, int room, Obj& obj) {
    if (!fieldsFit(fields, room)) return false;
    for (const Field& f : fields) readField(f, src + f.offset, slotOf(obj, f.member));
    return true;
}

template <class Item>
ItemFields<Item>::ItemFields(std::span<const Field> fields) noexcept : m_fields(fields) {
    for (const Field& f : fields) m_end = std::max(m_end, f.offset + f.width);
    if (fields.size() > kMaxSteps) return;
    Item probe{};
    const auto* base = reinterpret_cast<const char*>(&probe);
    for (const Field& f : fields) {
        const Slot slot = slotOf(probe, f.member);
        const std::ptrdiff_t at = slot.ptr != nullptr ? static_cast<const char*>(slot.ptr) - base : 0;
        m_steps[m_count++] = Step{f, slot.type, planOf(f, slot.type), slot.size, at};
    }
    m_resolved = true;
}

template <class Item>
bool ItemFields<Item>::write(const Item& item, char* dest, int room) const noexcept {
    if (!m_resolved) return writeFields(m_fields, item, dest, room);
    if (!fits(room)) return false;
    // Slots are only read here.
    auto* base = reinterpret_cast<char*>(const_cast<Item*>(&item));
    for (size_t i = 0; i < m_count; ++i) {
        const Step& step = m_steps[i];
        const Field& f = step.field;
        char* const to = dest + f.offset;
        char* const member = base + step.at;
        switch (step.plan) {
        case Plan::Number: writeIntField(*reinterpret_cast<const int32_t*>(member), to, f.width); break;
        case Plan::RawChars: copyRawField(to, f.width, member, step.size); break;
        case Plan::TextChars: copyTextField(to, f.width, member, step.size); break;
        case Plan::RawString:
        case Plan::TextString: {
            const Source text = slotSource(Slot{SlotType::String, member, 0});
            if (step.plan == Plan::RawString)
                copyRawField(to, f.width, text.data, text.size);
            else
                copyTextField(to, f.width, text.data, text.size);
            break;
        }
        case Plan::Generic:
            writeField(f, Slot{step.type, step.type == SlotType::None ? nullptr : member, step.size}, to);
            break;
        }
    }
    return true;
}

template <class Item>
bool ItemFields<Item>::read(const char* src, int room, Item& item) const {
    if (!m_resolved) return readFields(m_fields, src, room, item);
    if (!fits(room)) return false;
    auto* base = reinterpret_cast<char*>(&item);
    for (size_t i = 0; i < m_count; ++i) {
        const Step& step = m_steps[i];
        const Field& f = step.field;
        const char* const from = src + f.offset;
        char* const member = base + step.at;
        switch (step.plan) {
        case Plan::Number: *reinterpret_cast<int32_t*>(member) = readIntField(from, f.width); break;
        case Plan::RawString:
            reinterpret_cast<std::string*>(member)->assign(from, static_cast<size_t>(f.width));
            break;
        case Plan::TextString:
            reinterpret_cast<std::string*>(member)->assign(from, static_cast<size_t>(fieldTextLength(from, f.width)));
            break;
        default:
            readField(f, from, Slot{step.type, step.type == SlotType::None ? nullptr : member, step.size});
            break;
        }
    }
    return true;
}

template class ItemFields<PavaDataItem>;
template class ItemFields<PavaSettingItem>;
template class ItemFields<PavaFieldItem>;

template bool writeFields(std::span<const Field>, const PavaFullData&, char*, int) noexcept;
template bool writeFields(std::span<const Field>, const PavaDataItem&, char*, int) noexcept;
template bool writeFields(std::span<const Field>, const PavaSettingItem&, char*, int) noexcept;
template bool writeFields(std::span<const Field>, const PavaFieldItem&, char*, int) noexcept;
template bool readFields(std::span<const Field>, const char*, int, PavaFullData&);
template bool readFields(std::span<const Field>, const char*, int, PavaDataItem&);
template bool readFields(std::span<const Field>, const char*, int, PavaSettingItem&);
template bool readFields(std::span<const Field>, const char*, int, PavaFieldItem&);

}  // namespace pava
