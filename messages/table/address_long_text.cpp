// Messages 00210-00212: an address, a 200-character text from string5 and a
// few numbers. Their decoders keep the texts at a fixed length: the field
// and one NUL (201 and 41 characters). 00211 carries the record's rii in its
// body; its decoder stores it over the header's, and reads string6 from the
// bytes after the fixed fields, their count being msgLen - 224 computed
// unsigned (a header length below 224 reads the longest text).
#include "body_codec.h"
#include "messages/catalog.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

constexpr TextToEnd k00211Text = checkedText({
    .at = 224, .text = &PavaFullData::string6, .cap = 7968, .length = TextLength::Unsigned});

// The encoder never writes after the fixed fields.
constexpr Description k00211{.read = k00211Text};

constexpr Field k00210Fields[] = {
    {0, 12, Raw, M::text12b},         {12, 200, TextRaw, M::string5, kNulPadded},
    {212, 8, Decimal, M::intValue13}, {220, 40, TextRaw, M::string6, kNulPadded},
    {260, 4, Decimal, M::intValue5},
};
constexpr Field k00211Fields[] = {
    {0, 12, Raw, M::text12b},         {12, 200, TextRaw, M::string5, kNulPadded},
    {212, 8, Decimal, M::intValue13}, {220, 4, Decimal, M::rii},
};
constexpr Field k00212Fields[] = {
    {0, 12, TextRaw, M::text12b},   {12, 200, TextRaw, M::string5, kNulPadded},
    {212, 1, Decimal, M::intValue4}, {213, 10, Decimal, M::intValue5},
};

constexpr MessageDef kMessages[] = {
    describedMessage<kPlainBody>(210, k00210Fields, 264),
    describedMessage<k00211>(211, k00211Fields, 224),
    describedMessage<kPlainBody>(212, k00212Fields, 223),
};

}  // namespace

std::span<const MessageDef> addressLongText() { return kMessages; }

}  // namespace pava::messages
