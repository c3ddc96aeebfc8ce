// Messages 00213-00215: an address, a 200-character text from string5 and a
// few numbers; decoded texts keep their own length. 00214 carries string6
// whole after the fixed fields, refuses it on both sides when the body would
// pass 8192 characters, and keeps the continuation flag from contFlag. The
// 00215 decoder's texts carry "()" after its name.
#include "body_codec.h"
#include "messages/catalog.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

constexpr TextToEnd k00214Text = checkedText({
    .at = 224,
    .text = &PavaFullData::string6,
    .cap = MAX_PAVA_MSG_LEN - 224,
    .tooLong = "Data_To_Pava_00214 length error!",
    .length = TextLength::Bounded,
    .badLength = "Pava_00214_To_Data length error!"});

constexpr Description k00214{.quirks = kKeepsContinued, .write = k00214Text, .read = k00214Text};
constexpr Description k00215{
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
    describedMessage<kPlainBody>(213, k00213Fields, 264),
    describedMessage<k00214>(214, k00214Fields, -1),
    describedMessage<k00215>(215, k00215Fields, 227),
};

}  // namespace

std::span<const MessageDef> addressText() { return kMessages; }

}  // namespace pava::messages
