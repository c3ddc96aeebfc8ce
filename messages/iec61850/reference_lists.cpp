// IEC 61850 reference lists: 61850 carries references only in one frame;
// 61851 and 61901 carry references with an item code and raw value bytes and
// split the list over as many frames as needed:
//
//   item:  reference (100, NUL padded) | code (2) | value width W (4) | W bytes
//
// The split frames share one body that is never cleared: each frame is a
// copy of the body as it stands, so bytes behind a frame's length may keep
// the previous frame's items.
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
constexpr int kItemHead = 106;  // reference, code and width of one item
constexpr int kReferenceWidth = 100;

constexpr char kHeadTooLong[] = "over the max pava message length";
constexpr char kValueTooLong[] = "over the max pava message length when handle value content ";

// 61850: code (12) | name (64) | number (2) | item count (4) | references
constexpr Field k61850Head[] = {
    {0, 12, Text, M::text12a},
    {12, 64, Text, M::string4},
    {76, 2, Decimal, M::intValue4},
    {78, 4, Decimal, M::None, kWriteZero},
};
constexpr Field k61850HeadIn[] = {
    {0, 12, Raw, M::text12a},
    {12, 64, Text, M::string4},
    {76, 2, Decimal, M::intValue4},
};
constexpr Field kReference[] = {{0, kReferenceWidth, Text, M::itemText}};

// 61851: code (12) | name (64) | item count (4) | items
constexpr Field k61851Head[] = {
    {0, 12, Text, M::text12a},
    {12, 64, Text, M::string4},
    {76, 4, Decimal, M::None, kWriteZero},
};
constexpr Field k61851HeadIn[] = {
    {0, 12, Raw, M::text12a},
    {12, 64, Text, M::string4},
};

// 61901: two numbers, code, name, two more numbers, item count, items.
constexpr Field k61901Head[] = {
    {0, 2, Decimal, M::intValue5},   {2, 6, Decimal, M::intValue6},  {8, 12, Text, M::text12a},
    {20, 64, Text, M::string4},      {84, 2, Decimal, M::intValue4}, {86, 2, Decimal, M::intValue3},
    {88, 4, Decimal, M::None, kWriteZero},
};
constexpr Field k61901HeadIn[] = {
    {0, 2, Decimal, M::intValue5}, {2, 6, Decimal, M::intValue6}, {8, 12, Raw, M::text12a},
    {20, 64, Raw, M::string4},     {84, 2, Decimal, M::intValue4}, {86, 2, Decimal, M::intValue3},
};

// Item head of the value lists: reference and code out; width read back too.
constexpr Field kValueItem[] = {
    {0, kReferenceWidth, Text, M::itemText},
    {100, 2, Decimal, M::itemId},
};
constexpr Field kValueItemIn[] = {
    {0, kReferenceWidth, Text, M::itemText},
    {100, 2, Decimal, M::itemId},
    {102, 4, Decimal, M::itemInt2},
};

// ---------------------------------------------------------------------------
// 61850
// ---------------------------------------------------------------------------

constexpr int k61850Items = 82;
constexpr int k61850MaxItems = (kBodyEnd - k61850Items) / kReferenceWidth;  // 81

int encode61850(const MessageDef& def, FrameList* out, CPavaMsgAnalyze* an) {
    const PavaFullData& rec = *an->record();
    int rc = 0;
    PavaMsg* frame = enterEncode(def, out, an, &rc);
    if (frame == nullptr) return rc;
    const int count = rec.dataList.size() > k61850MaxItems ? -1 : static_cast<int>(rec.dataList.size());
    if (count < 0) {
        log::write(kHeadTooLong);
        out->pop_back();
        return -1;
    }
    writeFields(k61850Head, rec, frame->body, kBodyEnd);
    writeIntField(count, frame->body + 78, 4);
    char* at = frame->body + k61850Items;
    for (const PavaDataItem& item : rec.dataList) {
        writeUnrolled<kReference>(item, at);
        at += kReferenceWidth;
    }
    finishFrame(*frame, k61850Items + kReferenceWidth * count);
    return 0;
}

int decode61850(const MessageDef& def, const PavaMsg* frame, CPavaMsgAnalyze* an) {
    if (!enterDecode(def.id, frame)) return -1;
    PavaFullData& rec = *an->record();
    const ReadTrace trace = an->trace(*frame);
    readFields(k61850HeadIn, frame->body, kBodyEnd, rec, trace);
    const int count = readIntField(frame->body + 78, 4);
    trace.read(frame->body + 78, 4, SpanKind::Decimal, kRecordPath.whole(Container::DataList).named(kCountName));
    ListRefill<PavaDataItem> items = an->refill(rec.dataList);
    items.reserve(count, kBodyEnd - k61850Items, kReferenceWidth);
    for (int i = 0; i < count; ++i) {
        const int at = k61850Items + kReferenceWidth * i;
        if (kBodyEnd - at < kReferenceWidth) {
            log::write(kHeadTooLong);
            return -1;
        }
        readUnrolled<kReference>(frame->body + at, items.next());
        trace.fields(kReference, frame->body + at, kRecordPath.item(Container::DataList, items.size()));
        items.keep();
    }
    return 0;
}

// ---------------------------------------------------------------------------
// 61851 and 61901
// ---------------------------------------------------------------------------

struct ValueList {
    std::span<const Field> head;   // encoder's head fields
    int headSize;                  // items start here
    int countPos;                  // items in this frame
    bool widthFromMember;          // W is itemInt2 (else the value's length)
    bool countLastFrame;           // the final frame's count is written
    const char* tooLong;           // one item alone does not fit an empty frame
};

constexpr ValueList k61851{k61851Head, 80, 76, true, false,
                           "struct data is not convert that the reference value is too length"};
constexpr ValueList k61901{k61901Head, 92, 88, false, true,
                           "convert failed that Reference value width is too long"};

int encodeValueList(const MessageDef& def, FrameList* out, CPavaMsgAnalyze* an) {
    const ValueList& p = def.param<ValueList>();
    const PavaFullData& rec = *an->record();
    if (out->spare() == 0) {
        ItemBytes bytes;
        for (const PavaDataItem& item : rec.dataList) {
            const uint64_t value = item.itemText2.size();
            const uint64_t width = p.widthFromMember ? static_cast<uint64_t>(std::max(item.itemInt2, 0)) : value;
            bytes.add(kItemHead + width, kItemHead + value);
        }
        reserveFrames(*out, bytes, kBodyEnd - p.headSize);
    }
    int rc = 0;
    PavaMsg* frame = enterEncode(def, out, an, &rc);
    if (frame == nullptr) return rc;
    writeFields(p.head, rec, frame->body, kBodyEnd);
    writeIntField(static_cast<int>(rec.dataList.size()), frame->body + p.countPos, 4);
    int used = p.headSize;
    int inFrame = 0;
    for (const PavaDataItem& item : rec.dataList) {
        const size_t valueLen = item.itemText2.size();
        if (static_cast<size_t>(used) + valueLen + kItemHead > kBodyEnd) {
            if (inFrame == 0) {
                log::write(p.tooLong);
                out->pop_back();
                return -1;
            }
            carryOver(*out, p.countPos, inFrame, used, used, p.headSize);
            used = p.headSize;
            inFrame = 0;
        }
        const int width = p.widthFromMember ? item.itemInt2 : static_cast<int>(valueLen);
        // A width that would leave the body is refused like an oversized item.
        if (width < 0 || width > kBodyEnd - used - kItemHead) {
            log::write(p.tooLong);
            out->pop_back();
            return -1;
        }
        char* at = out->back().body + used;
        writeUnrolled<kValueItem>(item, at);
        writeIntField(width, at + 102, 4);
        copyValueBytes(at + kItemHead, item.itemText2, width);
        used += kItemHead + width;
        ++inFrame;
    }
    if (p.countLastFrame) writeIntField(inFrame, out->back().body + p.countPos, 4);
    closeLastFrame(*out, used);
    return 0;
}

// 61851: items at a fixed stride of 106, the value bytes not skipped.
int decode61851(const MessageDef& def, const PavaMsg* frame, CPavaMsgAnalyze* an) {
    if (!enterDecode(def.id, frame)) return -1;
    PavaFullData& rec = *an->record();
    const char* body = frame->body;
    const ReadTrace trace = an->trace(*frame);
    readFields(k61851HeadIn, body, kBodyEnd, rec, trace);
    const int count = readIntField(body + 76, 4);
    trace.read(body + 76, 4, SpanKind::Decimal, kRecordPath.whole(Container::DataList).named(kCountName));
    int at = 80;
    ListRefill<PavaDataItem> items = an->refill(rec.dataList);
    items.reserve(count, kBodyEnd - at, kItemHead);
    for (int i = 0; i < count; ++i, at += kItemHead) {
        if (kBodyEnd - at < kItemHead) {
            log::write(kHeadTooLong);
            return -1;
        }
        PavaDataItem& item = items.next();
        readUnrolled<kValueItemIn>(body + at, item);
        // W characters: the text up to its first NUL, then NUL bytes. A value
        // that meets no NUL before the body end would be read past it.
        const int width = item.itemInt2;
        if (width < 0) {
            log::write(kValueTooLong);
            return -1;
        }
        item.itemText2.assign(static_cast<size_t>(width), '\0');
        const char* value = body + at + kItemHead;
        const int n = windowTextLength(value, width, kBodyEnd - at - kItemHead);
        if (n < 0) {
            log::write(kValueTooLong);
            return -1;
        }
        fieldDetail::copyBytes(item.itemText2.data(), value, n);
        if (trace) {
            const ReadPath path = kRecordPath.item(Container::DataList, items.size());
            trace.fields(kValueItemIn, body + at, path);
            // The text and its NUL: the decoder looks no further.
            trace.read(value, n < width ? n + 1 : width, SpanKind::Text, path.leaf(M::itemText2));
        }
        items.keep();
    }
    return 0;
}

// 61901: the reference keeps its 101-character field; items follow each
// other with their value bytes.
int decode61901(const MessageDef& def, const PavaMsg* frame, CPavaMsgAnalyze* an) {
    if (!enterDecode(def.id, frame)) return -1;
    PavaFullData& rec = *an->record();
    const char* body = frame->body;
    const ReadTrace trace = an->trace(*frame);
    rec.string4.reserve(65);  // the name field and its NUL, in one allocation
    readFields(k61901HeadIn, body, kBodyEnd, rec, trace);
    rec.string4.resize(65);
    const int count = readIntField(body + 88, 4);
    trace.read(body + 88, 4, SpanKind::Decimal, kRecordPath.whole(Container::DataList).named(kCountName));
    int used = 92;
    ListRefill<PavaDataItem> items = an->refill(rec.dataList);
    items.reserve(count, kBodyEnd - used, kItemHead);
    for (int i = 0; i < count; ++i) {
        if (used + kItemHead > kBodyEnd) {
            log::write(kHeadTooLong);
            return -1;
        }
        PavaDataItem& item = items.next();
        readFixedText(item.itemText, body + used, kReferenceWidth);
        item.itemId = readIntField(body + used + 100, 2);
        item.itemInt2 = readIntField(body + used + 102, 4);
        const int width = item.itemInt2;
        if (width < 0 || width + used + kItemHead > kBodyEnd) {
            log::write(kValueTooLong);
            return -1;
        }
        item.itemText2.assign(body + used + kItemHead, static_cast<size_t>(width));
        if (trace) {
            const ReadPath path = kRecordPath.item(Container::DataList, items.size());
            trace.read(body + used, kReferenceWidth, SpanKind::Raw, path.leaf(M::itemText));
            trace.read(body + used + 100, 2, SpanKind::Decimal, path.leaf(M::itemId));
            trace.read(body + used + 102, 4, SpanKind::Decimal, path.leaf(M::itemInt2));
            trace.read(body + used + kItemHead, width, SpanKind::Raw, path.leaf(M::itemText2));
        }
        used += width + kItemHead;
        items.keep();
    }
    return 0;
}

// 61850's references are items of one size; the value lists carry a width per item.
constexpr ListShape k61850Shape{78, 4, k61850Items, kReference, {}, kReferenceWidth};
constexpr BodyPart k61850Body{BodyKind::Items, k61850Items, 78, 4, M::None,
                              "an item count (4) at byte 78, then references of 100 bytes (itemText, "
                              "NUL-padded) from byte 82, in one frame", {}};
constexpr const char* kValueWords =
    "an item count (4), then per item: itemText, a reference of 100 bytes (NUL-padded), itemId in 2 "
    "digits, the value width W in 4 digits (itemInt2) and W value bytes (itemText2); split over "
    "frames item by item, bytes behind a frame's length may keep an earlier frame's items";
constexpr Member kValueMembers[] = {M::itemText, M::itemId, M::itemInt2, M::itemText2};
constexpr BodyPart k61851Body{BodyKind::References, 80, 76, 4, M::None,
                              "an item count (4), then per item: itemText, a reference of 100 bytes "
                              "(NUL-padded), itemId in 2 digits, the value width W in 4 digits (itemInt2) "
                              "and W value bytes (itemText2, read up to its first NUL; a value that meets "
                              "no NUL before the body end fails the decode); split over frames item by item. "
                              "The decoder reads the items 106 bytes apart, not skipping the value bytes",
                              kValueMembers};
constexpr BodyPart k61901Body{BodyKind::References, 92, 88, 4, M::None, kValueWords, kValueMembers};

// Split item by item, the frames marked by the continuation flag alone.
// 61851's decoder steps kItemHead bytes per item, not over the value bytes
// whose width follows the code.
constexpr SplitRule kFrames61851 = checkedSplit({.marks = FrameMarks::Continuation,
                                                 .repair = FrameRepair::SteppedValues,
                                                 .countAt = k61851.countPos,
                                                 .itemsAt = k61851.headSize,
                                                 .itemHead = kItemHead,
                                                 .widthAt = kValueItemIn[2].offset});
constexpr SplitRule kFrames61901 = checkedSplit({.marks = FrameMarks::Continuation});

constexpr MessageDef kMessages[] = {
    {61850, encode61850, decode61850, Layout{k61850Head, k61850HeadIn, -1, &k61850Shape, k61850Body}, nullptr},
    {61851, encodeValueList, decode61851, Layout{k61851Head, k61851HeadIn, -1, nullptr, k61851Body}, &k61851,
     nullptr, &kFrames61851},
    {61901, encodeValueList, decode61901, Layout{k61901Head, k61901HeadIn, -1, nullptr, k61901Body}, &k61901,
     nullptr, &kFrames61901},
};

}  // namespace

std::span<const MessageDef> referenceLists() { return kMessages; }

}  // namespace pava::messages
