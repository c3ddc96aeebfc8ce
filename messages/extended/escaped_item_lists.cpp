// Item lists whose texts longer than 8 characters follow a "$$$" escape, cut
// to 256 bytes; one variant ends with a digit.
#include "body_codec.h"
#include "messages/catalog.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

constexpr Field kPrefix[] = {
    {0, 12, TextRaw, M::text12b}, {12, 2, Decimal, M::intValue2}, {14, kCountWidth, Decimal, M::None}};

constexpr OneFrameList kBase{itemList(kPrefix, 18, 14, escapedItem(256)), entrySpace(MAX_PAVA_MSG_LEN),
                             kTooLongIdFirst};
// The digit is followed by one NUL byte that the length counts.
constexpr OneFrameList kWithDigit{itemList(kPrefix, 18, 14, escapedItem(256), kTrailingDigit, 2),
                                  entrySpace(MAX_PAVA_MSG_LEN), kTooLongIdFirst};

constexpr Description kBaseBody = oneFrameBody(kBase);
constexpr Description kWithDigitBody = oneFrameBody(kWithDigit);

constexpr MessageDef kMessages[] = {
    oneFrameList<kBaseBody>(20169), oneFrameList<kWithDigitBody>(20170), oneFrameList<kBaseBody>(20171),
    oneFrameList<kWithDigitBody>(20172), oneFrameList<kBaseBody>(20174),
};

}  // namespace

std::span<const MessageDef> escapedItemLists() { return kMessages; }

}  // namespace pava::messages
