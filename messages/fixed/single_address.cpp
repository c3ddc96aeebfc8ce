// Messages whose body is one 12-character address, copied raw both ways.
#include "messages/catalog.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

constexpr Field kAddressB[] = {{0, 12, Raw, M::text12b}};
constexpr Field kAddressA[] = {{0, 12, Raw, M::text12a}};

constexpr MessageDef kMessages[] = {
    fixedMessage(20001, kAddressB, 12), fixedMessage(20003, kAddressB, 12),
    fixedMessage(20005, kAddressB, 12), fixedMessage(20009, kAddressB, 12),
    fixedMessage(20017, kAddressB, 12), fixedMessage(20019, kAddressB, 12),
    fixedMessage(20021, kAddressB, 12), fixedMessage(20023, kAddressB, 12),
    fixedMessage(20081, kAddressB, 12), fixedMessage(20083, kAddressB, 12),
    fixedMessage(20085, kAddressB, 12), fixedMessage(20088, kAddressB, 12),
    fixedMessage(30017, kAddressB, 12), fixedMessage(30021, kAddressB, 12),
    // These two carry the other 12-character code.
    fixedMessage(20160, kAddressA, 12), fixedMessage(61856, kAddressA, 12),
};

}  // namespace

std::span<const MessageDef> singleAddress() { return kMessages; }

}  // namespace pava::messages
