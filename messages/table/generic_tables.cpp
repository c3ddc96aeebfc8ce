// Generic table messages 10001-10006: a list of records, each a list of
// fields and a list of (where-)items, every entry a type-length-value triple
// (core/table_body.h). 10001 and 10003 carry the first record in one frame,
// 10002, 10004 and 10006 split the whole record list over frames (a record is
// never split), 10005 carries one free text. What a message carries is chosen
// by its function type (intValue14) and sub-type (intValue16); the encoders
// (10005 aside) build their own header: RII, id, length 0, NUL type and flag
// bytes; position 14 numbers the frames and a final pass writes the frame
// count at position 8.
#include "body_codec.h"
#include "messages/catalog.h"
#include "table_body.h"

namespace pava::messages {

namespace {

using enum FieldKind;
using M = Member;

constexpr int kBodyEnd = MAX_PAVA_MSG_LEN;

// text64b (15 raw) | function type (3) | number (5) | sub-type (5)
constexpr Field kTablePrefix[] = {
    {0, 15, Raw, M::text64b, kClearMember},
    {15, 3, Decimal, M::intValue14},
    {18, 5, Decimal, M::intValue15},
    {23, 5, Decimal, M::intValue16},
};
// text64b (15 raw) | sub-type (5)
constexpr Field kShortPrefix[] = {
    {0, 15, Raw, M::text64b, kClearMember},
    {15, 5, Decimal, M::intValue16},
};
constexpr int kTablePrefixLen = 28;
constexpr int kCountPos = 28;    // field or record count after the table prefix; the entries follow it

// Log texts of the family.
constexpr char kFieldFrameText[] = "make frame fieldnum %d, frmidx = %d \r\n";
constexpr char kRecordFrameText[] = "make frame recordnum %d, frmidx = %d \r\n";
constexpr char kRecordIdxFrameText[] = "make frame recordnum %d, record_idx = %d, frmidx = %d \r\n";
constexpr char kEndFrameText[] = "make end frame recordnum %d, frmidx = %d \r\n";
constexpr char kFieldOverText[] = "Insert single data ! over max pava message size[%d] ";
constexpr char kWhereLimitText[] = "Insert single where data  over max pava message size[%d] ";
constexpr char kWhereOverText[] = "Insert single where data over max pava message size[%d] ";
// The 10003 decoder's refusal, which the 10001 and 10002 decoders log as well.
constexpr char kFuncType10003[] = "error:: CPavaMsgAnalyze::Data_To_Pava_10003 error 10003 msg funtype ";

// The first record alone: 10001 writes C strings and its where-items behind
// the fields, 10002 (function type 1) exact values and sends nothing for a
// record without fields, 10003 C strings. Values up to 8154 characters.
constexpr FirstRecord kFirst10001{
    .value = ValueWrite::CString, .fieldLimit = 8154, .noFields = NoFields::Write, .whereItems = true};
constexpr FirstRecord kFirst10002{
    .value = ValueWrite::Exact, .fieldLimit = 8154, .noFields = NoFields::Nothing, .frameText = kFieldFrameText};
constexpr FirstRecord kFirst10003{
    .value = ValueWrite::CString, .fieldLimit = 8154, .noFields = NoFields::Prefix, .frameText = kFieldFrameText};

// The record lists over frames: a record of up to 8156 entry bytes may be
// taken back to a new frame. Only 10004's encoder logs its refusals, and
// where a record is taken back at a field.
constexpr RecordFrames kRecords10002{.countAt = 28, .ownCountAt = 13, .recordsAt = 32,
                                     .fieldLimit = 8154, .recordLimit = 8156,
                                     .frameText = kRecordFrameText, .endText = kRecordFrameText};
constexpr RecordFrames kRecords10004{.countAt = 28, .ownCountAt = 13, .recordsAt = 32,
                                     .fieldLimit = 8156, .whereLimit = 8156, .recordLimit = 8156,
                                     .whereItems = true, .noRecords = NoRecords::ZeroRecord,
                                     .fieldTooLong = kFieldOverText, .whereTooLong = kWhereLimitText,
                                     .fieldNoRoom = kFieldOverText, .whereNoRoom = kWhereOverText,
                                     .frameText = kRecordFrameText, .takenBackAtField = kRecordIdxFrameText,
                                     .endText = kEndFrameText};
constexpr RecordFrames kRecords10006{.countAt = 20, .ownCountAt = 5, .recordsAt = 24,
                                     .fieldLimit = 8162, .recordLimit = 8156, .countEndsQuietly = true,
                                     .frameText = kRecordFrameText, .endText = kRecordFrameText};

using S = TableStep;

// The cases, first match taken; a record no case takes is sent or read as
// nothing. fn: function type, sub: sub-type, both bounds included.
constexpr TableCase fn(int lo, int hi, TableCase c) {
    c.fnLo = lo, c.fnHi = hi;
    return c;
}
constexpr TableCase sub(int lo, int hi, TableCase c) {
    c.subLo = lo, c.subHi = hi;
    return c;
}
constexpr TableCase refuse(const char* text) { return {.step = S::Refuse, .text = text}; }
constexpr TableCase first(const FirstRecord& f) { return {.step = S::FirstRecord, .first = &f}; }
constexpr TableCase records(const RecordFrames& r) { return {.step = S::Records, .records = &r}; }
constexpr TableCase digit(int at, bool inserted) { return {.step = S::Digit, .at = at, .inserted = inserted}; }
constexpr TableCase kPrefixOnly{.step = S::PrefixOnly, .at = kTablePrefixLen};
constexpr TableCase kNothing{};

constexpr TableCase kWrite10001[] = {
    fn(1, 1, kPrefixOnly),
    fn(2, 3, sub(1, 1, kPrefixOnly)),
    fn(2, 3, sub(2, 2, first(kFirst10001))),
    fn(2, 3, refuse("error:: CPavaMsgAnalyze::Data_To_Pava_10001 error 10001 msg funtype ")),
};
constexpr TableCase kRead10001[] = {
    fn(2, 3, sub(1, 1, kNothing)),
    fn(2, 3, sub(2, 2, first(kFirst10001))),
    fn(2, 3, refuse(kFuncType10003)),
};
constexpr TableCase kWrite10002[] = {
    fn(1, 1, first(kFirst10002)),
    fn(2, 3, sub(1, 2, records(kRecords10002))),
    fn(2, 3, refuse("error:: CPavaMsgAnalyze::Data_To_Pava_10002 error 10002 msg funtype ")),
};
constexpr TableCase kRead10002[] = {
    fn(1, 1, first(kFirst10002)),
    fn(2, 3, sub(1, 2, records(kRecords10002))),
    fn(2, 3, refuse(kFuncType10003)),
};
// Sub-type 5: one where-item of up to 8158 characters at byte 28, in a frame
// sent in place (so is the stand-in for a missing one).
constexpr TableCase kWrite10003[] = {
    sub(5, 5, {.step = S::WhereItem, .at = kCountPos, .limit = 8158, .inserted = true}),
    sub(3, 4, first(kFirst10003)),
    refuse(kFuncType10003),
};
constexpr TableCase kRead10003[] = {
    sub(5, 5, {.step = S::WhereItem, .at = kCountPos}),
    sub(3, 4, first(kFirst10003)),
    refuse("error:: CPavaMsgAnalyze::Pava_10003_To_Data error 10003 msg funtype "),
};
constexpr TableCase kWrite10004[] = {
    sub(5, 7, digit(kCountPos, true)),
    sub(3, 4, records(kRecords10004)),
    refuse("error:: CPavaMsgAnalyze::Data_To_Pava_10004 error 10003 msg funtype "),
};
constexpr TableCase kRead10004[] = {
    sub(5, 7, digit(kCountPos, true)),
    sub(3, 4, records(kRecords10004)),
    refuse("error:: CPavaMsgAnalyze::Data_To_Pava_10004 error 10004 msg funtype "),
};
// 10006 has no function type: its cases take any.
constexpr TableCase kCases10006[] = {
    sub(3, 5, digit(20, false)),
    sub(1, 2, records(kRecords10006)),
};

constexpr Table kTableWrite10001 = checkedTable({kWrite10001, kCountPos});
constexpr Table kTableRead10001 = checkedTable({kRead10001, kCountPos});
constexpr Table kTableWrite10002 = checkedTable({kWrite10002, kCountPos});
constexpr Table kTableRead10002 = checkedTable({kRead10002, kCountPos});
constexpr Table kTableWrite10003 = checkedTable({kWrite10003, kCountPos});
constexpr Table kTableRead10003 = checkedTable({kRead10003, kCountPos});
constexpr Table kTableWrite10004 = checkedTable({kWrite10004, kCountPos});
constexpr Table kTableRead10004 = checkedTable({kRead10004, kCountPos});
constexpr Table kTable10006 = checkedTable({kCases10006, 20});

// 10001-10004: the decoders' own entry and null-frame texts, no encoder entry line.
constexpr Description quietTable(const char* entry, const char* nullFrame, const Table& write, const Table& read) {
    return Description{
        .decodeEntry = entry, .nullFrame = nullFrame, .quirks = kQuietEntry, .write = write, .read = read};
}
constexpr Description k10001 = quietTable("Pava_10001_To_Data\n",
                                          "error:: CPavaMsgAnalyze::Pava_10001_To_Data pPavaMsg == NULL! ",
                                          kTableWrite10001, kTableRead10001);
constexpr Description k10002 =
    quietTable("Pava_10002_To_Data\n", "error:: CPavaMsgAnalyze Pava_10002_To_Data pPavaMsg parameter is NULL!\n",
               kTableWrite10002, kTableRead10002);
constexpr Description k10003 =
    quietTable("Pava_10003_To_Data\n", "error:: CPavaMsgAnalyze Pava_10003_To_Data pPavaMsg parameter is NULL!\n",
               kTableWrite10003, kTableRead10003);
constexpr Description k10004 =
    quietTable("Pava_10004_To_Data\n", "error:: CPavaMsgAnalyze Pava_10004_To_Data pPavaMsg parameter is NULL!\n",
               kTableWrite10004, kTableRead10004);
constexpr Description k10006{.quirks = kClearsName, .write = kTable10006, .read = kTable10006};

// 10005: a free text. Its decoder takes as many characters as the text holds
// on entry (none after the reset); more than the body holds behind byte 20
// fails, the text unchanged.
constexpr TextToEnd k10005Text = checkedText({.at = 20,
                                              .text = &PavaFullData::string4,
                                              .cap = kBodyEnd - 20,
                                              .tooLong = "Data_To_Pava_10005! len too length return -1! \n ",
                                              .length = TextLength::OnEntry,
                                              .badLength = kFieldOverText,
                                              .readCap = 8187});
constexpr Description k10005{.quirks = kLoudHead, .write = k10005Text, .read = k10005Text};
// The record lists split over numbered frames: every frame but the last
// carries its own count where the total stands in the prefix, which the
// decoder does not read; 10002's wrote over its function type (2 or 3, sent
// alike: 2 stands for either).
constexpr SplitRule kFrames10002 = checkedSplit({.list = Container::RecordList,
                                                 .repair = FrameRepair::OwnCount,
                                                 .countAt = kRecords10002.countAt,
                                                 .ownCountAt = kRecords10002.ownCountAt,
                                                 .restoreAt = kTablePrefix[1].offset,
                                                 .restoreWidth = kTablePrefix[1].width,
                                                 .restore = 2});
constexpr SplitRule kFrames10004 = checkedSplit({.list = Container::RecordList,
                                                 .repair = FrameRepair::OwnCount,
                                                 .countAt = kRecords10004.countAt,
                                                 .ownCountAt = kRecords10004.ownCountAt});
constexpr SplitRule kFrames10006 = checkedSplit({.list = Container::RecordList,
                                                 .repair = FrameRepair::OwnCount,
                                                 .countAt = kRecords10006.countAt,
                                                 .ownCountAt = kRecords10006.ownCountAt});

constexpr MessageDef kMessages[] = {
    describedMessage<k10001>(10001, kTablePrefix, -1),
    withSplit(describedMessage<k10002>(10002, kTablePrefix, -1), kFrames10002),
    describedMessage<k10003>(10003, kTablePrefix, -1),
    withSplit(describedMessage<k10004>(10004, kTablePrefix, -1), kFrames10004),
    describedMessage<k10005>(10005, kShortPrefix, -1),
    withSplit(describedMessage<k10006>(10006, kShortPrefix, -1), kFrames10006),
};

}  // namespace

std::span<const MessageDef> genericTables() { return kMessages; }

}  // namespace pava::messages
