#include "joiner.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>
#include <string>
#include <utility>

#include "field_codec.h"
#include "frame_header.h"

namespace pava {

namespace {

// What a message splits and how its frames are marked.
enum class Rows : uint8_t { DataList, RecordList };
enum class Marks : uint8_t { Numbered, Continuation };
// Frames whose own decode misreads what the encoder wrote.
enum class Fix : uint8_t {
    None,
    CountAt13,   // 10002/10004: every frame but the last has its own count at 13, the total at 28
    CountAt5,    // 10006: the same at 5 and 20
    Structures,  // 61858: the last frame repeats the previous frame's count
    Values,      // 61851: items are 106 + W bytes, but the decoder steps 106
};

struct JoinRule {
    int id;
    Rows rows;
    Marks marks;
    Fix fix;
    bool headFlagTwo;  // header flag 2 puts '2' at position 14 of every frame
};

constexpr JoinRule kRules[] = {
    {10002, Rows::RecordList, Marks::Numbered, Fix::CountAt13, false},
    {10004, Rows::RecordList, Marks::Numbered, Fix::CountAt13, false},
    {10006, Rows::RecordList, Marks::Numbered, Fix::CountAt5, false},
    {20014, Rows::DataList, Marks::Numbered, Fix::None, false},
    {20016, Rows::DataList, Marks::Numbered, Fix::None, false},
    {20018, Rows::DataList, Marks::Numbered, Fix::None, true},
    {20020, Rows::DataList, Marks::Numbered, Fix::None, true},
    {20155, Rows::DataList, Marks::Numbered, Fix::None, false},
    {30014, Rows::DataList, Marks::Numbered, Fix::None, false},
    {30016, Rows::DataList, Marks::Numbered, Fix::None, false},
    {30018, Rows::DataList, Marks::Numbered, Fix::None, true},
    {61851, Rows::DataList, Marks::Continuation, Fix::Values, false},
    {61858, Rows::RecordList, Marks::Continuation, Fix::Structures, false},
    {61901, Rows::DataList, Marks::Continuation, Fix::None, false},
};

const JoinRule* ruleOf(int id) noexcept {
    for (const JoinRule& r : kRules)
        if (r.id == id) return &r;
    return nullptr;
}

int markValue(char c) noexcept { return static_cast<unsigned char>(c) - '0'; }

// The body length the header declares, within the body.
int bodyLength(const PavaMsg& frame) noexcept {
    const int n = readHead(&frame).getLength();
    return n < 0 ? 0 : n > MAX_PAVA_MSG_LEN ? MAX_PAVA_MSG_LEN : n;
}

// 61858: the number of whole structure blocks between offset 82 and the body
// end, or -1 when the blocks do not end exactly there.
int countStructures(const PavaMsg& frame) noexcept {
    const int end = bodyLength(frame);
    const char* body = frame.body;
    int pos = 82;
    int n = 0;
    while (pos + 4 <= end) {
        const int fields = readIntField(body + pos, 4);
        if (fields < 0) return -1;
        pos += 4;
        for (int f = 0; f < fields; ++f) {
            if (pos + 106 > end) return -1;
            const int w = readIntField(body + pos + 102, 4);
            if (w < 0 || pos + 106 + w > end) return -1;
            pos += 106 + w;
        }
        ++n;
    }
    return pos == end ? n : -1;
}

// One frame, decoded as its encoder wrote it.
struct Part {
    int number = 0;
    uint64_t tag = 0;
    int rc = PAVA_OK;
    bool continued = false;
    PavaFullData rec;
};

// 61851: each item decoded alone at offset 80 (count 1), so its value bytes
// are stepped over; items end where the body ends.
void decodeValueItems(const PavaMsg& frame, Part& part) {
    const int end = bodyLength(frame);
    auto scratch = std::make_unique<PavaMsg>(frame);
    std::vector<PavaDataItem> items;
    for (int pos = 80; pos + 106 <= end;) {
        const int w = readIntField(frame.body + pos + 102, 4);
        if (w < 0 || pos + 106 + w > end) break;
        std::memset(scratch->body + 80, 0, MAX_PAVA_MSG_LEN - 80);
        std::memcpy(scratch->body + 80, frame.body + pos, static_cast<size_t>(106 + w));
        writeIntField(1, scratch->body + 76, 4);
        PavaFullData one;
        if (Pava_To_Data(scratch.get(), &one) != PAVA_OK || one.dataList.size() != 1) break;
        items.push_back(std::move(one.dataList.front()));
        pos += 106 + w;
    }
    part.rec.dataList = std::move(items);
}

Part decodePart(const PavaMsg& frame, const JoinRule* rule, uint64_t tag) {
    Part part;
    part.tag = tag;
    part.number = markValue(frame.head[kHeadFlag]);
    part.continued = frame.head[kHeadContinued] == '1';
    const bool split = markValue(frame.head[kHeadType]) > 1;
    const Fix fix = rule != nullptr ? rule->fix : Fix::None;
    if (fix == Fix::None || ((fix == Fix::CountAt13 || fix == Fix::CountAt5) && !split)) {
        part.rc = Pava_To_Data(&frame, &part.rec);
        return part;
    }
    auto copy = std::make_unique<PavaMsg>(frame);
    char* body = copy->body;
    switch (fix) {
    case Fix::CountAt13:
        // The frame's own count overwrote body 13..16: the last two address
        // characters and the function type, which was 2 or 3 (the only split
        // forms; both are sent alike, so 2 stands for either).
        if (part.continued) std::memcpy(body + 28, body + 13, 4);
        if (rule->id == 10002) writeIntField(2, body + 15, 3);
        break;
    case Fix::CountAt5:
        if (part.continued) std::memcpy(body + 20, body + 5, 4);
        break;
    case Fix::Structures:
        if (const int n = countStructures(frame); n >= 0) writeIntField(n, body + 78, 4);
        break;
    case Fix::Values:
        writeIntField(0, body + 76, 4);
        break;
    case Fix::None: break;
    }
    part.rc = Pava_To_Data(copy.get(), &part.rec);
    if (fix == Fix::Values && part.rc == PAVA_OK) decodeValueItems(frame, part);
    return part;
}

}  // namespace

struct MessageJoiner::Pending {
    int id = 0;
    int rii = 0;
    const JoinRule* rule = nullptr;
    bool byFlag = false;  // joined by the continuation flag, not by frame numbers
    int count = 0;        // frames announced (numbered messages)
    std::vector<Part> parts;
    std::vector<JoinProblem> problems;
};

MessageJoiner::MessageJoiner() = default;
MessageJoiner::~MessageJoiner() = default;

bool MessageJoiner::splits(int id) noexcept { return ruleOf(id) != nullptr; }

int MessageJoiner::push(const PavaMsg* frame, uint64_t tag) noexcept {
    if (frame == nullptr) return PAVA_ERR_NULL;
    try {
        pushFrame(*frame, tag);
        return PAVA_OK;
    } catch (...) {
        return PAVA_ERR_DECODE;
    }
}

void MessageJoiner::finish() noexcept {
    try {
        while (!m_pending.empty()) {
            const Pending& p = *m_pending.front();
            complete(0, false,
                     p.byFlag ? "message cut off at the end of the input: its last frame (continuation flag 0) never came"
                              : "message cut off at the end of the input",
                     p.parts.empty() ? 0 : p.parts.back().tag);
        }
    } catch (...) {
        m_pending.clear();
    }
}

bool MessageJoiner::pop(JoinedMessage& out) noexcept {
    if (m_ready.empty()) return false;
    out = std::move(m_ready.front());
    m_ready.pop_front();
    return true;
}

void MessageJoiner::pushFrame(const PavaMsg& frame, uint64_t tag) {
    const int id = readHead(&frame).getMsgId();
    const JoinRule* rule = ruleOf(id);
    Part part = decodePart(frame, rule, tag);
    const int count = markValue(frame.head[kHeadType]);
    const bool numbered = rule != nullptr && rule->marks == Marks::Numbered;

    auto single = [&](std::vector<JoinProblem> problems, bool whole) {
        JoinedMessage m;
        m.rc = part.rc;
        m.tag = tag;
        m.frames = 1;
        m.complete = whole;
        m.problems = std::move(problems);
        m.record = std::move(part.rec);
        m_ready.push_back(std::move(m));
    };
    // One frame that says it is the whole message.
    if (rule == nullptr || (numbered && count <= 1 && !part.continued) ||
        (!numbered && !part.continued && [&] {
            for (const auto& p : m_pending)
                if (p->id == id && p->rii == part.rec.rii) return false;
            return true;
        }())) {
        single({}, true);
        return;
    }

    const int rii = part.rec.rii;
    size_t at = m_pending.size();
    for (size_t i = 0; i < m_pending.size(); ++i)
        if (m_pending[i]->id == id && m_pending[i]->rii == rii) at = i;

    // A message whose first frame to arrive was frame 2 was taken for the form
    // that numbers every frame 2; another number shows it is numbered after all.
    if (numbered && at < m_pending.size() && m_pending[at]->byFlag && part.number != 2) m_pending[at]->byFlag = false;
    if (numbered && at < m_pending.size() && !m_pending[at]->byFlag) {
        Pending& p = *m_pending[at];
        const bool seen = std::any_of(p.parts.begin(), p.parts.end(), [&](const Part& q) { return q.number == part.number; });
        if (count != p.count || (seen && part.number == 1)) {
            // A new message of the same id and RII began before this one ended.
            complete(at, false, "frames missing: the next message began before they came", tag);
            at = m_pending.size();
        } else if (seen) {
            p.problems.push_back({tag, "frame " + std::to_string(part.number) + " of " + std::to_string(count) +
                                           " received again; the repeat is dropped"});
            return;
        }
    }
    if (numbered && (part.number < 1 || part.number > count) &&
        !(rule->headFlagTwo && frame.head[kHeadFlag] == '2')) {
        single({{tag, "frame number " + std::to_string(part.number) + " is outside 1.." + std::to_string(count)}},
               false);
        return;
    }
    if (at == m_pending.size()) {
        auto p = std::make_unique<Pending>();
        p->id = id;
        p->rii = rii;
        p->rule = rule;
        p->count = count;
        // Header flag 2 numbers every frame 2: then only the continuation flag orders them.
        p->byFlag = !numbered || (rule->headFlagTwo && part.number == 2);
        m_pending.push_back(std::move(p));
        at = m_pending.size() - 1;
    }
    // Room for this frame: the oldest other waiting message goes out unfinished.
    while (at > 0 && (m_pending.size() > kMaxPending || m_pendingFrames >= kMaxPendingFrames)) {
        complete(0, false, "too many frames waiting: handed out unfinished", tag);
        --at;
    }
    Pending& p = *m_pending[at];
    if (!p.byFlag) {
        int latest = 0;
        for (const Part& q : p.parts) latest = std::max(latest, q.number);
        if (part.number < latest)
            p.problems.push_back({tag, "frame " + std::to_string(part.number) + " of " + std::to_string(count) +
                                           " arrived after frame " + std::to_string(latest)});
    }
    const bool last = !part.continued;
    p.parts.push_back(std::move(part));
    ++m_pendingFrames;
    if (p.byFlag) {
        if (last)
            complete(at, true, nullptr, tag);
        else if (p.parts.size() >= kMaxFrames)
            complete(at, false, "no last frame after 255 frames", tag);
        return;
    }
    if (static_cast<int>(p.parts.size()) == p.count) complete(at, true, nullptr, tag);
}

void MessageJoiner::complete(size_t index, bool whole, const char* why, uint64_t tag) {
    std::unique_ptr<Pending> p = std::move(m_pending[index]);
    m_pending.erase(m_pending.begin() + static_cast<std::ptrdiff_t>(index));
    m_pendingFrames -= p->parts.size();
    if (p->parts.empty()) return;
    JoinedMessage m;
    m.problems = std::move(p->problems);
    if (!p->byFlag) {
        std::stable_sort(p->parts.begin(), p->parts.end(), [](const Part& a, const Part& b) { return a.number < b.number; });
        std::string missing;
        int next = 1;
        for (const Part& q : p->parts) {
            for (; next < q.number; ++next) missing += (missing.empty() ? "" : ", ") + std::to_string(next);
            next = q.number + 1;
        }
        for (; next <= p->count; ++next) missing += (missing.empty() ? "" : ", ") + std::to_string(next);
        if (!missing.empty()) {
            whole = false;
            m.problems.push_back(
                {tag, "frame(s) " + missing + " of " + std::to_string(p->count) + " missing" + (why ? std::string("; ") + why : "")});
            why = nullptr;
        }
    }
    if (!whole && why != nullptr) m.problems.push_back({tag, why});
    m.complete = whole;
    m.frames = p->parts.size();
    m.tag = p->parts.front().tag;
    for (const Part& q : p->parts) {
        m.tag = std::min(m.tag, q.tag);
        if (m.rc == PAVA_OK) m.rc = q.rc;
    }
    m.record = std::move(p->parts.front().rec);
    for (size_t i = 1; i < p->parts.size(); ++i) {
        PavaFullData& r = p->parts[i].rec;
        if (p->rule->rows == Rows::DataList)
            std::move(r.dataList.begin(), r.dataList.end(), std::back_inserter(m.record.dataList));
        else
            std::move(r.recordList.begin(), r.recordList.end(), std::back_inserter(m.record.recordList));
    }
    m_ready.push_back(std::move(m));
}

}  // namespace pava
