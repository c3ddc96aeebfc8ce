// Messages 00800-00804: two numbers, joined by a text in 00800 and 00804.
// 00800 and 00802 build their frame and drop it: their encoders succeed
// without a frame. The 00802 decoder reads wider fields than its encoder
// writes, so the two sides disagree on purpose.
#include "body_codec.h"
#include "messages/catalog.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

constexpr TextToEnd k00800Text = checkedText({
    .at = 12,
    .text = &PavaFullData::string6,
    .cap = 8180,
    .tooLong = "error:: CPavaMsgAnalyze::Data_To_Pava_00800 block length > MAX_PAVA_MSG_LEN ! ",
    .length = TextLength::Signed});

constexpr Description kDropped{.quirks = kDropsFrame};
constexpr Description k00800{.quirks = kDropsFrame, .write = k00800Text, .read = k00800Text};

constexpr Field k00800Fields[] = {{0, 8, Decimal, M::intValue12}, {8, 4, Decimal, M::intValue13}};
constexpr Field k00802Fields[] = {{0, 8, Decimal, M::intValue11}, {8, 4, Decimal, M::intValue12}};
constexpr Field k00802Read[] = {{0, 10, Decimal, M::intValue11}, {10, 8, Decimal, M::intValue12}};
constexpr Field k00803Fields[] = {{0, 8, Decimal, M::intValue13}, {8, 2, Decimal, M::intValue12}};
constexpr Field k00804Fields[] = {{0, 255, Text, M::string5}, {255, 8, Decimal, M::intValue12}};

constexpr MessageDef kMessages[] = {
    describedMessage<k00800>(800, k00800Fields, -1),
    describedMessage<kPlainBody>(801, k00800Fields, 12),
    describedMessage<kDropped>(802, k00802Fields, -1, k00802Read),
    describedMessage<kPlainBody>(803, k00803Fields, 10),
    describedMessage<kPlainBody>(804, k00804Fields, 263),
};

}  // namespace

std::span<const MessageDef> numberPairs() { return kMessages; }

}  // namespace pava::messages
