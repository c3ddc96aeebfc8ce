// Encoding into a list that already holds frames: the frames are reused in
// place, so whatever they held must never show through, and the list must end
// with exactly the frames an empty list would get.
#include <cstring>
#include <string>
#include <vector>

#include "message.h"
#include "support.h"
#include "zero_fill.h"

namespace pava {
namespace {

TEST(ZeroFill, ClearsExactlyTheBlockAtEveryAlignment) {
    std::vector<unsigned char> buffer(8208 + 128);
    for (const auto fill : {zeroFill, zeroFillReused}) {
        for (const size_t size : {0u, 1u, 31u, 32u, 33u, 255u, 256u, 257u, 300u, 511u, 512u, 2807u, 8208u}) {
            for (size_t offset = 0; offset < 70; offset += 3) {
                std::memset(buffer.data(), 0xA5, buffer.size());
                fill(buffer.data() + offset, size);
                for (size_t i = 0; i < buffer.size(); ++i) {
                    const bool inside = i >= offset && i < offset + size;
                    ASSERT_EQ(buffer[i], inside ? 0 : 0xA5) << "size " << size << " offset " << offset << " byte " << i;
                }
            }
        }
    }
}

// A reused block is mostly zero already; a single byte left anywhere in it,
// front, middle or tail, must still be cleared, and nothing around it touched.
TEST(ZeroFill, ReusedBlockLosesEveryStrayByte) {
    std::vector<unsigned char> buffer(8208 + 128);
    const std::vector<unsigned char> zeros(8208, 0);
    for (const size_t size : {512u, 513u, 1000u, 2807u, 8208u}) {
        for (const size_t offset : {0u, 5u, 16u, 63u}) {
            unsigned char* block = buffer.data() + offset;
            std::memset(buffer.data(), 0xA5, buffer.size());
            std::memset(block, 0, size);
            for (size_t stray = 0; stray < size; ++stray) {
                block[stray] = static_cast<unsigned char>(1 + stray % 255);
                zeroFillReused(block, size);
                ASSERT_EQ(std::memcmp(block, zeros.data(), size), 0) << "size " << size << " offset " << offset << " stray " << stray;
                ASSERT_EQ(buffer[offset + size], 0xA5) << "size " << size << " offset " << offset;
                if (offset > 0) {
                    ASSERT_EQ(buffer[offset - 1], 0xA5) << "size " << size << " offset " << offset;
                }
            }
        }
    }
}

std::string framesText(const PavaMsgList& frames) {
    std::string bytes;
    for (const PavaMsg& f : frames) bytes.append(reinterpret_cast<const char*>(&f), sizeof f);
    return bytes;
}

// Lists holding dirty frames, fewer and more than the encode needs: continuation
// frames that start as copies of the frame before keep nothing of the reused one either.
TEST(FrameReuse, EveryIdGivesTheSameFramesWhateverTheListHeld) {
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
    PavaMsg dirty;
    std::memset(&dirty, 0x5A, sizeof dirty);
    for (const MessageDef* def : registeredMessages()) {
        for (const size_t items : {0u, 3u, 700u}) {
            for (const bool hostile : {false, true}) {
                PavaFullData rec = test::busyRecord(def->id, items, hostile);
                PavaFullData copy = rec;
                PavaMsgList expected;
                const int expectedRc = Data_To_Pava(&copy, &expected);
                for (const size_t held : {1u, 2u, 60u}) {
                    PavaMsgList frames(held, dirty);
                    copy = rec;
                    EXPECT_EQ(Data_To_Pava(&copy, &frames), expectedRc) << def->id;
                    ASSERT_EQ(frames.size(), expected.size()) << def->id << " items " << items << " held " << held;
                    EXPECT_TRUE(framesText(frames) == framesText(expected))
                        << def->id << " items " << items << " hostile " << hostile << " held " << held;
                }
            }
        }
    }
    Pava_SetLogOutput(PAVA_LOG_STDOUT, nullptr, nullptr);
}

// Long messages reserve their frames up front, but a list that already has
// the room for them keeps its own allocation.
TEST(FrameReuse, ListsWithRoomAreNotReallocatedAndNewOnesGrowOnce) {
    for (const int id : {20018, 30014, 20155, 61851, 61901, 61858}) {
        PavaFullData rec = test::busyRecord(id, 5000, false);
        PavaMsgList fresh;
        ASSERT_EQ(Data_To_Pava(&rec, &fresh), PAVA_OK) << id;
        ASSERT_GT(fresh.size(), 3u) << id;
        EXPECT_LE(fresh.capacity(), 2 * fresh.size() + 2) << id;
        PavaMsgList exact;
        exact.reserve(fresh.size());
        const PavaMsg* storage = exact.data();
        ASSERT_EQ(Data_To_Pava(&rec, &exact), PAVA_OK) << id;
        EXPECT_EQ(exact.data(), storage) << id;
        EXPECT_TRUE(framesText(exact) == framesText(fresh)) << id;
    }
}

}  // namespace
}  // namespace pava
