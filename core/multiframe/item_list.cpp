#include "item_list.h"

#include <algorithm>
#include <cstring>

#include "field_codec.h"
#include "log.h"

namespace pava {

const char* itemKindName(ItemKind kind) noexcept {
    switch (kind) {
    case ItemKind::Fixed: return "items";
    case ItemKind::Escaped: return "escaped-items";
    case ItemKind::Prefixed: return "prefixed-items";
    }
    return "?";
}

namespace {

constexpr int64_t kBody = MAX_PAVA_MSG_LEN;

int64_t textLength(const std::string& s) noexcept { return static_cast<int64_t>(s.size()); }

// A number of a length field: lengths never reach the int range in a body.
int lengthNumber(int64_t n) noexcept { return n > INT32_MAX ? INT32_MAX : static_cast<int>(n); }

// Copies up to n bytes into a text, stopping at the first NUL.
void assignText(std::string& text, const char* src, int n) {
    const int length = n <= kMaxIntFieldWidth ? fieldDetail::shortTextLength(src, n) : fieldTextLength(src, n);
    text.assign(src, static_cast<size_t>(length));
}

ItemSize itemSize(const ItemFormat& format, const PavaDataItem& item) {
    if (format.measure != nullptr) return format.measure(format, item);
    return {format.size, format.size};
}

// The fewest bytes one item of the format takes in a body.
int smallestItem(const ItemFormat& format) noexcept {
    if (format.size > 0) return format.size;
    return 16;  // an escaped or length-prefixed item with empty texts
}

// Bytes the trailer fields take behind the last item; the length may count
// more (a NUL the trailer leaves unwritten).
int trailerExtent(const ListLayout& list) noexcept {
    int end = 0;
    for (const Field& f : list.trailer) end = std::max(end, f.offset + f.width);
    return end;
}

bool passes(const FitRule& rule, size_t written, int pos, int64_t declared) noexcept {
    switch (rule.kind) {
    case FitRule::Kind::None: return true;
    case FitRule::Kind::RunningCount:
        return rule.start + static_cast<int64_t>(rule.step) * static_cast<int64_t>(written) <= rule.limit;
    case FitRule::Kind::EntrySpace: return (written == 0 ? 0 : pos) + declared <= rule.limit;
    case FitRule::Kind::FrameSpace:
        return (written == 0 && !rule.firstItemToo) || pos + declared + rule.reserve <= rule.limit;
    }
    return false;
}

}  // namespace

namespace detail {

ItemSize measureEscaped(const ItemFormat& format, const PavaDataItem& item) {
    const int64_t length = textLength(item.itemText);
    if (length <= 8) return {16, 16};
    return {16 + length, 16 + std::min<int64_t>(length, format.textCut)};
}

void writeEscaped(const ItemFormat& format, const PavaDataItem& item, char* dest) {
    writeIntField(item.itemId, dest, 8);
    const std::string& text = item.itemText;
    const int64_t length = textLength(text);
    if (length <= 8) {
        copyRawField(dest + 8, 8, text.data(), static_cast<int>(length));
        return;
    }
    std::memcpy(dest + 8, "$$$", 3);
    writeIntField(lengthNumber(length), dest + 11, 5);
    std::memcpy(dest + 16, text.data(), static_cast<size_t>(std::min<int64_t>(length, format.textCut)));
}

// The text length of an escaped item, and of each text of a length-prefixed one.
constexpr const char* kLengthName = "length";
constexpr const char* kEscapeName = "escape";

inline int64_t readEscaped(const ItemFormat& format, const char* src, int room, PavaDataItem& item,
                           const ReadTrace* trace, size_t index) {
    if (room < 16) return -1;
    item.itemId = readIntField(src, 8);
    if (std::memcmp(src + 8, "$$$", 3) != 0) {
        // The common item: an 8-byte text, measured with its width known.
        item.itemText.assign(src + 8, static_cast<size_t>(fieldDetail::shortTextLength(src + 8, 8)));
        if (trace != nullptr) {
            const ReadPath at = dataItemPath(index);
            trace->read(src, 8, SpanKind::Decimal, at.leaf(Member::itemId));
            trace->read(src + 8, 8, SpanKind::Text, at.leaf(Member::itemText));
        }
        return 16;
    }
    const int length = readIntField(src + 11, 5);
    if (length < 0) return -1;
    const int copied = std::min(length, format.textCut);
    if (copied > room - 16) return -1;
    assignText(item.itemText, src + 16, copied);
    if (trace != nullptr) {
        const ReadPath at = dataItemPath(index);
        trace->read(src, 8, SpanKind::Decimal, at.leaf(Member::itemId));
        trace->read(src + 8, 3, SpanKind::Marker, at.leaf(Member::itemText, kEscapeName));
        trace->read(src + 11, 5, SpanKind::Decimal, at.leaf(Member::itemText, kLengthName));
        trace->read(src + 16, copied, SpanKind::Text, at.leaf(Member::itemText));
    }
    return 16 + static_cast<int64_t>(length);
}

ItemSize measureLengthPrefixed(const ItemFormat&, const PavaDataItem& item) {
    const int64_t size = 16 + textLength(item.itemText) + textLength(item.itemText2);
    return {size, size};
}

void writeLengthPrefixed(const ItemFormat&, const PavaDataItem& item, char* dest) {
    writeIntField(item.itemId, dest, 8);
    char* p = dest + 8;
    for (const std::string* text : {&item.itemText, &item.itemText2}) {
        writeIntField(lengthNumber(textLength(*text)), p, 4);
        std::memcpy(p + 4, text->data(), text->size());
        p += 4 + text->size();
    }
}

inline int64_t readLengthPrefixed(const ItemFormat&, const char* src, int room, PavaDataItem& item,
                                  const ReadTrace* trace, size_t index) {
    if (room < 12) return -1;
    item.itemId = readIntField(src, 8);
    int pos = 8;
    for (std::string* text : {&item.itemText, &item.itemText2}) {
        if (room - pos < 4) return -1;
        const int length = readIntField(src + pos, 4);
        if (length < 0 || length > room - pos - 4) return -1;
        assignText(*text, src + pos + 4, length);
        pos += 4 + length;
    }
    if (trace != nullptr) {
        const ReadPath at = dataItemPath(index);
        trace->read(src, 8, SpanKind::Decimal, at.leaf(Member::itemId));
        pos = 8;
        for (const Member m : {Member::itemText, Member::itemText2}) {
            const int length = readIntField(src + pos, 4);
            trace->read(src + pos, 4, SpanKind::Decimal, at.leaf(m, kLengthName));
            trace->read(src + pos + 4, length, SpanKind::Text, at.leaf(m));
            pos += 4 + length;
        }
    }
    return pos;
}

// Their item loops, each with its reader inlined.
bool readEscapedItems(const ItemFormat& format, const char* body, int64_t& pos, int count,
                      ListRefill<PavaDataItem>& items, const ReadTrace& trace) {
    return readEach<readEscaped>(format, body, pos, count, items, trace);
}

bool readLengthPrefixedItems(const ItemFormat& format, const char* body, int64_t& pos, int count,
                             ListRefill<PavaDataItem>& items, const ReadTrace& trace) {
    return readEach<readLengthPrefixed>(format, body, pos, count, items, trace);
}

}  // namespace detail

size_t fillItems(const ListLayout& list, const FitRule& rule, std::span<const PavaDataItem> items,
                 size_t next, char* body, int& pos) {
    const size_t first = next;
    const int trailer = trailerExtent(list);
    for (; next < items.size(); ++next) {
        const PavaDataItem& item = items[next];
        const ItemSize size = itemSize(list.item, item);
        if (!passes(rule, next - first, pos, size.declared)) break;
        if (pos + size.written + trailer > kBody) break;
        list.item.write(list.item, item, body + pos);
        pos += static_cast<int>(size.written);
    }
    return next;
}

void writeItemCount(const ListLayout& list, char* body, size_t count) noexcept {
    if (list.countAt != kNoCount) writeIntField(static_cast<int>(count), body + list.countAt, kCountWidth);
}

void reserveItemFrames(FrameList& out, const ListLayout& list, std::span<const PavaDataItem> items) {
    if (out.spare() != 0) return;
    ItemBytes bytes;
    if (list.item.measure == nullptr) {
        const auto size = static_cast<uint64_t>(std::max(list.item.size, 0));
        bytes = ItemBytes{items.size(), size * items.size(), size * items.size(), size};
    } else {
        for (const PavaDataItem& item : items) {
            const ItemSize size = itemSize(list.item, item);
            bytes.add(static_cast<uint64_t>(std::max<int64_t>(size.written, 0)),
                      static_cast<uint64_t>(std::max<int64_t>(size.declared, 0)));
        }
    }
    reserveFrames(out, bytes, static_cast<int>(kBody) - list.itemsAt);
}

bool readItemsBehindPrefix(const ListLayout& list, const char* body, PavaFullData& rec,
                           ListRefill<PavaDataItem>& items, const ReadTrace& trace) {
    const int count = list.countAt == kNoCount ? 1 : readIntField(body + list.countAt, kCountWidth);
    int64_t pos = list.itemsAt;
    // One allocation for the list: as many items as the count says and the
    // rest of the body can hold.
    items.reserve(count, static_cast<int>(kBody - pos), smallestItem(list.item));
    if (!list.item.read(list.item, body, pos, count, items, trace)) return false;
    if (!list.trailerRead || list.trailer.empty()) return true;
    return pos <= kBody && readFields(list.trailer, body + pos, static_cast<int>(kBody - pos), rec, trace);
}

int writeOneFrameList(const OneFrameList& params, int id, const PavaFullData& rec, char* body) {
    const ListLayout& list = params.list;
    std::span<const PavaDataItem> items = rec.dataList;
    if (list.countAt == kNoCount) {
        // Carries its first item; without one there is nothing to send.
        if (items.empty()) return -1;
        items = items.first(1);
    }
    writeItemCount(list, body, items.size());
    int pos = list.itemsAt;
    if (fillItems(list, params.fit, items, 0, body, pos) != items.size()) {
        log::format(params.tooLong, id);
        return -1;
    }
    writeFields(list.trailer, rec, body + pos, MAX_PAVA_MSG_LEN - pos);
    return pos + list.trailerLength;
}

int refuseListOutOfBody(int id) noexcept {
    log::format("error:: CPavaMsgAnalyze::Pava_%05d_To_Data data out of body! ", id);
    return -1;
}

}  // namespace pava
