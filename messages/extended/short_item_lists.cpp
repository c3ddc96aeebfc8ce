// Short item lists in one frame: a number and one character per item, or
// 50-character texts. They have no space test of their own; a list that
// would run past the body is refused.
#include "messages/catalog.h"
#include "multiframe/item_list.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

constexpr Field kPrefix[] = {
    {0, 12, Raw, M::text12b}, {12, 2, Decimal, M::intValue2}, {14, kCountWidth, Decimal, M::None}};
// The text's first 50 bytes out, back up to its first NUL.
constexpr Field kText50[] = {{0, 50, Raw, M::itemText}};
constexpr Field kText50Back[] = {{0, 50, Text, M::itemText}};

constexpr FitRule kNoTest{};
constexpr OneFrameList kChars{itemList(kPrefix, 18, 14, fixedItem<kItemIdChar, 9>()), kNoTest, kTooLongIdFirst};
constexpr OneFrameList kCharsDigit{itemList(kPrefix, 18, 14, fixedItem<kItemIdChar, 9>(), kTrailingDigit, 1), kNoTest,
                                   kTooLongIdFirst};
constexpr OneFrameList kTexts{itemList(kCountPrefix, 4, 0, fixedItem<kText50, kText50Back, 50>()), kNoTest,
                              kTooLongIdFirst};

constexpr MessageDef kMessages[] = {
    oneFrameList(20113, kChars), oneFrameList(20114, kCharsDigit), oneFrameList(20117, kChars),
    oneFrameList(20118, kCharsDigit), oneFrameList(20119, kTexts),
};

}  // namespace

std::span<const MessageDef> shortItemLists() { return kMessages; }

}  // namespace pava::messages
