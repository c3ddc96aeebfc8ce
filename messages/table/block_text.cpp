// Messages 00101 and 00102 carry the record's file block; 00203 an address,
// a number and three texts. Texts go out as NUL-padded bounded copies and
// come back as the field's raw bytes.
#include "body_codec.h"
#include "messages/catalog.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

// 00101 ends with fbCount rows of fbCodes, 12 characters each. A count above
// the 200 rows of the block is refused on both sides at the first row that
// does not exist (the rows before it are written or stored).
constexpr int kCodesAt = 131;
constexpr int kCodeWidth = 12;
constexpr int kCodeRows = static_cast<int>(sizeof PavaFileBlock::fbCodes / sizeof PavaFileBlock::fbCodes[0]);
constexpr Field kCodeWrite[] = {{0, kCodeWidth, Text, M::None}};
constexpr Field kCodeRead[] = {{0, kCodeWidth, Raw, M::None}};
constexpr Rows k00101Write =
    checkedRows({Container::FbCodes, -1, 0, M::fbCount, kCodesAt, kCodeWidth, kCodeWidth * kCodeRows, kCodeWrite,
                 "CPavaMsgAnalyze::Data_To_Pava_00101 too long return -1 !\n"});
constexpr Rows k00101Read =
    checkedRows({Container::FbCodes, -1, 0, M::fbCount, kCodesAt, kCodeWidth, kCodeWidth * kCodeRows, kCodeRead,
                 "CPavaMsgAnalyze::Pava_00101_To_Data too long return -1 !\n"});

constexpr Description k00101{.encodeEntry = "Data_To_Pava_00101\n",
                            .decodeEntry = "Pava_00101_To_Data\n",
                            .write = k00101Write,
                             .read = k00101Read};
constexpr Description k00203{.alsoDecodeEntryOf = 102};

constexpr Field k00101Fields[] = {
    {0, 16, TextRaw, M::fbText16a},  {16, 16, TextRaw, M::fbText16b}, {32, 16, TextRaw, M::fbText16c},
    {48, 32, TextRaw, M::fbText32a}, {80, 8, Decimal, M::fbInt1},     {88, 32, TextRaw, M::fbText32b},
    {120, 8, Decimal, M::fbInt2},    {128, 3, Decimal, M::fbCount},
};
constexpr Field k00102Fields[] = {
    {0, 16, TextRaw, M::fbText16b}, {16, 32, TextRaw, M::fbText32a}, {48, 8, Decimal, M::fbInt1}};
constexpr Field k00203Fields[] = {
    {0, 12, TextRaw, M::text12b},  {12, 2, Decimal, M::intValue8},
    {14, 20, TextRaw, M::text20a}, {34, 20, TextRaw, M::text20b},
    {54, 200, TextRaw, M::string3, kNulPadded},
};

constexpr MessageDef kMessages[] = {
    describedMessage<k00101>(101, k00101Fields, -1),
    describedMessage<kPlainBody>(102, k00102Fields, 56),
    describedMessage<k00203>(203, k00203Fields, 254),
};

}  // namespace

std::span<const MessageDef> blockAndText() { return kMessages; }

}  // namespace pava::messages
