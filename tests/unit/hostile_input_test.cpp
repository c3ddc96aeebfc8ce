// Random and hostile frames and records against every codec: results stay
// within the documented codes, and (under the sanitizers) no codec touches
// memory outside the frame, the record or its strings.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>

#include "message.h"
#include "support.h"

namespace pava {
namespace {

// PAVA_CHAOS_SEED and PAVA_CHAOS_ROUNDS widen a run by hand (a longer soak).
int envOr(const char* name, int fallback) {
    const char* v = std::getenv(name);
    return v != nullptr ? std::atoi(v) : fallback;
}

class Chaos {
public:
    explicit Chaos(uint32_t seed) : m_rng(seed) {}

    int pick(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(m_rng); }

    // Bodies that drive counts and lengths to their extremes.
    void fillBody(char* body) {
        switch (pick(0, 4)) {
        case 0: std::memset(body, '9', MAX_PAVA_MSG_LEN); break;
        case 1: std::memset(body, 0, MAX_PAVA_MSG_LEN); break;
        case 2:
            for (int i = 0; i < MAX_PAVA_MSG_LEN; ++i) body[i] = "0123456789 -$"[pick(0, 12)];
            break;
        case 3:
            for (int i = 0; i < MAX_PAVA_MSG_LEN; ++i) body[i] = static_cast<char>(pick(0, 255));
            break;
        default:
            std::memset(body, ' ', MAX_PAVA_MSG_LEN);
            for (int i = 0; i < 64; ++i) body[pick(0, MAX_PAVA_MSG_LEN - 1)] = static_cast<char>('0' + pick(0, 9));
        }
    }

    PavaMsg frame(int id) {
        PavaMsg f{};
        fillBody(f.body);
        static const int lengths[] = {0, 12, 61, 223, 224, 8192, 65535, 99999};
        char head[32];
        std::snprintf(head, sizeof head, "%-3d%05d%c%-5d%c%c", pick(0, 999), id, "0123456789AFZ"[pick(0, 12)],
                      lengths[pick(0, 7)] % 100000, "0129A"[pick(0, 4)], "01"[pick(0, 1)]);
        std::memcpy(f.head, head, PAVA_HEAD_LEN);
        return f;
    }

    // A text of random length: printable and high bytes from a cheap sequence,
    // with the odd NUL in it.
    std::string text(int maxLength) {
        std::string s(static_cast<size_t>(pick(0, maxLength)), 'x');
        uint32_t x = static_cast<uint32_t>(pick(1, 1 << 30));
        for (char& c : s) {
            x = x * 1103515245u + 12345u;
            const uint32_t r = (x >> 16) & 0xFF;
            c = static_cast<char>(r < 20 ? 0 : (r < 32 ? r + 32 : r));
        }
        return s;
    }

    int number() {
        static const int edges[] = {0, -1, 1, 8, 9, 99, 255, 256, 8154, 8155, 8192, 9999, 65535, 2147483647, -2147483647 - 1};
        return pick(0, 1) == 0 ? edges[pick(0, 14)] : pick(-100, 10000);
    }

    void fillChars(char* p, size_t n) {
        for (size_t i = 0; i < n; ++i) p[i] = static_cast<char>(pick(0, 3) == 0 ? 0 : pick(1, 255));
    }

    PavaFullData record(int id) {
        PavaFullData rec;
        rec.msgId = static_cast<uint16_t>(id);
        rec.rii = static_cast<uint16_t>(pick(0, 2000));
        rec.headFlag = static_cast<uint16_t>(pick(0, 3));
        for (int m = 0; m < static_cast<int>(Member::None); ++m) {
            const Slot s = slotOf(rec, static_cast<Member>(m));
            if (s.type == SlotType::Int32) *static_cast<int32_t*>(s.ptr) = number();
            if (s.type == SlotType::Chars) fillChars(static_cast<char*>(s.ptr), static_cast<size_t>(s.size));
            if (s.type == SlotType::String) *static_cast<std::string*>(s.ptr) = text(pick(0, 3) == 0 ? 9000 : 40);
        }
        rec.fileBlock.fbCount = static_cast<uint16_t>(pick(0, 2) == 0 ? pick(0, 65535) : pick(0, 201));
        fillChars(&rec.fileBlock.fbCodes[0][0], sizeof rec.fileBlock.fbCodes);
        const int items = pick(0, 3) == 0 ? pick(0, 2500) : pick(0, 5);
        for (int i = 0; i < items; ++i) {
            PavaDataItem item;
            item.itemId = number();
            item.itemInt2 = number();
            item.itemText = text(pick(0, 20) == 0 ? 9000 : 12);
            item.itemText2 = text(12);
            fillChars(item.itemBlock, sizeof item.itemBlock);
            rec.dataList.push_back(item);
        }
        for (int i = pick(0, 50); i > 0; --i) {
            PavaSettingItem setting;
            setting.setId = number();
            setting.setText = text(300);
            fillChars(setting.setText30, sizeof setting.setText30);
            rec.settingList.push_back(setting);
        }
        const int records = pick(0, 4) == 0 ? pick(0, 120) : pick(0, 3);
        for (int r = 0; r < records; ++r) {
            PavaRecordItem record;
            const bool wide = r == 0 && pick(0, 3) == 0;
            for (int f = wide ? pick(0, 1100) : pick(0, 4); f > 0; --f) {
                PavaFieldItem field;
                field.fieldType = number();
                field.fieldLen = pick(0, 3) == 0 ? number() : pick(0, 20);
                field.fieldText1 = text(pick(0, 10) == 0 ? 9000 : 30);
                (pick(0, 1) == 0 ? record.fieldList : record.fieldList2).push_back(field);
            }
            rec.recordList.push_back(record);
        }
        return rec;
    }

private:
    std::mt19937 m_rng;
};

TEST(HostileInput, RandomFramesDecodeOrFailCleanly) {
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
    Chaos chaos(static_cast<uint32_t>(envOr("PAVA_CHAOS_SEED", 7)));
    const int rounds = 24 * envOr("PAVA_CHAOS_ROUNDS", 1);
    for (const MessageDef* def : registeredMessages()) {
        for (int round = 0; round < rounds; ++round) {
            const PavaMsg frame = chaos.frame(def->id);
            PavaFullData rec;
            const int rc = Pava_To_Data(&frame, &rec);
            ASSERT_TRUE(rc == PAVA_OK || rc == PAVA_ERR_DECODE) << def->id << " gave " << rc;
        }
    }
    Pava_SetLogOutput(PAVA_LOG_STDOUT, nullptr, nullptr);
}

TEST(HostileInput, RandomRecordsEncodeOrFailCleanly) {
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
    Chaos chaos(static_cast<uint32_t>(envOr("PAVA_CHAOS_SEED", 11)));
    const int rounds = 6 * envOr("PAVA_CHAOS_ROUNDS", 1);
    for (const MessageDef* def : registeredMessages()) {
        for (int round = 0; round < rounds; ++round) {
            PavaFullData rec = chaos.record(def->id);
            PavaMsgList frames;
            const int rc = Data_To_Pava(&rec, &frames);
            ASSERT_TRUE(rc == PAVA_OK || rc == PAVA_ERR_ENCODE) << def->id << " gave " << rc;
            for (const PavaMsg& f : frames) {
                // Every frame says how long its body is, and that fits the body.
                PavaFullData back;
                const int length = std::atoi(std::string(f.head + 9, 5).c_str());
                EXPECT_LE(length, MAX_PAVA_MSG_LEN) << def->id;
                const int back_rc = Pava_To_Data(&f, &back);
                ASSERT_TRUE(back_rc == PAVA_OK || back_rc == PAVA_ERR_DECODE) << def->id;
            }
        }
    }
    Pava_SetLogOutput(PAVA_LOG_STDOUT, nullptr, nullptr);
}

}  // namespace
}  // namespace pava
