// JSON records: every byte survives the trip through JSON, and records that
// do not fit the record type are refused with the member named.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "json_record.h"
#include "../../fuzz/record_image.h"

namespace pava::tool {
namespace {

std::string allBytes() {
    std::string bytes;
    for (int b = 0; b < 256; ++b) bytes += static_cast<char>(b);
    return bytes;
}

TEST(JsonRecord, BytesAreLatin1CodePoints) {
    EXPECT_EQ(bytesToUtf8("A\xe9\xff"), "A\xc3\xa9\xc3\xbf");  // every byte round trips below
    EXPECT_THROW(utf8ToBytes("\xc4\x80"), RecordError);  // U+0100
    EXPECT_THROW(utf8ToBytes("\xe2\x82\xac"), RecordError);
    EXPECT_THROW(utf8ToBytes("\xc3"), RecordError);
}

TEST(JsonRecord, OddBytesRoundTripThroughJsonText) {
    PavaFullData rec;
    rec.msgId = 20018;
    rec.rii = 65535;
    rec.intValue1 = INT32_MIN;
    std::memcpy(rec.text12b, "A\0B\x7f\x80\xff\"\\\n\x01xyz", 13);  // all 13 bytes, no terminator
    rec.string1 = allBytes() + std::string(3, '\0');
    std::memcpy(rec.fileBlock.fbCodes[2], "\xfe\0C", 3);
    rec.dataList.resize(2);
    rec.dataList[1].itemText = std::string("\0\xe9", 2);
    std::memcpy(rec.dataList[1].itemBlock, "\x01\x02", 2);
    rec.settingList.resize(1);
    std::memcpy(rec.settingList[0].setText30, std::string(30, '\xaa').data(), 30);
    rec.recordList.resize(1);
    rec.recordList[0].fieldList2.push_back(PavaFieldItem{2, -1, "\x80", std::string(1, '\0')});
    rec.recordList[0].recText3 = "\xff";
    rec.recordList[0].recInt = 9;

    const std::string text = jsonLine(recordToJson(rec));
    for (const char c : text) EXPECT_TRUE(c >= 0x20 && c < 0x7f) << text;  // pure ASCII line
    const PavaFullData back = recordFromJson(Json::parse(text));

    EXPECT_TRUE(fuzz::image(back) == fuzz::image(rec));  // every member, every list item
    EXPECT_EQ(jsonLine(recordToJson(back)), text);

    // The direct writer of `pava decode` writes the very same line.
    std::string direct = "{";
    bool first = true;
    appendRecordMembers(direct, first, rec);
    EXPECT_EQ(direct + "}", text);
    std::string none = "{";
    first = true;
    appendRecordMembers(none, first, PavaFullData{});
    EXPECT_TRUE(first);
    EXPECT_EQ(none + "}", jsonLine(recordToJson(PavaFullData{})));
}

TEST(JsonRecord, RefusesWhatTheRecordCannotHold) {
    const struct {
        const char* json;
        const char* message;
    } cases[] = {
        {R"({"text12b": "12345678901234"})", "text12b: 14 bytes do not fit the 13-byte array"},
        {R"({"text12b": "\u0100"})", "text12b: character at byte 0 is not in U+0000..U+00FF"},
        {R"({"dataList": [{}, {"itemBlock": 5}]})", "dataList[1].itemBlock: expected a string"},
        {R"({"settingList": [{"setText30": "x", "itemId": 1}]})", "settingList[0].itemId: unknown member"},
        {R"({"recordList": [{"fieldList": [{"fieldLen": 2147483648}]}]})",
         "recordList[0].fieldList[0].fieldLen: 2147483648 is out of range -2147483648..2147483647"},
        {R"({"rii": -1})", "rii: -1 is out of range 0..65535"},
        {R"({"msgID": 1})", "msgID: unknown member"},
        {R"({"fbCodes": "ABC"})", "fbCodes: expected an array of at most 200 texts"},
        {R"([1])", "expected an object"},
    };
    for (const auto& c : cases) {
        try {
            recordFromJson(Json::parse(c.json));
            ADD_FAILURE() << "accepted " << c.json;
        } catch (const RecordError& e) {
            EXPECT_STREQ(e.what(), c.message) << c.json;
        }
    }
}

}  // namespace
}  // namespace pava::tool
