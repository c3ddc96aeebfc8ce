// Messages 00204 and 00209 carry the record's settingList, one row per
// setting. 00204 sends an address, a count and 228-character rows, and keeps
// the continuation flag from contFlag. The 00209 encoder writes 192-character
// rows from offset 0 without a count and drops the frame; its decoder expects
// a count first. Both sides are kept as they are.
#include "body_codec.h"
#include "messages/catalog.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

// 00204 row: the text, the first 20 bytes of setText30, the id. The decoded
// text keeps the whole field and one NUL (201 characters).
constexpr Field k00204Row[] = {
    {0, 200, TextRaw, M::setText, kNulPadded}, {200, 20, Raw, M::setText30}, {220, 8, Decimal, M::setId}};
constexpr Field k00209Row[] = {{0, 192, Text, M::setText}};

// The decoders expect a count wherever their encoders write one or not.
constexpr Rows k00204WriteRows = checkedRows({Container::SettingList, 12, 4, M::None, 16, 228, 8176, k00204Row,
                                          "CPavaMsgAnalyze::Data_To_Pava_00204 too long return -1 !\n"});
constexpr Rows k00204ReadRows = checkedRows({Container::SettingList, 12, 4, M::None, 16, 228, 8176, k00204Row,
                                         "CPavaMsgAnalyze::Pava_00204_To_Data too long return -1 !\n"});
constexpr Rows k00209WriteRows = checkedRows({Container::SettingList, -1, 0, M::None, 0, 192, 8188, k00209Row,
                                          "total_len + 192 > MAX_PAVA_MSG_LEN error return "});
constexpr Rows k00209ReadRows = checkedRows({Container::SettingList, 0, 4, M::None, 4, 192, 8188, k00209Row,
                                         "total_len + 192 > MAX_PAVA_MSG_LEN - 4 error return -1 "});

constexpr Description k00204{.quirks = kKeepsContinued, .write = k00204WriteRows, .read = k00204ReadRows};
constexpr Description k00209{.quirks = kDropsFrame, .write = k00209WriteRows, .read = k00209ReadRows};

// The count field carries no member: the list's size is written over it.
constexpr Field k00204Fields[] = {{0, 12, TextRaw, M::text12b}, {12, 4, Decimal, M::None}};
constexpr Field k00209Read[] = {{0, 4, Decimal, M::None}};

constexpr MessageDef kMessages[] = {
    describedMessage<k00204>(204, k00204Fields, -1),
    describedMessage<k00209>(209, {}, -1, k00209Read),
};

}  // namespace

std::span<const MessageDef> settingLists() { return kMessages; }

}  // namespace pava::messages
