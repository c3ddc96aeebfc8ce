// Fixed-layout messages of the extended range: a 12-character code and a few
// decimal numbers, one frame each.
#include "body_codec.h"
#include "messages/catalog.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

// Rows are {offset, width, kind, member}. Raw sends the member's 12 bytes as
// they stand; TextRaw sends a bounded, NUL-padded copy (cut at the member's
// first NUL). Both read the 12 bytes back as they are.
constexpr Field k20123[] = {{0, 12, Raw, M::text12b}, {12, 2, Decimal, M::intValue2}};
constexpr Field k20124[] = {{0, 12, Raw, M::text12b},
                            {12, 2, Decimal, M::intValue2},
                            {14, 1, Decimal, M::intValue4}};
constexpr Field k20127[] = {{0, 12, Raw, M::text12b},
                            {12, 2, Decimal, M::intValue8},
                            {14, 1, Decimal, M::intValue7},
                            {15, 8, Decimal, M::intValue9},
                            {23, 8, Decimal, M::intValue10},
                            {31, 4, Decimal, M::intValue5},
                            {35, 2, Decimal, M::intValue2}};
constexpr Field k20128[] = {{0, 12, Raw, M::text12a}, {12, 1, Decimal, M::intValue6}};
constexpr Field k20129[] = {{0, 12, Raw, M::text12b},
                            {12, 2, Decimal, M::intValue8},
                            {14, 2, Decimal, M::intValue10},
                            {16, 4, Decimal, M::intValue5},
                            {20, 2, Decimal, M::intValue2}};
constexpr Field k20136[] = {{0, 12, Raw, M::text12a}, {12, 4, Decimal, M::intValue2}};
constexpr Field k20139[] = {{0, 12, Raw, M::text12b},
                            {12, 2, Decimal, M::intValue2},
                            {14, 2, Decimal, M::intValue3},
                            {16, 2, Decimal, M::intValue5}};
constexpr Field k20142[] = {{0, 12, Raw, M::text12b}, {12, 2, Decimal, M::intValue8}};
constexpr Field k20145[] = {{0, 12, Raw, M::text12a}, {12, 2, Decimal, M::intValue5}};
constexpr Field k20146[] = {{0, 12, Raw, M::text12a},
                            {12, 1, Decimal, M::intValue4},
                            {13, 2, Decimal, M::intValue5},
                            {15, 2, Decimal, M::intValue8},
                            {17, 12, Raw, M::text12c},
                            {29, 12, Raw, M::text12d}};
constexpr Field k20150[] = {{0, 12, Raw, M::text12b},
                            {12, 2, Decimal, M::intValue2},
                            {14, 2, Decimal, M::intValue3}};
// The only one whose number precedes the code.
constexpr Field k20163[] = {{0, 2, Decimal, M::intValue5}, {2, 12, TextRaw, M::text12a}};
constexpr Field k20165[] = {{0, 12, TextRaw, M::text12a}, {12, 2, Decimal, M::intValue5}};
constexpr Field k20166[] = {{0, 12, TextRaw, M::text12a},
                            {12, 2, Decimal, M::intValue5},
                            {14, 2, Decimal, M::intValue4}};
constexpr Field k20173[] = {{0, 12, TextRaw, M::text12b}, {12, 2, Decimal, M::intValue2}};

// {id, layout, body length}.
constexpr MessageDef kMessages[] = {
    describedMessage<kLoudPlainBody>(20123, k20123, 14), describedMessage<kLoudPlainBody>(20124, k20124, 15),
    describedMessage<kLoudPlainBody>(20127, k20127, 37), describedMessage<kLoudPlainBody>(20128, k20128, 13),
    describedMessage<kLoudPlainBody>(20129, k20129, 22), describedMessage<kLoudPlainBody>(20130, k20128, 13),
    describedMessage<kLoudPlainBody>(20136, k20136, 16), describedMessage<kLoudPlainBody>(20139, k20139, 18),
    describedMessage<kLoudPlainBody>(20142, k20142, 14), describedMessage<kLoudPlainBody>(20145, k20145, 14),
    describedMessage<kLoudPlainBody>(20146, k20146, 41), describedMessage<kLoudPlainBody>(20150, k20150, 16),
    describedMessage<kLoudPlainBody>(20163, k20163, 14), describedMessage<kLoudPlainBody>(20165, k20165, 14),
    describedMessage<kLoudPlainBody>(20166, k20166, 16), describedMessage<kLoudPlainBody>(20173, k20173, 14),
    describedMessage<kLoudPlainBody>(20175, k20127, 37),
};

}  // namespace

std::span<const MessageDef> extendedFixed() { return kMessages; }

}  // namespace pava::messages
