// Message 61858: a list of data object type structures, split over frames
// structure by structure (a structure is never split).
//
//   head:       code (12 raw) | name (64) | number (2) | structure count (4)
//   structure:  attribute count F (4, NUL padded) | F attributes
//   attribute:  reference (100) | code (2, NUL padded) | width W (4, NUL padded) | W bytes
//
// The numbers inside a structure are digits followed by NUL bytes, not
// blanks. The body is not cleared between frames, and the final frame's
// structure count is not rewritten. The structures are value records
// (body.h) whose attributes are laid out as value items; the interpreter
// runs them.
#include "body_codec.h"
#include "messages/catalog.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

constexpr int kHeadSize = 82;
constexpr int kCountPos = 78;
constexpr int kAttributeHead = 106;
constexpr int kWidthPos = 102;  // an attribute's value width, behind its reference and code

constexpr Field kHead[] = {
    {0, 12, Raw, M::text12a},
    {12, 64, Text, M::string4},
    {76, 2, Decimal, M::intValue5},
    {kCountPos, 4, Decimal, M::None, kWriteZero},
};
// The decoder keeps the name as its 64 bytes and a NUL.
constexpr Field kHeadIn[] = {
    {0, 12, Raw, M::text12a},
    {12, 64, Raw, M::string4, kNulPadded},
    {76, 2, Decimal, M::intValue5},
};

// An attribute's head: the reference and the NUL-padded code out; back in,
// the reference as its 100 bytes and a NUL, and the width.
constexpr Field kAttribute[] = {
    {0, 100, Text, M::fieldText1},
    {100, 2, Decimal, M::fieldType, kNulPadded},
};
constexpr Field kAttributeIn[] = {
    {0, 100, Raw, M::fieldText1, kNulPadded},
    {100, 2, Decimal, M::fieldType},
    {kWidthPos, 4, Decimal, M::fieldLen},
};

constexpr char kPastBody[] = "over the max pava message length";

// The attributes: W bytes of fieldText2 behind each head, read as a text up
// to its NUL in W + 1 characters.
constexpr ValueItems kAttributes{.countAt = kCountPos,
                                 .itemsAt = kHeadSize,
                                 .itemHead = kAttributeHead,
                                 .headWrite = kAttribute,
                                 .headRead = kAttributeIn,
                                 .widthAt = kWidthPos,
                                 .frames = ValueFrames::SharedBody,
                                 .width = ValueWidth::Member,
                                 .read = ValueRead::ToNulAndNul,
                                 .tooLong = "msgbody space is not enough when write the Dotype Data list\r\n",
                                 .headPastBody = kPastBody,
                                 .valuePastBody = "over the max pava message length when handle value content "};
constexpr ValueRecords kStructures = checkedValueRecords(
    {.entries = &kAttributes,
     .numberPad = '\0',
     .recordTooLong = "the first do struct length is longer than max pava message lenght\r\n"});

constexpr Description d61858{.quirks = kLoudHead, .write = kStructures, .read = kStructures};

// Split structure by structure, the frames marked by the continuation flag
// alone; the last frame's count repeats the frame's before.
constexpr SplitRule kFrames61858 = checkedSplit({.list = Container::RecordList,
                                                 .marks = FrameMarks::Continuation,
                                                 .repair = FrameRepair::CountedBlocks,
                                                 .countAt = kCountPos,
                                                 .itemsAt = kHeadSize,
                                                 .itemHead = kAttributeHead,
                                                 .widthAt = kWidthPos});

constexpr MessageDef dataObjectTypeList() {
    MessageDef def = describedMessage<d61858>(61858, kHead, -1, kHeadIn);
    def.split = &kFrames61858;
    return def;
}

constexpr MessageDef kMessages[] = {dataObjectTypeList()};

}  // namespace

std::span<const MessageDef> dataObjectTypes() { return kMessages; }

}  // namespace pava::messages
