// Item lists whose texts longer than 8 characters follow a "$$$" escape, cut
// to 256 bytes; one variant ends with a digit.
#include "messages/catalog.h"
#include "multiframe/item_list.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

constexpr Field kPrefix[] = {
    {0, 12, TextRaw, M::text12b}, {12, 2, Decimal, M::intValue2}, {14, kCountWidth, Decimal, M::None}};
// The digit and one NUL byte.
constexpr Field kDigit[] = {{0, 1, Decimal, M::intValue4}};

constexpr OneFrameList kBase{itemList(kPrefix, 18, 14, escapedItem(256)), entrySpace(MAX_PAVA_MSG_LEN),
                             kTooLongIdFirst};
constexpr OneFrameList kWithDigit{itemList(kPrefix, 18, 14, escapedItem(256), kDigit, 2),
                                  entrySpace(MAX_PAVA_MSG_LEN), kTooLongIdFirst};

constexpr MessageDef kMessages[] = {
    oneFrameList(20169, kBase),      oneFrameList(20170, kWithDigit), oneFrameList(20171, kBase),
    oneFrameList(20172, kWithDigit), oneFrameList(20174, kBase),
};

}  // namespace

std::span<const MessageDef> escapedItemLists() { return kMessages; }

}  // namespace pava::messages
