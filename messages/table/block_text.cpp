// Messages 00101 and 00102 carry the record's file block; 00203 an address,
// a number and three texts. Texts go out as NUL-padded bounded copies and
// come back as the field's raw bytes.
#include <cstring>

#include "field_codec.h"
#include "log.h"
#include "messages/catalog.h"
#include "messages/table/single_frame.h"

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
static_assert(kCodesAt + kCodeRows * kCodeWidth <= MAX_PAVA_MSG_LEN);

int encodeCodes(const void*, const PavaFullData& rec, char* body) {
    const PavaFileBlock& block = rec.fileBlock;
    for (int i = 0; i < block.fbCount; ++i) {
        if (i == kCodeRows) {
            log::write("CPavaMsgAnalyze::Data_To_Pava_00101 too long return -1 !\n");
            return -1;
        }
        copyTextField(body + kCodesAt + kCodeWidth * i, kCodeWidth, block.fbCodes[i],
                      static_cast<int>(sizeof block.fbCodes[i]));
    }
    return kCodesAt + kCodeWidth * block.fbCount;
}

int decodeCodes(const void*, const PavaMsg& frame, CPavaMsgAnalyze& an) {
    PavaFullData& rec = *an.record();
    const char* body = frame.body;
    PavaFileBlock& block = rec.fileBlock;
    for (int i = 0; i < block.fbCount; ++i) {
        if (i == kCodeRows) {
            log::write("CPavaMsgAnalyze::Pava_00101_To_Data too long return -1 !\n");
            return -1;
        }
        std::memcpy(block.fbCodes[i], body + kCodesAt + kCodeWidth * i, kCodeWidth);
        an.trace(frame).read(body + kCodesAt + kCodeWidth * i, kCodeWidth, SpanKind::Raw,
                             kRecordPath.item(Container::FbCodes, static_cast<size_t>(i)));
    }
    return 0;
}

constexpr FrameRules k00101{.encodeEntry = "Data_To_Pava_00101\n",
                            .decodeEntry = "Pava_00101_To_Data\n",
                            .tail = {encodeCodes, decodeCodes, nullptr}};
constexpr FrameRules k00203{.alsoDecodeEntryOf = 102};

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
    withBody(frameMessage(101, k00101, k00101Fields, -1),
             {BodyKind::CodeRows, kCodesAt, -1, 0, M::fbCount,
              "fbCount rows of fbCodes from byte 131, 12 bytes each (NUL-padded), at most 200 rows"}),
    frameMessage(102, kPlainFrame, k00102Fields, 56),
    frameMessage(203, k00203, k00203Fields, 254),
};

}  // namespace

std::span<const MessageDef> blockAndText() { return kMessages; }

}  // namespace pava::messages
