// Item lists that always travel in one frame; each id has its own space test.
#include "body_codec.h"
#include "messages/catalog.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

constexpr const char* kTooLong = "error:: CPavaMsgAnalyze::Data_To_Pava_%05d too long return -1! ";
constexpr const char* kTooLongBlank = "error:: CPavaMsgAnalyze::Data_To_Pava_%05d too long return -1 ! ";

// Text 12, the number in 1, a 2-digit field sent as 0 and read into itemInt2.
constexpr Field kTextIdItem[] = {
    {0, 12, Raw, M::itemText}, {12, 1, Decimal, M::itemId}, {13, 2, Decimal, M::itemInt2, kWriteZero}};
// Text 12, itemInt2 in 1, the number in 2.
constexpr Field kTextFlagIdItem[] = {
    {0, 12, Raw, M::itemText}, {12, 1, Decimal, M::itemInt2}, {13, 2, Decimal, M::itemId}};
// Text 12, itemInt2 in 1.
constexpr Field kTextFlagItem[] = {{0, 12, Raw, M::itemText}, {12, 1, Decimal, M::itemInt2}};
constexpr auto kTextIdBack = textReadToNul(kTextIdItem);
constexpr auto kTextFlagIdBack = textReadToNul(kTextFlagIdItem);
constexpr auto kTextFlagBack = textReadToNul(kTextFlagItem);
// The number in 4, the first character of the text.
constexpr Field kShortIdCharItem[] = {{0, 4, Decimal, M::itemId}, {4, 1, Text, M::itemText}};

// Address, intValue2, 15 characters of text15a, count at 29.
constexpr Field kNamedPrefix[] = {{0, 12, Raw, M::text12b},
                                  {12, 2, Decimal, M::intValue2},
                                  {14, 15, Raw, M::text15a},
                                  {29, kCountWidth, Decimal, M::None}};
// The other address, count at 12.
constexpr Field kOtherAddressPrefix[] = {{0, 12, Raw, M::text12a}, {12, kCountWidth, Decimal, M::None}};

constexpr Field kCodeC[] = {{0, 12, Raw, M::text12c}};
constexpr Field kCodeD[] = {{0, 12, Raw, M::text12d}};

constexpr ListLayout kTextIds = itemList(kCountPrefix, 4, 0, fixedItem<kTextIdItem, kTextIdBack, 15>(), kCodeC, 12);
constexpr ListLayout kFirstTextId = itemList({}, 0, kNoCount, fixedItem<kTextIdItem, kTextIdBack, 15>(), kCodeC, 12);
constexpr ListLayout kTextFlagIds = itemList(kCountPrefix, 4, 0, fixedItem<kTextFlagIdItem, kTextFlagIdBack, 15>(), kCodeC, 12);
constexpr ListLayout kTextFlags = itemList(kCountPrefix, 4, 0, fixedItem<kTextFlagItem, kTextFlagBack, 13>(), kCodeC, 12);
constexpr ListLayout kNamedTexts = itemList(kNamedPrefix, 33, 29, fixedItem<kItemIdText8, kItemIdText8Back, 16>());
constexpr ListLayout kNamedChars = itemList(kNamedPrefix, 33, 29, fixedItem<kItemIdChar, 9>());
constexpr ListLayout kNamedCharsCode = itemList(kNamedPrefix, 33, 29, fixedItem<kItemIdChar, 9>(), kCodeD, 12);
constexpr ListLayout kCodedTexts = itemList(kCodedAddressPrefix, 21, 17, fixedItem<kItemIdText8, kItemIdText8Back, 16>());
constexpr ListLayout kOtherChars = itemList(kOtherAddressPrefix, 16, 12, fixedItem<kShortIdCharItem, 5>());

// Running count: starts at, added per item, largest value that still writes.
constexpr OneFrameList k20002{kTextIds, runningCount(27, 15, atMost(8188)), kTooLong};
constexpr OneFrameList k20004{kFirstTextId, {}, kTooLong};
constexpr OneFrameList k20100{kTextFlagIds, runningCount(27, 15, below(8189)), kTooLongIdFirst};
constexpr OneFrameList k20084{kTextFlags, runningCount(25, 13, below(8189)), kTooLongIdFirst};
constexpr OneFrameList k20103{kTextFlags, runningCount(25, 13, below(8189)), kTooLong};
constexpr OneFrameList k20006{kNamedTexts, runningCount(16, 16, below(8160)), kTooLongBlank};
constexpr OneFrameList k20008{kNamedTexts, runningCount(16, 16, below(8160)), kTooLong};
constexpr OneFrameList k20010{kNamedCharsCode, runningCount(9, 9, below(8148)), kTooLong};
constexpr OneFrameList k20012{kNamedChars, runningCount(9, 9, below(8160)), kTooLong};
constexpr OneFrameList k20102{kNamedChars, runningCount(9, 9, below(8160)), kTooLongBlank};
constexpr OneFrameList k20104{kCodedTexts, runningCount(16, 16, below(8172)), kTooLong};
// Its running count admits 1637 items, but the body ends after 1635.
constexpr OneFrameList k20063{kOtherChars, runningCount(5, 5, atMost(8188)), kTooLongIdFirst};

// 20004 prints 20002's entry line.
constexpr Description k20002Body = oneFrameBody(k20002);
constexpr Description k20004Body = oneFrameBody(k20004, "Data_To_Pava_20002!\n");
constexpr Description k20006Body = oneFrameBody(k20006);
constexpr Description k20008Body = oneFrameBody(k20008);
constexpr Description k20010Body = oneFrameBody(k20010);
constexpr Description k20012Body = oneFrameBody(k20012);
constexpr Description k20063Body = oneFrameBody(k20063);
constexpr Description k20084Body = oneFrameBody(k20084);
constexpr Description k20100Body = oneFrameBody(k20100);
constexpr Description k20102Body = oneFrameBody(k20102);
constexpr Description k20103Body = oneFrameBody(k20103);
constexpr Description k20104Body = oneFrameBody(k20104);

constexpr MessageDef kMessages[] = {
    oneFrameList<k20002Body>(20002), oneFrameList<k20004Body>(20004), oneFrameList<k20006Body>(20006),
    oneFrameList<k20008Body>(20008), oneFrameList<k20010Body>(20010), oneFrameList<k20012Body>(20012),
    oneFrameList<k20063Body>(20063), oneFrameList<k20084Body>(20084), oneFrameList<k20100Body>(20100),
    oneFrameList<k20102Body>(20102), oneFrameList<k20103Body>(20103), oneFrameList<k20104Body>(20104),
};

}  // namespace

std::span<const MessageDef> oneFrameLists() { return kMessages; }

}  // namespace pava::messages
