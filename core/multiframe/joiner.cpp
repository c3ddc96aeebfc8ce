#include "joiner.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>
#include <string>
#include <utility>

#include "field_codec.h"
#include "frame_header.h"
#include "message.h"

namespace pava {

namespace {

// The split rule of an id, from its codec's description; null when its
// encoder never splits.
const SplitRule* ruleOf(int id) noexcept {
    const MessageDef* def = findMessage(id);
    return def != nullptr ? def->split : nullptr;
}

int markValue(char c) noexcept { return static_cast<unsigned char>(c) - '0'; }

// The body length the header declares, within the body.
int bodyLength(const PavaMsg& frame) noexcept {
    const int n = readHead(&frame).getLength();
    return n < 0 ? 0 : n > MAX_PAVA_MSG_LEN ? MAX_PAVA_MSG_LEN : n;
}

// The number of whole blocks between the rule's itemsAt and the body end,
// or -1 when the blocks do not end exactly there.
int countBlocks(const PavaMsg& frame, const SplitRule& r) noexcept {
    const int end = bodyLength(frame);
    const char* body = frame.body;
    int pos = r.itemsAt;
    int n = 0;
    while (pos + r.countWidth <= end) {
        const int entries = readIntField(body + pos, r.countWidth);
        if (entries < 0) return -1;
        pos += r.countWidth;
        for (int f = 0; f < entries; ++f) {
            if (pos + r.itemHead > end) return -1;
            const int w = readIntField(body + pos + r.widthAt, r.countWidth);
            if (w < 0 || pos + r.itemHead + w > end) return -1;
            pos += r.itemHead + w;
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

// Each item decoded alone at the rule's itemsAt (count 1), so that its value
// bytes are stepped over; items end where the body ends.
void decodeValueItems(const PavaMsg& frame, const SplitRule& r, Part& part) {
    const int end = bodyLength(frame);
    auto scratch = std::make_unique<PavaMsg>(frame);
    std::vector<PavaDataItem> items;
    for (int pos = r.itemsAt; pos + r.itemHead <= end;) {
        const int w = readIntField(frame.body + pos + r.widthAt, r.countWidth);
        if (w < 0 || pos + r.itemHead + w > end) break;
        std::memset(scratch->body + r.itemsAt, 0, static_cast<size_t>(MAX_PAVA_MSG_LEN - r.itemsAt));
        std::memcpy(scratch->body + r.itemsAt, frame.body + pos, static_cast<size_t>(r.itemHead + w));
        writeIntField(1, scratch->body + r.countAt, r.countWidth);
        PavaFullData one;
        if (Pava_To_Data(scratch.get(), &one) != PAVA_OK || one.dataList.size() != 1) break;
        items.push_back(std::move(one.dataList.front()));
        pos += r.itemHead + w;
    }
    part.rec.dataList = std::move(items);
}

Part decodePart(const PavaMsg& frame, const SplitRule* rule, uint64_t tag) {
    Part part;
    part.tag = tag;
    part.number = markValue(frame.head[kHeadFlag]);
    part.continued = frame.head[kHeadContinued] == '1';
    const bool split = markValue(frame.head[kHeadType]) > 1;
    const FrameRepair repair = rule != nullptr ? rule->repair : FrameRepair::None;
    if (repair == FrameRepair::None || (repair == FrameRepair::OwnCount && !split)) {
        part.rc = Pava_To_Data(&frame, &part.rec);
        return part;
    }
    auto copy = std::make_unique<PavaMsg>(frame);
    char* body = copy->body;
    switch (repair) {
    case FrameRepair::OwnCount:
        if (part.continued) std::memcpy(body + rule->countAt, body + rule->ownCountAt, static_cast<size_t>(rule->countWidth));
        if (rule->restoreAt >= 0) writeIntField(rule->restore, body + rule->restoreAt, rule->restoreWidth);
        break;
    case FrameRepair::CountedBlocks:
        if (const int n = countBlocks(frame, *rule); n >= 0) writeIntField(n, body + rule->countAt, rule->countWidth);
        break;
    case FrameRepair::SteppedValues:
        writeIntField(0, body + rule->countAt, rule->countWidth);
        break;
    case FrameRepair::None: break;
    }
    part.rc = Pava_To_Data(copy.get(), &part.rec);
    if (repair == FrameRepair::SteppedValues && part.rc == PAVA_OK) decodeValueItems(frame, *rule, part);
    return part;
}

}  // namespace

struct MessageJoiner::Pending {
    int id = 0;
    int rii = 0;
    const SplitRule* rule = nullptr;
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
    const SplitRule* rule = ruleOf(id);
    Part part = decodePart(frame, rule, tag);
    const int count = markValue(frame.head[kHeadType]);
    const bool numbered = rule != nullptr && rule->marks == FrameMarks::Numbered;

    auto single = [&](std::vector<JoinProblem> problems, bool whole) {
        JoinedMessage m;
        m.rc = part.rc;
        m.tag = tag;
        m.frames = 1;
        m.parts.push_back(tag);
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
    m.parts.reserve(p->parts.size());
    for (const Part& q : p->parts) {
        m.parts.push_back(q.tag);
        m.tag = std::min(m.tag, q.tag);
        if (m.rc == PAVA_OK) m.rc = q.rc;
    }
    m.record = std::move(p->parts.front().rec);
    for (size_t i = 1; i < p->parts.size(); ++i) {
        PavaFullData& r = p->parts[i].rec;
        if (p->rule->list == Container::DataList)
            std::move(r.dataList.begin(), r.dataList.end(), std::back_inserter(m.record.dataList));
        else
            std::move(r.recordList.begin(), r.recordList.end(), std::back_inserter(m.record.recordList));
    }
    m_ready.push_back(std::move(m));
}

}  // namespace pava
