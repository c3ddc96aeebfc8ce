// Short item lists in one frame: a number and one character per item, or
// 50-character texts. They have no space test of their own; a list that
// would run past the body is refused.
#include "body_codec.h"
#include "messages/catalog.h"

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

constexpr Description kCharsBody = oneFrameBody(kChars);
constexpr Description kCharsDigitBody = oneFrameBody(kCharsDigit);
constexpr Description kTextsBody = oneFrameBody(kTexts);

constexpr MessageDef kMessages[] = {
    oneFrameList<kCharsBody>(20113), oneFrameList<kCharsDigitBody>(20114), oneFrameList<kCharsBody>(20117),
    oneFrameList<kCharsDigitBody>(20118), oneFrameList<kTextsBody>(20119),
};

}  // namespace

std::span<const MessageDef> shortItemLists() { return kMessages; }

}  // namespace pava::messages
