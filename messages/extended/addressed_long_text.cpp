// Messages 20176-20178: two addresses, small numbers, a third 12-character
// code and a text from string4. 20176 and 20177 send only the text's length
// (at most 1000 and 255 characters); 20178 a fixed 255-character slot. The
// decoders read up to the cap whatever the header says, into a string4 of
// fixed length: the cap and one NUL.
#include "body_codec.h"
#include "messages/catalog.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

// Cut to the cap, and copied only up to the text's first NUL.
constexpr TextToEnd k20176Text =
    checkedText({.at = 38, .text = &PavaFullData::string4, .cap = 1000});
constexpr TextToEnd k20177Text =
    checkedText({.at = 38, .text = &PavaFullData::string4, .cap = 255});

constexpr Description k20176{.quirks = kLoudHead | kCutAtNul, .write = k20176Text};
constexpr Description k20177{.quirks = kLoudHead | kCutAtNul, .write = k20177Text};

// What the decoders read; the encoders write all but the text, which follows.
constexpr Field k20176Read[] = {
    {0, 12, TextRaw, M::text12a}, {12, 12, TextRaw, M::text12b}, {24, 2, Decimal, M::intValue8},
    {26, 12, Raw, M::text12c},    {38, 1000, Text, M::string4, kNulPadded}};
constexpr Field k20177Read[] = {
    {0, 12, TextRaw, M::text12a}, {12, 2, Decimal, M::intValue5}, {14, 12, TextRaw, M::text12b},
    {26, 12, Raw, M::text12c},    {38, 255, Text, M::string4, kNulPadded}};
constexpr Field k20178Fields[] = {
    {0, 12, TextRaw, M::text12a},  {12, 2, Decimal, M::intValue5}, {14, 2, Decimal, M::intValue4},
    {16, 12, TextRaw, M::text12b}, {28, 12, Raw, M::text12c},      {40, 255, Text, M::string4, kNulPadded}};

constexpr MessageDef kMessages[] = {
    describedMessage<k20176>(20176, std::span<const Field>(k20176Read).first(4), -1, k20176Read),
    describedMessage<k20177>(20177, std::span<const Field>(k20177Read).first(4), -1, k20177Read),
    describedMessage<kLoudPlainBody>(20178, k20178Fields, 295),
};

}  // namespace

std::span<const MessageDef> addressedLongText() { return kMessages; }

}  // namespace pava::messages
