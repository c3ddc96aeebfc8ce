#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "message.h"
#include "messages/catalog.h"
#include "support.h"

namespace pava {
namespace {

// Every id of the protocol that has a documented body layout.
const std::set<int> kLaidOut = {
    101,   102,   203,   204,   205,   206,   208,   209,   210,   211,   212,   213,   214,   215,   800,
    801,   802,   803,   804,   901,   10001, 10002, 10003, 10004, 10005, 10006, 20001, 20002, 20003, 20004,
    20005, 20006, 20007, 20008, 20009, 20010, 20011, 20012, 20013, 20014, 20015, 20016, 20017, 20018, 20019,
    20020, 20021, 20023, 20025, 20034, 20047, 20048, 20055, 20056, 20057, 20058, 20059, 20060, 20063, 20069,
    20079, 20081, 20082, 20083, 20084, 20085, 20086, 20087, 20088, 20089, 20100, 20101, 20102, 20103, 20104,
    20105, 20106, 20107, 20108, 20110, 20111, 20113, 20114, 20117, 20118, 20119, 20123, 20124, 20127, 20128,
    20129, 20130, 20136, 20138, 20139, 20142, 20145, 20146, 20150, 20155, 20160, 20163, 20165, 20166, 20169,
    20170, 20171, 20172, 20173, 20174, 20175, 20176, 20177, 20178, 30014, 30015, 30016, 30017, 30018, 30021,
    30042, 30123, 30124, 30171, 30172, 30173, 30174, 30179, 30180, 30182, 61850, 61851, 61852, 61853, 61854,
    61855, 61856, 61857, 61858, 61859, 61860, 61863, 61864, 61865, 61866, 61901,
};


TEST(Registry, HoldsExactlyTheLaidOutIdsInOrder) {
    std::vector<int> ids;
    for (const MessageDef* def : registeredMessages()) {
        ids.push_back(def->id);
        EXPECT_NE(def->encode, nullptr) << def->id;
        EXPECT_NE(def->decode, nullptr) << def->id;
        EXPECT_EQ(findMessage(def->id), def);
    }
    EXPECT_EQ(std::set<int>(ids.begin(), ids.end()), kLaidOut);
    EXPECT_EQ(ids.size(), kLaidOut.size());  // no id twice
    EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end()));
    EXPECT_EQ(kLaidOut.size() + std::size(messages::kIdsWithoutLayout), 211u);
}

TEST(Registry, AnIdRegisteredTwiceIsAnErrorNotAReplacement) {
    EXPECT_TRUE(registryDuplicates().empty());
    const MessageDef first[] = {*findMessage(101), *findMessage(102)};
    const MessageDef second[] = {*findMessage(203), *findMessage(101)};
    const std::span<const MessageDef> tables[] = {first, second};
    std::vector<int> duplicates;
    const auto merged = mergeRegistrations(tables, &duplicates);
    EXPECT_EQ(duplicates, std::vector<int>{101});
    ASSERT_EQ(merged.size(), 2u);
    EXPECT_EQ(merged[0]->id, 102);
    EXPECT_EQ(merged[1]->id, 203);
}

TEST(Registry, IdsWithoutLayoutHaveNoCodec) {
    test::LogCapture log;
    for (int id : messages::kIdsWithoutLayout) {
        EXPECT_EQ(findMessage(id), nullptr) << id;
        PavaFullData rec = test::recordFor(id);
        PavaMsgList frames(1);
        EXPECT_EQ(Data_To_Pava(&rec, &frames), PAVA_ERR_NO_HANDLER) << id;
        EXPECT_EQ(frames.size(), 1u);
        char head[17];
        std::snprintf(head, sizeof head, "1  %05d0     00", id);
        const PavaMsg frame = test::makeFrame(head);
        EXPECT_EQ(Pava_To_Data(&frame, &rec), PAVA_ERR_NO_HANDLER) << id;
        EXPECT_EQ(rec.msgId, id);
    }
    EXPECT_EQ(log.text(), "");  // the dispatcher itself prints nothing
}

TEST(Dispatcher, EveryCodecSurvivesANullFrameAndAnEmptyRecord) {
    test::LogCapture log;
    for (const MessageDef* def : registeredMessages()) {
        PavaFullData rec = test::recordFor(def->id);
        CPavaMsgAnalyze an(&rec);
        EXPECT_NE(def->decode(*def, nullptr, &an), 0) << def->id;
        PavaMsgList frames;
        const int rc = Data_To_Pava(&rec, &frames);
        EXPECT_TRUE(rc == PAVA_OK || rc == PAVA_ERR_ENCODE) << def->id;
        for (const PavaMsg& f : frames) {
            PavaFullData back;
            const int back_rc = Pava_To_Data(&f, &back);
            EXPECT_TRUE(back_rc == PAVA_OK || back_rc == PAVA_ERR_DECODE) << def->id;
        }
    }
}

}  // namespace
}  // namespace pava
