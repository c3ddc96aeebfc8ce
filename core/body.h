// The body description language: a message body as constexpr data that one
// interpreter (body.cpp) encodes and decodes. A description holds the body's
// fixed fields, what follows them (a text to the body end, or a counted group
// of fixed-size rows), the codec's log texts and its quirks as named flags.
// Either side may describe its part of the body differently from the other:
// some decoders read what their encoders never write, and the reverse.
#ifndef ZMPAVA_CORE_BODY_H
#define ZMPAVA_CORE_BODY_H

#include <cstdint>
#include <iterator>
#include <span>
#include <string>

#include "ZMPavaAnalyzer.h"
#include "layout.h"
#include "record_schema.h"

namespace pava {

// The protocol's quirks a description can carry, one flag each.
enum Quirk : uint16_t {
    kLoudHead = 1 << 0,        // the encoder logs a header failure (most return it quietly)
    kDropsFrame = 1 << 1,      // the encoder builds its frame, then drops it: success, no frame
    kKeepsContinued = 1 << 2,  // the continuation flag stays as the header took it from contFlag
    kCutAtNul = 1 << 3,        // a text tail is written only up to the text's first NUL
    kQuietEntry = 1 << 4,      // the encoder logs no entry line
    kClearsName = 1 << 5,      // the encoder clears the caller's text64b (the prefix's first
                               // field) before writing it, so that it goes out as NUL
    kCatchesOnDecode = 1 << 6, // the decoder logs an exception it meets and fails, not throwing it on
};

struct QuirkName {
    Quirk quirk;
    const char* name;
};
inline constexpr QuirkName kQuirkNames[] = {
    {kLoudHead, "loud-head"},
    {kDropsFrame, "drops-frame"},
    {kKeepsContinued, "keeps-continued"},
    {kCutAtNul, "cut-at-nul"},
    {kQuietEntry, "quiet-entry"},
    {kClearsName, "clears-name"},
    {kCatchesOnDecode, "catches-on-decode"},
};

// How a decoder finds the number n of characters of a text that runs to the
// body end.
enum class TextLength : uint8_t {
    Signed,    // msgLen - at, signed: n >= cap reads cap; n < 1 reads nothing
    Unsigned,  // msgLen - at, unsigned 32-bit: a length below `at` wraps and reads cap
    Bounded,   // the header's own number, not cut to the 16 bits of msgLen:
               // n outside 0..cap is refused with badLength
    OnEntry,   // the text's own length on entry, at most readCap: a text that
               // would run past the body is refused, badLength formatted with
               // the body offset where it would end
};
const char* textLengthName(TextLength rule) noexcept;

// A text member from `at` up to the body end. The encoder cuts a text longer
// than `cap` to it, or refuses it with tooLong.
struct TextToEnd {
    uint16_t at = 0;
    std::string PavaFullData::*text = nullptr;
    uint16_t cap = 0;
    const char* tooLong = nullptr;
    TextLength length = TextLength::Signed;
    const char* badLength = nullptr;
    uint16_t readCap = 0;  // OnEntry only
};

// A counted group of fixed-size rows from `first`, `stride` bytes apart: the
// items of a record list, or the file block's code rows (each row one
// character array, its fields' member None). The count is a decimal in the
// frame at countAt (-1: none; the encoder writes the list's size there), or
// the record member countMember that the fixed fields carry. Row k is refused
// with tooMany once stride * (k + 1) passes `limit`; the rows before it stay.
struct Rows {
    Container list = Container::None;
    int countAt = -1;
    int countWidth = 0;
    Member countMember = Member::None;
    int first = 0;
    int stride = 0;
    int limit = 0;
    std::span<const Field> fields = {};
    const char* tooMany = nullptr;
};

// A counted group of record blocks (recordList records) from `first`: the
// record's number (recInt), a count of its entries and that many entries of
// entrySize bytes (its fieldList). The encoder refuses more than maxRecords
// records, and a record of more than maxEntries entries or whose block would
// pass the body, formatting the texts with the count refused; the decoder
// fails where a block or an entry would be read from past the body, keeping
// what it read before.
struct RecordBlocks {
    int countAt = 0;
    int countWidth = 0;
    int maxRecords = 0;
    const char* tooManyRecords = nullptr;
    int first = 0;
    int numberWidth = 0;
    int entryCountWidth = 0;
    int maxEntries = 0;
    const char* tooManyEntries = nullptr;
    int entrySize = 0;
    std::span<const Field> entryWrite = {};
    std::span<const Field> entryRead = {};
};

// A counted group of list items (dataList) in one frame: fixed-size items
// laid out by a field table, escaped ("$$$") or length-prefixed items, the
// count rule, the space test each item passes and the text of a list that
// does not fit (multiframe/item_list.h).
struct OneFrameList;

// A table body: records of type-length-value entries, what they carry chosen
// by the function type and sub-type (table_body.h).
struct Table;
// A list of items (dataList) split over as many frames as it needs, each
// frame repeating the prefix and counting its own items: the list's layout,
// the frame-full test, where the header comes from, the frame marks and the
// encoder's log texts (multiframe/splitter.h).
struct SplitItems;

// A list of items (dataList) whose items each hold a head of fixed fields
// and, where the head carries a width W (a decimal in the head), W value
// bytes (itemText2) behind it.
enum class ValueFrames : uint8_t {
    One,         // one frame: a list of more heads than the body holds is refused
    SharedBody,  // split item by item: an item that does not fit closes the frame
                 // (its count, continuation '1') and the next frame goes on in a
                 // copy of the same body, never cleared, its items written from
                 // itemsAt over the previous frame's
};

// Where the width an encoder writes for a value comes from. The frame-full
// test counts the value's own length either way.
enum class ValueWidth : uint8_t {
    None,    // the items carry no value
    Member,  // itemInt2: the value NUL-padded or cut to it
    Length,  // the value's own length
};

// How a decoder reads the W value bytes.
enum class ValueRead : uint8_t {
    Bytes,  // the W bytes as they stand; a value past the body fails
    ToNul,  // W characters: the text up to its first NUL, then NUL; a value that
            // meets no NUL before the body end fails
    ToNulAndNul,  // the same in W + 1 characters
};

// How a decoder moves from one item to the next.
enum class ValueStep : uint8_t {
    OverValue,  // behind the item's value bytes
    HeadOnly,   // by the head alone: the value bytes are read as the next items
};

struct ValueItems {
    int countAt = 0;
    int countWidth = 4;
    int itemsAt = 0;
    int itemHead = 0;
    std::span<const Field> headWrite = {};  // the head's fields out (the width apart)
    std::span<const Field> headRead = {};   // in, the width (itemInt2) among them
    int widthAt = -1;                       // the width's place in the head, or -1
    int widthWidth = 4;
    ValueFrames frames = ValueFrames::One;
    ValueWidth width = ValueWidth::None;
    ValueRead read = ValueRead::Bytes;
    ValueStep step = ValueStep::OverValue;
    bool lastCountsOwn = false;  // the last frame counts its own items; else it keeps the total
    const char* tooLong = nullptr;        // encoder: a list or item that does not fit
    const char* headPastBody = nullptr;   // decoder: an item head past the body
    const char* valuePastBody = nullptr;  // decoder: a value past the body, or a negative width
};

// Records (recordList) of value entries (fieldList), split over frames record
// by record as value items are item by item, a record never split: `entries`
// places the record count (countAt) and the first record (itemsAt), and lays
// out each entry as a value item (a head of fixed fields carrying the width W
// in fieldLen, then W value bytes in fieldText2), its texts those of an entry
// that does not fit or is read past the body (the entries' own table, so that
// the interpreter's instances can name it). A record is its entry count
// (entryCountWidth digits) and its entries; the entry count and the width
// are written padded with `numberPad`.
struct ValueRecords {
    const ValueItems* entries = nullptr;
    int entryCountWidth = 4;
    char numberPad = ' ';
    const char* recordTooLong = nullptr;  // encoder: a record that does not fit an empty frame
};

// The name of a record's number where a read reports it.
inline constexpr const char* kRecordNumberName = "recInt";

// What follows the fixed fields on one side: nothing, a text, rows, record
// blocks, list items in one frame or split over several, value items,
// records of value entries or a table body (each a table of its own, so that
// the interpreter's instances can name it).
struct Tail {
    constexpr Tail() noexcept = default;
    constexpr Tail(const TextToEnd& t) noexcept : text(&t) {}         // NOLINT: a text converts
    constexpr Tail(const Rows& r) noexcept : rows(&r) {}              // NOLINT: rows convert
    constexpr Tail(const RecordBlocks& r) noexcept : records(&r) {}  // NOLINT: blocks convert
    constexpr Tail(const OneFrameList& l) noexcept : items(&l) {}     // NOLINT: items convert
    constexpr Tail(const Table& t) noexcept : table(&t) {}            // NOLINT: a table converts
    constexpr Tail(const SplitItems& s) noexcept : split(&s) {}       // NOLINT: split items convert
    constexpr Tail(const ValueItems& v) noexcept : values(&v) {}      // NOLINT: value items convert
    constexpr Tail(const ValueRecords& r) noexcept : valueRecords(&r) {}  // NOLINT: value records convert
    constexpr bool empty() const noexcept {
        return text == nullptr && rows == nullptr && records == nullptr && items == nullptr && table == nullptr &&
               split == nullptr && values == nullptr && valueRecords == nullptr;
    }

    const TextToEnd* text = nullptr;
    const Rows* rows = nullptr;
    const RecordBlocks* records = nullptr;
    const OneFrameList* items = nullptr;
    const Table* table = nullptr;
    const SplitItems* split = nullptr;
    const ValueItems* values = nullptr;
    const ValueRecords* valueRecords = nullptr;
};

// How the frames of a message split over several are marked, so that a
// reader can put them back together in order.
enum class FrameMarks : uint8_t {
    Numbered,      // header position 8 '0' + the frame count, 14 '0' + the frame number
    Continuation,  // the continuation flag alone: '1' on every frame but the last
};

// How a reader mends a frame of a split message whose own decode misreads
// what its encoder wrote, before decoding it.
enum class FrameRepair : uint8_t {
    None,
    // Every frame but the last carries its own count at ownCountAt, where
    // the decoder reads the total at countAt: it is copied there. A prefix
    // member the own count wrote over is set back to `restore` (restoreAt,
    // restoreWidth; -1: none).
    OwnCount,
    // The count at countAt repeats the previous frame's: the frame's blocks
    // from itemsAt (an entry count of countWidth, then entries of itemHead
    // bytes and the value width their bytes widthAt..+countWidth give) are
    // counted up to the body length instead.
    CountedBlocks,
    // The decoder steps itemHead bytes per item, not over the value bytes:
    // each item from itemsAt (itemHead bytes and its value width's bytes) is
    // decoded alone, as the frame's only item (count 1 at countAt).
    SteppedValues,
};

// The split rule of a message its encoder may cut over several frames: the
// list the frames share out, their marks and the reader's repair.
struct SplitRule {
    Container list = Container::DataList;
    FrameMarks marks = FrameMarks::Numbered;
    bool headFlagTwo = false;  // header flag 2 puts '2' at position 14 of every frame
    FrameRepair repair = FrameRepair::None;
    int countAt = 0;
    int countWidth = 4;
    int ownCountAt = 0;
    int restoreAt = -1;
    int restoreWidth = 0;
    int restore = 0;
    int itemsAt = 0;
    int itemHead = 0;
    int widthAt = 0;
};

struct Description {
    // Log texts where they are not the common ones ("Data_To_Pava_%05d!\n",
    // "Pava_%05d_To_Data!\n", "... Pava_%05d_To_Data pPavaMsg == NULL! ").
    const char* encodeEntry = nullptr;
    const char* decodeEntry = nullptr;
    const char* nullFrame = nullptr;
    // An id whose decoder entry text this decoder prints after its own.
    int alsoDecodeEntryOf = 0;
    // The list whose count a field of the fixed fields without member is.
    Container counts = Container::None;
    uint16_t quirks = 0;
    Tail write = {};
    Tail read = {};

    constexpr bool has(Quirk q) const noexcept { return (quirks & q) != 0; }
};

// Fixed fields and nothing else, with the common texts.
inline constexpr Description kPlainBody{};
// The same, logging a header failure.
inline constexpr Description kLoudPlainBody{.quirks = kLoudHead};

// Every tail is declared through these checks: a text of `cap` characters at
// `at`, or rows up to their limit, must stay within the body, and a row's
// fields within its stride, or the table does not compile.
consteval TextToEnd checkedText(TextToEnd t) {
    if (t.at + t.cap > MAX_PAVA_MSG_LEN) throw "text runs past the body";
    return t;
}
consteval RecordBlocks checkedBlocks(RecordBlocks r) {
    for (const auto table : {r.entryWrite, r.entryRead})
        for (const Field& f : table)
            if (f.offset + f.width > r.entrySize) throw "entry field runs past its entry";
    if (r.entrySize <= 0 || r.first + r.numberWidth + r.entryCountWidth > MAX_PAVA_MSG_LEN) throw "blocks past the body";
    return r;
}
consteval Rows checkedRows(Rows r) {
    for (const Field& f : r.fields) {
        if (f.offset + f.width > r.stride) throw "row field runs past its row";
        if (r.list == Container::FbCodes && (f.kind == FieldKind::Decimal || f.flags != 0))
            throw "a code row is a text";
    }
    if (r.list == Container::FbCodes && r.countMember != Member::fbCount) throw "code rows count by fbCount";
    // The rows the limit admits index the record's code array directly.
    if (r.list == Container::FbCodes && r.limit / r.stride > static_cast<int>(std::size(PavaFileBlock{}.fbCodes)))
        throw "more code rows than the record holds";
    if (r.list != Container::FbCodes && r.list != Container::SettingList) throw "rows of another list";
    if (r.first + r.limit > MAX_PAVA_MSG_LEN || r.stride <= 0) throw "rows run past the body";
    return r;
}

// The head's fields within the head, and the width among the fields read
// back, into the member `width`.
consteval void checkValueHead(const ValueItems& v) {
    for (const auto table : {v.headWrite, v.headRead})
        for (const Field& f : table)
            if (f.offset + f.width > v.itemHead) throw "head field runs past its head";
}
consteval bool widthReadBack(const ValueItems& v, Member width) {
    bool read = false;
    for (const Field& f : v.headRead)
        read = read || (f.offset == v.widthAt && f.width == v.widthWidth && f.member == width);
    return read && v.widthAt >= 0 && v.widthAt + v.widthWidth <= v.itemHead;
}

// Value items: heads within the body and their fields within the head, the
// width among the fields read back; a one-frame list carries no values.
consteval ValueItems checkedValues(ValueItems v) {
    checkValueHead(v);
    if (v.itemHead <= 0 || v.itemsAt + v.itemHead > MAX_PAVA_MSG_LEN || v.countAt < 0 ||
        v.countAt + v.countWidth > v.itemsAt)
        throw "items or count outside the body";
    if ((v.widthAt >= 0) != (v.width != ValueWidth::None)) throw "a value needs its width, and the reverse";
    if (v.widthAt >= 0 && !widthReadBack(v, Member::itemInt2)) throw "the width is read back into itemInt2";
    if (v.frames == ValueFrames::One && v.widthAt >= 0) throw "a one-frame list of values";
    return v;
}

// Value records: the entries' heads and record heads within the body, the
// width read back into fieldLen, the values split over a shared body.
consteval ValueRecords checkedValueRecords(ValueRecords r) {
    if (r.entries == nullptr) throw "records need their entries";
    const ValueItems& v = *r.entries;
    checkValueHead(v);
    if (v.itemHead <= 0 || v.itemsAt + r.entryCountWidth > MAX_PAVA_MSG_LEN || v.countAt < 0 ||
        v.countAt + v.countWidth > v.itemsAt)
        throw "records or count outside the body";
    if (!widthReadBack(v, Member::fieldLen)) throw "the width is read back into fieldLen";
    if (v.frames != ValueFrames::SharedBody || v.width != ValueWidth::Member || v.step != ValueStep::OverValue ||
        v.read == ValueRead::Bytes || v.lastCountsOwn)
        throw "records split over a shared body, each value its member's width, read to its NUL";
    return r;
}

// A split rule's repair reads and writes only within the body: its counts,
// and an entry's value width within the entry's head.
consteval SplitRule checkedSplit(SplitRule r) {
    const auto within = [](int at, int width) { return at >= 0 && width > 0 && at + width <= MAX_PAVA_MSG_LEN; };
    if (r.repair != FrameRepair::None && !within(r.countAt, r.countWidth)) throw "count outside the body";
    if (r.repair == FrameRepair::OwnCount && !within(r.ownCountAt, r.countWidth)) throw "own count outside the body";
    if (r.restoreAt >= 0 && !within(r.restoreAt, r.restoreWidth)) throw "restored member outside the body";
    if ((r.repair == FrameRepair::CountedBlocks || r.repair == FrameRepair::SteppedValues) &&
        (!within(r.itemsAt, r.itemHead) || r.widthAt < 0 || r.widthAt + r.countWidth > r.itemHead))
        throw "entries outside the body, or a width outside its entry's head";
    return r;
}

}  // namespace pava

#endif
