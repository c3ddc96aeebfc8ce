// Message 20138: a two-level list in one frame.
//
//   address (12 raw) | record count R (2) | R record blocks
//   record block:  number (2) | field count F (3) | F fields
//   field:         first text (12, NUL padded) | second text (30, NUL padded)
//
// The encoder allows at most 99 records of at most 999 fields each, and
// refuses a body that would pass the frame; the decoder keeps the texts at
// their field widths plus one NUL.
#include "body_codec.h"
#include "messages/catalog.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

constexpr int kFieldSize = 42;

constexpr Field kHead[] = {
    {0, 12, Raw, M::text12b},
    {12, 2, Decimal, M::None, kWriteZero},
};
constexpr Field kField[] = {
    {0, 12, Text, M::fieldText1},
    {12, 30, Text, M::fieldText2},
};

constexpr char kRecordsIllegal[] = "error:: CPavaMsgAnalyze::Data_To_Pava_20138  item count(%d) Illegal! ";
constexpr char kFieldsIllegal[] = "error:: CPavaMsgAnalyze::Data_To_Pava_20138  equipment count(%d) Illegal! ";

// The decoder keeps each text at its field's width and one NUL.
constexpr Field kFieldRead[] = {
    {0, 12, Raw, M::fieldText1, kNulPadded},
    {12, 30, Raw, M::fieldText2, kNulPadded},
};

constexpr RecordBlocks kBlocks = checkedBlocks({.countAt = 12,
                                                .countWidth = 2,
                                                .maxRecords = 99,
                                                .tooManyRecords = kRecordsIllegal,
                                                .first = 14,
                                                .numberWidth = 2,
                                                .entryCountWidth = 3,
                                                .maxEntries = 999,
                                                .tooManyEntries = kFieldsIllegal,
                                                .entrySize = kFieldSize,
                                                .entryWrite = kField,
                                                .entryRead = kFieldRead});
constexpr Description k20138{
    .counts = Container::RecordList, .quirks = kLoudHead, .write = kBlocks, .read = kBlocks};

constexpr MessageDef kMessages[] = {
    describedMessage<k20138>(20138, kHead, -1),
};

}  // namespace

std::span<const MessageDef> recordFieldList() { return kMessages; }

}  // namespace pava::messages
