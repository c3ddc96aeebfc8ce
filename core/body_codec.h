// The interpreter of body descriptions. Each described message runs one
// instance of encodeDescribed / decodeDescribed made for its description at
// compile time: what the description fixes (the tail's kind, a row's stride
// and fields) is a constant there, so that no table is walked per row. The
// steps that do not depend on the description live in body.cpp.
#ifndef ZMPAVA_CORE_BODY_CODEC_H
#define ZMPAVA_CORE_BODY_CODEC_H

#include <cstring>
#include <utility>

#include "body.h"
#include "field_codec.h"
#include "frame_header.h"
#include "log.h"
#include "message.h"
#include "multiframe/frame_marks.h"
#include "multiframe/item_list.h"
#include "multiframe/splitter.h"
#include "read_trace.h"
#include "table_body.h"

namespace pava {

namespace body {

// The steps every description takes are inline and read the description
// only at compile time, so that a body of fixed fields alone costs no more
// than a table walk between the entry line and the frame's length.

// The encoder's entry line: the description's own text, or the common one.
template <const Description& D>
void logEncodeEntry(int id) noexcept {
    if constexpr (D.encodeEntry != nullptr)
        log::write(D.encodeEntry);
    else
        log::encodeEntry(id);
}

// The frame's length and continuation flag (kept, or cleared).
inline void setLength(PavaMsg& frame, int length, bool keepContinued) noexcept {
    PavaHeadAccessor head(&frame);
    head.setLength(length);
    if (!keepContinued) head.setContinued(false);
}

// The decoder's entry lines; false, once logged, for a null frame.
template <const Description& D>
bool openDecode(int id, const PavaMsg* frame) noexcept {
    if constexpr (D.decodeEntry != nullptr)
        log::write(D.decodeEntry);
    else
        log::decodeEntry(id);
    if constexpr (D.alsoDecodeEntryOf != 0) log::decodeEntry(D.alsoDecodeEntryOf);
    if (frame != nullptr) [[likely]]
        return true;
    if constexpr (D.nullFrame != nullptr)
        log::write(D.nullFrame);
    else
        log::nullFrame(id);
    return false;
}

// A text tail: the body length, or -1 once logged; 0, or -1 keeping what was stored.
int writeText(const TextToEnd& t, bool cutAtNul, const PavaFullData& rec, char* body) noexcept;
int readText(const TextToEnd& t, const PavaMsg& frame, CPavaMsgAnalyze& an);

// The rows' refusal, logged: -1.
int refuseRow(const Rows& r) noexcept;

// The row count the record holds for the encoder: the list's size, or the
// file block's count of its code rows.
template <const Rows& R>
int64_t rowsHeld(const PavaFullData& rec) noexcept {
    if constexpr (R.list == Container::SettingList)
        return static_cast<int64_t>(rec.settingList.size());
    else
        return rec.fileBlock.fbCount;
}

constexpr int kCodeRowSize = static_cast<int>(sizeof PavaFileBlock::fbCodes[0]);

// A code row as the slot of its fields: a character array.
inline Slot codeRow(const char* row) noexcept { return Slot{SlotType::Chars, const_cast<char*>(row), kCodeRowSize}; }

template <Field F>
void readCodeField(const char* src, char* row, const ReadTrace& trace, Container list, int64_t k) {
    readField(F, src + F.offset, codeRow(row));
    if (trace) trace.read(src + F.offset, F.width, spanKindOf(F.kind), kRecordPath.item(list, static_cast<size_t>(k)));
}

// The rows of a tail: the body length, or -1 once a row is refused.
template <const Rows& R>
int writeRows(const PavaFullData& rec, char* body) noexcept {
    const int64_t count = rowsHeld<R>(rec);
    if constexpr (R.countAt >= 0) writeIntField(static_cast<int>(count), body + R.countAt, R.countWidth);
    int at = R.first;
    for (int64_t k = 0; k < count; ++k, at += R.stride) {
        if (k >= R.limit / R.stride) return refuseRow(R);
        if constexpr (R.list == Container::SettingList) {
            writeFields(R.fields, rec.settingList[static_cast<size_t>(k)], body + at, R.stride);
        } else {
            [&]<size_t... I>(std::index_sequence<I...>) {
                (writeField(R.fields[I], codeRow(rec.fileBlock.fbCodes[k]), body + at + R.fields[I].offset), ...);
            }(std::make_index_sequence<R.fields.size()>{});
        }
    }
    return at;
}

template <const Rows& R>
int readRows(const PavaMsg& frame, CPavaMsgAnalyze& an) {
    PavaFullData& rec = *an.record();
    const char* body = frame.body;
    const ReadTrace trace = an.trace(frame);
    int64_t count = 0;
    if constexpr (R.countAt >= 0) {
        count = readIntField(body + R.countAt, R.countWidth);
        trace.read(body + R.countAt, R.countWidth, SpanKind::Decimal, kRecordPath.whole(R.list).named(kCountName));
    } else {
        count = rowsHeld<R>(rec);
    }
    int at = R.first;
    if constexpr (R.list == Container::SettingList) {
        ListRefill<PavaSettingItem> items = an.refill(rec.settingList);
        items.reserve(static_cast<int>(count), R.limit, R.stride);
        const ItemFields<PavaSettingItem> fields(R.fields);
        for (int64_t k = 0; k < count; ++k, at += R.stride) {
            if (k >= R.limit / R.stride) return refuseRow(R);
            fields.read(body + at, R.stride, items.next());
            trace.fields(R.fields, body + at, kRecordPath.item(Container::SettingList, items.size()));
            items.keep();
        }
    } else {
        for (int64_t k = 0; k < count; ++k, at += R.stride) {
            if (k >= R.limit / R.stride) return refuseRow(R);
            [&]<size_t... I>(std::index_sequence<I...>) {
                (readCodeField<R.fields[I]>(body + at, rec.fileBlock.fbCodes[k], trace, R.list, k), ...);
            }(std::make_index_sequence<R.fields.size()>{});
        }
    }
    return 0;
}

// A table body: the case the record's function type and sub-type choose,
// written into frames with the table's own header (0, or -1 once logged), or
// read from one frame. clearsName: the caller's text64b is cleared first.
int writeTable(const Table& t, bool clearsName, std::span<const Field> prefix, FrameList* out, PavaFullData& rec);
int readTable(const Table& t, const PavaMsg& frame, CPavaMsgAnalyze& an);

// Record blocks: the body length, or -1 once a count is refused.
template <const RecordBlocks& R>
int writeRecords(const PavaFullData& rec, char* body) noexcept {
    const size_t records = rec.recordList.size();
    if (records > static_cast<size_t>(R.maxRecords)) {
        log::format(R.tooManyRecords, static_cast<int>(records));
        return -1;
    }
    writeIntField(static_cast<int>(records), body + R.countAt, R.countWidth);
    constexpr int head = R.numberWidth + R.entryCountWidth;
    int pos = R.first;
    const ItemFields<PavaFieldItem> entries(R.entryWrite);
    for (const PavaRecordItem& record : rec.recordList) {
        const size_t n = record.fieldList.size();
        // A record whose block would pass the body is refused with the
        // entry-count text as well.
        if (n > static_cast<size_t>(R.maxEntries) || pos + head + R.entrySize * static_cast<int>(n) > MAX_PAVA_MSG_LEN) {
            log::format(R.tooManyEntries, static_cast<int>(n));
            return -1;
        }
        writeIntField(record.recInt, body + pos, R.numberWidth);
        writeIntField(static_cast<int>(n), body + pos + R.numberWidth, R.entryCountWidth);
        pos += head;
        for (const PavaFieldItem& entry : record.fieldList) {
            entries.write(entry, body + pos, R.entrySize);
            pos += R.entrySize;
        }
    }
    return pos;
}

template <const RecordBlocks& R>
int readRecords(const PavaMsg& frame, CPavaMsgAnalyze& an) {
    constexpr int kBody = MAX_PAVA_MSG_LEN;
    constexpr int head = R.numberWidth + R.entryCountWidth;
    PavaFullData& rec = *an.record();
    const char* body = frame.body;
    const ReadTrace trace = an.trace(frame);
    const int records = readIntField(body + R.countAt, R.countWidth);
    int pos = R.first;
    ListRefill<PavaRecordItem> list = an.refill(rec.recordList);
    list.reserve(records, kBody - pos, head);
    for (int r = 0; r < records; ++r) {
        if (pos + head > kBody) return -1;
        RecordRefill record = nextRecord(list);
        record.record.recInt = readIntField(body + pos, R.numberWidth);
        const int n = readIntField(body + pos + R.numberWidth, R.entryCountWidth);
        const ReadPath path = kRecordPath.item(Container::RecordList, list.size());
        if (trace) {
            trace.read(body + pos, R.numberWidth, SpanKind::Decimal, path.named(kRecordNumberName));
            trace.read(body + pos + R.numberWidth, R.entryCountWidth, SpanKind::Decimal,
                       path.whole(Container::FieldList).named(kCountName));
        }
        pos += head;
        record.fields.reserve(n, kBody - pos, R.entrySize);
        for (int f = 0; f < n; ++f) {
            if (pos + R.entrySize > kBody) return -1;
            PavaFieldItem& entry = record.fields.next();
            [&]<size_t... I>(std::index_sequence<I...>) {
                (readFieldOf<R.entryRead[I]>(body + pos, entry), ...);
            }(std::make_index_sequence<R.entryRead.size()>{});
            if (trace) trace.fields(R.entryRead, body + pos, path.item(Container::FieldList, record.fields.size()));
            record.fields.keep();
            pos += R.entrySize;
        }
        list.keep();
    }
    return 0;
}

// A frame of a split list; an exception met on the way is logged and fails
// the decode where the description says so.
template <const Description& D>
int readSplit(int id, const PavaMsg& frame, CPavaMsgAnalyze& an) {
    if constexpr (D.has(kCatchesOnDecode)) {
        try {
            return readSplitItems(*D.read.split, id, frame, an);
        } catch (...) {
            log::format(D.read.split->caught, id);
            return -1;
        }
    } else {
        return readSplitItems(*D.read.split, id, frame, an);
    }
}

// The item heads of a value list, out and back in, unrolled from their tables.
template <const ValueItems& V, class Item>
void writeValueHead(const Item& item, char* dest) noexcept {
    [&]<size_t... I>(std::index_sequence<I...>) {
        (writeFieldOf<V.headWrite[I]>(item, dest), ...);
    }(std::make_index_sequence<V.headWrite.size()>{});
}

template <const ValueItems& V, class Item>
void readValueHead(const char* src, Item& item) {
    [&]<size_t... I>(std::index_sequence<I...>) {
        (readFieldOf<V.headRead[I]>(src, item), ...);
    }(std::make_index_sequence<V.headRead.size()>{});
}

// The whole encode of a value list behind the entry line: 0, the header
// setter's code, or -1 once a list or item that does not fit is logged (the
// frame being built dropped, frames closed before kept).
template <const Description& D>
int encodeValues(const MessageDef& def, FrameList* out, CPavaMsgAnalyze* an) {
    constexpr const ValueItems& V = *D.write.values;
    constexpr int kBody = MAX_PAVA_MSG_LEN;
    constexpr bool shared = V.frames == ValueFrames::SharedBody;
    const PavaFullData& rec = *an->record();
    if constexpr (shared) {
        if (out->spare() == 0) {
            ItemBytes bytes;
            for (const PavaDataItem& item : rec.dataList) {
                const uint64_t value = item.itemText2.size();
                const uint64_t width =
                    V.width == ValueWidth::Member ? static_cast<uint64_t>(item.itemInt2 > 0 ? item.itemInt2 : 0) : value;
                bytes.add(V.itemHead + width, V.itemHead + value);
            }
            reserveFrames(*out, bytes, kBody - V.itemsAt);
        }
    }
    int rc = 0;
    PavaMsg* frame = beginFrame(out, an, def.id, &rc, !D.has(kLoudHead));
    if (frame == nullptr) return rc;
    if constexpr (!shared) {
        if (rec.dataList.size() > static_cast<size_t>((kBody - V.itemsAt) / V.itemHead)) {
            log::write(V.tooLong);
            out->pop_back();
            return -1;
        }
    }
    writeFields(def.layout.fields, rec, frame->body, kBody);
    writeIntField(static_cast<int>(rec.dataList.size()), frame->body + V.countAt, V.countWidth);
    int used = V.itemsAt;
    int inFrame = 0;
    char* body = frame->body;
    for (const PavaDataItem& item : rec.dataList) {
        int width = 0;
        if constexpr (V.width != ValueWidth::None) {
            const size_t valueLength = item.itemText2.size();
            if (static_cast<size_t>(used) + valueLength + V.itemHead > kBody) {
                if (inFrame == 0) {
                    log::write(V.tooLong);
                    out->pop_back();
                    return -1;
                }
                body = carryOver(*out, V.countAt, inFrame, used, used, V.itemsAt).body;
                used = V.itemsAt;
                inFrame = 0;
            }
            width = V.width == ValueWidth::Member ? item.itemInt2 : static_cast<int>(valueLength);
            // A width that would leave the body is refused like an oversized item.
            if (width < 0 || width > kBody - used - V.itemHead) {
                log::write(V.tooLong);
                out->pop_back();
                return -1;
            }
        }
        char* at = body + used;
        writeValueHead<V>(item, at);
        if constexpr (V.width != ValueWidth::None) {
            writeIntField(width, at + V.widthAt, V.widthWidth);
            copyValueBytes(at + V.itemHead, item.itemText2, width);
        }
        used += V.itemHead + width;
        ++inFrame;
    }
    if constexpr (V.lastCountsOwn) writeIntField(inFrame, body + V.countAt, V.countWidth);
    if constexpr (shared)
        closeLastFrame(*out, used);
    else
        setLength(*frame, used, false);
    return 0;
}

// One value of `width` bytes at `value`, `room` bytes before the body end,
// into text: the number of bytes the decoder looks at, or -1 once a value
// past the body or a negative width is logged.
template <const ValueItems& V>
int readValue(const char* value, int width, int room, std::string& text) {
    if (width < 0) {
        log::write(V.valuePastBody);
        return -1;
    }
    if constexpr (V.read == ValueRead::Bytes) {
        if (width > room) {
            log::write(V.valuePastBody);
            return -1;
        }
        text.assign(value, static_cast<size_t>(width));
        return width;
    } else {
        const int n = windowTextLength(value, width, room);
        if (n < 0) {
            log::write(V.valuePastBody);
            return -1;
        }
        text.assign(static_cast<size_t>(width) + (V.read == ValueRead::ToNulAndNul ? 1 : 0), '\0');
        fieldDetail::copyBytes(text.data(), value, n);
        // The text and its NUL: the decoder looks no further.
        return n < width ? n + 1 : width;
    }
}

template <const ValueItems& V>
constexpr SpanKind valueSpan() noexcept {
    return V.read == ValueRead::Bytes ? SpanKind::Raw : SpanKind::Text;
}

// The count of a value list or of value records (`list`), read and reported.
template <const ValueItems& V>
int readValueCount(const char* body, const ReadTrace& trace, Container list) {
    const int count = readIntField(body + V.countAt, V.countWidth);
    trace.read(body + V.countAt, V.countWidth, SpanKind::Decimal, kRecordPath.whole(list).named(kCountName));
    return count;
}

// The items of one frame of a value list: 0, or -1 once an item head or
// value past the body is logged (the items before it kept).
template <const ValueItems& V>
int readValues(const PavaMsg& frame, CPavaMsgAnalyze& an) {
    constexpr int kBody = MAX_PAVA_MSG_LEN;
    PavaFullData& rec = *an.record();
    const char* body = frame.body;
    const ReadTrace trace = an.trace(frame);
    const int count = readValueCount<V>(body, trace, Container::DataList);
    int at = V.itemsAt;
    ListRefill<PavaDataItem> items = an.refill(rec.dataList);
    items.reserve(count, kBody - at, V.itemHead);
    for (int i = 0; i < count; ++i) {
        if (at + V.itemHead > kBody) {
            log::write(V.headPastBody);
            return -1;
        }
        PavaDataItem& item = items.next();
        readValueHead<V>(body + at, item);
        int width = 0;
        int shown = 0;  // value bytes the decoder looks at
        if constexpr (V.width != ValueWidth::None) {
            width = item.itemInt2;
            shown = readValue<V>(body + at + V.itemHead, width, kBody - at - V.itemHead, item.itemText2);
            if (shown < 0) return -1;
        }
        if (trace) {
            const ReadPath path = kRecordPath.item(Container::DataList, items.size());
            trace.fields(V.headRead, body + at, path);
            if constexpr (V.width != ValueWidth::None)
                trace.read(body + at + V.itemHead, shown, valueSpan<V>(), path.leaf(Member::itemText2));
        }
        items.keep();
        at += V.itemHead + (V.step == ValueStep::OverValue ? width : 0);
    }
    return 0;
}

// One record of value entries at `used`: its size, or -1 when it does not
// fit the frame (an entry's width negative or past the body, logged), what
// was written of it left behind the frame's length up to `reach`.
template <const ValueRecords& R>
int writeValueRecord(const PavaRecordItem& record, char* body, int used, int& reach) noexcept {
    constexpr const ValueItems& V = *R.entries;
    constexpr int kBody = MAX_PAVA_MSG_LEN;
    reach = used;
    if (used + R.entryCountWidth > kBody) return -1;
    writePaddedInt(static_cast<int>(record.fieldList.size()), body + used, R.entryCountWidth, R.numberPad);
    int pos = used + R.entryCountWidth;
    for (const PavaFieldItem& entry : record.fieldList) {
        const int width = entry.fieldLen;
        if (width < 0 || width > kBody - pos - V.itemHead) {
            log::write(V.tooLong);
            reach = pos;
            return -1;
        }
        char* at = body + pos;
        writeValueHead<V>(entry, at);
        writePaddedInt(width, at + V.widthAt, V.widthWidth, R.numberPad);
        copyValueBytes(at + V.itemHead, entry.fieldText2, width);
        pos += V.itemHead + width;
    }
    return pos - used;
}

// The whole encode of value records behind the entry line: 0, the header
// setter's code, or -1 once a record that fits no frame is logged (frames
// closed before kept).
template <const Description& D>
int encodeValueRecords(const MessageDef& def, FrameList* out, CPavaMsgAnalyze* an) {
    constexpr const ValueRecords& R = *D.write.valueRecords;
    constexpr const ValueItems& V = *R.entries;
    const PavaFullData& rec = *an->record();
    if (out->spare() == 0) {
        ItemBytes bytes;
        for (const PavaRecordItem& record : rec.recordList) {
            uint64_t size = R.entryCountWidth;
            for (const PavaFieldItem& entry : record.fieldList)
                size += V.itemHead + static_cast<uint64_t>(entry.fieldLen > 0 ? entry.fieldLen : 0);
            bytes.add(size, size);
        }
        reserveFrames(*out, bytes, MAX_PAVA_MSG_LEN - V.itemsAt);
    }
    int rc = 0;
    PavaMsg* frame = beginFrame(out, an, def.id, &rc, !D.has(kLoudHead));
    if (frame == nullptr) return rc;
    writeFields(def.layout.fields, rec, frame->body, MAX_PAVA_MSG_LEN);
    writeIntField(static_cast<int>(rec.recordList.size()), frame->body + V.countAt, V.countWidth);
    int used = V.itemsAt;
    int inFrame = 0;
    for (size_t r = 0; r < rec.recordList.size();) {
        int reach = 0;
        const int size = writeValueRecord<R>(rec.recordList[r], out->back().body, used, reach);
        if (size >= 0) {
            used += size;
            ++inFrame;
            ++r;
            continue;
        }
        if (inFrame == 0) {
            log::write(R.recordTooLong);
            out->pop_back();
            return -1;
        }
        carryOver(*out, V.countAt, inFrame, used, reach, V.itemsAt);
        used = V.itemsAt;
        inFrame = 0;
    }
    closeLastFrame(*out, used);
    return 0;
}

// The records of one frame: 0, or -1 once a record or entry head or a value
// past the body is logged (the records read whole before it kept).
template <const ValueRecords& R>
int readValueRecords(const PavaMsg& frame, CPavaMsgAnalyze& an) {
    constexpr const ValueItems& V = *R.entries;
    constexpr int kBody = MAX_PAVA_MSG_LEN;
    PavaFullData& rec = *an.record();
    const char* body = frame.body;
    const ReadTrace trace = an.trace(frame);
    const int count = readValueCount<V>(body, trace, Container::RecordList);
    int pos = V.itemsAt;
    ListRefill<PavaRecordItem> records = an.refill(rec.recordList);
    records.reserve(count, kBody - pos, R.entryCountWidth);
    for (int r = 0; r < count; ++r) {
        if (pos + R.entryCountWidth > kBody) {
            log::write(V.headPastBody);
            return -1;
        }
        const int entries = readIntField(body + pos, R.entryCountWidth);
        const ReadPath fields = kRecordPath.item(Container::RecordList, records.size()).whole(Container::FieldList);
        trace.read(body + pos, R.entryCountWidth, SpanKind::Decimal, fields.named(kCountName));
        pos += R.entryCountWidth;
        RecordRefill record = nextRecord(records);
        record.fields.reserve(entries, kBody - pos, V.itemHead);
        for (int e = 0; e < entries; ++e) {
            if (pos + V.itemHead > kBody) {
                log::write(V.headPastBody);
                return -1;
            }
            PavaFieldItem& entry = record.fields.next();
            readValueHead<V>(body + pos, entry);
            const int width = entry.fieldLen;
            const int shown = readValue<V>(body + pos + V.itemHead, width, kBody - pos - V.itemHead, entry.fieldText2);
            if (shown < 0) return -1;
            if (trace) {
                const ReadPath path = fields.item(Container::FieldList, record.fields.size());
                trace.fields(V.headRead, body + pos, path);
                trace.read(body + pos + V.itemHead, shown, valueSpan<V>(), path.leaf(Member::fieldText2));
            }
            pos += V.itemHead + width;
            record.fields.keep();
        }
        records.keep();
    }
    return 0;
}

}  // namespace body

template <const Description& D>
int encodeDescribed(const MessageDef& def, FrameList* out, CPavaMsgAnalyze* an) {
    if constexpr (D.write.table != nullptr) {
        if constexpr (!D.has(kQuietEntry)) body::logEncodeEntry<D>(def.id);
        return body::writeTable(*D.write.table, D.has(kClearsName), def.layout.fields, out, *an->record());
    }
    body::logEncodeEntry<D>(def.id);
    if constexpr (D.write.split != nullptr) return writeSplitItems(*D.write.split, def.id, D.has(kLoudHead), *out, *an);
    if constexpr (D.write.values != nullptr) return body::encodeValues<D>(def, out, an);
    if constexpr (D.write.valueRecords != nullptr) return body::encodeValueRecords<D>(def, out, an);
    int rc = 0;
    PavaMsg* frame = beginFrame(out, an, def.id, &rc, !D.has(kLoudHead));
    if (frame == nullptr) return rc;
    const PavaFullData& rec = *an->record();
    bool ok = writeFields(def.layout.fields, rec, frame->body, MAX_PAVA_MSG_LEN);
    int length = def.layout.length;
    if constexpr (D.write.text != nullptr) {
        if (ok) length = body::writeText(*D.write.text, D.has(kCutAtNul), rec, frame->body), ok = length >= 0;
    } else if constexpr (D.write.rows != nullptr) {
        if (ok) length = body::writeRows<*D.write.rows>(rec, frame->body), ok = length >= 0;
    } else if constexpr (D.write.records != nullptr) {
        if (ok) length = body::writeRecords<*D.write.records>(rec, frame->body), ok = length >= 0;
    } else if constexpr (D.write.items != nullptr) {
        if (ok) length = writeOneFrameList(*D.write.items, def.id, rec, frame->body), ok = length >= 0;
    }
    if (!ok || D.has(kDropsFrame)) {
        out->pop_back();
        return ok ? 0 : -1;
    }
    body::setLength(*frame, length, D.has(kKeepsContinued));
    return 0;
}

template <const Description& D>
int decodeDescribed(const MessageDef& def, const PavaMsg* frame, CPavaMsgAnalyze* an) {
    if (!body::openDecode<D>(def.id, frame)) return -1;
    if (!readFields(def.layout.readFields(), frame->body, MAX_PAVA_MSG_LEN, *an->record(), an->trace(*frame),
                    kRecordPath, D.counts))
        return -1;
    if constexpr (D.read.text != nullptr) {
        return body::readText(*D.read.text, *frame, *an);
    } else if constexpr (D.read.rows != nullptr) {
        return body::readRows<*D.read.rows>(*frame, *an);
    } else if constexpr (D.read.records != nullptr) {
        return body::readRecords<*D.read.records>(*frame, *an);
    } else if constexpr (D.read.items != nullptr) {
        PavaFullData& rec = *an->record();
        ListRefill<PavaDataItem> items = an->refill(rec.dataList);
        if (readItemsBehindPrefix(D.read.items->list, frame->body, rec, items, an->trace(*frame))) return 0;
        return refuseListOutOfBody(def.id);
    } else if constexpr (D.read.table != nullptr) {
        return body::readTable(*D.read.table, *frame, *an);
    } else if constexpr (D.read.split != nullptr) {
        return body::readSplit<D>(def.id, *frame, *an);
    } else if constexpr (D.read.values != nullptr) {
        return body::readValues<*D.read.values>(*frame, *an);
    } else if constexpr (D.read.valueRecords != nullptr) {
        return body::readValueRecords<*D.read.valueRecords>(*frame, *an);
    }
    return 0;
}

// A message the interpreter runs by the description D. `length` is the body
// length of a fixed body (a tail, when there is one, gives the length
// instead); `decodeFields` is the table the decoder reads where it differs
// from what the encoder writes.
template <const Description& D>
constexpr MessageDef describedMessage(int id, std::span<const Field> fields, int length,
                                      std::span<const Field> decodeFields = {}) {
    return MessageDef{id, encodeDescribed<D>, decodeDescribed<D>, Layout{fields, decodeFields, length}, &D};
}

// The one-frame item list the description D writes and reads.
template <const Description& D>
constexpr MessageDef oneFrameList(int id) {
    return describedMessage<D>(id, D.write.items->list.prefix, -1);
}

// The description of a one-frame list: the list's count among the prefix
// fields, a header failure logged, the encoder's entry line its own (or
// `entry`).
constexpr Description oneFrameBody(const OneFrameList& list, const char* entry = nullptr) {
    return Description{.encodeEntry = entry, .counts = Container::DataList, .quirks = kLoudHead, .write = list,
                       .read = list};
}

// The split list the description D writes and reads, with its frame marks
// for readers.
template <const Description& D>
constexpr MessageDef splitItemList(int id) {
    const SplitItems& split = *D.write.split;
    return withSplit(describedMessage<D>(id, split.list.prefix, -1), split.frames);
}

// The description of a split list: the list's count among the prefix
// fields, a header failure logged.
constexpr Description splitBody(const SplitItems& split, uint16_t quirks = 0) {
    return Description{.counts = Container::DataList, .quirks = static_cast<uint16_t>(kLoudHead | quirks),
                       .write = split, .read = split};
}

}  // namespace pava

#endif
