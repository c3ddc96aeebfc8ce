// Messages 30042 and 30171: the address, one fixed-width text from a string
// member and a few numbers. 30042's text decodes to exactly its 100
// characters; 30171's to its 1024 and one NUL.
#include "body_codec.h"
#include "messages/catalog.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

constexpr Field k30042Fields[] = {
    {0, 12, Raw, M::text12b},         {12, 100, TextRaw, M::string5}, {112, 4, Decimal, M::intValue6},
    {116, 8, Decimal, M::intValue13}, {124, 8, Decimal, M::intValue12},
};
constexpr Field k30171Fields[] = {
    {0, 12, TextRaw, M::text12b},
    {12, 2, Decimal, M::intValue5},
    {14, 1024, TextRaw, M::string4, kNulPadded},
};

constexpr MessageDef kMessages[] = {
    describedMessage<kLoudPlainBody>(30042, k30042Fields, 132),
    describedMessage<kLoudPlainBody>(30171, k30171Fields, 1038),
};

}  // namespace

std::span<const MessageDef> addressText30k() { return kMessages; }

}  // namespace pava::messages
