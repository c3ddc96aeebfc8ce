// The decoders' reported reads against the frames and records they decode:
// over every frame of the golden corpus, random records of every id sent
// through the encoders and random bytes behind every id's header, the spans of a body never overlap (but where the
// decoder itself reads bytes twice), reach the declared length, and the last
// read of each member gives the value the decoded record holds, and each
// member the record holds was read.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <fstream>
#include <map>
#include <random>
#include <set>

#include "dissect.h"
#include "frame_header.h"
#include "json_record.h"
#include "read_trace.h"
#include "corpus_text.h"
#include "unit/support.h"

namespace pava::tool {
namespace {

// 61851's decoder steps 106 bytes from item to item whatever the value width:
// the next item's head is read from the value bytes again.
const std::set<int> kReadsTwice = {61851};
// Members the header fills. (10001's decoder also copies the first record's
// fields into the second record, which it reads no bytes for; a text of NULs
// alone may be sized by a width of 0.)
const std::set<std::string> kHeadMembers = {"rii", "msgId", "msgType", "msgLen", "headFlag", "contFlag"};

using test::textOf;

std::vector<PavaMsg> corpusFrames() {
    std::vector<PavaMsg> frames;
    for (const auto& entry : std::filesystem::directory_iterator(PAVA_CORPUS_DIR)) {
        std::ifstream in(entry.path());
        const Json file = Json::parse(in);
        for (const Json& c : file.at("cases")) {
            if (c.contains("frames"))
                for (const Json& f : c["frames"]) frames.push_back(test::makeFrame(textOf(f.at("head")), textOf(f.at("body"))));
            if (c.contains("head") && !c["head"].is_null())
                frames.push_back(test::makeFrame(textOf(c["head"]), textOf(c.at("body"))));
        }
    }
    return frames;
}

// Records of every id with small random members and lists, encoded.
std::vector<PavaMsg> randomFrames(unsigned seed) {
    std::mt19937 rng(seed);
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    auto text = [&](int most) {
        std::string s(static_cast<size_t>(pick(0, pick(0, 1) != 0 ? most : 8)), ' ');
        for (char& c : s) c = static_cast<char>(pick('!', '~'));
        return s;
    };
    auto chars = [&](char* dest, size_t size) { std::strncpy(dest, text(static_cast<int>(size) - 1).c_str(), size - 1); };
    std::vector<PavaMsg> frames;
    for (const MessageDef* def : registeredMessages()) {
        for (int n = 0; n < 12; ++n) {
            PavaFullData rec;
            rec.msgId = static_cast<uint16_t>(def->id);
            rec.rii = static_cast<uint16_t>(pick(0, 999));
            for (int32_t* v : {&rec.intValue1, &rec.intValue2, &rec.intValue3, &rec.intValue4, &rec.intValue5,
                               &rec.intValue6, &rec.intValue7, &rec.intValue8, &rec.intValue9, &rec.intValue10,
                               &rec.intValue11, &rec.intValue12, &rec.intValue13, &rec.intValue14, &rec.intValue15,
                               &rec.intValue16})
                *v = pick(0, 1) != 0 ? pick(1, 7) : pick(0, 99999);
            for (auto* a : {rec.text12a, rec.text12b, rec.text12c, rec.text12d}) chars(a, 13);
            chars(rec.text20a, sizeof rec.text20a), chars(rec.text64a, sizeof rec.text64a);
            chars(rec.text64b, sizeof rec.text64b), chars(rec.text32, sizeof rec.text32);
            chars(rec.fileBlock.fbText16a, sizeof rec.fileBlock.fbText16a);
            for (std::string* s : {&rec.string1, &rec.string2, &rec.string3, &rec.string4, &rec.string5, &rec.string6})
                *s = text(300);
            rec.fileBlock.fbCount = static_cast<uint16_t>(pick(0, 4));
            for (int i = 0; i < rec.fileBlock.fbCount; ++i) chars(rec.fileBlock.fbCodes[i], 13);
            for (int i = pick(0, 5); i > 0; --i) {
                PavaDataItem& item = rec.dataList.emplace_back();
                item.itemId = pick(0, 99), item.itemText = text(300), item.itemText2 = text(40);
                item.itemInt2 = static_cast<int32_t>(item.itemText2.size());
                chars(item.itemBlock, sizeof item.itemBlock);
            }
            for (int i = pick(0, 3); i > 0; --i) {
                PavaSettingItem& s = rec.settingList.emplace_back();
                s.setId = pick(0, 999), s.setText = text(100);
                chars(s.setText30, sizeof s.setText30);
            }
            for (int i = pick(0, 3); i > 0; --i) {
                PavaRecordItem& r = rec.recordList.emplace_back();
                r.recInt = pick(0, 99);
                for (auto* list : {&r.fieldList, &r.fieldList2})
                    for (int k = pick(0, 3); k > 0; --k) {
                        PavaFieldItem& f = list->emplace_back();
                        f.fieldType = pick(0, 9), f.fieldText1 = text(20), f.fieldText2 = text(20);
                        f.fieldLen = static_cast<int32_t>(f.fieldText1.size());
                    }
            }
            PavaMsgList out;
            if (Data_To_Pava(&rec, &out) == PAVA_OK) frames.insert(frames.end(), out.begin(), out.end());
        }
    }
    return frames;
}

// Bodies of random bytes behind a header of every id: digits and blanks
// (counts and lengths that parse), "$$$" markers and NULs, or any byte; of
// lengths from none to a whole body.
std::vector<PavaMsg> noiseFrames(unsigned seed) {
    std::mt19937 rng(seed);
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    const std::string alphabets[] = {"0123456789 ", std::string("0123456789 $\0", 13), ""};
    std::vector<PavaMsg> frames;
    for (const MessageDef* def : registeredMessages()) {
        for (int n = 0; n < 8; ++n) {
            const std::string& alphabet = alphabets[pick(0, 2)];
            const int lengths[] = {0, 1, 5, 40, 300, 2000, MAX_PAVA_MSG_LEN};
            std::string body(static_cast<size_t>(lengths[pick(0, 6)]), '\0');
            for (char& c : body) {
                const int k = pick(0, 255);
                c = static_cast<char>(alphabet.empty() ? k : alphabet[static_cast<size_t>(k) % alphabet.size()]);
            }
            char head[PAVA_HEAD_LEN + 1];
            std::snprintf(head, sizeof head, "%-3d%05d0%-5d%d0", pick(0, 999), def->id,
                          static_cast<int>(body.size()), pick(0, 3));
            frames.push_back(test::makeFrame(std::string(head, PAVA_HEAD_LEN), body));
        }
    }
    return frames;
}

// The value a read's bytes give, as the member it names stores it.
bool agrees(const BodySpan& s, const char* bytes, const Slot& slot) {
    const std::string_view read(bytes, static_cast<size_t>(s.width));
    const auto upToNul = [](std::string_view v) { return v.substr(0, v.find('\0')); };
    switch (slot.type) {
    case SlotType::Int32: return s.kind == SpanKind::Decimal && *static_cast<int32_t*>(slot.ptr) == readIntField(bytes, s.width);
    case SlotType::UInt16:
        return s.kind == SpanKind::Decimal &&
               *static_cast<uint16_t*>(slot.ptr) == static_cast<uint16_t>(readIntField(bytes, s.width));
    case SlotType::Chars:
    case SlotType::String: {
        std::string_view held = slot.type == SlotType::String
                                    ? std::string_view(*static_cast<std::string*>(slot.ptr))
                                    : std::string_view(static_cast<char*>(slot.ptr), static_cast<size_t>(slot.size));
        const size_t n = slot.type == SlotType::Chars ? std::min<size_t>(read.size(), held.size()) : read.size();
        if (s.kind == SpanKind::Text) return upToNul(held) == upToNul(read.substr(0, n));
        // A string holds the bytes read, and a NUL-padded one a NUL behind them.
        if (slot.type == SlotType::String && held != read && held != std::string(read) + '\0') return false;
        return s.kind == SpanKind::Raw && held.substr(0, n) == read.substr(0, n);
    }
    case SlotType::None: break;
    }
    return false;
}

// Checks one frame; returns the member reads whose element the decoder did not keep.
int checkFrame(const PavaMsg& frame, const std::string& where) {
    PavaFullData rec;
    const std::vector<BodySpan> spans = explainBody(frame, rec);
    const int id = readHead(&frame).getMsgId();
    int covered = 0;
    std::map<std::string, const BodySpan*> last;
    for (const BodySpan& s : spans) {
        EXPECT_TRUE(s.offset >= covered || kReadsTwice.count(id) != 0) << where << ": overlap at " << s.offset;
        EXPECT_LE(s.offset + s.width, MAX_PAVA_MSG_LEN) << where << " id " << id << " " << pathText(s.path);
        covered = std::max(covered, s.offset + s.width);
        if (!s.unread) last[pathText(s.path)] = &s;
    }
    EXPECT_GE(covered, std::clamp(readHead(&frame).getLength(), 0, MAX_PAVA_MSG_LEN)) << where;
    // Every member the body gave a value has a read (the header's own aside).
    std::function<void(const Json&, const std::string&)> held = [&](const Json& j, const std::string& at) {
        if (j.is_object()) {
            for (const auto& [k, v] : j.items())
                if (!at.empty() || !kHeadMembers.contains(k)) held(v, at.empty() ? k : at + "." + k);
        } else if (j.is_array()) {
            for (size_t i = 0; i < j.size(); ++i) held(j[i], at + "[" + std::to_string(i) + "]");
        } else if (!(id == 10001 && at.starts_with("recordList[1].fieldList[")) &&
                   !(j.is_string() && j.get_ref<const std::string&>().find_first_not_of('\0') == std::string::npos)) {
            EXPECT_TRUE(last.contains(at) || last.contains(at + ".length")) << where << " (" << id << "): no read gave " << at;
        }
    };
    held(recordToJson(rec), "");
    int dropped = 0;
    for (const auto& [path, s] : last) {
        if (s->path.name != nullptr && s->path.name != std::string_view("recInt")) continue;  // counts, lengths
        const Slot slot = slotAt(rec, s->path);
        if (slot.type == SlotType::None) {
            ++dropped;
            continue;
        }
        EXPECT_TRUE(agrees(*s, frame.body + s->offset, slot)) << where << ": " << path << " at " << s->offset;
    }
    return dropped;
}

TEST(ReadSpans, ExplainEveryBodyByteAsTheRecordHoldsIt) {
    test::LogCapture quiet;
    const std::vector<PavaMsg> corpus = corpusFrames();
    ASSERT_GT(corpus.size(), 200u) << PAVA_CORPUS_DIR;
    for (size_t i = 0; i < corpus.size(); ++i) checkFrame(corpus[i], "corpus frame " + std::to_string(i));
    // Frames the encoders made: every member read lands in the record.
    const std::vector<PavaMsg> generated = randomFrames(27);
    std::set<int> ids;
    for (size_t i = 0; i < generated.size(); ++i) {
        ids.insert(readHead(&generated[i]).getMsgId());
        EXPECT_EQ(checkFrame(generated[i], "frame " + std::to_string(i) + " of " + test::headOf(generated[i])), 0);
    }
    EXPECT_GT(ids.size(), 120u);
    // Random bytes: the reads of whatever the decoder takes still tile the body.
    const std::vector<PavaMsg> noise = noiseFrames(27);
    for (size_t i = 0; i < noise.size(); ++i)
        checkFrame(noise[i], "noise frame " + std::to_string(i) + " of " + test::headOf(noise[i]));

    // The JSON form carries the same spans.
    PavaFullData rec;
    const Json j = Json::parse(dissectFrameJson(generated.front()));
    const std::vector<BodySpan> spans = explainBody(generated.front(), rec);
    ASSERT_EQ(j.at("spans").size(), spans.size());
    for (size_t i = 0; i < spans.size(); ++i) {
        EXPECT_EQ(j["spans"][i].at("offset"), spans[i].offset);
        EXPECT_EQ(j["spans"][i].at("width"), spans[i].width);
        EXPECT_EQ(j["spans"][i].at("path"), spans[i].unread ? Json() : Json(pathText(spans[i].path)));
    }
}

}  // namespace
}  // namespace pava::tool
