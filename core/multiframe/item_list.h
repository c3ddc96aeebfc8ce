// Lists of PavaDataItem in a frame body: a prefix of record fields (with the
// item count), the items back to back, then an optional trailer of record
// fields. The same description drives the one-frame lists that the body
// interpreter runs (body_codec.h; they refuse what does not fit) and the
// splitter (splitter.h, which opens a new frame).
//
// Every writer and reader here stays inside the 8192-byte body: an item or
// trailer that would end past it is never written, and a count or length read
// from a received frame never drives a read past it.
#ifndef ZMPAVA_CORE_MULTIFRAME_ITEM_LIST_H
#define ZMPAVA_CORE_MULTIFRAME_ITEM_LIST_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "layout.h"
#include "message.h"
#include "read_trace.h"

namespace pava {

// Width of the item count of every list body.
constexpr int kCountWidth = 4;
// countAt of a list that carries exactly its first item and no count.
constexpr int kNoCount = -1;
// textCut of an escaped item that carries its whole text.
constexpr int kNoCut = INT32_MAX;

// Size of one item: `declared` is what the size tests count, `written` the
// bytes that actually reach the body (less when a long text is cut).
struct ItemSize {
    int64_t declared;
    int64_t written;
};

// How the items of a list are laid out, for tools.
enum class ItemKind : uint8_t {
    Fixed,     // one size, a field table
    Escaped,   // itemId (8), then itemText in an 8-byte slot or "$$$" + its length (5) and the text
    Prefixed,  // itemId (8), then itemText and itemText2, each behind its length (4)
};
const char* itemKindName(ItemKind kind) noexcept;

struct ItemFormat;
using ItemMeasureFn = ItemSize (*)(const ItemFormat& format, const PavaDataItem& item);
// Writes exactly measure(item).written bytes at dest.
using ItemWriteFn = void (*)(const ItemFormat& format, const PavaDataItem& item, char* dest);
// Reads `count` items from body + pos into items, moving pos on by how far
// each item says the next one starts (which may point past the body), and
// reports each kept item's reads to the trace. False when an item would be
// read from past the body; the items before it stay.
using ItemsReadFn = bool (*)(const ItemFormat& format, const char* body, int64_t& pos, int count,
                             ListRefill<PavaDataItem>& items, const ReadTrace& trace);

// How one item is laid out, and the functions that write and read it. A
// fixed-size item is a Field table over the item (`fields` out, `readBack` in
// where the decoder reads differently), its functions unrolled from the
// tables; a variable item has functions of its own and a measure, and
// `fields` then only names its leading fixed part for dissection.
struct ItemFormat {
    std::span<const Field> fields;
    std::span<const Field> readBack;
    int size = 0;  // bytes of a fixed-size item
    ItemMeasureFn measure = nullptr;
    ItemWriteFn write = nullptr;
    ItemsReadFn read = nullptr;
    int textCut = kNoCut;  // escaped items: most text bytes written
    ItemKind kind = ItemKind::Fixed;

    std::span<const Field> readFields() const noexcept { return readBack.empty() ? fields : readBack; }
};

namespace detail {

template <const auto& Fields>
void writeFixedItem(const ItemFormat&, const PavaDataItem& item, char* dest) {
    writeUnrolled<Fields>(item, dest);
}

// The item loop of a list body around ReadOne, which reads one item from src
// (room bytes left in the body) and returns how far the read position moves
// on, or -1 when the item itself would be read from past the body; it
// reports the reads of an item it read to the trace (null: none), as
// dataList[index]. The loop runs without a trace test per item when off.
template <auto ReadOne, bool Traced>
bool readLoop(const ItemFormat& format, const char* body, int64_t& pos, int count, ListRefill<PavaDataItem>& items,
              const ReadTrace& trace) {
    constexpr int64_t kBody = MAX_PAVA_MSG_LEN;
    for (int i = 0; i < count; ++i) {
        if (pos > kBody) return false;
        // Read in place; an item that cannot be read is not kept.
        const int64_t used = ReadOne(format, body + pos, static_cast<int>(kBody - pos), items.next(),
                                     Traced ? &trace : nullptr, items.size());
        if (used < 0) return false;
        items.keep();
        pos += used;
    }
    return true;
}

template <auto ReadOne>
bool readEach(const ItemFormat& format, const char* body, int64_t& pos, int count, ListRefill<PavaDataItem>& items,
              const ReadTrace& trace) {
    return trace ? readLoop<ReadOne, true>(format, body, pos, count, items, trace)
                 : readLoop<ReadOne, false>(format, body, pos, count, items, trace);
}

// The path of list item `index`.
inline ReadPath dataItemPath(size_t index) noexcept { return kRecordPath.item(Container::DataList, index); }

template <const auto& Fields, int Size>
int64_t readFixedItem(const ItemFormat&, const char* src, int room, PavaDataItem& item, const ReadTrace* trace,
                      size_t index) {
    if (Size > room) return -1;
    readUnrolled<Fields>(src, item);
    if (trace != nullptr) trace->fields(Fields, src, dataItemPath(index));
    return Size;
}

template <const auto& Fields, int Size>
constexpr bool fitsItem() {
    for (const Field& f : Fields)
        if (f.offset + f.width > Size) return false;
    return true;
}

}  // namespace detail

// A fixed-size item of Size bytes laid out by the table Fields, out and in.
// Its writer and reader are unrolled from the table at compile time; tools
// read the same table.
template <const auto& Fields, int Size>
constexpr ItemFormat fixedItem() {
    static_assert(detail::fitsItem<Fields, Size>(), "a field of the item ends past its size");
    return ItemFormat{Fields, {}, Size, nullptr, detail::writeFixedItem<Fields>,
                      detail::readEach<detail::readFixedItem<Fields, Size>>, kNoCut};
}

// The same for an item that the decoder reads by another table, ReadBack.
template <const auto& Fields, const auto& ReadBack, int Size>
constexpr ItemFormat fixedItem() {
    static_assert(detail::fitsItem<Fields, Size>() && detail::fitsItem<ReadBack, Size>(),
                  "a field of the item ends past its size");
    return ItemFormat{Fields, ReadBack, Size, nullptr, detail::writeFixedItem<Fields>,
                      detail::readEach<detail::readFixedItem<ReadBack, Size>>, kNoCut};
}

namespace detail {
ItemSize measureEscaped(const ItemFormat&, const PavaDataItem&);
void writeEscaped(const ItemFormat&, const PavaDataItem&, char*);
bool readEscapedItems(const ItemFormat&, const char*, int64_t&, int, ListRefill<PavaDataItem>&, const ReadTrace&);
ItemSize measureLengthPrefixed(const ItemFormat&, const PavaDataItem&);
void writeLengthPrefixed(const ItemFormat&, const PavaDataItem&, char*);
bool readLengthPrefixedItems(const ItemFormat&, const char*, int64_t&, int, ListRefill<PavaDataItem>&,
                             const ReadTrace&);
inline constexpr Field kItemIdField[] = {{0, 8, FieldKind::Decimal, Member::itemId}};
}  // namespace detail

// `itemId` in 8, then an 8-byte slot: a text of at most 8 characters sits in
// it NUL-padded; a longer one is announced by "$$$" and its length in 5 and
// follows the slot, cut to `cut` bytes. The size tests count the whole text,
// and the decoder moves on by the declared length.
constexpr ItemFormat escapedItem(int cut) {
    return ItemFormat{detail::kItemIdField, {}, 0, detail::measureEscaped,
                      detail::writeEscaped, detail::readEscapedItems, cut, ItemKind::Escaped};
}

// `itemId` in 8, the length of `itemText` in 4 and its bytes, the length of
// `itemText2` in 4 and its bytes.
constexpr ItemFormat lengthPrefixedItem() {
    return ItemFormat{detail::kItemIdField, {}, 0, detail::measureLengthPrefixed,
                      detail::writeLengthPrefixed, detail::readLengthPrefixedItems, kNoCut,
                      ItemKind::Prefixed};
}

// The read-back table of an item whose text goes out as the string's own
// bytes (raw, NUL past its end): the same fields, `itemText` read up to its
// first NUL.
template <size_t N>
constexpr std::array<Field, N> textReadToNul(const Field (&fields)[N]) {
    std::array<Field, N> back{};
    for (size_t i = 0; i < N; ++i) {
        back[i] = fields[i];
        if (back[i].kind == FieldKind::Raw && back[i].member == Member::itemText) back[i].kind = FieldKind::Text;
    }
    return back;
}

// Item tables several list messages share.
inline constexpr Field kItemIdText8[] = {{0, 8, FieldKind::Decimal, Member::itemId},
                                         {8, 8, FieldKind::Raw, Member::itemText}};
inline constexpr auto kItemIdText8Back = textReadToNul(kItemIdText8);
inline constexpr Field kItemIdChar[] = {{0, 8, FieldKind::Decimal, Member::itemId},
                                        {8, 1, FieldKind::Text, Member::itemText}};
// Body that starts with the count.
inline constexpr Field kCountPrefix[] = {{0, kCountWidth, FieldKind::Decimal, Member::None}};
// A one-digit trailer.
inline constexpr Field kTrailingDigit[] = {{0, 1, FieldKind::Decimal, Member::intValue4}};
// The address, two 2-digit codes and one digit, then the count at 17.
inline constexpr Field kCodedAddressPrefix[] = {
    {0, 12, FieldKind::Raw, Member::text12b},     {12, 2, FieldKind::Decimal, Member::intValue3},
    {14, 2, FieldKind::Decimal, Member::intValue2}, {16, 1, FieldKind::Decimal, Member::intValue6},
    {17, kCountWidth, FieldKind::Decimal, Member::None}};

// One list body.
struct ListLayout {
    // Record fields before the items; the count's place is among them as a
    // field without member (written as 0, then overwritten with the count).
    std::span<const Field> prefix;
    int itemsAt = 0;  // body offset of the first item
    int countAt = 0;  // offset of the count, or kNoCount
    ItemFormat item;
    // Record fields behind the last item, offsets counted from there, and the
    // bytes the trailer takes (it may count bytes it leaves NUL).
    std::span<const Field> trailer;
    int trailerLength = 0;
    bool trailerRead = true;  // whether the decoder reads the trailer back
};

constexpr ListLayout itemList(std::span<const Field> prefix, int itemsAt, int countAt, ItemFormat item,
                              std::span<const Field> trailer = {}, int trailerLength = 0,
                              bool trailerRead = true) {
    return ListLayout{prefix, itemsAt, countAt, item, trailer, trailerLength, trailerRead};
}

// The space test each list runs before writing an item.
struct FitRule {
    enum class Kind : uint8_t {
        None,          // no test of its own
        RunningCount,  // start + step * (items written) must stay at most `limit`
        EntrySpace,    // (0 before the first item, else the offset after the last)
                       // + declared size must stay at most `limit`
        FrameSpace,    // once the frame holds an item: offset + declared size +
                       // reserve must stay at most `limit` (an empty frame takes
                       // any item the body can hold, unless firstItemToo)
    };
    Kind kind = Kind::None;
    int start = 0;
    int step = 0;
    int limit = 0;
    int reserve = 0;
    bool firstItemToo = false;
};

// Bounds worded "at most v" and "below v" as the largest accepted value.
constexpr int atMost(int v) { return v; }
constexpr int below(int v) { return v - 1; }
constexpr FitRule runningCount(int start, int step, int max) {
    return {FitRule::Kind::RunningCount, start, step, max, 0};
}
constexpr FitRule entrySpace(int limit) { return {FitRule::Kind::EntrySpace, 0, 0, limit, 0}; }
constexpr FitRule frameSpace(int limit, int reserve = 0, bool firstItemToo = false) {
    return {FitRule::Kind::FrameSpace, 0, 0, limit, reserve, firstItemToo};
}

// Writes items[next..] from body offset pos on while each passes the rule and
// fits the body together with the trailer; advances pos past the last item
// written. Returns the index of the first item not written.
size_t fillItems(const ListLayout& list, const FitRule& rule, std::span<const PavaDataItem> items,
                 size_t next, char* body, int& pos);

// Writes the count into the prefix.
void writeItemCount(const ListLayout& list, char* body, size_t count) noexcept;

// Decodes the count, items (into `items`, the record's `dataList`) and
// trailer of a list body behind its prefix; the reads go to the trace.
// False when a count or length points past the body; the items read until
// then stay.
bool readItemsBehindPrefix(const ListLayout& list, const char* body, PavaFullData& rec,
                           ListRefill<PavaDataItem>& items, const ReadTrace& trace);

// Texts of a list that does not fit, with the id in place.
inline constexpr const char* kTooLongIdFirst = "Data_To_Pava_%05d error:: too long return -1 !\n";

// A list that always travels in one frame and is refused when it does not fit.
struct OneFrameList {
    ListLayout list;
    FitRule fit;
    const char* tooLong = kTooLongIdFirst;  // printf text taking the id
};

// Makes room in out for the frames of a list of these items split over
// frames of the layout (before its first frame: see reserveFrames).
void reserveItemFrames(FrameList& out, const ListLayout& list, std::span<const PavaDataItem> items);

// The count, items and trailer of a one-frame list behind its prefix: the
// body length, or -1 (logged with the id where the list does not fit; a list
// that carries its first item and has none is refused quietly).
int writeOneFrameList(const OneFrameList& params, int id, const PavaFullData& rec, char* body);
// The decoder's refusal of a list whose count or length points past the
// body, logged: -1.
int refuseListOutOfBody(int id) noexcept;

}  // namespace pava

#endif
