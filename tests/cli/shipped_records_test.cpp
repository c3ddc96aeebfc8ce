// The shipped example records come back from their frames: every member a
// record names is decoded again, a split list gathered from all its frames.
#include <gtest/gtest.h>

#include <fstream>

#include "json_record.h"

namespace pava::tool {
namespace {

// Order-blind comparison (decoders fill members in their own order), texts
// without the NUL padding some layouts decode.
nlohmann::json plain(const Json& j) {
    nlohmann::json out = nlohmann::json::parse(j.dump());
    if (out.is_string()) out = out.get<std::string>().substr(0, out.get<std::string>().find_last_not_of('\0') + 1);
    return out;
}

TEST(ShippedRecords, EncodeThenDecodeGivesThemBack) {
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
    std::ifstream in(PAVA_SHIPPED_RECORDS);
    ASSERT_TRUE(in) << PAVA_SHIPPED_RECORDS;
    const Json records = Json::parse(in);
    ASSERT_EQ(records.size(), 6u);
    for (const Json& record : records) {
        PavaFullData rec = recordFromJson(record);
        PavaMsgList frames;
        ASSERT_EQ(Data_To_Pava(&rec, &frames), PAVA_OK) << record.dump();
        Json decoded;
        for (const PavaMsg& frame : frames) {
            PavaFullData back;
            ASSERT_EQ(Pava_To_Data(&frame, &back), PAVA_OK);
            Json j = recordToJson(back);
            if (decoded.is_null())
                decoded = j;
            else
                for (const Json& item : j["dataList"]) decoded["dataList"].push_back(item);
        }
        EXPECT_EQ(frames.size(), record["msgId"] == 20018 ? 2u : 1u);
        for (const auto& [key, value] : record.items())
            EXPECT_EQ(plain(decoded[key]), plain(value)) << record["msgId"] << " " << key;
    }
    Pava_SetLogOutput(PAVA_LOG_STDOUT, nullptr, nullptr);
}

}  // namespace
}  // namespace pava::tool
