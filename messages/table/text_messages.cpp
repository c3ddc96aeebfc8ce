// Messages 00205, 00206 and 00208: texts and numbers without an address.
// Texts go out as NUL-padded bounded copies and come back at their own
// length. The 00205 decoder stores its third field into string1, over the
// second, and leaves string4 empty: the asymmetry is part of the protocol.
#include "body_codec.h"
#include "messages/catalog.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;


constexpr Field k00205Fields[] = {
    {0, 255, Text, M::string2}, {255, 255, Text, M::string1}, {510, 40, Text, M::string4}};
constexpr Field k00205Read[] = {
    {0, 255, Text, M::string2}, {255, 255, Text, M::string1}, {510, 40, Text, M::string1}};
constexpr Field k00206Fields[] = {
    {0, 14, Text, M::text15a},      {14, 2, Decimal, M::intValue5}, {16, 10, Decimal, M::intValue4},
    {26, 8, Decimal, M::intValue8}, {34, 4, Decimal, M::intValue6},
};
constexpr Field k00208Fields[] = {{0, 192, Text, M::string3}, {192, 40, Text, M::text64b}};

constexpr MessageDef kMessages[] = {
    describedMessage<kPlainBody>(205, k00205Fields, 550, k00205Read),
    describedMessage<kPlainBody>(206, k00206Fields, 38),
    describedMessage<kPlainBody>(208, k00208Fields, 232),
};

}  // namespace

std::span<const MessageDef> textMessages() { return kMessages; }

}  // namespace pava::messages
