// Messages of a 12-character address followed by a few short fields: decimal
// numbers one to five characters wide, further 12-character codes and blocks
// of text. Each id is one frame; ids that share a layout share its table and
// differ only in their log texts.
#include "body_codec.h"
#include "messages/catalog.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

// Rows are {offset, width, kind, member}. Raw moves the member's bytes as they
// stand in both directions; Text is a bounded, NUL-padded copy both ways;
// Decimal is a left-aligned, blank-padded number. Every body starts with the
// address.
constexpr Field kAddress = {0, 12, Raw, M::text12b};

constexpr Field kL1[] = {kAddress, {12, 2, Decimal, M::intValue2}};
constexpr Field kL2[] = {kAddress, {12, 2, Decimal, M::intValue3}, {14, 2, Decimal, M::intValue2}};
constexpr Field kL3[] = {kAddress, {12, 2, Decimal, M::intValue2}, {14, 1, Decimal, M::intValue4}};
constexpr Field kL4[] = {kAddress, {12, 2, Decimal, M::intValue8}, {14, 1, Decimal, M::intValue4}};
constexpr Field kL5[] = {kAddress, {12, 1, Decimal, M::intValue5}, {13, 2, Decimal, M::intValue2}};
constexpr Field kL6[] = {kAddress,
                         {12, 2, Decimal, M::intValue3},
                         {14, 2, Decimal, M::intValue2},
                         {16, 1, Decimal, M::intValue6}};
constexpr Field kL7[] = {kAddress,
                         {12, 2, Decimal, M::intValue3},
                         {14, 2, Decimal, M::intValue2},
                         {16, 1, Decimal, M::intValue4}};
constexpr Field kL8[] = {kAddress,
                         {12, 2, Decimal, M::intValue3},
                         {14, 2, Decimal, M::intValue2},
                         {16, 1, Decimal, M::intValue6},
                         {17, 4, Decimal, M::intValue9}};
constexpr Field kL9[] = {kAddress, {12, 1, Decimal, M::intValue4}, {13, 12, Raw, M::text12c}};
constexpr Field kL10[] = {kAddress,
                          {12, 4, Decimal, M::intValue6},
                          {16, 12, Raw, M::text12c},
                          {28, 12, Raw, M::text12d}};
constexpr Field kL11[] = {kAddress,
                          {12, 40, Text, M::text64b},
                          {52, 12, Text, M::text12c},
                          {64, 12, Text, M::text12d}};
// The decoder clears the whole of text64b before it takes the 15 characters.
constexpr Field kL12[] = {kAddress,
                          {12, 2, Decimal, M::intValue2},
                          {14, 2, Decimal, M::intValue4},
                          {16, 5, Decimal, M::intValue1},
                          {21, 15, Raw, M::text64b, kClearMember}};
constexpr Field kL13[] = {kAddress, {12, 15, Raw, M::text15a}};
constexpr Field kL14[] = {kAddress,
                          {12, 1, Decimal, M::intValue8},
                          {13, 12, Raw, M::text12c},
                          {25, 12, Raw, M::text12d},
                          {37, 1, Decimal, M::intValue6}};
constexpr Field kL15[] = {kAddress,
                          {12, 64, Raw, M::text64a},
                          {76, 12, Raw, M::text12c},
                          {88, 64, Raw, M::text64b}};

// Two encoders print the entry line of another id.
constexpr Description kEntryOf20007{.encodeEntry = "Data_To_Pava_20007!\n", .quirks = kLoudHead};
constexpr Description kEntryOf20054{.encodeEntry = "Data_To_Pava_20054!\n", .quirks = kLoudHead};

// {id, layout, body length}.
constexpr MessageDef kMessages[] = {
    describedMessage<kLoudPlainBody>(20007, kL1, 14),
    describedMessage<kEntryOf20007>(20011, kL1, 14),
    describedMessage<kLoudPlainBody>(20057, kL1, 14),
    describedMessage<kLoudPlainBody>(20059, kL1, 14),
    describedMessage<kLoudPlainBody>(20106, kL1, 14),
    describedMessage<kLoudPlainBody>(20108, kL1, 14),
    describedMessage<kLoudPlainBody>(20047, kL2, 16),
    describedMessage<kLoudPlainBody>(20055, kL2, 16),
    describedMessage<kLoudPlainBody>(20107, kL2, 16),
    describedMessage<kLoudPlainBody>(20058, kL3, 15),
    describedMessage<kLoudPlainBody>(20060, kL3, 15),
    describedMessage<kLoudPlainBody>(20087, kL4, 15),
    describedMessage<kLoudPlainBody>(20110, kL5, 15),
    describedMessage<kLoudPlainBody>(20013, kL6, 17),
    describedMessage<kLoudPlainBody>(20048, kL7, 17),
    describedMessage<kEntryOf20054>(20056, kL7, 17),
    describedMessage<kLoudPlainBody>(20015, kL8, 21),
    describedMessage<kLoudPlainBody>(20079, kL9, 25),
    describedMessage<kLoudPlainBody>(20082, kL9, 25),
    describedMessage<kLoudPlainBody>(20086, kL9, 25),
    describedMessage<kLoudPlainBody>(20101, kL9, 25),
    describedMessage<kLoudPlainBody>(20025, kL10, 40),
    describedMessage<kLoudPlainBody>(20034, kL11, 76),
    describedMessage<kLoudPlainBody>(20069, kL12, 36),
    describedMessage<kLoudPlainBody>(20089, kL13, 27),
    describedMessage<kLoudPlainBody>(20105, kL14, 38),
    describedMessage<kLoudPlainBody>(20111, kL15, 152),
};

}  // namespace

std::span<const MessageDef> shortFields() { return kMessages; }

}  // namespace pava::messages
