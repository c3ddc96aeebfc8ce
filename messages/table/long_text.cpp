// Message 00901: a head of numbers and short texts, then string4 up to the
// end of the body. Body positions 0-2 are never written. The decoder takes
// the text's length from the header: msgLen - 62, computed unsigned, so a
// header length below 62 reads the longest text.
#include "body_codec.h"
#include "messages/catalog.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

constexpr TextToEnd k00901Text = checkedText({
    .at = 62, .text = &PavaFullData::string4, .cap = 8130, .length = TextLength::Unsigned});

constexpr Description k00901{.write = k00901Text, .read = k00901Text};

constexpr Field k00901Fields[] = {
    {3, 5, Decimal, M::intValue1},  {8, 4, Decimal, M::intValue4},  {12, 14, Raw, M::text15a},
    {26, 2, Decimal, M::intValue9}, {28, 2, Decimal, M::intValue10}, {30, 32, Raw, M::text32},
};

constexpr MessageDef kMessages[] = {describedMessage<k00901>(901, k00901Fields, -1)};

}  // namespace

std::span<const MessageDef> longText() { return kMessages; }

}  // namespace pava::messages
