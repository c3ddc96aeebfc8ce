// Message layouts as data. A layout is a list of fields (offset, width, kind,
// member) that one generic writer and reader run; the same tables are walked
// at run time to dissect frames field by field.
#ifndef ZMPAVA_CORE_LAYOUT_H
#define ZMPAVA_CORE_LAYOUT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <utility>

#include "ZMPavaAnalyzer.h"
#include "field_codec.h"
#include "members.h"

namespace pava {

enum class FieldKind : uint8_t {
    Raw,      // bytes as they stand, both ways (a string reads as NUL past its end;
              // a string member decodes to exactly `width` bytes)
    Text,     // bounded copy both ways: up to the first NUL, NUL-padded
    TextRaw,  // bounded copy out, `width` raw bytes back in
    Decimal,  // left-aligned blank-padded decimal out, field reader back in
};

enum FieldFlag : uint8_t {
    kClearMember = 1,  // the decoder zeroes the whole member before reading the field
    kWriteZero = 2,    // the encoder writes the number 0 instead of the member
    kNulPadded = 4,    // a string member decodes to exactly width + 1 characters:
                       // what the kind copies, then NUL up to the end; a number
                       // is written as its digits, then NUL bytes
};

struct Field {
    uint16_t offset;
    uint16_t width;
    FieldKind kind;
    Member member;
    uint8_t flags = 0;
};

struct Layout {
    std::span<const Field> fields;        // as the encoder writes them
    std::span<const Field> decodeFields;  // where the decoder reads otherwise (else empty)
    int length = -1;                      // declared body length; -1 when it varies

    std::span<const Field> readFields() const noexcept {
        return decodeFields.empty() ? fields : decodeFields;
    }
};

const char* fieldKindName(FieldKind kind) noexcept;

// The forms of one field, written once: every driver of field tables (the
// table walk of writeFields/readFields, the per-item tables of ItemFields,
// the tables unrolled at compile time) writes and reads a field through
// these two, given the slot of its member. They are inline, so that a
// driver whose field and member are constants compiles to the form alone.
//
// Out: a decimal of the number member (0 with kWriteZero, or for a member
// that is no number; kNulPadded: NUL-padded); a raw or bounded text copy of a character array or
// string (no member: NUL bytes).
PAVA_ALWAYS_INLINE void writeField(const Field& f, const Slot& s, char* to) noexcept {
    if (f.kind == FieldKind::Decimal) {
        int32_t v = 0;
        if ((f.flags & kWriteZero) == 0) {
            if (s.type == SlotType::Int32) v = *static_cast<const int32_t*>(s.ptr);
            if (s.type == SlotType::UInt16) v = *static_cast<const uint16_t*>(s.ptr);
        }
        if ((f.flags & kNulPadded) != 0)
            writePaddedInt(v, to, f.width, '\0');
        else
            writeIntField(v, to, f.width);
        return;
    }
    // A character array is read no further than its size, a string no
    // further than its end.
    const char* data = nullptr;
    int size = 0;
    if (s.type == SlotType::Chars) {
        data = static_cast<const char*>(s.ptr);
        size = s.size;
    } else if (s.type == SlotType::String) {
        const auto* str = static_cast<const std::string*>(s.ptr);
        data = str->data();
        size = str->size() > 0x7fffffff ? 0x7fffffff : static_cast<int>(str->size());
    }
    if (f.kind == FieldKind::Raw)
        copyRawField(to, f.width, data, size);
    else
        copyTextField(to, f.width, data, size);
}

// In: the field reader into a number member; a string takes the field's
// bytes (a text up to its first NUL; kNulPadded: width + 1 characters, NUL
// after the text); a character array takes at most its size (kClearMember:
// cleared first). A member of no kind takes nothing.
PAVA_ALWAYS_INLINE void readField(const Field& f, const char* from, const Slot& s) {
    if (f.kind == FieldKind::Decimal) {
        const int32_t v = readIntField(from, f.width);
        if (s.type == SlotType::Int32) *static_cast<int32_t*>(s.ptr) = v;
        if (s.type == SlotType::UInt16) *static_cast<uint16_t*>(s.ptr) = static_cast<uint16_t>(v);
        return;
    }
    const bool raw = f.kind != FieldKind::Text;
    if (s.type == SlotType::String) {
        auto& str = *static_cast<std::string*>(s.ptr);
        if (!raw && f.width == 1 && (f.flags & kNulPadded) == 0) {
            // One character, none when it is NUL: without a call.
            str.clear();
            if (*from != '\0') str.push_back(*from);
            return;
        }
        const int n = raw ? f.width
                    : f.width <= fieldDetail::kShortTextLimit ? fieldDetail::shortTextLength(from, f.width)
                                                             : fieldTextLength(from, f.width);
        if ((f.flags & kNulPadded) != 0) {
            // Sized once: the text, then NUL up to width + 1.
            str.assign(static_cast<size_t>(f.width) + 1, '\0');
            std::memcpy(str.data(), from, static_cast<size_t>(n));
        } else {
            str.assign(from, static_cast<size_t>(n));
        }
        return;
    }
    if (s.type != SlotType::Chars) return;
    auto* dest = static_cast<char*>(s.ptr);
    if ((f.flags & kClearMember) != 0) std::memset(dest, 0, static_cast<size_t>(s.size));
    // Never past the member, whatever the field's width.
    const int width = f.width < s.size ? f.width : s.size;
    if (raw)
        std::memcpy(dest, from, static_cast<size_t>(width));
    else
        copyTextField(dest, width, from, f.width);
}


// Writes the fields of obj into dest, a window of `room` bytes. Returns false,
// writing nothing, when a field would end past the window.
template <class Obj>
bool writeFields(std::span<const Field> fields, const Obj& obj, char* dest, int room) noexcept;

// Reads the fields from src, a window of `room` bytes, into obj. Returns false,
// reading nothing, when a field would end past the window. May throw
// std::bad_alloc when a string member grows.
template <class Obj>
bool readFields(std::span<const Field> fields, const char* src, int room, Obj& obj);

// True when every field lies within `room` bytes.
bool fieldsFit(std::span<const Field> fields, int room) noexcept;

// A field table over the items of a list, each member resolved once to its
// place within an item, so that the table runs per item without a member
// lookup per field. write and read behave as writeFields and readFields over
// one item. Tables of more than kMaxSteps fields run through those instead.
template <class Item>
class ItemFields {
public:
    explicit ItemFields(std::span<const Field> fields) noexcept;

    bool write(const Item& item, char* dest, int room) const noexcept;
    bool read(const char* src, int room, Item& item) const;

private:
    static constexpr size_t kMaxSteps = 8;

    struct Step {
        Field field;
        SlotType type;
        int size;            // of a character array
        std::ptrdiff_t at;   // the member's byte offset within an item
    };

    bool fits(int room) const noexcept { return m_fields.empty() || m_end <= room; }

    std::span<const Field> m_fields;
    std::array<Step, kMaxSteps> m_steps{};
    size_t m_count = 0;
    bool m_resolved = false;
    int m_end = 0;  // end of the field that reaches furthest
};

// One field of an object, its form and member fixed at compile time: the
// field forms above on the member's slot, which the compiler resolves.
template <Field F, class Obj>
void writeFieldOf(const Obj& obj, char* dest) noexcept {
    // The slot is only read here.
    writeField(F, slotOf(const_cast<Obj&>(obj), F.member), dest + F.offset);
}

template <Field F, class Obj>
void readFieldOf(const char* src, Obj& obj) {
    readField(F, src + F.offset, slotOf(obj, F.member));
}

// Reads one object (a list item, a table entry) by the table Fields,
// unrolled at compile time. Reads nothing outside the fields.
template <const auto& Fields, class Obj>
void readUnrolled(const char* src, Obj& obj) {
    [&]<size_t... I>(std::index_sequence<I...>) {
        (readFieldOf<Fields[I]>(src, obj), ...);
    }(std::make_index_sequence<std::size(Fields)>{});
}

// Writes one object by the table Fields, unrolled at compile time: the
// fields' forms and places are constants, so an item runs without walking
// the table. Writes nothing outside the fields.
template <const auto& Fields, class Obj>
void writeUnrolled(const Obj& obj, char* dest) noexcept {
    [&]<size_t... I>(std::index_sequence<I...>) {
        (writeFieldOf<Fields[I]>(obj, dest), ...);
    }(std::make_index_sequence<std::size(Fields)>{});
}

}  // namespace pava

#endif
