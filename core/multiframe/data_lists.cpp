// The data-list messages that are split over as many frames as they need.
#include "body_codec.h"
#include "messages/catalog.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

// 0-11 address, 12-15 count.
constexpr Field kAddressCountPrefix[] = {{0, 12, Raw, M::text12b}, {12, kCountWidth, Decimal, M::None}};
// 0-11 address, 12-13 intValue3, 14-15 intValue2, 16-17 intValue8, 18-21 count.
constexpr Field k20155Prefix[] = {{0, 12, Raw, M::text12b},
                                  {12, 2, Decimal, M::intValue3},
                                  {14, 2, Decimal, M::intValue2},
                                  {16, 2, Decimal, M::intValue8},
                                  {18, kCountWidth, Decimal, M::None}};

// Number, first character of the text, the 15-byte block.
constexpr Field kBlockItem8[] = {{0, 8, Decimal, M::itemId}, {8, 1, Text, M::itemText}, {9, 15, Raw, M::itemBlock}};
constexpr Field kBlockItem4[] = {{0, 4, Decimal, M::itemId}, {4, 1, Text, M::itemText}, {5, 15, Raw, M::itemBlock}};

constexpr Field kTwoCodes[] = {{0, 12, Raw, M::text12c}, {12, 12, Raw, M::text12d}};
constexpr Field kOneCode[] = {{0, 12, Raw, M::text12c}};

constexpr const char* kEmpty = "warning:: count = 0, only make a pava msg !\r\n";
constexpr const char* kEmptyShort = "warning:: count = 0, only make a pava \r\n";

constexpr ListLayout kCodedTexts = itemList(kCodedAddressPrefix, 21, 17, fixedItem<kItemIdText8, kItemIdText8Back, 16>());
constexpr ListLayout kCodedEscaped = itemList(kCodedAddressPrefix, 21, 17, escapedItem(kNoCut));
constexpr ListLayout kBlocksTwoCodes = itemList(kAddressCountPrefix, 16, 12, fixedItem<kBlockItem8, 24>(), kTwoCodes, 24);
constexpr ListLayout kBlocksShort = itemList(kAddressCountPrefix, 16, 12, fixedItem<kBlockItem4, 20>());
constexpr ListLayout kBlocksOneCode = itemList(kAddressCountPrefix, 16, 12, fixedItem<kBlockItem8, 24>(), kOneCode, 12, false);
constexpr ListLayout kTwoTexts = itemList(k20155Prefix, 22, 18, lengthPrefixedItem());

// Numbered frames; with header flag 2, '2' at position 14 of every frame.
constexpr SplitRule kFlagTwo{.headFlagTwo = true};

constexpr SplitItems k20014{.list = kCodedTexts, .full = frameSpace(8171), .emptyWarning = kEmpty};
constexpr SplitItems k20016{.list = kCodedEscaped, .full = frameSpace(8192), .emptyWarning = kEmptyShort};
constexpr SplitItems k20018{.list = kBlocksTwoCodes, .full = frameSpace(8192, 24), .trailerWhenEmpty = true,
                            .frames = kFlagTwo, .emptyWarning = kEmpty};
constexpr SplitItems k20020{.list = kBlocksShort, .full = frameSpace(8192), .frames = kFlagTwo, .emptyWarning = kEmpty};
constexpr SplitItems k20155{.list = kTwoTexts, .full = frameSpace(8170, 0, true), .head = SplitHead::FromRecord,
                            .emptyWarning = kEmpty};
// The extended ids name their models in the make-frame lines.
constexpr SplitItems k30014{.list = kCodedEscaped, .full = frameSpace(8171), .frameLogId = 20014,
                            .emptyWarning = kEmpty};
constexpr SplitItems k30016{.list = kCodedEscaped, .full = frameSpace(8192), .frameLogId = 20016,
                            .emptyWarning = kEmptyShort};
constexpr SplitItems k30018{.list = kBlocksOneCode, .full = frameSpace(8192, 12), .frames = kFlagTwo,
                            .emptyWarning = kEmpty};

constexpr Description d20014 = splitBody(k20014);
constexpr Description d20016 = splitBody(k20016, kCatchesOnDecode);
constexpr Description d20018 = splitBody(k20018);
constexpr Description d20020 = splitBody(k20020);
constexpr Description d20155 = splitBody(k20155);
constexpr Description d30014 = splitBody(k30014);
constexpr Description d30016 = splitBody(k30016, kCatchesOnDecode);
constexpr Description d30018 = splitBody(k30018);

constexpr MessageDef kMessages[] = {
    splitItemList<d20014>(20014), splitItemList<d20016>(20016), splitItemList<d20018>(20018),
    splitItemList<d20020>(20020), splitItemList<d20155>(20155), splitItemList<d30014>(30014),
    splitItemList<d30016>(30016), splitItemList<d30018>(30018),
};

}  // namespace

std::span<const MessageDef> multiFrameLists() { return kMessages; }

}  // namespace pava::messages
