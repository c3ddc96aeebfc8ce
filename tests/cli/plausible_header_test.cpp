// Every frame the codecs write passes the header check that the frame reader
// trusts, or a good frame would be thrown away as damage. (What the reader
// recovers from damaged streams is in tests/unit/frame_reader_test.cpp.)
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "frame_reader.h"
#include "json_record.h"

namespace pava::tool {
namespace {

TEST(PlausibleHeader, EveryEncodedFrameOfTheCorpusPasses) {
    size_t checked = 0;
    for (const auto& entry : std::filesystem::directory_iterator(PAVA_CORPUS_DIR)) {
        std::ifstream in(entry.path());
        const Json doc = Json::parse(in);
        for (const Json& kase : doc.at("cases")) {
            if (!kase.contains("frames")) continue;
            for (const Json& f : kase["frames"]) {
                if (!f.contains("head") || !f["head"].is_string()) continue;
                const std::string head = utf8ToBytes(f["head"].get<std::string>());
                if (head.size() != PAVA_HEAD_LEN) continue;
                // Where the RII was too large to write, the encoder leaves those bytes as they were.
                if (kase.contains("record") && kase["record"].is_object() && kase["record"].value("rii", 0) > 999) continue;
                EXPECT_TRUE(plausibleHeader(head.data())) << kase.value("name", "?") << ": " << head;
                ++checked;
            }
        }
    }
    EXPECT_GT(checked, 100u);
}

}  // namespace
}  // namespace pava::tool
