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

// Every id whose body length varies describes what follows its fixed
// fields, and the JSON carries the description whole: the dissectors read
// nothing else.
TEST(LayoutDescription, EveryVariableBodyHasATail) {
    EXPECT_EQ(allLayoutsJson().size(), registeredMessages().size());
    for (const MessageDef* def : registeredMessages()) {
        SCOPED_TRACE(def->id);
        const auto j = layoutJson(def->id);
        // 00802 varies only because its encoder sends no frame; 20176 and
        // 20177 are read as fixed fields behind a text their encoders cut.
        if (def->layout.length < 0 && def->id != 802) {
            EXPECT_TRUE(j["description"]["write"].is_object() || j["description"]["read"].is_object());
        }
        EXPECT_EQ(j["readFields"].size(), def->layout.readFields().size());
    }
}

// 00209 is read as a count and rows its encoder writes without the count:
// the text shows both sides. The members are those of the fixed fields and
// of the tails, including what a construct fills by itself (the texts of
// escaped items, a table's entries and digit, the value bytes).
TEST(LayoutDescription, TextShowsBothSidesAndMembersIncludeTheTails) {
    const std::string text = describeLayout(layoutJson(209));
    EXPECT_NE(text.find("the encoder writes:\n  kind rows, list settingList, countWidth 0, first 0, stride 192"),
              std::string::npos) << text;
    EXPECT_NE(text.find("and the decoder reads:\n  kind rows, list settingList, countAt 0, countWidth 4, first 4"),
              std::string::npos) << text;
    EXPECT_NE(text.find("         0    192  text      setText\n"), std::string::npos) << text;
    EXPECT_NE(text.find("members: setText\n"), std::string::npos) << text;

    using Members = std::vector<std::string>;
    EXPECT_EQ(layoutJson(20170)["members"].get<Members>(),
              (Members{"text12b", "intValue2", "itemId", "itemText", "intValue4"}));
    EXPECT_EQ(layoutJson(10006)["members"].get<Members>(),
              (Members{"text64b", "intValue16", "fieldType", "fieldLen", "fieldText1", "intValue4"}));
    EXPECT_EQ(layoutJson(61851)["members"].get<Members>(),
              (Members{"text12a", "string4", "itemText", "itemId", "itemInt2", "itemText2"}));
    EXPECT_EQ(layoutJson(211)["members"].back(), "string6");
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
