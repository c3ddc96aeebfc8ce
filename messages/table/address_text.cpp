// Messages 00213-00215: an address, a 200-character text from string5 and a
// few numbers; decoded texts keep their own length. 00214 carries string6
// whole after the fixed fields, refuses it on both sides when the body would
// pass 8192 characters, and keeps the continuation flag from contFlag. The
// 00215 decoder's texts carry "()" after its name.
#include "messages/catalog.h"
#include "messages/table/single_frame.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

constexpr TextTail k00214Text = checkedTail({
    .offset = 224,
    .text = &PavaFullData::string6,
    .cap = MAX_PAVA_MSG_LEN - 224,
    .tooLong = "Data_To_Pava_00214 length error!",
    .rule = HeaderLength::Bounded,
    .badLength = "Pava_00214_To_Data length error!"});

constexpr FrameRules k00214{.keepContinued = true, .tail = {encodeTextTail, decodeTextTail, &k00214Text}};
constexpr FrameRules k00215{
    .decodeEntry = "Pava_00215_To_Data()!\n",
    .nullFrame = "error:: CPavaMsgAnalyze::Pava_00215_To_Data() pPavaMsg == NULL! ",
};

constexpr Field k00213Fields[] = {
    {0, 12, Text, M::text12b},        {12, 200, Text, M::string5}, {212, 8, Decimal, M::intValue13},
    {220, 40, Text, M::string6},      {260, 4, Decimal, M::intValue12},
};
constexpr Field k00214Fields[] = {
    {0, 12, Text, M::text12b},        {12, 200, Text, M::string5},
    {212, 8, Decimal, M::intValue13}, {220, 4, Decimal, M::intValue12},
};
constexpr Field k00215Fields[] = {
    {0, 12, Text, M::text12b},          {12, 200, Text, M::string5},      {212, 1, Decimal, M::intValue13},
    {213, 10, Decimal, M::intValue11},  {223, 4, Decimal, M::intValue12},
};

constexpr MessageDef kMessages[] = {
    frameMessage(213, kPlainFrame, k00213Fields, 264),
    withBody(frameMessage(214, k00214, k00214Fields, -1),
             {BodyKind::Text, 224, -1, 0, M::string6,
              "string6 from byte 224 up to the body length; a body past 8192 bytes is refused both ways"}),
    frameMessage(215, k00215, k00215Fields, 227),
};

}  // namespace

std::span<const MessageDef> addressText() { return kMessages; }

}  // namespace pava::messages
