// Fixed-field messages of the 30xxx range: an address or a number first, then
// small numbers and further fixed texts, one frame each.
//
// Texts go out as the member's bytes as they stand (Raw) except in 30172,
// 30173, 30174 and 30182, whose encoders send a bounded, NUL-padded copy; the
// decoders take the full width back raw (TextRaw), except the 32-character text
// of 30173, which is read only up to its first NUL (Text).
#include "body_codec.h"
#include "messages/catalog.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

// Rows are {offset, width, kind, member}.
constexpr Field k30015[] = {{0, 12, Raw, M::text12b},
                            {12, 2, Decimal, M::intValue3},
                            {14, 2, Decimal, M::intValue2},
                            {16, 1, Decimal, M::intValue6},
                            {17, 4, Decimal, M::intValue9}};
constexpr Field k30123[] = {{0, 12, Raw, M::text12b}, {12, 2, Decimal, M::intValue2}};
constexpr Field k30124[] = {{0, 12, Raw, M::text12b},
                            {12, 2, Decimal, M::intValue2},
                            {14, 1, Decimal, M::intValue4}};
constexpr Field k30172[] = {{0, 12, TextRaw, M::text12b},
                            {12, 1, Decimal, M::intValue4},
                            {13, 2, Decimal, M::intValue5},
                            {15, 12, TextRaw, M::text12c}};
constexpr Field k30173[] = {{0, 1, Decimal, M::intValue5},
                            {1, 12, TextRaw, M::text12b},
                            {13, 32, Text, M::text32},
                            {45, 8, Decimal, M::intValue6}};
constexpr Field k30174[] = {{0, 1, Decimal, M::intValue5},
                            {1, 12, TextRaw, M::text12b},
                            {13, 32, TextRaw, M::text32},
                            {45, 8, Decimal, M::intValue6},
                            {53, 1, Decimal, M::intValue4},
                            {54, 12, TextRaw, M::text12c},
                            {66, 2, Decimal, M::intValue10}};
constexpr Field k30179[] = {{0, 8, Decimal, M::intValue6}, {8, 2, Decimal, M::intValue5}};
constexpr Field k30182[] = {{0, 12, TextRaw, M::text12b},
                            {12, 2, Decimal, M::intValue4},
                            {14, 2, Decimal, M::intValue8}};

// {id, layout, body length}. 30182 declares 22 although its fields end at 16:
// the six NUL bytes behind them are sent.
constexpr MessageDef kMessages[] = {
    describedMessage<kLoudPlainBody>(30015, k30015, 21), describedMessage<kLoudPlainBody>(30123, k30123, 14),
    describedMessage<kLoudPlainBody>(30124, k30124, 15), describedMessage<kLoudPlainBody>(30172, k30172, 27),
    describedMessage<kLoudPlainBody>(30173, k30173, 53), describedMessage<kLoudPlainBody>(30174, k30174, 68),
    describedMessage<kLoudPlainBody>(30179, k30179, 10), describedMessage<kLoudPlainBody>(30180, k30179, 10),
    describedMessage<kLoudPlainBody>(30182, k30182, 22),
};

}  // namespace

std::span<const MessageDef> fixedFields30k() { return kMessages; }

}  // namespace pava::messages
