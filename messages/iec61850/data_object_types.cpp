// Message 61858: a list of data object type structures, split over frames
// structure by structure (a structure is never split).
//
//   head:       code (12 raw) | name (64) | number (2) | structure count (4)
//   structure:  attribute count F (4, NUL padded) | F attributes
//   attribute:  reference (100) | code (2, NUL padded) | width W (4, NUL padded) | W bytes
//
// The numbers inside a structure are digits followed by NUL bytes, not
// blanks. The body is not cleared between frames, and the final frame's
// structure count is not rewritten.
#include <algorithm>
#include <cstring>

#include "field_codec.h"
#include "log.h"
#include "messages/catalog.h"
#include "messages/list_codec.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

constexpr int kBodyEnd = MAX_PAVA_MSG_LEN;
constexpr int kHeadSize = 82;
constexpr int kCountPos = 78;
constexpr int kAttributeHead = 106;
constexpr int kWidthPos = 102;  // an attribute's value width, behind its reference and code

constexpr char kValueTooLong[] = "over the max pava message length when handle value content ";

constexpr Field kHead[] = {
    {0, 12, Raw, M::text12a},
    {12, 64, Text, M::string4},
    {76, 2, Decimal, M::intValue5},
    {kCountPos, 4, Decimal, M::None, kWriteZero},
};
constexpr Field kHeadIn[] = {
    {0, 12, Raw, M::text12a},
    {12, 64, Raw, M::string4},
    {76, 2, Decimal, M::intValue5},
};
constexpr Field kReference[] = {{0, 100, Text, M::fieldText1}};

// Digits, then NUL bytes; a longer number keeps its first digits.
void writeNulPaddedInt(int value, char* dest, int width) noexcept { writePaddedInt(value, dest, width, '\0'); }

// Writes one structure at `used`. Returns its size, or -1 when it does not
// fit the frame: what was written of it stays behind the frame's length, up
// to `reach`.
int writeStructure(const PavaRecordItem& structure, const ItemFields<PavaFieldItem>& reference, char* body, int used,
                   int& reach) {
    reach = used;
    if (used + 4 > kBodyEnd) return -1;
    writeNulPaddedInt(static_cast<int>(structure.fieldList.size()), body + used, 4);
    int pos = used + 4;
    for (const PavaFieldItem& attr : structure.fieldList) {
        const int width = attr.fieldLen;
        // A negative width cannot be written and counts as not fitting.
        if (width < 0 || width > kBodyEnd - pos - kAttributeHead) {
            log::write("msgbody space is not enough when write the Dotype Data list\r\n");
            reach = pos;
            return -1;
        }
        char* at = body + pos;
        reference.write(attr, at, 100);
        writeNulPaddedInt(attr.fieldType, at + 100, 2);
        writeNulPaddedInt(width, at + kWidthPos, 4);
        copyValueBytes(at + kAttributeHead, attr.fieldText2, width);
        pos += kAttributeHead + width;
    }
    return pos - used;
}

int encode61858(const MessageDef& def, FrameList* out, CPavaMsgAnalyze* an) {
    const PavaFullData& rec = *an->record();
    if (out->spare() == 0) {
        ItemBytes bytes;
        for (const PavaRecordItem& structure : rec.recordList) {
            uint64_t size = 4;
            for (const PavaFieldItem& attr : structure.fieldList)
                size += kAttributeHead + static_cast<uint64_t>(std::max(attr.fieldLen, 0));
            bytes.add(size, size);
        }
        reserveFrames(*out, bytes, kBodyEnd - kHeadSize);
    }
    int rc = 0;
    PavaMsg* frame = enterEncode(def, out, an, &rc);
    if (frame == nullptr) return rc;
    writeFields(kHead, rec, frame->body, kBodyEnd);
    writeIntField(static_cast<int>(rec.recordList.size()), frame->body + kCountPos, 4);
    int used = kHeadSize;
    int inFrame = 0;
    const ItemFields<PavaFieldItem> reference(kReference);
    for (size_t s = 0; s < rec.recordList.size();) {
        int reach = 0;
        const int size = writeStructure(rec.recordList[s], reference, out->back().body, used, reach);
        if (size >= 0) {
            used += size;
            ++inFrame;
            ++s;
            continue;
        }
        if (inFrame == 0) {
            log::write("the first do struct length is longer than max pava message lenght\r\n");
            out->pop_back();
            return -1;
        }
        carryOver(*out, kCountPos, inFrame, used, reach, kHeadSize);
        used = kHeadSize;
        inFrame = 0;
    }
    closeLastFrame(*out, used);
    return 0;
}

int decode61858(const MessageDef& def, const PavaMsg* frame, CPavaMsgAnalyze* an) {
    if (!enterDecode(def.id, frame)) return -1;
    PavaFullData& rec = *an->record();
    const char* body = frame->body;
    const ReadTrace trace = an->trace(*frame);
    rec.string4.reserve(65);  // the name field and its NUL, in one allocation
    readFields(kHeadIn, body, kBodyEnd, rec, trace);
    rec.string4.resize(65);
    const int structures = readIntField(body + kCountPos, 4);
    trace.read(body + kCountPos, 4, SpanKind::Decimal, kRecordPath.whole(Container::RecordList).named(kCountName));
    int pos = kHeadSize;
    ListRefill<PavaRecordItem> records = an->refill(rec.recordList);
    records.reserve(structures, kBodyEnd - pos, 4);
    // Counts and widths that would read past the body end the decode with
    // the structures read so far, in the family's words.
    for (int s = 0; s < structures; ++s) {
        if (pos + 4 > kBodyEnd) {
            log::write("over the max pava message length");
            return -1;
        }
        const int attributes = readIntField(body + pos, 4);
        const ReadPath fields = kRecordPath.item(Container::RecordList, records.size()).whole(Container::FieldList);
        trace.read(body + pos, 4, SpanKind::Decimal, fields.named(kCountName));
        pos += 4;
        // A structure is kept once all its attributes are read.
        RecordRefill structure = nextRecord(records);
        structure.fields.reserve(attributes, kBodyEnd - pos, kAttributeHead);
        for (int a = 0; a < attributes; ++a) {
            if (pos + kAttributeHead > kBodyEnd) {
                log::write("over the max pava message length");
                return -1;
            }
            PavaFieldItem& attr = structure.fields.next();
            readFixedText(attr.fieldText1, body + pos, 100);
            attr.fieldType = readIntField(body + pos + 100, 2);
            attr.fieldLen = readIntField(body + pos + kWidthPos, 4);
            // W + 1 characters holding at most W bytes up to the first NUL. A
            // value that meets no NUL before the body end would be read past it.
            const int width = attr.fieldLen;
            if (width < 0) {
                log::write(kValueTooLong);
                return -1;
            }
            attr.fieldText2.assign(static_cast<size_t>(width) + 1, '\0');
            const char* value = body + pos + kAttributeHead;
            const int n = windowTextLength(value, width, kBodyEnd - pos - kAttributeHead);
            if (n < 0) {
                log::write(kValueTooLong);
                return -1;
            }
            fieldDetail::copyBytes(attr.fieldText2.data(), value, n);
            if (trace) {
                const ReadPath path = fields.item(Container::FieldList, structure.fields.size());
                trace.read(body + pos, 100, SpanKind::Raw, path.leaf(M::fieldText1));
                trace.read(body + pos + 100, 2, SpanKind::Decimal, path.leaf(M::fieldType));
                trace.read(body + pos + kWidthPos, 4, SpanKind::Decimal, path.leaf(M::fieldLen));
                // The text and its NUL: the decoder looks no further.
                trace.read(value, n < width ? n + 1 : width, SpanKind::Text, path.leaf(M::fieldText2));
            }
            pos += kAttributeHead + width;
            structure.fields.keep();
        }
        records.keep();
    }
    return 0;
}

// An attribute: reference, code, width and value.
constexpr Member kAttributeMembers[] = {M::fieldText1, M::fieldType, M::fieldLen, M::fieldText2};

// Split structure by structure, the frames marked by the continuation flag
// alone; the last frame's count repeats the frame's before.
constexpr SplitRule kFrames61858 = checkedSplit({.list = Container::RecordList,
                                                 .marks = FrameMarks::Continuation,
                                                 .repair = FrameRepair::CountedBlocks,
                                                 .countAt = kCountPos,
                                                 .itemsAt = kHeadSize,
                                                 .itemHead = kAttributeHead,
                                                 .widthAt = kWidthPos});

constexpr MessageDef kMessages[] = {
    {61858, encode61858, decode61858,
     Layout{kHead, kHeadIn, -1, nullptr,
            {BodyKind::DataTypes, kHeadSize, kCountPos, 4, M::None,
             "a structure count (4) at byte 78, then structures from byte 82: an attribute count F (4 "
             "digits, NUL-padded) and F attributes, each a reference (100), a code (2), a width W (4, "
             "both NUL-padded) and W value bytes (fieldText1, fieldType, fieldLen, fieldText2 of a "
             "recordList fieldList); split over frames structure by structure",
             kAttributeMembers}},
     nullptr, &kFrames61858},
};

}  // namespace

std::span<const MessageDef> dataObjectTypes() { return kMessages; }

}  // namespace pava::messages
