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

bool fieldsFit(std::span<const Field> fields, int room) noexcept {
    for (const Field& f : fields)
        if (f.offset + f.width > room) return false;
    return true;
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
        m_steps[m_count++] = Step{f, slot.type, slot.size, at};
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
        writeField(step.field, Slot{step.type, step.type == SlotType::None ? nullptr : base + step.at, step.size},
                   dest + step.field.offset);
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
        readField(step.field, src + step.field.offset,
                  Slot{step.type, step.type == SlotType::None ? nullptr : base + step.at, step.size});
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
