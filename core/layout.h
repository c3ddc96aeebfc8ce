// Message layouts as data. A layout is a list of fields (offset, width, kind,
// member) that one generic writer and reader run; the same tables are walked
// at run time to dissect frames field by field.
#ifndef ZMPAVA_CORE_LAYOUT_H
#define ZMPAVA_CORE_LAYOUT_H

#include <array>
#include <cstddef>
#include <cstdint>
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
                       // what the kind copies, then NUL up to the end
};

struct Field {
    uint16_t offset;
    uint16_t width;
    FieldKind kind;
    Member member;
    uint8_t flags = 0;
};

// The repeated part of a list body whose items all have one size and a field
// table: the count (countWidth digits at countAt; width 0 when the body carries
// exactly one item and no count), then the items back to back from itemsAt.
// The spans are the item tables the list codec itself runs.
struct ListShape {
    int countAt = 0;
    int countWidth = 0;
    int itemsAt = 0;
    std::span<const Field> itemFields;        // as the encoder writes them
    std::span<const Field> itemDecodeFields;  // where the decoder reads otherwise (else empty)
    int itemSize = 0;
    // Record fields behind the last item, offsets counted from there.
    std::span<const Field> trailer = {};

    std::span<const Field> itemReadFields() const noexcept {
        return itemDecodeFields.empty() ? itemFields : itemDecodeFields;
    }
};

// How the part of a body behind the fixed fields is laid out. Kinds other
// than Fixed, Items and Text are algorithms rather than tables; BodyPart
// names them and says them in words for tools and bindings.
enum class BodyKind : uint8_t {
    Fixed,          // nothing follows the fixed fields
    Items,          // the items of the layout's ListShape, then its trailer
    Text,           // one text member from `at` up to the body length
    CodeRows,       // `count` member rows of 12-character codes from `at`
    EscapedItems,   // counted items: id (8), text in an 8-byte slot or "$$$" + length (5) + text
    PrefixedItems,  // counted items: id (8), length (4) + text, length (4) + text
    GenericTable,   // counted records of type (2) | length (4) | value entries
    References,     // counted items: reference (100) | code (2) | width (4) | value
    DataTypes,      // counted structures of attributes laid out as References items
    RecordFields,   // counted records: number (2) | field count (3) | fields of 12 + 30
};

struct BodyPart {
    BodyKind kind = BodyKind::Fixed;
    int at = 0;                    // body offset where the part starts
    int countAt = -1;              // the item or record count, -1 when none
    int countWidth = 0;
    Member member = Member::None;  // the text (Text) or row count (CodeRows) member
    const char* words = nullptr;   // the layout in words, for a reader
    // The members the part fills (of list items, settings or table entries).
    std::span<const Member> carries = {};
    // Record fields behind the part, offsets counted from its end.
    std::span<const Field> trailer = {};
    // Escaped items: the most text bytes an item carries (0: its whole text).
    int textCut = 0;
};

const char* bodyKindName(BodyKind kind) noexcept;

struct Layout {
    std::span<const Field> fields;        // as the encoder writes them
    std::span<const Field> decodeFields;  // where the decoder reads otherwise (else empty)
    int length = -1;                      // declared body length; -1 when it varies
    // The items behind the fixed fields, where they can be described as data;
    // null for fixed messages and for lists whose items vary in size.
    const ListShape* list = nullptr;
    // What follows the fixed fields.
    BodyPart body = {};

    std::span<const Field> readFields() const noexcept {
        return decodeFields.empty() ? fields : decodeFields;
    }
};

const char* fieldKindName(FieldKind kind) noexcept;


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
    // The common field forms, run without the generic dispatch on kind,
    // member type and flags; every other field takes the generic path.
    enum class Plan : uint8_t { Generic, Number, RawChars, TextChars, RawString, TextString };
    struct Step {
        Field field;
        SlotType type;
        Plan plan;
        int size;            // of a character array
        std::ptrdiff_t at;   // the member's byte offset within an item
    };
    bool fits(int room) const noexcept { return m_fields.empty() || m_end <= room; }
    static Plan planOf(const Field& f, SlotType type) noexcept;

    std::span<const Field> m_fields;
    std::array<Step, kMaxSteps> m_steps{};
    size_t m_count = 0;
    bool m_resolved = false;
    int m_end = 0;  // end of the field that reaches furthest
};

namespace unrolled {

// One field of a fixed-size item, its form and place fixed at compile time:
// the same steps the generic field writer takes for that kind and member.
template <Field F>
void writeItemField(const PavaDataItem& item, char* dest) noexcept {
    char* const to = dest + F.offset;
    constexpr Member m = F.member;
    constexpr bool number = m == Member::itemId || m == Member::itemInt || m == Member::itemInt2 || m == Member::itemInt3;
    constexpr bool text = m == Member::itemText || m == Member::itemText2;
    if constexpr (F.flags != 0 || (F.kind == FieldKind::Decimal) != number || !(number || text || m == Member::itemBlock)) {
        // Any other combination goes through the generic writer.
        static constexpr Field kOne[] = {F};
        writeFields(std::span<const Field>(kOne), item, dest, F.offset + F.width);
    } else if constexpr (number) {
        const int32_t value = m == Member::itemId ? item.itemId : m == Member::itemInt ? item.itemInt
                            : m == Member::itemInt2 ? item.itemInt2 : item.itemInt3;
        writeIntField(value, to, F.width);
    } else {
        const char* data = item.itemBlock;
        int size = static_cast<int>(sizeof item.itemBlock);
        if constexpr (text) {
            const std::string& s = m == Member::itemText ? item.itemText : item.itemText2;
            data = s.data();
            size = s.size() > 0x7fffffff ? 0x7fffffff : static_cast<int>(s.size());
        }
        if constexpr (F.kind == FieldKind::Raw)
            copyRawField(to, F.width, data, size);
        else
            copyTextField(to, F.width, data, size);
    }
}

// One field read back into an item, its form and place fixed at compile
// time: the same steps the generic field reader takes for that kind and
// member.
template <Field F>
void readItemField(const char* src, PavaDataItem& item) {
    const char* const from = src + F.offset;
    constexpr Member m = F.member;
    constexpr bool number = m == Member::itemId || m == Member::itemInt || m == Member::itemInt2 || m == Member::itemInt3;
    constexpr bool text = m == Member::itemText || m == Member::itemText2;
    if constexpr (F.flags != 0 || (F.kind == FieldKind::Decimal) != number || !(number || text || m == Member::itemBlock)) {
        static constexpr Field kOne[] = {F};
        readFields(std::span<const Field>(kOne), src, F.offset + F.width, item);
    } else if constexpr (number) {
        int32_t& value = m == Member::itemId ? item.itemId : m == Member::itemInt ? item.itemInt
                       : m == Member::itemInt2 ? item.itemInt2 : item.itemInt3;
        value = readIntField(from, F.width);
    } else if constexpr (text) {
        std::string& s = m == Member::itemText ? item.itemText : item.itemText2;
        if constexpr (F.kind == FieldKind::Text && F.width == 1) {
            // One character, none when it is NUL: without a call.
            s.clear();
            if (*from != '\0') s.push_back(*from);
        } else if constexpr (F.kind == FieldKind::Text && F.width <= kMaxIntFieldWidth) {
            s.assign(from, static_cast<size_t>(fieldDetail::shortTextLength(from, F.width)));
        } else if constexpr (F.kind == FieldKind::Text) {
            s.assign(from, static_cast<size_t>(fieldTextLength(from, F.width)));
        } else {
            s.assign(from, F.width);
        }
    } else {
        // Never past the block, whatever the field's width.
        constexpr int width = F.width < sizeof item.itemBlock ? F.width : static_cast<int>(sizeof item.itemBlock);
        if constexpr (F.kind == FieldKind::Text)
            copyTextField(item.itemBlock, width, from, F.width);
        else
            std::memcpy(item.itemBlock, from, width);
    }
}

}  // namespace unrolled

// Reads one list item by the table Fields, unrolled at compile time. Reads
// nothing outside the fields.
template <const auto& Fields>
void readUnrolled(const char* src, PavaDataItem& item) {
    [&]<size_t... I>(std::index_sequence<I...>) {
        (unrolled::readItemField<Fields[I]>(src, item), ...);
    }(std::make_index_sequence<std::size(Fields)>{});
}

// Writes one list item by the table Fields, unrolled at compile time: the
// fields' forms and places are constants, so an item runs without walking
// the table. Writes nothing outside the fields.
template <const auto& Fields>
void writeUnrolled(const PavaDataItem& item, char* dest) noexcept {
    [&]<size_t... I>(std::index_sequence<I...>) {
        (unrolled::writeItemField<Fields[I]>(item, dest), ...);
    }(std::make_index_sequence<std::size(Fields)>{});
}

}  // namespace pava

#endif
