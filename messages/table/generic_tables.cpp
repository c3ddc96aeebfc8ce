// Generic table messages 10001-10006: a list of records, each a list of
// fields and a list of (where-)items, every entry a type-length-value triple:
//
//   entry:  type (2) | length (4) | value (length bytes)
//
// 10001 and 10003 carry the first record in one frame, 10002, 10004 and 10006
// split the whole record list over frames (a record is never split), 10005
// carries one free text. These encoders (10005 aside) build their own header:
// RII, id, length 0, NUL type and flag bytes; position 14 numbers the frames
// and a final pass writes the frame count at position 8.
//
// Every byte written or read is checked against the 8192-byte body, not the
// positions in between: a write that would leave it fails the encode (the
// frame in progress dropped, frames appended before it kept), a read that
// would leave it fails the decode (the records decoded so far kept), both
// logged with the family's size text. The size tests of the layout itself
// come first and keep their own outcome.
#include <cstdint>
#include <cstring>
#include <vector>

#include "body_codec.h"
#include "field_codec.h"
#include "frame_header.h"
#include "log.h"
#include "messages/catalog.h"
#include "messages/list_codec.h"
#include "multiframe/frame_marks.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

constexpr int kBodyEnd = MAX_PAVA_MSG_LEN;
constexpr int kEntryHead = 6;  // type (2) and length (4) of one entry

// text64b (15 raw) | function type (3) | number (5) | sub-type (5)
constexpr Field kTablePrefix[] = {
    {0, 15, Raw, M::text64b, kClearMember},
    {15, 3, Decimal, M::intValue14},
    {18, 5, Decimal, M::intValue15},
    {23, 5, Decimal, M::intValue16},
};
// text64b (15 raw) | sub-type (5)
constexpr Field kShortPrefix[] = {
    {0, 15, Raw, M::text64b, kClearMember},
    {15, 5, Decimal, M::intValue16},
};
constexpr int kTablePrefixLen = 28;
constexpr int kCountPos = 28;     // field or record count after the table prefix
constexpr int kEntriesPos = 32;   // first entry behind that count

// Log texts of the family.
constexpr char kFieldFrameText[] = "make frame fieldnum %d, frmidx = %d \r\n";
constexpr char kRecordFrameText[] = "make frame recordnum %d, frmidx = %d \r\n";
constexpr char kRecordIdxFrameText[] = "make frame recordnum %d, record_idx = %d, frmidx = %d \r\n";
constexpr char kEndFrameText[] = "make end frame recordnum %d, frmidx = %d \r\n";
constexpr char kFieldOverText[] = "Insert single data ! over max pava message size[%d] ";
constexpr char kWhereLimitText[] = "Insert single where data  over max pava message size[%d] ";
constexpr char kWhereOverText[] = "Insert single where data over max pava message size[%d] ";
constexpr char kFuncType10003[] = "error:: CPavaMsgAnalyze::Data_To_Pava_10003 error 10003 msg funtype ";

// ---------------------------------------------------------------------------
// Frames
// ---------------------------------------------------------------------------

// A zeroed frame at the end of out with the header these encoders build.
PavaMsg& ownFrame(FrameList* out, const PavaFullData& rec) {
    PavaMsg& frame = out->emplace_back();
    writeOwnHead(frame, rec);
    return frame;
}

// Body length and frame number of a frame about to be sent.
void closeFrame(PavaMsg& frame, int length, size_t frameNo) noexcept {
    PavaHeadAccessor head(&frame);
    head.setLength(length);
    head.setHeadFlag(frameDigit(frameNo));
}

// A frame appended in place, outside the frame count: position 8 '0',
// position 14 left NUL.
void closeInsertedFrame(PavaMsg& frame, int length) noexcept {
    PavaHeadAccessor head(&frame);
    head.setLength(length);
    head.setType(frameDigit(0));
    head.setContinued(false);
}

// The frame 10003 sends in place of an absent item: the prefix and a zero
// count, marked as an inserted frame.
void sendInsertedPrefix(FrameList* out, const PavaFullData& rec) {
    PavaMsg& frame = ownFrame(out, rec);
    writeFields(kTablePrefix, rec, frame.body, kBodyEnd);
    writeIntField(0, frame.body + kCountPos, 4);
    closeInsertedFrame(frame, kEntriesPos);
}

// One frame that holds the prefix (and optionally a zero count) only.
int sendPrefixOnly(FrameList* out, const PavaFullData& rec, int length) {
    PavaMsg& frame = ownFrame(out, rec);
    writeFields(kTablePrefix, rec, frame.body, kBodyEnd);
    if (length > kTablePrefixLen) writeIntField(0, frame.body + kCountPos, 4);
    closeFrame(frame, length, 1);
    markFrameCount(*out);
    return 0;
}

// The family's size text for a read or write that would leave the body;
// reach is the body offset where it would end (its start, before the body).
void logOutside(int64_t reach) {
    const int64_t shown = reach > kBodyEnd * 2 ? kBodyEnd * 2 : reach < -kBodyEnd ? -kBodyEnd : reach;
    log::format(kFieldOverText, static_cast<int>(shown));
}

// A refusal where a write would leave the body: the frame in progress is
// dropped, frames appended before it stay.
int refuseUnsafe(FrameList* out, int64_t reach) {
    logOutside(reach);
    out->pop_back();
    return -1;
}

// ---------------------------------------------------------------------------
// Entry runs
// ---------------------------------------------------------------------------

enum class ValueWrite : uint8_t {
    CString,  // the value as a C string, then the position advances by its length field
    Exact,    // exactly length-field bytes of the value
};

enum class Run : uint8_t { Ok, TooLong, Unsafe };

// Writes one entry at pos (type, length, value) and advances pos by 6 plus
// its length field, whatever the value's own length: a negative length moves
// pos back, a C string shorter than its length field leaves pos behind the
// body end. Only the bytes really written are checked against the body: the
// 6-character head and the value (exactly length-field bytes, or the C string
// with its terminator; a negative length is a copy of negative size). A write
// that would leave the body writes nothing and sets reach to where it would
// end. Callers test the length field against their limits first, so pos
// stays far inside the int range.
Run writeEntry(const PavaFieldItem& e, ValueWrite how, char* body, int& pos, int64_t& reach) noexcept {
    const int64_t valueAt = int64_t{pos} + kEntryHead;
    const size_t textSize = how == ValueWrite::CString ? std::strlen(e.fieldText1.c_str()) + 1 : 0;
    const int64_t valueSize = how == ValueWrite::Exact ? int64_t{e.fieldLen} : static_cast<int64_t>(textSize);
    const int64_t valueEnd = valueAt + valueSize;
    if (pos < 0 || valueAt > kBodyEnd || valueEnd > kBodyEnd || valueEnd < valueAt) {
        reach = pos < 0 ? pos : valueAt > kBodyEnd ? valueAt : valueEnd;
        return Run::Unsafe;
    }
    writeIntField(e.fieldType, body + pos, 2);
    writeIntField(e.fieldLen, body + pos + 2, 4);
    char* value = body + valueAt;
    if (how == ValueWrite::Exact) {
        copyValueBytes(value, e.fieldText1, e.fieldLen);
    } else {
        // A longer text runs on behind the entry until the next entry
        // overwrites it.
        std::memcpy(value, e.fieldText1.c_str(), textSize);
    }
    pos = static_cast<int>(valueAt + e.fieldLen);
    return Run::Ok;
}

// A run of entries of one frame (10001, 10003, first form of 10002). Before
// each entry: its length must not pass `limit`, and length + 6 + testPos must
// stay within the body, testPos being the end of the previous entry (0 before
// the first one of the message). Unsafe sets reach (see writeEntry).
Run writeEntryRun(const std::vector<PavaFieldItem>& entries, ValueWrite how, int limit, char* body, int& pos,
                  int& testPos, int64_t& reach) noexcept {
    for (const PavaFieldItem& e : entries) {
        if (e.fieldLen > limit || int64_t{e.fieldLen} + kEntryHead + testPos > kBodyEnd) return Run::TooLong;
        if (const Run r = writeEntry(e, how, body, pos, reach); r != Run::Ok) return r;
        testPos = pos;
    }
    return Run::Ok;
}

// The fields of the first record as one frame: count at 28, fields from 32;
// pos ends behind the last field.
Run writeFirstRecordFields(const PavaRecordItem& first, ValueWrite how, char* body, int& pos, int& testPos,
                           int64_t& reach) noexcept {
    writeIntField(static_cast<int>(first.fieldList.size()), body + kCountPos, 4);
    pos = kEntriesPos;
    testPos = 0;
    return writeEntryRun(first.fieldList, how, 8154, body, pos, testPos, reach);
}

// ---------------------------------------------------------------------------
// Record splitting (10002, 10004, 10006)
// ---------------------------------------------------------------------------

struct RecordSplit {
    int countPos;       // total count; the last frame's own count
    int frameCountPos;  // own count of every frame but the last
    int recordsPos;     // first record
    int fieldLimit;     // longest field value
    int recordLimit;    // longest record that may be taken back to a new frame
    bool whereItems;    // each record is followed by its where-items
};

constexpr RecordSplit kSplit10002{28, 13, 32, 8154, 8156, false};
constexpr RecordSplit kSplit10004{28, 13, 32, 8156, 8156, true};
constexpr RecordSplit kSplit10006{20, 5, 24, 8162, 8156, false};

// The where-item a record without items carries.
const PavaFieldItem& defaultWhereItem() {
    static const PavaFieldItem item{3, 0, {}, {}};
    return item;
}

enum class Rec : uint8_t { Ok, FieldTooLong, WhereTooLong, FieldNoRoom, WhereNoRoom, Unsafe };

struct RecordResult {
    Rec rc = Rec::Ok;
    int64_t size = 0;     // record bytes up to and including the failing entry;
                          // for Unsafe, the body offset the write would reach
    int64_t written = 0;  // entry bytes of the record written before it
};

// Writes one record at pos: its field count (4), its fields and, for
// 10004, its where-items. pos advances on success only. The field count is
// written before any entry is tested, so a count that would not fit in the
// body fails the message (Unsafe) rather than starting a new frame.
RecordResult writeRecord(const RecordSplit& p, const PavaRecordItem& record, char* body, int& pos) noexcept {
    const int start = pos;
    if (start + 4 > kBodyEnd) return {Rec::Unsafe, int64_t{start} + 4, 0};
    writeIntField(static_cast<int>(record.fieldList.size()), body + start, 4);
    int at = start + 4;
    auto place = [&](const PavaFieldItem& e, int limit, Rec tooLong, Rec noRoom) -> RecordResult {
        const int64_t size = int64_t{at} - start + kEntryHead + e.fieldLen;
        const int64_t written = at - start - 4;
        if (e.fieldLen > limit) return {tooLong, size, written};
        if (int64_t{e.fieldLen} + kEntryHead + at > kBodyEnd) return {noRoom, size, written};
        if (int64_t reach = 0; writeEntry(e, ValueWrite::Exact, body, at, reach) != Run::Ok)
            return {Rec::Unsafe, reach, written};
        return {};
    };
    for (const PavaFieldItem& f : record.fieldList)
        if (RecordResult r = place(f, p.fieldLimit, Rec::FieldTooLong, Rec::FieldNoRoom); r.rc != Rec::Ok) return r;
    if (p.whereItems) {
        if (record.fieldList2.empty()) {
            if (RecordResult r = place(defaultWhereItem(), 8156, Rec::WhereTooLong, Rec::WhereNoRoom); r.rc != Rec::Ok)
                return r;
        }
        for (const PavaFieldItem& w : record.fieldList2)
            if (RecordResult r = place(w, 8156, Rec::WhereTooLong, Rec::WhereNoRoom); r.rc != Rec::Ok) return r;
    }
    pos = at;
    return {};
}

// Cuts the record list into frames: every frame holds whole records; a
// record that does not fit is taken back and starts the next frame. The
// caller has appended the first frame with its prefix.
int splitRecords(const RecordSplit& p, const PavaFullData& rec, FrameList* out) {
    const std::vector<PavaRecordItem>& records = rec.recordList;
    size_t frameNo = 1;
    int inFrame = 0;
    int pos = p.recordsPos;
    for (size_t r = 0; r < records.size();) {
        const int start = pos;
        const RecordResult res = writeRecord(p, records[r], out->back().body, pos);
        switch (res.rc) {
        case Rec::Ok:
            ++inFrame;
            ++r;
            continue;
        case Rec::Unsafe:
            return refuseUnsafe(out, res.size);
        case Rec::FieldTooLong:
        case Rec::WhereTooLong:
            if (p.whereItems)
                log::format(res.rc == Rec::FieldTooLong ? kFieldOverText : kWhereLimitText,
                            static_cast<int>(res.size));
            out->clear();
            return -1;
        case Rec::FieldNoRoom:
        case Rec::WhereNoRoom:
            break;
        }
        // Taken back: a record that could never fit an empty frame fails.
        if (r == 0 || res.written > p.recordLimit || inFrame == 0) {
            if (p.whereItems)
                log::format(res.rc == Rec::FieldNoRoom ? kFieldOverText : kWhereOverText, static_cast<int>(res.size));
            out->clear();
            return -1;
        }
        if (p.whereItems && res.rc == Rec::FieldNoRoom)
            log::format(kRecordIdxFrameText, inFrame, static_cast<int>(r), static_cast<int>(frameNo));
        else
            log::format(kRecordFrameText, inFrame, static_cast<int>(frameNo));
        PavaMsg& full = out->back();
        closeFrame(full, start, frameNo);
        writeIntField(inFrame, full.body + p.frameCountPos, 4);
        // The next frame keeps the prefix (and the count just written).
        out->pushHeadOfBack(p.recordsPos);
        ++frameNo;
        inFrame = 0;
        pos = p.recordsPos;
    }
    log::format(p.whereItems ? kEndFrameText : kRecordFrameText, inFrame, static_cast<int>(frameNo));
    PavaMsg& last = out->back();
    closeFrame(last, pos, frameNo);
    writeIntField(inFrame, last.body + p.countPos, 4);
    markFrameCount(*out);
    return 0;
}

// ---------------------------------------------------------------------------
// Encoders
// ---------------------------------------------------------------------------

const PavaFullData& recordOf(CPavaMsgAnalyze* an) { return *an->record(); }

int encode10001(const MessageDef&, FrameList* out, CPavaMsgAnalyze* an) {
    const PavaFullData& rec = recordOf(an);
    const int fn = rec.intValue14;
    if (fn != 1 && fn != 2 && fn != 3) return 0;
    if (fn == 1 || rec.intValue16 == 1) return sendPrefixOnly(out, rec, kTablePrefixLen);
    if (rec.intValue16 != 2) {
        log::write("error:: CPavaMsgAnalyze::Data_To_Pava_10001 error 10001 msg funtype ");
        return -1;
    }
    if (rec.recordList.empty()) return sendPrefixOnly(out, rec, kEntriesPos);
    PavaMsg& frame = ownFrame(out, rec);
    writeFields(kTablePrefix, rec, frame.body, kBodyEnd);
    const PavaRecordItem& first = rec.recordList.front();
    int pos = 0;
    int testPos = 0;
    int64_t reach = 0;
    Run r = writeFirstRecordFields(first, ValueWrite::CString, frame.body, pos, testPos, reach);
    if (r == Run::TooLong) {
        out->clear();
        return -1;
    }
    if (r == Run::Unsafe) return refuseUnsafe(out, reach);
    // The item count behind the fields, where a negative last length may
    // have taken the position before the body start.
    if (pos < 0 || pos + 2 > kBodyEnd) return refuseUnsafe(out, pos < 0 ? pos : int64_t{pos} + 2);
    writeIntField(static_cast<int>(first.fieldList2.size()), frame.body + pos, 2);
    pos += 2;
    r = writeEntryRun(first.fieldList2, ValueWrite::CString, 8154, frame.body, pos, testPos, reach);
    if (r == Run::TooLong) {
        out->pop_back();
        return -1;
    }
    if (r == Run::Unsafe) return refuseUnsafe(out, reach);
    // The body ends where the last entry ended (the item count behind the
    // fields counts only once an item follows it). A record without entries,
    // or a last item whose negative length takes the position back to the
    // body start or before it, sends nothing.
    if (testPos <= 0) {
        out->pop_back();
        return 0;
    }
    closeFrame(frame, testPos, 1);
    markFrameCount(*out);
    return 0;
}

int encode10002(const MessageDef&, FrameList* out, CPavaMsgAnalyze* an) {
    const PavaFullData& rec = recordOf(an);
    const int fn = rec.intValue14;
    if (fn == 1) {
        if (rec.recordList.empty()) return sendPrefixOnly(out, rec, kEntriesPos);
        const PavaRecordItem& first = rec.recordList.front();
        if (first.fieldList.empty()) return 0;
        PavaMsg& frame = ownFrame(out, rec);
        writeFields(kTablePrefix, rec, frame.body, kBodyEnd);
        int pos = 0;
        int testPos = 0;
        int64_t reach = 0;
        const Run r = writeFirstRecordFields(first, ValueWrite::Exact, frame.body, pos, testPos, reach);
        if (r == Run::TooLong) {
            out->clear();
            return -1;
        }
        if (r == Run::Unsafe) return refuseUnsafe(out, reach);
        log::format(kFieldFrameText, static_cast<int>(first.fieldList.size()), 1);
        closeFrame(frame, pos, 1);
        markFrameCount(*out);
        return 0;
    }
    if (fn != 2 && fn != 3) return 0;
    if (rec.intValue16 != 1 && rec.intValue16 != 2) {
        log::write("error:: CPavaMsgAnalyze::Data_To_Pava_10002 error 10002 msg funtype ");
        return -1;
    }
    PavaMsg& frame = ownFrame(out, rec);
    writeFields(kTablePrefix, rec, frame.body, kBodyEnd);
    writeIntField(static_cast<int>(rec.recordList.size()), frame.body + kSplit10002.countPos, 4);
    if (rec.recordList.empty()) {
        out->clear();
        return -1;
    }
    return splitRecords(kSplit10002, rec, out);
}

int encode10003(const MessageDef&, FrameList* out, CPavaMsgAnalyze* an) {
    const PavaFullData& rec = recordOf(an);
    const int sub = rec.intValue16;
    if (sub < 3 || sub > 5) {
        log::write(kFuncType10003);
        return -1;
    }
    const PavaRecordItem* first = rec.recordList.empty() ? nullptr : &rec.recordList.front();
    if (sub == 5) {
        // Both the item's frame and the stand-in without an item are
        // inserted frames.
        if (first == nullptr || first->fieldList2.empty()) {
            sendInsertedPrefix(out, rec);
            return 0;
        }
        const PavaFieldItem& item = first->fieldList2.front();
        if (item.fieldLen > 8158) return -1;
        PavaMsg& frame = ownFrame(out, rec);
        writeFields(kTablePrefix, rec, frame.body, kBodyEnd);
        int pos = kCountPos;
        if (int64_t reach = 0; writeEntry(item, ValueWrite::CString, frame.body, pos, reach) != Run::Ok)
            return refuseUnsafe(out, reach);
        closeInsertedFrame(frame, pos);
        return 0;
    }
    if (first == nullptr || first->fieldList.empty()) return sendPrefixOnly(out, rec, kEntriesPos);
    PavaMsg& frame = ownFrame(out, rec);
    writeFields(kTablePrefix, rec, frame.body, kBodyEnd);
    int pos = 0;
    int testPos = 0;
    int64_t reach = 0;
    // The fields end the body: a last field whose negative length takes the
    // position before the body start is sent with that length.
    const Run r = writeFirstRecordFields(*first, ValueWrite::CString, frame.body, pos, testPos, reach);
    if (r == Run::TooLong) {
        out->pop_back();
        return -1;
    }
    if (r == Run::Unsafe) return refuseUnsafe(out, reach);
    log::format(kFieldFrameText, static_cast<int>(first->fieldList.size()), 1);
    closeFrame(frame, pos, 1);
    markFrameCount(*out);
    return 0;
}

int encode10004(const MessageDef&, FrameList* out, CPavaMsgAnalyze* an) {
    const PavaFullData& rec = recordOf(an);
    const int sub = rec.intValue16;
    if (sub < 3 || sub > 7) {
        log::write("error:: CPavaMsgAnalyze::Data_To_Pava_10004 error 10003 msg funtype ");
        return -1;
    }
    PavaMsg& frame = ownFrame(out, rec);
    writeFields(kTablePrefix, rec, frame.body, kBodyEnd);
    if (sub >= 5) {
        writeIntField(rec.intValue4, frame.body + kCountPos, 1);
        closeInsertedFrame(frame, kTablePrefixLen + 1);
        return 0;
    }
    writeIntField(static_cast<int>(rec.recordList.size()), frame.body + kSplit10004.countPos, 4);
    if (rec.recordList.empty()) {
        writeIntField(0, frame.body + kEntriesPos, 4);
        closeFrame(frame, kEntriesPos + 4, 1);
        markFrameCount(*out);
        return 0;
    }
    return splitRecords(kSplit10004, rec, out);
}

int encode10006(const MessageDef& def, FrameList* out, CPavaMsgAnalyze* an) {
    log::encodeEntry(def.id);
    PavaFullData& rec = *an->record();
    PavaMsg& frame = ownFrame(out, rec);
    // The text field is copied from the fresh body into the record, so both
    // end up NUL: the caller's first 15 characters of text64b are cleared.
    std::memcpy(rec.text64b, frame.body, 15);
    writeFields(kShortPrefix, rec, frame.body, kBodyEnd);
    const int sub = rec.intValue16;
    if (sub >= 3 && sub <= 5) {
        writeIntField(rec.intValue4, frame.body + 20, 1);
        closeFrame(frame, 21, 1);
        markFrameCount(*out);
        return 0;
    }
    if (sub != 1 && sub != 2) {
        out->pop_back();
        return 0;
    }
    writeIntField(static_cast<int>(rec.recordList.size()), frame.body + kSplit10006.countPos, 4);
    if (rec.recordList.empty()) {
        out->clear();
        return -1;
    }
    return splitRecords(kSplit10006, rec, out);
}

// ---------------------------------------------------------------------------
// Decoders
// ---------------------------------------------------------------------------

// What an entry parse gives back: the characters consumed (above 0), 0 where
// the parse stops on its own (a count below 1, or a size test failing), or
// kOutside where it would read outside the body. kOutside is also the
// decoders' failure result.
constexpr int kOutside = -1;

// A read that would leave the body: logged; returns kOutside.
int readOutside(int64_t reach) {
    logOutside(reach);
    return kOutside;
}

// Parses `count` entries from pos into list. Before each entry, base plus
// the characters consumed plus 27 must stay within the body, and so must
// that sum plus the entry's length. Those tests count from base, not from
// pos, so they do not keep the reads inside the body when the entries start
// late: a head or value that would be read outside it, or a negative length
// (a read of negative size), gives kOutside.
int parseEntries(const char* body, int pos, int count, ListRefill<PavaFieldItem>& list, const ReadTrace& trace,
                 const ReadPath& entries, int base = 15) {
    if (count < 1) return 0;
    list.reserve(count, kBodyEnd - pos, kEntryHead);
    int consumed = 0;
    for (int i = 0; i < count; ++i) {
        if (base + consumed + 27 > kBodyEnd) return 0;
        const int at = pos + consumed;
        if (at + kEntryHead > kBodyEnd) return readOutside(int64_t{at} + (at + 2 > kBodyEnd ? 2 : kEntryHead));
        PavaFieldItem& e = list.next();
        e.fieldType = readIntField(body + at, 2);
        e.fieldLen = readIntField(body + at + 2, 4);
        const int64_t valueEnd = int64_t{at} + kEntryHead + e.fieldLen;
        if (int64_t{base} + consumed + 27 + e.fieldLen > kBodyEnd) return 0;
        if (e.fieldLen < 0 || valueEnd > kBodyEnd) return readOutside(valueEnd);
        e.fieldText1.assign(body + at + kEntryHead, static_cast<size_t>(e.fieldLen));
        consumed += kEntryHead + e.fieldLen;
        if (trace) {
            const ReadPath entry = entries.item(entries.sublist, list.size());
            trace.read(body + at, 2, SpanKind::Decimal, entry.leaf(Member::fieldType));
            trace.read(body + at + 2, 4, SpanKind::Decimal, entry.leaf(Member::fieldLen));
            trace.read(body + at + kEntryHead, e.fieldLen, SpanKind::Raw, entry.leaf(Member::fieldText1));
        }
        list.keep();
    }
    return consumed;
}

// Records back to back from pos: a field count (4), then its fields. Ends
// quietly at the first record whose fields fail to parse; a read outside the
// body fails (-1) with the records before it kept. A field count that would
// pass the body end stops quietly when countEndsQuietly, else fails.
int parseRecords(const char* body, int pos, int count, ListRefill<PavaRecordItem>& records,
                 bool countEndsQuietly, const ReadTrace& trace) {
    records.reserve(count, kBodyEnd - pos, 4 + kEntryHead);
    for (int i = 0; i < count; ++i) {
        if (pos + 4 > kBodyEnd) return countEndsQuietly ? 0 : readOutside(int64_t{pos} + 4);
        const ReadPath fields = kRecordPath.item(Container::RecordList, records.size()).whole(Container::FieldList);
        trace.read(body + pos, 4, SpanKind::Decimal, fields.named(kCountName));
        RecordRefill record = nextRecord(records);
        const int n = parseEntries(body, pos + 4, readIntField(body + pos, 4), record.fields, trace, fields);
        if (n == kOutside) return -1;
        if (n == 0) return 0;
        records.keep();
        pos += 4 + n;
    }
    return 0;
}

struct DecodeTexts {
    const char* entry;
    const char* nullFrame;
};

// Entry line, null check and prefix: the record, or null for a null frame.
PavaFullData* openTable(const DecodeTexts& t, std::span<const Field> prefix, const PavaMsg* frame,
                        CPavaMsgAnalyze* an) {
    log::write(t.entry);
    if (frame == nullptr) {
        log::write(t.nullFrame);
        return nullptr;
    }
    PavaFullData* rec = an->record();
    readFields(prefix, frame->body, kBodyEnd, *rec, an->trace(*frame));
    return rec;
}

// The entries of the record a list refill hands out next: its fieldList or fieldList2.
ReadPath nextEntries(const ListRefill<PavaRecordItem>& records, Container list) {
    return kRecordPath.item(Container::RecordList, records.size()).whole(list);
}

// A count at body + at, reported as the count of `of`.
int readCount(const char* body, int at, int width, const ReadTrace& trace, const ReadPath& of) {
    trace.read(body + at, width, SpanKind::Decimal, of.named(kCountName));
    return readIntField(body + at, width);
}

// False, after logging `text`, for a sub-type outside lo..hi.
bool subTypeIn(int sub, int lo, int hi, const char* text) {
    if (sub >= lo && sub <= hi) return true;
    log::write(text);
    return false;
}

constexpr DecodeTexts kDecode10001{"Pava_10001_To_Data\n",
                                   "error:: CPavaMsgAnalyze::Pava_10001_To_Data pPavaMsg == NULL! "};
constexpr DecodeTexts kDecode10002{"Pava_10002_To_Data\n",
                                   "error:: CPavaMsgAnalyze Pava_10002_To_Data pPavaMsg parameter is NULL!\n"};
constexpr DecodeTexts kDecode10003{"Pava_10003_To_Data\n",
                                   "error:: CPavaMsgAnalyze Pava_10003_To_Data pPavaMsg parameter is NULL!\n"};
constexpr DecodeTexts kDecode10004{"Pava_10004_To_Data\n",
                                   "error:: CPavaMsgAnalyze Pava_10004_To_Data pPavaMsg parameter is NULL!\n"};
constexpr DecodeTexts kDecode10006{"Pava_10006_To_Data!\n",
                                   "error:: CPavaMsgAnalyze::Pava_10006_To_Data pPavaMsg == NULL! "};

int decode10001(const MessageDef&, const PavaMsg* frame, CPavaMsgAnalyze* an) {
    PavaFullData* rec = openTable(kDecode10001, kTablePrefix, frame, an);
    if (rec == nullptr) return -1;
    if ((rec->intValue14 != 2 && rec->intValue14 != 3) || rec->intValue16 == 1) return 0;
    if (!subTypeIn(rec->intValue16, 2, 2, kFuncType10003)) return -1;
    const char* body = frame->body;
    const ReadTrace trace = an->trace(*frame);
    ListRefill<PavaRecordItem> records = an->refill(rec->recordList);
    int consumed = 0;
    const int fieldCount = readCount(body, kCountPos, 4, trace, nextEntries(records, Container::FieldList));
    if (fieldCount > 0) {
        RecordRefill fields = nextRecord(records);
        consumed = parseEntries(body, kEntriesPos, fieldCount, fields.fields, trace,
                                nextEntries(records, Container::FieldList));
        if (consumed == kOutside) return -1;
        if (consumed == 0) return 0;
        records.keep();
    }
    // The where-items go into a second record that repeats the fields of the
    // first, if there is one.
    RecordRefill where = nextRecord(records);
    if (records.size() == 1) {
        for (const PavaFieldItem& field : records[0].fieldList) {
            where.fields.next() = field;
            where.fields.keep();
        }
    }
    // The size tests leave the item count inside the body.
    const int itemsPos = kEntriesPos + consumed;
    const ReadPath whereItems = nextEntries(records, Container::FieldList2);
    const int items =
        parseEntries(body, itemsPos + 2, readCount(body, itemsPos, 2, trace, whereItems), where.fields2, trace, whereItems);
    if (items == kOutside) return -1;
    if (items != 0) records.keep();
    return 0;
}

// Parses `count` entries into a new record's list and keeps the record when
// the parse succeeds; -1 for a read outside the body.
int parseOneRecord(const char* body, int pos, int count, ListRefill<PavaFieldItem> RecordRefill::*list,
                   ListRefill<PavaRecordItem>& records, const ReadTrace& trace) {
    const ReadPath entries =
        nextEntries(records, list == &RecordRefill::fields ? Container::FieldList : Container::FieldList2);
    RecordRefill record = nextRecord(records);
    const int n = parseEntries(body, pos, count, record.*list, trace, entries);
    if (n == kOutside) return -1;
    if (n != 0) records.keep();
    return 0;
}

int decode10002(const MessageDef&, const PavaMsg* frame, CPavaMsgAnalyze* an) {
    PavaFullData* rec = openTable(kDecode10002, kTablePrefix, frame, an);
    if (rec == nullptr) return -1;
    const char* body = frame->body;
    const int fn = rec->intValue14;
    const int count = readIntField(body + kCountPos, 4);
    const ReadTrace trace = an->trace(*frame);
    ListRefill<PavaRecordItem> records = an->refill(rec->recordList);
    if (fn == 1) {
        readCount(body, kCountPos, 4, trace, nextEntries(records, Container::FieldList));
        return parseOneRecord(body, kEntriesPos, count, &RecordRefill::fields, records, trace);
    }
    if (fn != 2 && fn != 3) return 0;
    if (!subTypeIn(rec->intValue16, 1, 2, kFuncType10003)) return -1;
    readCount(body, kCountPos, 4, trace, kRecordPath.whole(Container::RecordList));
    return parseRecords(body, kEntriesPos, count, records, false, trace);
}

int decode10003(const MessageDef&, const PavaMsg* frame, CPavaMsgAnalyze* an) {
    PavaFullData* rec = openTable(kDecode10003, kTablePrefix, frame, an);
    if (rec == nullptr) return -1;
    if (!subTypeIn(rec->intValue16, 3, 5, "error:: CPavaMsgAnalyze::Pava_10003_To_Data error 10003 msg funtype "))
        return -1;
    const char* body = frame->body;
    const ReadTrace trace = an->trace(*frame);
    ListRefill<PavaRecordItem> records = an->refill(rec->recordList);
    if (rec->intValue16 == 5) return parseOneRecord(body, kCountPos, 1, &RecordRefill::fields2, records, trace);
    const int count = readCount(body, kCountPos, 4, trace, nextEntries(records, Container::FieldList));
    if (count == 0) return 0;
    return parseOneRecord(body, kEntriesPos, count, &RecordRefill::fields, records, trace);
}

// 10004 records: a field count (4), the fields, then the where-items. The
// layout carries no where-item count: every record but the last of the count
// holds one where-item, the last one those up to the frame's body length.
// Records stop quietly where a field count would pass that length (or the
// body end); entries that would be read outside the body fail the decode.
int decode10004(const MessageDef&, const PavaMsg* frame, CPavaMsgAnalyze* an) {
    PavaFullData* rec = openTable(kDecode10004, kTablePrefix, frame, an);
    if (rec == nullptr) return -1;
    if (!subTypeIn(rec->intValue16, 3, 7, "error:: CPavaMsgAnalyze::Data_To_Pava_10004 error 10004 msg funtype "))
        return -1;
    const char* body = frame->body;
    const ReadTrace trace = an->trace(*frame);
    if (rec->intValue16 >= 5) {
        rec->intValue4 = readIntField(body + kCountPos, 1);
        trace.read(body + kCountPos, 1, SpanKind::Decimal, kRecordPath.leaf(M::intValue4));
        return 0;
    }
    const int bodyLength = readHead(frame).getLength();
    const int end = bodyLength < kBodyEnd ? bodyLength : kBodyEnd;
    const int count = readCount(body, kCountPos, 4, trace, kRecordPath.whole(Container::RecordList));
    int pos = kEntriesPos;
    ListRefill<PavaRecordItem> records = an->refill(rec->recordList);
    // A negative body length leaves no room (and must not be subtracted from).
    records.reserve(count, end > pos ? end - pos : 0, 4 + kEntryHead);
    for (int i = 0; i < count && pos + 4 <= end; ++i) {
        const ReadPath fields = nextEntries(records, Container::FieldList);
        const ReadPath where = nextEntries(records, Container::FieldList2);
        RecordRefill record = nextRecord(records);
        const int fieldCount = readCount(body, pos, 4, trace, fields);
        pos += 4;
        if (fieldCount != 0) {
            const int n = parseEntries(body, pos, fieldCount, record.fields, trace, fields);
            if (n == kOutside) return -1;
            if (n == 0) return 0;
            pos += n;
        }
        do {
            const int n = parseEntries(body, pos, 1, record.fields2, trace, where);
            if (n == kOutside) return -1;
            if (n == 0) return 0;
            pos += n;
        } while (i + 1 == count && pos < end);
        records.keep();
    }
    return 0;
}

int decode10006(const MessageDef&, const PavaMsg* frame, CPavaMsgAnalyze* an) {
    PavaFullData* rec = openTable(kDecode10006, kShortPrefix, frame, an);
    if (rec == nullptr) return -1;
    const char* body = frame->body;
    const int sub = rec->intValue16;
    const ReadTrace trace = an->trace(*frame);
    if (sub >= 3 && sub <= 5) {
        rec->intValue4 = readIntField(body + 20, 1);
        trace.read(body + 20, 1, SpanKind::Decimal, kRecordPath.leaf(M::intValue4));
        return 0;
    }
    if (sub != 1 && sub != 2) return 0;
    ListRefill<PavaRecordItem> records = an->refill(rec->recordList);
    const int count = readCount(body, kSplit10006.countPos, 4, trace, kRecordPath.whole(Container::RecordList));
    return parseRecords(body, kSplit10006.recordsPos, count, records, true, trace);
}

// What follows the prefix, in words. An entry is type (2) | length (4) |
// value, read into fieldType, fieldLen and fieldText1 of a recordList
// record's fieldList (fields) or fieldList2 (where-items).
constexpr Member kEntryMembers[] = {M::fieldType, M::fieldLen, M::fieldText1};
constexpr BodyPart kBody10001{BodyKind::GenericTable, kEntriesPos, kCountPos, 4, M::None,
                              "function type 2 or 3, sub-type 2: a field count (4) at byte 28, the first "
                              "record's fields as entries from byte 32, then a where-item count (2) and "
                              "the where-items as entries", kEntryMembers};
constexpr BodyPart kBody10002{BodyKind::GenericTable, kEntriesPos, kCountPos, 4, M::None,
                              "function type 1: a field count (4) at byte 28 and one record's fields as "
                              "entries from byte 32; function type 2 or 3: a record count (4) at byte 28, "
                              "then records from byte 32, each a field count (4) and its entries; the "
                              "records are split over frames, a record never", kEntryMembers};
constexpr BodyPart kBody10003{BodyKind::GenericTable, kEntriesPos, kCountPos, 4, M::None,
                              "sub-type 3 or 4: a field count (4) at byte 28 and one record's fields as "
                              "entries from byte 32; sub-type 5: one where-item entry at byte 28", kEntryMembers};
constexpr BodyPart kBody10004{BodyKind::GenericTable, kEntriesPos, kCountPos, 4, M::None,
                              "sub-type 3 or 4: a record count (4) at byte 28, then records from byte 32, "
                              "each a field count (4), its entries and one where-item entry (the last "
                              "record: where-items up to the body length); sub-type 5 to 7: intValue4 in "
                              "one digit at byte 28; split over frames record by record", kEntryMembers};
// 10005: a free text. Its decoder takes as many characters as the text holds
// on entry (none after the reset); more than the body holds behind byte 20
// fails, the text unchanged.
constexpr TextToEnd k10005Text = checkedText({.at = 20,
                                              .text = &PavaFullData::string4,
                                              .cap = kBodyEnd - 20,
                                              .tooLong = "Data_To_Pava_10005! len too length return -1! \n ",
                                              .length = TextLength::OnEntry,
                                              .badLength = kFieldOverText,
                                              .readCap = 8187});
constexpr Description k10005{.quirks = kLoudHead, .write = k10005Text, .read = k10005Text};
constexpr BodyPart kBody10005{BodyKind::Text, 20, -1, 0, M::string4,
                              "a free text (string4) from byte 20 up to the body length; the decoder keeps "
                              "none of it"};
constexpr BodyPart kBody10006{BodyKind::GenericTable, 24, 20, 4, M::None,
                              "sub-type 1 or 2: a record count (4) at byte 20, then records from byte 24, "
                              "each a field count (4) and its entries, split over frames record by record; "
                              "sub-type 3 to 5: intValue4 in one digit at byte 20", kEntryMembers};

// The record lists split over numbered frames: every frame but the last
// carries its own count where the total stands in the prefix, which the
// decoder does not read; 10002's wrote over its function type (2 or 3, sent
// alike: 2 stands for either).
constexpr SplitRule kFrames10002 = checkedSplit({.list = Container::RecordList,
                                                 .repair = FrameRepair::OwnCount,
                                                 .countAt = kSplit10002.countPos,
                                                 .ownCountAt = kSplit10002.frameCountPos,
                                                 .restoreAt = kTablePrefix[1].offset,
                                                 .restoreWidth = kTablePrefix[1].width,
                                                 .restore = 2});
constexpr SplitRule kFrames10004 = checkedSplit({.list = Container::RecordList,
                                                 .repair = FrameRepair::OwnCount,
                                                 .countAt = kSplit10004.countPos,
                                                 .ownCountAt = kSplit10004.frameCountPos});
constexpr SplitRule kFrames10006 = checkedSplit({.list = Container::RecordList,
                                                 .repair = FrameRepair::OwnCount,
                                                 .countAt = kSplit10006.countPos,
                                                 .ownCountAt = kSplit10006.frameCountPos});

constexpr MessageDef kMessages[] = {
    {10001, encode10001, decode10001, Layout{kTablePrefix, {}, -1, nullptr, kBody10001}, nullptr},
    {10002, encode10002, decode10002, Layout{kTablePrefix, {}, -1, nullptr, kBody10002}, nullptr,
     &kFrames10002},
    {10003, encode10003, decode10003, Layout{kTablePrefix, {}, -1, nullptr, kBody10003}, nullptr},
    {10004, encode10004, decode10004, Layout{kTablePrefix, {}, -1, nullptr, kBody10004}, nullptr,
     &kFrames10004},
    withBody(describedMessage<k10005>(10005, kShortPrefix, -1), kBody10005),
    {10006, encode10006, decode10006, Layout{kShortPrefix, {}, -1, nullptr, kBody10006}, nullptr,
     &kFrames10006},
};

}  // namespace

std::span<const MessageDef> genericTables() { return kMessages; }

}  // namespace pava::messages
