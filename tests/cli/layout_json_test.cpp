#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "dissect.h"
#include "layout_json.h"
#include "message.h"

namespace pava::tool {
namespace {

// Every id whose body length varies says what follows its fixed fields, and
// every place a description names lies inside the body.
TEST(LayoutDescription, EveryVariableBodyIsDescribedWithinTheBody) {
    for (const MessageDef* def : registeredMessages()) {
        const Layout& layout = def->layout;
        const BodyPart& body = layout.body;
        SCOPED_TRACE(def->id);
        // 00802 varies only because its encoder sends no frame.
        if (layout.length < 0 && def->id != 802) {
            EXPECT_NE(body.kind, BodyKind::Fixed);
            EXPECT_NE(body.words, nullptr);
        }
        EXPECT_GE(body.at, 0);
        EXPECT_LE(body.at, MAX_PAVA_MSG_LEN);
        EXPECT_LE(body.countAt + body.countWidth, MAX_PAVA_MSG_LEN);
        if (const ListShape* list = layout.list) {
            EXPECT_EQ(body.kind, BodyKind::Items);
            EXPECT_EQ(body.at, list->itemsAt);
            EXPECT_TRUE(fieldsFit(list->itemReadFields(), list->itemSize));
        }
        // A description the JSON carries whole: the dissector reads nothing else.
        const auto j = layoutJson(def->id);
        EXPECT_EQ(j["body"]["kind"], bodyKindName(body.kind));
        EXPECT_EQ(j["readFields"].size(), layout.readFields().size());
    }
}

// 00209 is read as a count and rows its encoder writes without the count;
// the text and the JSON both show the rows the decoder reads.
TEST(LayoutDescription, SettingRowsAsTheDecoderReadsThem) {
    const MessageDef* def = findMessage(209);
    ASSERT_NE(def, nullptr);
    const std::string text = describeLayout(layoutJson(209));
    EXPECT_NE(text.find("items of 192 bytes from byte 4 (count in 4 digits at byte 0)"), std::string::npos) << text;
    EXPECT_NE(text.find("       0    192  text      setText\n"), std::string::npos) << text;
    EXPECT_NE(text.find("members: setText\n"), std::string::npos) << text;

    const auto j = layoutJson(def->id);
    EXPECT_EQ(j["list"]["itemSize"], 192);
    EXPECT_EQ(j["list"]["itemReadFields"][0]["owner"], "setting");
    EXPECT_EQ(j["members"], nlohmann::ordered_json::array({"setText"}));
}

// Members of the algorithmic bodies are named too: what the items carry and
// the trailer behind them.
TEST(LayoutDescription, MembersIncludeVariableParts) {
    const auto j = layoutJson(20170);
    EXPECT_EQ(j["members"], nlohmann::ordered_json::array({"text12b", "intValue2", "itemId", "itemText", "intValue4"}));
    EXPECT_EQ(j["body"]["kind"], "escaped-items");
    EXPECT_EQ(j["body"]["countAt"], 14);
    EXPECT_EQ(j["body"]["trailer"][0]["member"], "intValue4");
    EXPECT_EQ(allLayoutsJson().size(), registeredMessages().size());
}

void collectKeys(const nlohmann::ordered_json& j, std::set<std::string>& keys) {
    if (j.is_object())
        for (const auto& [key, value] : j.items()) keys.insert(key), collectKeys(value, keys);
    else if (j.is_array())
        for (const auto& value : j) collectKeys(value, keys);
}

// The description's reference names every key the stream uses, and every
// quirk and tail kind: a construct added without its words fails here.
TEST(LayoutDescription, TheReferenceNamesEveryKey) {
    std::ifstream in(PAVA_LAYOUT_DOC);
    const std::string doc((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    ASSERT_FALSE(doc.empty());
    std::set<std::string> names;
    const auto all = allLayoutsJson();
    collectKeys(all, names);
    for (const auto& j : all) {
        if (!j["description"].is_object()) continue;
        for (const auto& q : j["description"]["quirks"]) names.insert(q.get<std::string>());
        for (const char* side : {"write", "read"})
            if (j["description"][side].is_object()) names.insert(j["description"][side]["kind"].get<std::string>());
    }
    for (const std::string& name : names) EXPECT_NE(doc.find("`" + name + "`"), std::string::npos) << name;
}

}  // namespace
}  // namespace pava::tool
