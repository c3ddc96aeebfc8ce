// Fixed-layout IEC 61850 messages: a 12-character code, then references,
// values and short texts at fixed places, one frame each.
#include "body_codec.h"
#include "messages/catalog.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

// Rows are {offset, width, kind, member}. Raw moves the bytes as they stand;
// Text is a bounded, NUL-padded copy out and the text up to the first NUL back
// in, so a string member decodes to that text and a wider character array gets
// it at its start, the rest as the reset left it.
constexpr Field kCode = {0, 12, Raw, M::text12a};
constexpr Field kReference = {12, 64, Text, M::string4};

constexpr Field k61852[] = {kCode,
                            kReference,
                            {76, 100, Text, M::string1},
                            {176, 8, Text, M::text64a},
                            {184, 8, Text, M::text64b},
                            {192, 8, Text, M::text32}};
constexpr Field k61853[] = {kCode, kReference, {76, 2, Decimal, M::intValue3}};
constexpr Field k61854[] = {kCode,
                            kReference,
                            {76, 4, Decimal, M::intValue6},
                            {80, 12, Raw, M::text12c},
                            {92, 12, Raw, M::text12d}};
// intValue13 comes before intValue12.
constexpr Field k61855[] = {kCode,
                            kReference,
                            {76, 100, Text, M::string5},
                            {176, 4, Decimal, M::intValue6},
                            {180, 8, Decimal, M::intValue13},
                            {188, 8, Decimal, M::intValue12}};
constexpr Field k61857[] = {kCode, kReference};
constexpr Field k61859[] = {kCode,
                            {12, 1, Decimal, M::intValue4},
                            {13, 2, Decimal, M::intValue8},
                            {15, 12, Raw, M::text12c}};
constexpr Field k61860[] = {kCode,
                            kReference,
                            {76, 26, Raw, M::text26},
                            {102, 255, Text, M::string5},
                            {357, 12, Decimal, M::intValue11},
                            {369, 1, Decimal, M::intValue5},
                            {370, 8, Text, M::text64a},
                            {378, 8, Text, M::text64b},
                            {386, 8, Decimal, M::intValue6},
                            {394, 30, Text, M::text32}};
constexpr Field k61863[] = {kCode,
                            {12, 1, Decimal, M::intValue4},
                            {13, 2, Decimal, M::intValue5},
                            {15, 2, Decimal, M::intValue8},
                            {17, 12, Raw, M::text12c},
                            {29, 12, Raw, M::text12d}};
constexpr Field k61864[] = {kCode,
                            kReference,
                            {76, 1, Decimal, M::intValue4},
                            {77, 2, Decimal, M::intValue3},
                            {79, 12, Raw, M::text12c}};
constexpr Field k61866[] = {kCode,
                            kReference,
                            {76, 26, Raw, M::text26},
                            {102, 255, Text, M::string5},
                            {357, 1, Decimal, M::intValue4},
                            {358, 10, Decimal, M::intValue5}};

// {id, layout, body length}.
constexpr MessageDef kMessages[] = {
    describedMessage<kLoudPlainBody>(61852, k61852, 200), describedMessage<kLoudPlainBody>(61853, k61853, 78),
    describedMessage<kLoudPlainBody>(61854, k61854, 104), describedMessage<kLoudPlainBody>(61855, k61855, 196),
    describedMessage<kLoudPlainBody>(61857, k61857, 76),  describedMessage<kLoudPlainBody>(61859, k61859, 27),
    describedMessage<kLoudPlainBody>(61860, k61860, 424), describedMessage<kLoudPlainBody>(61863, k61863, 41),
    describedMessage<kLoudPlainBody>(61864, k61864, 91),  describedMessage<kLoudPlainBody>(61865, k61864, 91),
    describedMessage<kLoudPlainBody>(61866, k61866, 368),
};

}  // namespace

std::span<const MessageDef> iecFixed() { return kMessages; }

}  // namespace pava::messages
