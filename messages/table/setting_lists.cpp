// Messages 00204 and 00209 carry the record's settingList, one row per
// setting. 00204 sends an address, a count and 228-character rows, and keeps
// the continuation flag from contFlag. The 00209 encoder writes 192-character
// rows from offset 0 without a count and drops the frame; its decoder expects
// a count first. Both sides are kept as they are.
#include "field_codec.h"
#include "log.h"
#include "messages/catalog.h"
#include "messages/table/single_frame.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

// One side of a setting list: an optional count, then rows of `stride`
// characters from `first`. Row k is refused when stride * (k + 1) exceeds
// `limit`; every limit keeps the rows inside the body.
struct SettingRows {
    int countAt;  // -1: no count
    int countWidth;
    int first;
    int stride;
    int limit;
    std::span<const Field> fields;  // within a row
    const char* tooMany;
};

struct SettingList {
    SettingRows encode;
    SettingRows decode;
};

constexpr bool rowsFit(const SettingRows& r) {
    for (const Field& f : r.fields)
        if (f.offset + f.width > r.stride) return false;
    return r.first + r.limit <= MAX_PAVA_MSG_LEN;
}

int encodeSettings(const void* params, const PavaFullData& rec, char* body) {
    const SettingRows& rows = static_cast<const SettingList*>(params)->encode;
    const auto& list = rec.settingList;
    if (rows.countAt >= 0) writeIntField(static_cast<int>(list.size()), body + rows.countAt, rows.countWidth);
    int at = rows.first;
    for (size_t k = 0; k < list.size(); ++k, at += rows.stride) {
        if (static_cast<uint64_t>(rows.stride) * (k + 1) > static_cast<uint64_t>(rows.limit) ||
            !writeFields(rows.fields, list[k], body + at, MAX_PAVA_MSG_LEN - at)) {
            log::write(rows.tooMany);
            return -1;
        }
    }
    return at;
}

int decodeSettings(const void* params, const PavaMsg& frame, CPavaMsgAnalyze& an) {
    PavaFullData& rec = *an.record();
    const char* body = frame.body;
    const SettingRows& rows = static_cast<const SettingList*>(params)->decode;
    const int count = readIntField(body + rows.countAt, rows.countWidth);
    const ReadTrace trace = an.trace(frame);
    trace.read(body + rows.countAt, rows.countWidth, SpanKind::Decimal,
               kRecordPath.whole(Container::SettingList).named(kCountName));
    int at = rows.first;
    ListRefill<PavaSettingItem> items = an.refill(rec.settingList);
    if (rows.stride > 0) items.reserve(count, rows.limit, rows.stride);
    const ItemFields<PavaSettingItem> fields(rows.fields);
    for (int k = 0; k < count; ++k, at += rows.stride) {
        if (static_cast<int64_t>(rows.stride) * (k + 1) > rows.limit) {
            log::write(rows.tooMany);
            return -1;
        }
        if (!fields.read(body + at, MAX_PAVA_MSG_LEN - at, items.next())) return -1;
        trace.fields(rows.fields, body + at, kRecordPath.item(Container::SettingList, items.size()));
        items.keep();
    }
    return 0;
}

// 00204 row: the text, the first 20 bytes of setText30, the id. The decoded
// text keeps the whole field and one NUL (201 characters).
constexpr Field k00204Row[] = {
    {0, 200, TextRaw, M::setText, kNulPadded}, {200, 20, Raw, M::setText30}, {220, 8, Decimal, M::setId}};
constexpr Field k00209Row[] = {{0, 192, Text, M::setText}};

constexpr SettingList k00204Rows{
    {12, 4, 16, 228, 8176, k00204Row, "CPavaMsgAnalyze::Data_To_Pava_00204 too long return -1 !\n"},
    {12, 4, 16, 228, 8176, k00204Row, "CPavaMsgAnalyze::Pava_00204_To_Data too long return -1 !\n"}};
constexpr SettingList k00209Rows{
    {-1, 0, 0, 192, 8188, k00209Row, "total_len + 192 > MAX_PAVA_MSG_LEN error return "},
    {0, 4, 4, 192, 8188, k00209Row, "total_len + 192 > MAX_PAVA_MSG_LEN - 4 error return -1 "}};
static_assert(rowsFit(k00204Rows.encode) && rowsFit(k00204Rows.decode));
static_assert(rowsFit(k00209Rows.encode) && rowsFit(k00209Rows.decode));

constexpr FrameRules k00204{.keepContinued = true, .tail = {encodeSettings, decodeSettings, &k00204Rows}};
constexpr FrameRules k00209{.append = false, .tail = {encodeSettings, decodeSettings, &k00209Rows}};

// The count field carries no member: the list's size is written over it.
constexpr Field k00204Fields[] = {{0, 12, TextRaw, M::text12b}, {12, 4, Decimal, M::None}};
constexpr Field k00209Read[] = {{0, 4, Decimal, M::None}};

// The rows as the decoders read them.
constexpr ListShape k00204Shape{12, 4, 16, k00204Row, {}, 228};
constexpr ListShape k00209Shape{0, 4, 4, k00209Row, {}, 192};

constexpr MessageDef with(MessageDef def, const ListShape* shape, const char* words) {
    def.layout.list = shape;
    return withBody(def, {BodyKind::Items, shape->itemsAt, shape->countAt, shape->countWidth, M::None, words});
}

constexpr MessageDef kMessages[] = {
    with(frameMessage(204, k00204, k00204Fields, -1), &k00204Shape,
         "a count in 4 digits at byte 12, then settingList rows of 228 bytes from byte 16: setText "
         "(200), the first 20 bytes of setText30, setId (8); at most 35 rows"),
    with(frameMessage(209, k00209, {}, -1, k00209Read), &k00209Shape,
         "settingList rows of 192 bytes (setText) read after a count in 4 digits at byte 0; the "
         "encoder writes the rows from byte 0 without a count and sends no frame"),
};

}  // namespace

std::span<const MessageDef> settingLists() { return kMessages; }

}  // namespace pava::messages
