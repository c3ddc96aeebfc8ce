// Message 20138: a two-level list in one frame.
//
//   address (12 raw) | record count R (2) | R record blocks
//   record block:  number (2) | field count F (3) | F fields
//   field:         first text (12, NUL padded) | second text (30, NUL padded)
//
// The encoder allows at most 99 records of at most 999 fields each, and
// refuses a body that would pass the frame; the decoder keeps the texts at
// their field widths plus one NUL.
#include "field_codec.h"
#include "log.h"
#include "messages/catalog.h"
#include "messages/list_codec.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

constexpr int kBodyEnd = MAX_PAVA_MSG_LEN;
constexpr int kRecordHead = 5;
constexpr int kFieldSize = 42;

constexpr Field kHead[] = {
    {0, 12, Raw, M::text12b},
    {12, 2, Decimal, M::None, kWriteZero},
};
constexpr Field kField[] = {
    {0, 12, Text, M::fieldText1},
    {12, 30, Text, M::fieldText2},
};

// The number of a record block, a member of the record item.
constexpr const char* kRecIntName = "recInt";

constexpr char kRecordsIllegal[] = "error:: CPavaMsgAnalyze::Data_To_Pava_20138  item count(%d) Illegal! ";
constexpr char kFieldsIllegal[] = "error:: CPavaMsgAnalyze::Data_To_Pava_20138  equipment count(%d) Illegal! ";

int encode20138(const MessageDef& def, FrameList* out, CPavaMsgAnalyze* an) {
    const PavaFullData& rec = *an->record();
    int rc = 0;
    PavaMsg* frame = enterEncode(def, out, an, &rc);
    if (frame == nullptr) return rc;
    char* body = frame->body;
    writeFields(kHead, rec, body, kBodyEnd);
    const size_t records = rec.recordList.size();
    if (records > 99) {
        log::format(kRecordsIllegal, static_cast<int>(records));
        out->pop_back();
        return -1;
    }
    writeIntField(static_cast<int>(records), body + 12, 2);
    int pos = 14;
    const ItemFields<PavaFieldItem> fieldTable(kField);
    for (const PavaRecordItem& record : rec.recordList) {
        const size_t fields = record.fieldList.size();
        // A record whose block would pass the body is refused with the
        // field-count text as well.
        if (fields > 999 || pos + kRecordHead + kFieldSize * static_cast<int>(fields) > kBodyEnd) {
            log::format(kFieldsIllegal, static_cast<int>(fields));
            out->pop_back();
            return -1;
        }
        writeIntField(record.recInt, body + pos, 2);
        writeIntField(static_cast<int>(fields), body + pos + 2, 3);
        pos += kRecordHead;
        for (const PavaFieldItem& field : record.fieldList) {
            fieldTable.write(field, body + pos, kFieldSize);
            pos += kFieldSize;
        }
    }
    finishFrame(*frame, pos);
    return 0;
}

int decode20138(const MessageDef& def, const PavaMsg* frame, CPavaMsgAnalyze* an) {
    if (!enterDecode(def.id, frame)) return -1;
    PavaFullData& rec = *an->record();
    const char* body = frame->body;
    const ReadTrace trace = an->trace(*frame);
    readFields(kHead, body, kBodyEnd, rec, trace, kRecordPath, Container::RecordList);
    const int records = readIntField(body + 12, 2);
    int pos = 14;
    ListRefill<PavaRecordItem> list = an->refill(rec.recordList);
    list.reserve(records, kBodyEnd - pos, kRecordHead);
    // Counts that would read past the body end the decode with what fits.
    for (int r = 0; r < records; ++r) {
        if (pos + kRecordHead > kBodyEnd) return -1;
        RecordRefill record = nextRecord(list);
        record.record.recInt = readIntField(body + pos, 2);
        const int fields = readIntField(body + pos + 2, 3);
        const ReadPath path = kRecordPath.item(Container::RecordList, list.size());
        if (trace) {
            trace.read(body + pos, 2, SpanKind::Decimal, path.named(kRecIntName));
            trace.read(body + pos + 2, 3, SpanKind::Decimal, path.whole(Container::FieldList).named(kCountName));
        }
        pos += kRecordHead;
        record.fields.reserve(fields, kBodyEnd - pos, kFieldSize);
        for (int f = 0; f < fields; ++f) {
            if (pos + kFieldSize > kBodyEnd) return -1;
            PavaFieldItem& field = record.fields.next();
            readFixedText(field.fieldText1, body + pos, 12);
            readFixedText(field.fieldText2, body + pos + 12, 30);
            if (trace) {
                const ReadPath at = path.item(Container::FieldList, record.fields.size());
                trace.read(body + pos, 12, SpanKind::Raw, at.leaf(M::fieldText1));
                trace.read(body + pos + 12, 30, SpanKind::Raw, at.leaf(M::fieldText2));
            }
            record.fields.keep();
            pos += kFieldSize;
        }
        list.keep();
    }
    return 0;
}

constexpr Member kFieldMembers[] = {M::fieldText1, M::fieldText2};

constexpr MessageDef kMessages[] = {
    {20138, encode20138, decode20138,
     Layout{kHead, {}, -1, nullptr,
            {BodyKind::RecordFields, 14, 12, 2, M::None,
             "a record count R (2) at byte 12, then R record blocks from byte 14: a number (2), a field "
             "count F (3) and F fields of a first text (12) and a second text (30), NUL-padded: "
             "recInt and the fieldList (fieldText1, fieldText2) of a recordList record",
             kFieldMembers}},
     0, nullptr},
};

}  // namespace

std::span<const MessageDef> recordFieldList() { return kMessages; }

}  // namespace pava::messages
