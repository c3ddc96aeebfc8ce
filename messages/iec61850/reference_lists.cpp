// IEC 61850 reference lists: 61850 carries references only in one frame;
// 61851 and 61901 carry references with an item code and raw value bytes and
// split the list over as many frames as needed:
//
//   item:  reference (100, NUL padded) | code (2) | value width W (4) | W bytes
//
// The split frames share one body that is never cleared: each frame is a
// copy of the body as it stands, so bytes behind a frame's length may keep
// the previous frame's items. Each list is a ValueItems description (body.h)
// that the interpreter runs.
#include "body_codec.h"
#include "messages/catalog.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

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

// 61901: two numbers, code, name, two more numbers, item count, items. The
// decoder keeps the name as its 64 bytes and a NUL.
constexpr Field k61901Head[] = {
    {0, 2, Decimal, M::intValue5},   {2, 6, Decimal, M::intValue6},  {8, 12, Text, M::text12a},
    {20, 64, Text, M::string4},      {84, 2, Decimal, M::intValue4}, {86, 2, Decimal, M::intValue3},
    {88, 4, Decimal, M::None, kWriteZero},
};
constexpr Field k61901HeadIn[] = {
    {0, 2, Decimal, M::intValue5}, {2, 6, Decimal, M::intValue6}, {8, 12, Raw, M::text12a},
    {20, 64, Raw, M::string4, kNulPadded}, {84, 2, Decimal, M::intValue4}, {86, 2, Decimal, M::intValue3},
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
// 61901 reads the reference as its 100 bytes and a NUL.
constexpr Field kValueItemIn61901[] = {
    {0, kReferenceWidth, Raw, M::itemText, kNulPadded},
    {100, 2, Decimal, M::itemId},
    {102, 4, Decimal, M::itemInt2},
};

// 61850: one frame of references; a list of more than the body holds is refused.
constexpr ValueItems kReferences61850 = checkedValues({.countAt = 78,
                                                  .itemsAt = 82,
                                                  .itemHead = kReferenceWidth,
                                                  .headWrite = kReference,
                                                  .headRead = kReference,
                                                  .tooLong = kHeadTooLong,
                                                  .headPastBody = kHeadTooLong});
// The value lists: items of a reference, a code and a width, then the value,
// split over frames that share one body.
consteval ValueItems sharedBodyValues(int countAt, std::span<const Field> headRead, ValueWidth width,
                                      const char* tooLong) {
    return ValueItems{.countAt = countAt,
                      .itemsAt = countAt + 4,
                      .itemHead = kItemHead,
                      .headWrite = kValueItem,
                      .headRead = headRead,
                      .widthAt = 102,
                      .frames = ValueFrames::SharedBody,
                      .width = width,
                      .tooLong = tooLong,
                      .headPastBody = kHeadTooLong,
                      .valuePastBody = kValueTooLong};
}
// 61851: the width is the item's itemInt2; the decoder reads each value as
// a text up to its NUL and steps over the heads alone.
constexpr ValueItems kValues61851 = checkedValues([] {
    ValueItems v = sharedBodyValues(76, kValueItemIn, ValueWidth::Member,
                                    "struct data is not convert that the reference value is too length");
    v.read = ValueRead::ToNul;
    v.step = ValueStep::HeadOnly;
    return v;
}());
// 61901: the width is the value's length; the last frame counts its own items.
constexpr ValueItems kValues61901 = checkedValues([] {
    ValueItems v = sharedBodyValues(88, kValueItemIn61901, ValueWidth::Length,
                                    "convert failed that Reference value width is too long");
    v.lastCountsOwn = true;
    return v;
}());

constexpr Description d61850{.quirks = kLoudHead, .write = kReferences61850, .read = kReferences61850};
constexpr Description d61851{.quirks = kLoudHead, .write = kValues61851, .read = kValues61851};
constexpr Description d61901{.quirks = kLoudHead, .write = kValues61901, .read = kValues61901};

// Split item by item, the frames marked by the continuation flag alone.
// 61851's decoder steps kItemHead bytes per item, not over the value bytes
// whose width follows the code.
constexpr SplitRule kFrames61851 = checkedSplit({.marks = FrameMarks::Continuation,
                                                 .repair = FrameRepair::SteppedValues,
                                                 .countAt = kValues61851.countAt,
                                                 .itemsAt = kValues61851.itemsAt,
                                                 .itemHead = kValues61851.itemHead,
                                                 .widthAt = kValues61851.widthAt});
constexpr SplitRule kFrames61901 = checkedSplit({.marks = FrameMarks::Continuation});

constexpr MessageDef kMessages[] = {
    describedMessage<d61850>(61850, k61850Head, -1, k61850HeadIn),
    withSplit(describedMessage<d61851>(61851, k61851Head, -1, k61851HeadIn), kFrames61851),
    withSplit(describedMessage<d61901>(61901, k61901Head, -1, k61901HeadIn), kFrames61901),
};

}  // namespace

std::span<const MessageDef> referenceLists() { return kMessages; }

}  // namespace pava::messages
