// The steps of table bodies (table_body.h): the case a record's function
// type and sub-type choose, and the entries, records and frames it writes or
// reads.
//
// Every byte written or read is checked against the 8192-byte body, not the
// positions in between: a write that would leave it fails the encode (the
// frame in progress dropped, frames appended before it kept), a read that
// would leave it fails the decode (the records decoded so far kept), both
// logged with the size text. The size tests of the layout itself come first
// and keep their own outcome.
#include <cstdint>
#include <cstring>
#include <vector>

#include "body_codec.h"
#include "field_codec.h"
#include "frame_header.h"
#include "log.h"
#include "multiframe/frame_marks.h"

namespace pava::body {

namespace {

constexpr int kBodyEnd = MAX_PAVA_MSG_LEN;
constexpr int kRecordCountWidth = 4;  // a record's field count, and the counts behind the prefix
constexpr int kWhereCountWidth = 2;   // a first record's where-item count

constexpr char kOverText[] = "Insert single data ! over max pava message size[%d] ";

const TableCase* chosenCase(const Table& t, const PavaFullData& rec) noexcept {
    for (const TableCase& c : t.cases)
        if (c.takes(rec.intValue14, rec.intValue16)) return &c;
    return nullptr;
}

// ---------------------------------------------------------------------------
// Frames
// ---------------------------------------------------------------------------

// A zeroed frame at the end of out with the table's own header and prefix.
PavaMsg& ownFrame(FrameList* out, const PavaFullData& rec, std::span<const Field> prefix) {
    PavaMsg& frame = out->emplace_back();
    writeOwnHead(frame, rec);
    writeFields(prefix, rec, frame.body, kBodyEnd);
    return frame;
}

// Body length and frame number of a frame about to be sent.
void closeFrame(PavaMsg& frame, int length, size_t frameNo) noexcept {
    PavaHeadAccessor head(&frame);
    head.setLength(length);
    head.setHeadFlag(frameDigit(frameNo));
}

// A frame sent in place, outside the frame count: position 8 '0', position
// 14 left NUL.
void closeInsertedFrame(PavaMsg& frame, int length) noexcept {
    PavaHeadAccessor head(&frame);
    head.setLength(length);
    head.setType(frameDigit(0));
    head.setContinued(false);
}

// The only frame of a message: frame 1 of 1.
int closeOnlyFrame(FrameList* out, PavaMsg& frame, int length) noexcept {
    closeFrame(frame, length, 1);
    markFrameCount(*out);
    return 0;
}

// One frame of the prefix, and a zero count when longer.
int sendPrefixOnly(FrameList* out, const PavaFullData& rec, std::span<const Field> prefix, int countAt,
                   int length) {
    PavaMsg& frame = ownFrame(out, rec, prefix);
    if (length > countAt) writeIntField(0, frame.body + countAt, kRecordCountWidth);
    return closeOnlyFrame(out, frame, length);
}

// The size text for a read or write that would leave the body; reach is the
// body offset where it would end (its start, before the body).
void logOutside(int64_t reach) {
    const int64_t shown = reach > kBodyEnd * 2 ? kBodyEnd * 2 : reach < -kBodyEnd ? -kBodyEnd : reach;
    log::format(kOverText, static_cast<int>(shown));
}

// A refusal where a write would leave the body: the frame in progress is
// dropped, frames appended before it stay.
int refuseUnsafe(FrameList* out, int64_t reach) {
    logOutside(reach);
    out->pop_back();
    return -1;
}

// ---------------------------------------------------------------------------
// Entries
// ---------------------------------------------------------------------------

enum class Run : uint8_t { Ok, TooLong, Unsafe };

// Where an entry write ended: ok and the position behind it, or where the
// write would have left the body.
struct Written {
    int64_t reach;
    int pos;
    bool ok;
};

// Writes one entry at pos (type, length, value); the position behind it is
// pos plus 6 plus its length field, whatever the value's own length: a
// negative length moves back, a C string shorter than its length field
// leaves the position behind the body end. Only the bytes really written are
// checked against the body: the 6-character head and the value (exactly
// length-field bytes, or the C string with its terminator; a negative length
// is a copy of negative size). A write that would leave the body writes
// nothing and gives where it would end. Callers test the length field
// against their limits first, so positions stay far inside the int range.
template <ValueWrite how>
inline Written writeEntry(const PavaFieldItem& e, char* body, int pos) noexcept {
    const int64_t valueAt = int64_t{pos} + kEntryHead;
    size_t textSize = 0;
    if constexpr (how == ValueWrite::CString) textSize = std::strlen(e.fieldText1.c_str()) + 1;
    const int64_t valueSize = how == ValueWrite::Exact ? int64_t{e.fieldLen} : static_cast<int64_t>(textSize);
    const int64_t valueEnd = valueAt + valueSize;
    if (pos < 0 || valueAt > kBodyEnd || valueEnd > kBodyEnd || valueEnd < valueAt)
        return {pos < 0 ? pos : valueAt > kBodyEnd ? valueAt : valueEnd, pos, false};
    writeIntField(e.fieldType, body + pos, kEntryTypeWidth);
    writeIntField(e.fieldLen, body + pos + kEntryTypeWidth, kEntryLengthWidth);
    char* value = body + valueAt;
    if constexpr (how == ValueWrite::Exact)
        copyValueBytes(value, e.fieldText1, e.fieldLen);
    else
        std::memcpy(value, e.fieldText1.c_str(), textSize);
    return {0, static_cast<int>(valueAt + e.fieldLen), true};
}

// A run of entries of one frame. Before each entry: its length must not pass
// `limit`, and length + 6 + testPos must stay within the body, testPos being
// the end of the previous entry (0 before the first one of the message).
// Unsafe sets reach (see writeEntry).
template <ValueWrite how>
Run writeEntryRun(const std::vector<PavaFieldItem>& entries, int limit, char* body, int& pos, int& testPos,
                  int64_t& reach) noexcept {
    // The positions stay in locals: the body's characters may alias them.
    int at = pos;
    int tested = testPos;
    Run r = Run::Ok;
    for (const PavaFieldItem& e : entries) {
        if (e.fieldLen > limit || int64_t{e.fieldLen} + kEntryHead + tested > kBodyEnd) {
            r = Run::TooLong;
            break;
        }
        const Written w = writeEntry<how>(e, body, at);
        if (!w.ok) {
            reach = w.reach;
            r = Run::Unsafe;
            break;
        }
        tested = at = w.pos;
    }
    pos = at;
    testPos = tested;
    return r;
}


// ---------------------------------------------------------------------------
// Encoder steps
// ---------------------------------------------------------------------------

template <ValueWrite how>
int writeFirstRecord(const FirstRecord& f, int countAt, std::span<const Field> prefix, const PavaFullData& rec,
                     FrameList* out) {
    const int entriesAt = countAt + kRecordCountWidth;
    if (rec.recordList.empty()) return sendPrefixOnly(out, rec, prefix, countAt, entriesAt);
    const PavaRecordItem& first = rec.recordList.front();
    if (first.fieldList.empty() && f.noFields != NoFields::Write) {
        if (f.noFields == NoFields::Nothing) return 0;
        return sendPrefixOnly(out, rec, prefix, countAt, entriesAt);
    }
    PavaMsg& frame = ownFrame(out, rec, prefix);
    writeIntField(static_cast<int>(first.fieldList.size()), frame.body + countAt, kRecordCountWidth);
    int pos = entriesAt;
    int testPos = 0;
    int64_t reach = 0;
    Run r = writeEntryRun<how>(first.fieldList, f.fieldLimit, frame.body, pos, testPos, reach);
    if (r == Run::TooLong) {
        out->clear();
        return -1;
    }
    if (r == Run::Unsafe) return refuseUnsafe(out, reach);
    if (!f.whereItems) {
        // The fields end the body: a last field whose negative length takes
        // the position before the body start is sent with that length.
        if (f.frameText != nullptr) log::format(f.frameText, static_cast<int>(first.fieldList.size()), 1);
        return closeOnlyFrame(out, frame, pos);
    }
    // The item count behind the fields, where a negative last length may
    // have taken the position before the body start.
    if (pos < 0 || pos + kWhereCountWidth > kBodyEnd)
        return refuseUnsafe(out, pos < 0 ? pos : int64_t{pos} + kWhereCountWidth);
    writeIntField(static_cast<int>(first.fieldList2.size()), frame.body + pos, kWhereCountWidth);
    pos += kWhereCountWidth;
    r = writeEntryRun<how>(first.fieldList2, f.fieldLimit, frame.body, pos, testPos, reach);
    if (r == Run::TooLong) {
        out->clear();
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
    return closeOnlyFrame(out, frame, testPos);
}

// The first record's first where-item, or the prefix and a zero count in its
// place; both frames are sent in place.
int writeWhereItem(const TableCase& c, std::span<const Field> prefix, const PavaFullData& rec, FrameList* out) {
    if (rec.recordList.empty() || rec.recordList.front().fieldList2.empty()) {
        PavaMsg& frame = ownFrame(out, rec, prefix);
        writeIntField(0, frame.body + c.at, kRecordCountWidth);
        closeInsertedFrame(frame, c.at + kRecordCountWidth);
        return 0;
    }
    const PavaFieldItem& item = rec.recordList.front().fieldList2.front();
    if (item.fieldLen > c.limit) return -1;
    PavaMsg& frame = ownFrame(out, rec, prefix);
    const Written w = writeEntry<ValueWrite::CString>(item, frame.body, c.at);
    if (!w.ok) return refuseUnsafe(out, w.reach);
    closeInsertedFrame(frame, w.pos);
    return 0;
}

int writeDigit(const TableCase& c, std::span<const Field> prefix, const PavaFullData& rec, FrameList* out) {
    PavaMsg& frame = ownFrame(out, rec, prefix);
    writeIntField(rec.intValue4, frame.body + c.at, 1);
    if (!c.inserted) return closeOnlyFrame(out, frame, c.at + 1);
    closeInsertedFrame(frame, c.at + 1);
    return 0;
}

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

// Writes one record at pos: its field count, its fields and its where-items.
// pos advances on success only. The field count is written before any entry
// is tested, so a count that would not fit in the body fails the message
// (Unsafe) rather than starting a new frame.
RecordResult writeRecord(const RecordFrames& p, const PavaRecordItem& record, char* body, int& pos) noexcept {
    const int start = pos;
    if (start + kRecordCountWidth > kBodyEnd) return {Rec::Unsafe, int64_t{start} + kRecordCountWidth, 0};
    writeIntField(static_cast<int>(record.fieldList.size()), body + start, kRecordCountWidth);
    int at = start + kRecordCountWidth;
    auto place = [&](const PavaFieldItem& e, int limit, Rec tooLong, Rec noRoom) -> RecordResult {
        const int64_t size = int64_t{at} - start + kEntryHead + e.fieldLen;
        const int64_t written = at - start - kRecordCountWidth;
        if (e.fieldLen > limit) return {tooLong, size, written};
        if (int64_t{e.fieldLen} + kEntryHead + at > kBodyEnd) return {noRoom, size, written};
        const Written w = writeEntry<ValueWrite::Exact>(e, body, at);
        if (!w.ok) return {Rec::Unsafe, w.reach, written};
        at = w.pos;
        return {};
    };
    for (const PavaFieldItem& f : record.fieldList)
        if (RecordResult r = place(f, p.fieldLimit, Rec::FieldTooLong, Rec::FieldNoRoom); r.rc != Rec::Ok) return r;
    if (p.whereItems) {
        if (record.fieldList2.empty()) {
            if (RecordResult r = place(defaultWhereItem(), p.whereLimit, Rec::WhereTooLong, Rec::WhereNoRoom);
                r.rc != Rec::Ok)
                return r;
        }
        for (const PavaFieldItem& w : record.fieldList2)
            if (RecordResult r = place(w, p.whereLimit, Rec::WhereTooLong, Rec::WhereNoRoom); r.rc != Rec::Ok)
                return r;
    }
    pos = at;
    return {};
}

void logSized(const char* text, int64_t size) {
    if (text != nullptr) log::format(text, static_cast<int>(size));
}

// Cuts the record list into frames: every frame holds whole records; a
// record that does not fit is taken back and starts the next frame.
int splitRecords(const RecordFrames& p, std::span<const Field> prefix, const PavaFullData& rec, FrameList* out) {
    const std::vector<PavaRecordItem>& records = rec.recordList;
    PavaMsg& first = ownFrame(out, rec, prefix);
    writeIntField(static_cast<int>(records.size()), first.body + p.countAt, kRecordCountWidth);
    if (records.empty()) {
        if (p.noRecords == NoRecords::Refuse) {
            out->clear();
            return -1;
        }
        writeIntField(0, first.body + p.recordsAt, kRecordCountWidth);
        return closeOnlyFrame(out, first, p.recordsAt + kRecordCountWidth);
    }
    size_t frameNo = 1;
    int inFrame = 0;
    int pos = p.recordsAt;
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
            logSized(res.rc == Rec::FieldTooLong ? p.fieldTooLong : p.whereTooLong, res.size);
            out->clear();
            return -1;
        case Rec::FieldNoRoom:
        case Rec::WhereNoRoom:
            break;
        }
        // Taken back: a record that could never fit an empty frame fails.
        if (r == 0 || res.written > p.recordLimit || inFrame == 0) {
            logSized(res.rc == Rec::FieldNoRoom ? p.fieldNoRoom : p.whereNoRoom, res.size);
            out->clear();
            return -1;
        }
        if (p.takenBackAtField != nullptr && res.rc == Rec::FieldNoRoom)
            log::format(p.takenBackAtField, inFrame, static_cast<int>(r), static_cast<int>(frameNo));
        else
            log::format(p.frameText, inFrame, static_cast<int>(frameNo));
        PavaMsg& full = out->back();
        closeFrame(full, start, frameNo);
        writeIntField(inFrame, full.body + p.ownCountAt, kRecordCountWidth);
        // The next frame keeps the prefix (and the count just written).
        out->pushHeadOfBack(p.recordsAt);
        ++frameNo;
        inFrame = 0;
        pos = p.recordsAt;
    }
    log::format(p.endText, inFrame, static_cast<int>(frameNo));
    PavaMsg& last = out->back();
    closeFrame(last, pos, frameNo);
    writeIntField(inFrame, last.body + p.countAt, kRecordCountWidth);
    markFrameCount(*out);
    return 0;
}

// ---------------------------------------------------------------------------
// Decoder steps
// ---------------------------------------------------------------------------

// What an entry parse gives back: the characters consumed (above 0), 0 where
// the parse stops on its own (a count below 1, or a size test failing), or
// kOutside where it would read outside the body. kOutside is also the
// decoders' failure result.
constexpr int kOutside = -1;

int readOutside(int64_t reach) {
    logOutside(reach);
    return kOutside;
}

// Parses `count` entries from pos into list. Before each entry, the size
// test base plus the characters consumed plus the test's room must stay
// within the body, and so must that sum plus the entry's length. Those tests
// count from the base, not from pos, so they do not keep the reads inside the body when the
// entries start late: a head or value that would be read outside it, or a
// negative length (a read of negative size), gives kOutside.
int parseEntries(const char* body, int pos, int count, ListRefill<PavaFieldItem>& list, const ReadTrace& trace,
                 const ReadPath& entries) {
    if (count < 1) return 0;
    list.reserve(count, kBodyEnd - pos, kEntryHead);
    int consumed = 0;
    for (int i = 0; i < count; ++i) {
        if (kEntrySizeTestBase + consumed + kEntrySizeTestRoom > kBodyEnd) return 0;
        const int at = pos + consumed;
        if (at + kEntryHead > kBodyEnd)
            return readOutside(int64_t{at} + (at + kEntryTypeWidth > kBodyEnd ? kEntryTypeWidth : kEntryHead));
        PavaFieldItem& e = list.next();
        e.fieldType = readIntField(body + at, kEntryTypeWidth);
        e.fieldLen = readIntField(body + at + kEntryTypeWidth, kEntryLengthWidth);
        const int64_t valueEnd = int64_t{at} + kEntryHead + e.fieldLen;
        if (int64_t{kEntrySizeTestBase} + consumed + kEntrySizeTestRoom + e.fieldLen > kBodyEnd) return 0;
        if (e.fieldLen < 0 || valueEnd > kBodyEnd) return readOutside(valueEnd);
        e.fieldText1.assign(body + at + kEntryHead, static_cast<size_t>(e.fieldLen));
        consumed += kEntryHead + e.fieldLen;
        if (trace) {
            const ReadPath entry = entries.item(entries.sublist, list.size());
            trace.read(body + at, kEntryTypeWidth, SpanKind::Decimal, entry.leaf(Member::fieldType));
            trace.read(body + at + kEntryTypeWidth, kEntryLengthWidth, SpanKind::Decimal,
                       entry.leaf(Member::fieldLen));
            trace.read(body + at + kEntryHead, e.fieldLen, SpanKind::Raw, entry.leaf(Member::fieldText1));
        }
        list.keep();
    }
    return consumed;
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

// Parses `count` entries into a new record's list and keeps the record when
// the parse succeeds; -1 for a read outside the body.
int parseOneRecord(const char* body, int pos, int count, Container list, ListRefill<PavaRecordItem>& records,
                   const ReadTrace& trace) {
    const ReadPath entries = nextEntries(records, list);
    RecordRefill record = nextRecord(records);
    const int n =
        parseEntries(body, pos, count, list == Container::FieldList ? record.fields : record.fields2, trace, entries);
    if (n == kOutside) return -1;
    if (n != 0) records.keep();
    return 0;
}

// The first record's fields at countAt; with where-items, a second record
// that repeats the fields of the first (if there is one) and holds the
// where-items.
int readFirstRecord(const FirstRecord& f, int countAt, const char* body, ListRefill<PavaRecordItem>& records,
                    const ReadTrace& trace) {
    const int entriesAt = countAt + kRecordCountWidth;
    const int fieldCount = readCount(body, countAt, kRecordCountWidth, trace, nextEntries(records, Container::FieldList));
    if (!f.whereItems) return parseOneRecord(body, entriesAt, fieldCount, Container::FieldList, records, trace);
    int consumed = 0;
    if (fieldCount > 0) {
        RecordRefill fields = nextRecord(records);
        consumed = parseEntries(body, entriesAt, fieldCount, fields.fields, trace,
                                nextEntries(records, Container::FieldList));
        if (consumed == kOutside) return -1;
        if (consumed == 0) return 0;
        records.keep();
    }
    RecordRefill where = nextRecord(records);
    if (records.size() == 1) {
        for (const PavaFieldItem& field : records[0].fieldList) {
            where.fields.next() = field;
            where.fields.keep();
        }
    }
    // The size tests leave the item count inside the body.
    const int itemsAt = entriesAt + consumed;
    const ReadPath whereItems = nextEntries(records, Container::FieldList2);
    const int items = parseEntries(body, itemsAt + kWhereCountWidth,
                                   readCount(body, itemsAt, kWhereCountWidth, trace, whereItems), where.fields2,
                                   trace, whereItems);
    if (items == kOutside) return -1;
    if (items != 0) records.keep();
    return 0;
}

// Records back to back from pos: a field count, then its fields. Ends
// quietly at the first record whose fields fail to parse; a read outside the
// body fails (-1) with the records before it kept.
int parseRecords(const RecordFrames& p, const char* body, int count, ListRefill<PavaRecordItem>& records,
                 const ReadTrace& trace) {
    int pos = p.recordsAt;
    records.reserve(count, kBodyEnd - pos, kRecordCountWidth + kEntryHead);
    for (int i = 0; i < count; ++i) {
        if (pos + kRecordCountWidth > kBodyEnd)
            return p.countEndsQuietly ? 0 : readOutside(int64_t{pos} + kRecordCountWidth);
        const ReadPath fields = nextEntries(records, Container::FieldList);
        trace.read(body + pos, kRecordCountWidth, SpanKind::Decimal, fields.named(kCountName));
        RecordRefill record = nextRecord(records);
        const int n = parseEntries(body, pos + kRecordCountWidth, readIntField(body + pos, kRecordCountWidth),
                                   record.fields, trace, fields);
        if (n == kOutside) return -1;
        if (n == 0) return 0;
        records.keep();
        pos += kRecordCountWidth + n;
    }
    return 0;
}

// Records with where-items, which no count gives: every record but the last
// of the count holds one where-item, the last one those up to the frame's
// body length. Records stop quietly where a field count would pass that
// length (or the body end); entries that would be read outside the body fail
// the decode.
int parseRecordsWithWhere(const RecordFrames& p, const PavaMsg& frame, int count, ListRefill<PavaRecordItem>& records,
                          const ReadTrace& trace) {
    const char* body = frame.body;
    const int bodyLength = readHead(&frame).getLength();
    const int end = bodyLength < kBodyEnd ? bodyLength : kBodyEnd;
    int pos = p.recordsAt;
    // A negative body length leaves no room (and must not be subtracted from).
    records.reserve(count, end > pos ? end - pos : 0, kRecordCountWidth + kEntryHead);
    for (int i = 0; i < count && pos + kRecordCountWidth <= end; ++i) {
        const ReadPath fields = nextEntries(records, Container::FieldList);
        const ReadPath where = nextEntries(records, Container::FieldList2);
        RecordRefill record = nextRecord(records);
        const int fieldCount = readCount(body, pos, kRecordCountWidth, trace, fields);
        pos += kRecordCountWidth;
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

}  // namespace

int writeTable(const Table& t, bool clearsName, std::span<const Field> prefix, FrameList* out, PavaFullData& rec) {
    // The name is the prefix's first field, a raw copy of text64b.
    if (clearsName) std::memset(rec.text64b, 0, prefix.front().width);
    const TableCase* c = chosenCase(t, rec);
    if (c == nullptr) return 0;
    switch (c->step) {
    case TableStep::Nothing: return 0;
    case TableStep::Refuse: log::write(c->text); return -1;
    case TableStep::PrefixOnly: return sendPrefixOnly(out, rec, prefix, t.countAt, c->at);
    case TableStep::FirstRecord:
        if (c->first->value == ValueWrite::Exact)
            return writeFirstRecord<ValueWrite::Exact>(*c->first, t.countAt, prefix, rec, out);
        return writeFirstRecord<ValueWrite::CString>(*c->first, t.countAt, prefix, rec, out);
    case TableStep::WhereItem: return writeWhereItem(*c, prefix, rec, out);
    case TableStep::Digit: return writeDigit(*c, prefix, rec, out);
    case TableStep::Records: return splitRecords(*c->records, prefix, rec, out);
    }
    return 0;
}

int readTable(const Table& t, const PavaMsg& frame, CPavaMsgAnalyze& an) {
    PavaFullData& rec = *an.record();
    const TableCase* c = chosenCase(t, rec);
    if (c == nullptr) return 0;
    const char* body = frame.body;
    const ReadTrace trace = an.trace(frame);
    switch (c->step) {
    case TableStep::Nothing:
    case TableStep::PrefixOnly: return 0;
    case TableStep::Refuse: log::write(c->text); return -1;
    case TableStep::Digit:
        rec.intValue4 = readIntField(body + c->at, 1);
        trace.read(body + c->at, 1, SpanKind::Decimal, kRecordPath.leaf(Member::intValue4));
        return 0;
    case TableStep::FirstRecord: {
        ListRefill<PavaRecordItem> records = an.refill(rec.recordList);
        return readFirstRecord(*c->first, t.countAt, body, records, trace);
    }
    case TableStep::WhereItem: {
        ListRefill<PavaRecordItem> records = an.refill(rec.recordList);
        return parseOneRecord(body, c->at, 1, Container::FieldList2, records, trace);
    }
    case TableStep::Records: {
        const RecordFrames& p = *c->records;
        ListRefill<PavaRecordItem> records = an.refill(rec.recordList);
        const int count = readCount(body, p.countAt, kRecordCountWidth, trace, kRecordPath.whole(Container::RecordList));
        if (p.whereItems) return parseRecordsWithWhere(p, frame, count, records, trace);
        return parseRecords(p, body, count, records, trace);
    }
    }
    return 0;
}

}  // namespace pava::body
