// Table bodies as description data: a list of records, each a list of fields
// and a list of where-items, every one a type-length-value entry
//
//   entry:  type (2) | length (4) | value (length bytes)
//
// read into fieldType, fieldLen and fieldText1. What a table message carries
// is chosen by two members of its prefix, the function type (intValue14) and
// the sub-type (intValue16): a table of cases maps their ranges to the step
// the encoder writes or the decoder reads, refusals included. The steps run
// in table_body.cpp.
#ifndef ZMPAVA_CORE_TABLE_BODY_H
#define ZMPAVA_CORE_TABLE_BODY_H

#include <climits>
#include <cstdint>
#include <span>

#include "ZMPavaAnalyzer.h"

namespace pava {

// The head of an entry: its type (2) and length (4).
inline constexpr int kEntryTypeWidth = 2;
inline constexpr int kEntryLengthWidth = 4;
inline constexpr int kEntryHead = kEntryTypeWidth + kEntryLengthWidth;

// The decoder's size tests of a list of entries: before each entry, the base
// plus the bytes the list has taken plus the room must stay within the body,
// and so must that sum plus the entry's length; where not, the list ends
// quietly. They count from the base, whatever offset the entries start at.
inline constexpr int kEntrySizeTestBase = 15;
inline constexpr int kEntrySizeTestRoom = 27;

// How an encoder writes an entry's value.
enum class ValueWrite : uint8_t {
    // The value's C string with its terminator; the position then advances
    // by the length field, whatever the string's own length (a longer text
    // runs on until the next entry overwrites it).
    CString,
    // Exactly length-field bytes of the value.
    Exact,
};

// What the encoder sends for a first record without fields.
enum class NoFields : uint8_t {
    Prefix,   // the prefix and a zero field count
    Nothing,  // no frame, success
    Write,    // the record as it is: its where-items may follow
};

// The first record of the list, alone in one frame: its field count (4)
// behind the prefix and its fields as entries from there on. With
// whereItems, a where-item count (2) and the record's where-items follow the
// fields: the frame then ends where the last entry ended (a record without
// entries sends nothing), and the decoder puts the where-items into a second
// record that repeats the fields of the first. A list without records sends
// the prefix and a zero count.
struct FirstRecord {
    ValueWrite value = ValueWrite::Exact;
    int fieldLimit = 0;  // the longest value taken
    NoFields noFields = NoFields::Prefix;
    bool whereItems = false;
    const char* frameText = nullptr;  // logged with the field count and the frame number, when set
};

// What the encoder sends for an empty record list.
enum class NoRecords : uint8_t {
    Refuse,      // nothing, failure
    ZeroRecord,  // one frame with a record of no fields
};

// The record list split over numbered frames, a record never: each record a
// field count (4) and its fields, and with whereItems its where-items (one
// of type 3 and no value when it has none). A record that does not fit is
// taken back and starts the next frame, which repeats the prefix; every frame
// but the last carries its own record count at ownCountAt, the last one at
// countAt. The decoder of records with where-items, which the frame does not
// count, gives every record but the last one where-item and the last those
// up to the frame's body length.
struct RecordFrames {
    int countAt = 0;
    int ownCountAt = 0;
    int recordsAt = 0;
    int fieldLimit = 0;   // the longest field value taken
    int whereLimit = 0;   // the longest where-item value taken
    int recordLimit = 0;  // the longest record that may be taken back to a new frame
    bool whereItems = false;
    NoRecords noRecords = NoRecords::Refuse;
    // The decoder stops quietly, rather than failing, at a field count that
    // would pass the body end.
    bool countEndsQuietly = false;
    // The encoder's texts: a refusal (logged with the record's size up to
    // the failing entry, when set) and the frame lines (records in the frame,
    // frame number; takenBackAtField adds the record's index between them).
    const char* fieldTooLong = nullptr;
    const char* whereTooLong = nullptr;
    const char* fieldNoRoom = nullptr;
    const char* whereNoRoom = nullptr;
    const char* frameText = nullptr;
    const char* takenBackAtField = nullptr;  // for a record taken back at a field (else frameText)
    const char* endText = nullptr;
};

// The step a case of a table runs.
enum class TableStep : uint8_t {
    Nothing,      // success, no frame, nothing read
    Refuse,       // the case's text logged, failure
    PrefixOnly,   // a frame of the prefix alone, `at` long (a zero count at the count position when longer)
    FirstRecord,  // the first record (first)
    WhereItem,    // the first record's first where-item at `at` (value up to `limit`), or a zero count there
    Digit,        // intValue4 in one digit at `at`
    Records,      // the record list over frames (records)
};

// One case: the function type and sub-type ranges it takes, and its step.
struct TableCase {
    int fnLo = INT_MIN;
    int fnHi = INT_MAX;
    int subLo = INT_MIN;
    int subHi = INT_MAX;
    TableStep step = TableStep::Nothing;
    const char* text = nullptr;
    int at = 0;
    int limit = 0;
    // The frame is sent in place, outside the frame count: position 8 '0',
    // position 14 NUL; else it is frame 1 of 1.
    bool inserted = false;
    const FirstRecord* first = nullptr;
    const RecordFrames* records = nullptr;

    constexpr bool takes(int fn, int sub) const noexcept {
        return fn >= fnLo && fn <= fnHi && sub >= subLo && sub <= subHi;
    }
};

// A table body on one side: its cases, the first that takes the record's
// function type and sub-type chosen (none: Nothing). The prefix is the
// message's fixed fields; its encoders build their own header (frame_marks.h).
struct Table {
    std::span<const TableCase> cases;
    int countAt = 0;  // the count behind the prefix
};

// Every entry, record and digit a case writes or reads must start within the
// body, or the table does not compile.
consteval Table checkedTable(Table t) {
    const auto within = [](int at) { return at >= 0 && at + kEntryHead <= MAX_PAVA_MSG_LEN; };
    for (const TableCase& c : t.cases) {
        if (c.fnLo > c.fnHi || c.subLo > c.subHi) throw "an empty case";
        if ((c.step == TableStep::Refuse) != (c.text != nullptr)) throw "a refusal needs its text, and only it";
        if ((c.step == TableStep::FirstRecord) != (c.first != nullptr)) throw "a first record needs its rule";
        if ((c.step == TableStep::Records) != (c.records != nullptr)) throw "records need their rule";
        if ((c.step == TableStep::Digit || c.step == TableStep::WhereItem || c.step == TableStep::PrefixOnly) &&
            !within(c.at))
            throw "a step outside the body";
        if (c.records != nullptr && (!within(c.records->countAt) || !within(c.records->ownCountAt) ||
                                     !within(c.records->recordsAt)))
            throw "record counts outside the body";
    }
    if (!within(t.countAt)) throw "the count outside the body";
    return t;
}

}  // namespace pava

#endif
