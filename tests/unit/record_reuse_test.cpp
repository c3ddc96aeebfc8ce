// Decoding into a record that holds an earlier decode: its list items are
// reused in place, so nothing they held may show through, and the record
// must end exactly as a new record would.
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "frame_header.h"
#include "message.h"
#include "record_image.h"
#include "support.h"

namespace pava {
namespace {

// Frames of every id, whole and with the back half of their body zeroed, so
// that list decoders also stop part way through an item or a record.
std::vector<PavaMsg> framesOfEveryId() {
    std::vector<PavaMsg> frames;
    for (const MessageDef* def : registeredMessages()) {
        for (const size_t items : {3u, 400u}) {
            PavaFullData rec = test::busyRecord(def->id, items, false);
            PavaMsgList encoded;
            Data_To_Pava(&rec, &encoded);
            for (const PavaMsg& frame : encoded) {
                frames.push_back(frame);
                PavaMsg cut = frame;
                const int length = readHead(&cut).getLength();
                if (length > 1 && length <= MAX_PAVA_MSG_LEN)
                    std::memset(cut.body + length / 2, 0, static_cast<size_t>(MAX_PAVA_MSG_LEN - length / 2));
                frames.push_back(cut);
            }
        }
    }
    return frames;
}

TEST(RecordReuse, EveryFrameDecodesAsIntoANewRecordWhateverTheRecordHeld) {
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
    const std::vector<PavaMsg> frames = framesOfEveryId();
    ASSERT_GT(frames.size(), 400u);
    const PavaFullData crowded = fuzz::crowdedRecord(50);
    // One record that decodes every frame in turn, so that each decode meets
    // what the one before left, and a crowded copy for each frame.
    PavaFullData running;
    for (const PavaMsg& frame : frames) {
        PavaFullData fresh;
        const int rc = Pava_To_Data(&frame, &fresh);
        const std::string expected = fuzz::image(fresh);
        const int id = readHead(&frame).getMsgId();
        ASSERT_EQ(Pava_To_Data(&frame, &running), rc) << id;
        ASSERT_TRUE(fuzz::image(running) == expected) << id << " after the frame before";
        PavaFullData reused = crowded;
        ASSERT_EQ(Pava_To_Data(&frame, &reused), rc) << id;
        ASSERT_TRUE(fuzz::image(reused) == expected) << id << " into a crowded record";
    }
    Pava_SetLogOutput(PAVA_LOG_STDOUT, nullptr, nullptr);
}

// The refill keeps exactly what was kept: an item handed out and not kept
// goes, whether the decode returns or throws.
TEST(RecordReuse, ItemsNotKeptAreGoneAfterReturnAndThrow) {
    std::vector<PavaDataItem> list(4, test::dataItem(9, std::string(50, 'x')));
    const auto refillTwo = [&](bool fail) {
        ListRefill<PavaDataItem> items(list);
        for (int i = 0; i < 3; ++i) {
            PavaDataItem& item = items.next();
            EXPECT_EQ(item.itemId, 0);
            EXPECT_TRUE(item.itemText.empty());
            item.itemId = i + 1;
            if (i == 2 && fail) throw std::bad_alloc();
            if (i < 2) items.keep();
        }
    };
    refillTwo(false);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[1].itemId, 2);
    list.resize(4, test::dataItem(9, "y"));
    EXPECT_THROW(refillTwo(true), std::bad_alloc);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0].itemId, 1);
}

// A record decoded again and again stops allocating once it has held the
// longest of its items.
TEST(RecordReuse, ARecordDecodedAgainKeepsItsItemsMemory) {
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
    for (const int id : {10002, 61858, 61901}) {
        PavaFullData rec = test::busyRecord(id, 60, false);
        PavaMsgList frames;
        ASSERT_EQ(Data_To_Pava(&rec, &frames), 0) << id;
        PavaFullData out;
        const auto texts = [&] {
            std::vector<const void*> at;
            for (const PavaDataItem& item : out.dataList) at.push_back(item.itemText2.data());
            for (const PavaRecordItem& record : out.recordList)
                for (const PavaFieldItem& field : record.fieldList) at.push_back(field.fieldText1.data());
            return at;
        };
        ASSERT_EQ(Pava_To_Data(&frames[0], &out), 0) << id;
        const std::vector<const void*> before = texts();
        ASSERT_FALSE(before.empty()) << id;
        ASSERT_EQ(Pava_To_Data(&frames[0], &out), 0) << id;
        const std::vector<const void*> after = texts();
        EXPECT_EQ(after, before) << id;
    }
    Pava_SetLogOutput(PAVA_LOG_STDOUT, nullptr, nullptr);
}

}  // namespace
}  // namespace pava
