// The data-list messages that are split over as many frames as they need.
#include "messages/catalog.h"
#include "multiframe/splitter.h"

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
constexpr SplitRule kNumbered{};
constexpr SplitRule kFlagTwo{.headFlagTwo = true};

//                        list            frame full          head   trailer  frames    catch  make-frame id
constexpr SplitList k20014{kCodedTexts, frameSpace(8171), false, false, kNumbered, false, 0, kEmpty};
constexpr SplitList k20016{kCodedEscaped, frameSpace(8192), false, false, kNumbered, true, 0, kEmptyShort};
constexpr SplitList k20018{kBlocksTwoCodes, frameSpace(8192, 24), false, true, kFlagTwo, false, 0, kEmpty};
constexpr SplitList k20020{kBlocksShort, frameSpace(8192), false, false, kFlagTwo, false, 0, kEmpty};
constexpr SplitList k20155{kTwoTexts, frameSpace(8170, 0, true), true, false, kNumbered, false, 0, kEmpty};
constexpr SplitList k30014{kCodedEscaped, frameSpace(8171), false, false, kNumbered, false, 20014, kEmpty};
constexpr SplitList k30016{kCodedEscaped, frameSpace(8192), false, false, kNumbered, true, 20016, kEmptyShort};
constexpr SplitList k30018{kBlocksOneCode, frameSpace(8192, 12), false, false, kFlagTwo, false, 0, kEmpty};

constexpr MessageDef kMessages[] = {
    splitList(20014, k20014), splitList(20016, k20016), splitList(20018, k20018),
    splitList(20020, k20020), splitList(20155, k20155), splitList(30014, k30014),
    splitList(30016, k30016), splitList(30018, k30018),
};

}  // namespace

std::span<const MessageDef> multiFrameLists() { return kMessages; }

}  // namespace pava::messages
