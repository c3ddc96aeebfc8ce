// Messages whose body is one 12-character address, copied raw both ways.
#include "body_codec.h"
#include "messages/catalog.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

constexpr Field kAddressB[] = {{0, 12, Raw, M::text12b}};
constexpr Field kAddressA[] = {{0, 12, Raw, M::text12a}};

constexpr MessageDef kMessages[] = {
    describedMessage<kLoudPlainBody>(20001, kAddressB, 12), describedMessage<kLoudPlainBody>(20003, kAddressB, 12),
    describedMessage<kLoudPlainBody>(20005, kAddressB, 12), describedMessage<kLoudPlainBody>(20009, kAddressB, 12),
    describedMessage<kLoudPlainBody>(20017, kAddressB, 12), describedMessage<kLoudPlainBody>(20019, kAddressB, 12),
    describedMessage<kLoudPlainBody>(20021, kAddressB, 12), describedMessage<kLoudPlainBody>(20023, kAddressB, 12),
    describedMessage<kLoudPlainBody>(20081, kAddressB, 12), describedMessage<kLoudPlainBody>(20083, kAddressB, 12),
    describedMessage<kLoudPlainBody>(20085, kAddressB, 12), describedMessage<kLoudPlainBody>(20088, kAddressB, 12),
    describedMessage<kLoudPlainBody>(30017, kAddressB, 12), describedMessage<kLoudPlainBody>(30021, kAddressB, 12),
    // These two carry the other 12-character code.
    describedMessage<kLoudPlainBody>(20160, kAddressA, 12), describedMessage<kLoudPlainBody>(61856, kAddressA, 12),
};

}  // namespace

std::span<const MessageDef> singleAddress() { return kMessages; }

}  // namespace pava::messages
