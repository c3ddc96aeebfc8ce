// The PAVA dissector as a compiled Wireshark plugin. Every body byte is shown
// as the library's decoder reads it (pava_dissect), so the plugin holds no
// layout of its own: a field per member path, the bytes no read covers as
// unread, the decoder's result and log lines as expert info, split messages
// put back together by the library's joiner.
#define WS_BUILD_DLL
#include <wireshark.h>

#include <epan/conversation.h>
#include <epan/expert.h>
#include <epan/packet.h>
#include <epan/prefs.h>
#include <epan/proto_data.h>
#include <ws_version.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "ZMPavaAnalyzerC.h"
#include "plugin_text.h"

#ifndef PAVA_PLUGIN_VERSION
#define PAVA_PLUGIN_VERSION "0.0.0"
#endif

extern "C" {
WS_DLL_PUBLIC_DEF extern const char plugin_version[];
WS_DLL_PUBLIC_DEF extern const int plugin_want_major;
WS_DLL_PUBLIC_DEF extern const int plugin_want_minor;
WS_DLL_PUBLIC_DEF void plugin_register(void);
}
const char plugin_version[] = PAVA_PLUGIN_VERSION;
const int plugin_want_major = WIRESHARK_VERSION_MAJOR;
const int plugin_want_minor = WIRESHARK_VERSION_MINOR;

namespace {

using namespace pava::plugin;

int proto_pava = -1;
dissector_handle_t pava_handle;

int hf_rii = -1, hf_id = -1, hf_type = -1, hf_length = -1, hf_flag = -1, hf_cont = -1, hf_family = -1;
int hf_first = -1, hf_unread = -1, hf_read = -1, hf_junk = -1, hf_complete = -1, hf_part = -1;
int ett_pava = -1, ett_group = -1, ett_message = -1;
expert_field ei_too_long = EI_INIT, ei_unknown = EI_INIT, ei_failed = EI_INIT, ei_log = EI_INIT;
expert_field ei_junk = EI_INIT, ei_join = EI_INIT;

unsigned pref_port = 0;
unsigned current_port = 0;
gboolean pref_heuristic = FALSE;
gboolean pref_join = TRUE;

// One registered field per member path with its indices dropped
// ("dataList.itemText"); a read whose path names none goes to pava.read.
struct MemberField {
    int hf = -1;
    bool number = false;
};
std::deque<MemberField> member_fields;  // stable addresses for hf_register_info
std::unordered_map<std::string, MemberField*> field_of_path;
std::vector<hf_register_info> member_hf;
std::unordered_map<int, std::string> family_of_id;

std::vector<std::string> log_lines;

void PAVA_CALL collect_log(const char* text, void*) {
    std::string line(text);
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
    log_lines.push_back(std::move(line));
}

// The codecs log to stdout by default, which would mix with tshark's output:
// lines are only taken, as expert info, around the plugin's own calls.
struct LogCapture {
    LogCapture() {
        log_lines.clear();
        pava_set_log(PAVA_LOG_SINK_CALLBACK, collect_log, nullptr);
    }
    ~LogCapture() { pava_set_log(PAVA_LOG_SINK_OFF, nullptr, nullptr); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;
};

void add_member_field(const std::string& path, bool number) {
    if (field_of_path.count(path) != 0) return;
    MemberField& f = member_fields.emplace_back();
    f.number = number;
    field_of_path.emplace(path, &f);
    const std::string abbrev = "pava." + path;
    hf_register_info info = {&f.hf,
                             {g_strdup(path.c_str()), g_strdup(abbrev.c_str()), number ? FT_INT32 : FT_STRING,
                              number ? BASE_DEC : BASE_NONE, nullptr, 0, nullptr, HFILL}};
    member_hf.push_back(info);
}

// The members of one object type at one place in the record ("dataList."),
// each with its field and the place of the objects below it: a record walk
// maps each of its values to a field without a path.
struct Place {
    std::vector<pava_member_info> members;
    std::vector<std::string> paths;       // the field path of each member
    std::vector<const MemberField*> fields;  // set once every field is known
    std::vector<int> below;               // the place of a list's elements or an object, else -1
};
std::vector<Place> places;  // places[0]: the record

// The members of an object type and of the objects below it, as the paths
// the decoders' reads name (list counts and text lengths included). Returns
// the place, -1 below the depth shown.
int add_members(int type, const std::string& prefix, int depth) {
    size_t count = 0;
    if (depth > 4 || pava_member_count(type, &count) != PAVA_RC_OK) return -1;
    add_member_field(prefix + "count", true);
    const int at = static_cast<int>(places.size());
    places.emplace_back();
    for (size_t i = 0; i < count; ++i) {
        pava_member_info m{};
        m.size = sizeof m;
        if (pava_member_at(type, i, &m) != PAVA_RC_OK || m.name == nullptr) m = pava_member_info{sizeof m, "?", 0, 0, 0, -1};
        const std::string path = prefix + m.name;
        int below = -1;
        switch (m.kind) {
        case PAVA_KIND_INT32:
        case PAVA_KIND_UINT16: add_member_field(path, true); break;
        case PAVA_KIND_CHARS:
        case PAVA_KIND_STRING:
            add_member_field(path, false);
            add_member_field(path + ".length", true);
            break;
        case PAVA_KIND_ROWS: add_member_field(path, false); break;
        case PAVA_KIND_LIST:
            add_member_field(path + ".count", true);
            below = add_members(m.element, path + ".", depth + 1);
            break;
        case PAVA_KIND_OBJECT: below = add_members(m.element, path + ".", depth + 1); break;
        default: break;
        }
        Place& p = places[static_cast<size_t>(at)];  // add_members may have grown places
        p.members.push_back(m);
        p.paths.push_back(path);
        p.below.push_back(below);
    }
    return at;
}

// The bytes of [at, at + width) of the body, the part within the declared length.
std::pair<int, int> within(int at, int width, int body) {
    const int from = std::clamp(at, 0, body);
    return {from, std::clamp(at + width, from, body) - from};
}

// ---------------------------------------------------------------------------
// One frame
// ---------------------------------------------------------------------------

struct FrameHead {
    int rii, id, type, length, flag;
    char cont;
};

FrameHead read_head(const char* h, int wire) {
    pava_header_info info{};
    info.size = sizeof info;
    pava_header(h, static_cast<size_t>(wire), &info);
    return {info.rii, info.id, info.type, info.length, info.flag, h[15]};
}

// The outer list element a path is in ("dataList[3]"); empty when none.
std::string_view group_of(std::string_view path) {
    const size_t close = path.find(']');
    return close == std::string_view::npos ? std::string_view() : path.substr(0, close + 1);
}

// A member's value as the field its path names without indices; with
// `full`, the full path in the item's text (else the field's name, made only
// when the tree is printed). A path that names no field goes to pava.read.
proto_item* add_value(proto_tree* tree, tvbuff_t* tvb, int at, int width, const char* path, bool number, int n,
                      std::string& text, bool full = true) {
    static std::string name;  // reused: one lookup per read, no allocation
    without_indices(name, path);
    const auto it = field_of_path.find(name);
    const MemberField* field = it != field_of_path.end() ? it->second : nullptr;
    if (field == nullptr || field->number != number) {
        if (number) text = std::to_string(n);
        return proto_tree_add_string_format(tree, hf_read, tvb, at, width, text.c_str(), "%s: %s", path, text.c_str());
    }
    if (!full) {
        return number ? proto_tree_add_int(tree, field->hf, tvb, at, width, n)
                      : proto_tree_add_string(tree, field->hf, tvb, at, width, text.c_str());
    }
    return number ? proto_tree_add_int_format(tree, field->hf, tvb, at, width, n, "%s: %d", path, n)
                  : proto_tree_add_string_format(tree, field->hf, tvb, at, width, text.c_str(), "%s: %s", path,
                                                 text.c_str());
}

// Whether the members are shown: a visible tree, or a filter or a column
// that asks for one of them. When not, the values are neither read nor
// formatted (tshark with a display filter on the header alone).
bool members_wanted(proto_tree* tree) {
    if (tree == nullptr) return false;
    if (PTREE_DATA(tree)->visible) return true;
    for (const MemberField& f : member_fields) {
        if (f.hf > 0 && proto_field_is_referenced(tree, f.hf)) return true;
    }
    return proto_field_is_referenced(tree, hf_read) || proto_field_is_referenced(tree, hf_unread);
}

using DissectionPtr = std::unique_ptr<pava_dissection, decltype(&pava_dissection_free)>;

// The decoder's reads of one frame, its code and the lines it logged.
struct Reads {
    DissectionPtr dissection{nullptr, pava_dissection_free};
    int rc = PAVA_RC_OK;
    std::vector<std::string> log;
};

Reads read_frame(const char* frame, int wire) {
    Reads reads;
    pava_dissection* dissection = nullptr;
    {
        LogCapture capture;
        reads.rc = pava_dissect(frame, static_cast<size_t>(wire), nullptr, &dissection);
        reads.log.swap(log_lines);
    }
    reads.dissection.reset(dissection);
    return reads;
}

// The decoder's reads of one frame as fields.
void add_reads(tvbuff_t* tvb, proto_tree* tree, int base, int body, const char* frame,
               const pava_dissection* dissection) {
    const size_t count = dissection != nullptr && members_wanted(tree) ? pava_dissection_count(dissection) : 0;
    std::string group;
    proto_tree* parent = tree;
    proto_item* group_item = nullptr;
    int group_end = 0;
    std::string text;
    for (size_t i = 0; i < count; ++i) {
        pava_span s{};
        s.size = sizeof s;
        if (pava_dissection_span(dissection, i, &s) != PAVA_RC_OK) continue;
        const auto [from, width] = within(s.offset, s.width, body);
        const char* bytes = frame + PAVA_HEADER_SIZE + std::clamp(s.offset, 0, PAVA_BODY_SIZE);
        const int readable = std::clamp(s.width, 0, PAVA_BODY_SIZE - std::clamp(s.offset, 0, PAVA_BODY_SIZE));
        const int at = base + from;
        if (s.path == nullptr || s.path[0] == '\0') {
            if (width > 0) proto_tree_add_item(tree, hf_unread, tvb, at, width, ENC_NA);
            continue;
        }
        // The elements of the outer lists as subtrees ("dataList[3]").
        const std::string_view key = group_of(s.path);
        if (key.empty()) {
            parent = tree;
            group.clear();
        } else if (key != group) {
            group = key;
            group_end = at + width;
            parent = proto_tree_add_subtree(tree, tvb, at, width, ett_group, &group_item, group.c_str());
        } else if (group_item != nullptr && at + width > group_end) {
            proto_item_set_end(group_item, tvb, at + width);
        }
        group_end = std::max(group_end, at + width);
        // A number as the decoder took it; text and bytes as they stand.
        const bool number = s.kind == PAVA_SPAN_DECIMAL;
        if (!number) {
            const std::string_view raw(bytes, static_cast<size_t>(std::max(readable, 0)));
            escape_into(text, s.kind == PAVA_SPAN_TEXT ? raw.substr(0, raw.find('\0')) : raw);
        }
        // Labelled by the field under the element's subtree, which carries
        // the index; a path with a second index shows itself whole.
        const bool nested = std::strchr(s.path + key.size(), '[') != nullptr;
        add_value(parent, tvb, at, width, s.path, number, static_cast<int>(s.number), text, nested);
    }
}

// Frames of one split message share the conversation, direction, id and RII;
// later frames link to the first one (the one numbered 1, or the first seen).
std::map<std::tuple<uint32_t, int, int, int>, uint32_t> first_of_message;
std::map<std::pair<uint32_t, int>, uint32_t> first_of_frame;

int direction(const packet_info* pinfo) {
    return cmp_address(&pinfo->src, &pinfo->dst) < 0 || (cmp_address(&pinfo->src, &pinfo->dst) == 0 &&
                                                          pinfo->srcport < pinfo->destport)
               ? 0
               : 1;
}

void link_first(packet_info* pinfo, proto_tree* tree, const FrameHead& h, int index) {
    if (h.type <= 1 && h.flag <= 1) return;
    const auto frame_key = std::make_pair(pinfo->num, index);
    if (!PINFO_FD_VISITED(pinfo)) {
        conversation_t* conv = find_or_create_conversation(pinfo);
        const auto key = std::make_tuple(conv->conv_index * 2 + static_cast<uint32_t>(direction(pinfo)), h.id,
                                         h.rii, 0);
        auto [it, fresh] = first_of_message.emplace(key, pinfo->num);
        if (h.flag <= 1) it->second = pinfo->num;
        first_of_frame[frame_key] = it->second;
    }
    const auto it = first_of_frame.find(frame_key);
    if (it != first_of_frame.end()) {
        proto_item_set_generated(proto_tree_add_uint(tree, hf_first, nullptr, 0, 0, it->second));
    }
}

// ---------------------------------------------------------------------------
// Split messages joined
// ---------------------------------------------------------------------------

// A frame's tag for the joiner: its packet and its place in the packet.
uint64_t tag_of(uint32_t packet, int index) { return (uint64_t{packet} << 16) | static_cast<uint16_t>(index); }
uint32_t packet_of(uint64_t tag) { return static_cast<uint32_t>(tag >> 16); }

using RecordPtr = std::unique_ptr<pava_record, decltype(&pava_record_free)>;

// A joined message. Its record is held only until the frame that completes
// it is shown; the wire bytes of its frames stay, and a later display (the
// GUI, a second pass) joins them again. A record holds every item in full,
// several times the bytes of its frames.
struct Joined {
    RecordPtr record{nullptr, pava_record_free};
    pava_join_info info{sizeof(pava_join_info), 0, 0, 0, 0, 0};
    uint64_t completed_at = 0;
    std::vector<uint64_t> parts;
    std::vector<std::string> frames;  // of the parts, in the order they came
    std::vector<std::pair<uint64_t, std::string>> problems;
};

// One direction of one conversation: its joiner and the frames pushed to it
// that no message handed out holds yet, by tag. The joiner holds at most
// MessageJoiner's 512 frames; past twice that, the oldest go (the repeats
// the joiner dropped, which belong to no message).
constexpr size_t kHeldFrames = 1024;
struct Direction {
    std::unique_ptr<pava_joiner, decltype(&pava_joiner_free)> joiner{nullptr, pava_joiner_free};
    std::map<uint64_t, std::string> held;
};

std::map<uint64_t, Direction> directions;
std::map<uint64_t, std::vector<std::shared_ptr<Joined>>> completed_in;  // by the completing frame's tag
std::map<uint64_t, std::shared_ptr<Joined>> message_of;                  // by every part's tag
std::map<uint64_t, std::vector<std::string>> problems_of;               // by the tag concerned

// Frames that belong to a split message by their header.
bool splits(const FrameHead& h) { return h.type > 1 || h.flag > 1 || h.cont == '1'; }

// First pass: the frame into its direction's joiner, and every message that
// becomes ready taken out, whole, with its problems.
void join_frame(packet_info* pinfo, const FrameHead& h, const char* frame, int wire, int index) {
    if (PINFO_FD_VISITED(pinfo) || !splits(h)) return;
    conversation_t* conv = find_or_create_conversation(pinfo);
    Direction& d = directions[uint64_t{conv->conv_index} * 2 + static_cast<uint64_t>(direction(pinfo))];
    if (!d.joiner) {
        pava_joiner* joiner = nullptr;
        if (pava_joiner_new(&joiner) != PAVA_RC_OK) return;
        d.joiner.reset(joiner);
    }
    const uint64_t tag = tag_of(pinfo->num, index);
    LogCapture capture;  // the joiner's decodes log too
    if (pava_joiner_push(d.joiner.get(), frame, static_cast<size_t>(wire), tag) != PAVA_RC_OK) return;
    d.held.emplace(tag, std::string(frame, static_cast<size_t>(wire)));
    while (d.held.size() > kHeldFrames) d.held.erase(d.held.begin());
    for (;;) {
        auto m = std::make_shared<Joined>();
        pava_record* record = nullptr;
        if (pava_record_new(&record) != PAVA_RC_OK) return;
        m->record.reset(record);
        if (pava_joiner_pop(d.joiner.get(), record, &m->info) != PAVA_RC_OK) return;
        for (size_t i = 0; i < m->info.problem_count; ++i) {
            uint64_t at = 0;
            const char* text = nullptr;
            if (pava_joiner_problem(d.joiner.get(), i, &at, &text) == PAVA_RC_OK && text != nullptr) {
                m->problems.emplace_back(at, text);
                problems_of[at].emplace_back(text);
            }
        }
        // The message's frames as the joiner joined them, kept in the order they came.
        for (size_t i = 0; i < m->info.frames; ++i) {
            uint64_t part = 0;
            if (pava_joiner_part(d.joiner.get(), i, &part) == PAVA_RC_OK) m->parts.push_back(part);
        }
        std::sort(m->parts.begin(), m->parts.end());
        for (const uint64_t part : m->parts) {
            const auto held = d.held.find(part);
            m->frames.push_back(held == d.held.end() ? std::string() : std::move(held->second));
            if (held != d.held.end()) d.held.erase(held);
        }
        if (m->info.frames <= 1 && m->info.complete && m->problems.empty()) continue;
        m->completed_at = tag;
        for (const uint64_t part : m->parts) message_of[part] = m;
        completed_in[tag].push_back(m);
    }
}

// A joined record shown as generated fields: the library walks the members
// that hold something, each mapped to its field by its place; list elements
// become subtrees carrying their indices, items are labelled by their field.
struct RecordView {
    static constexpr int kDepth = 8;
    tvbuff_t* tvb = nullptr;
    proto_tree* tree[kDepth] = {};
    int place[kDepth] = {};
    int depth = 0;
    std::string text;
};

int PAVA_CALL show_step(const pava_walk_step* step, void* user) {
    RecordView& v = *static_cast<RecordView*>(user);
    const int at = v.place[v.depth];
    const Place* place = at >= 0 ? &places[static_cast<size_t>(at)] : nullptr;
    const size_t k = step->member;
    if (place != nullptr && k >= place->members.size()) return 0;
    switch (step->event) {
    case PAVA_WALK_ENTER: {
        if (v.depth + 1 >= RecordView::kDepth) return 1;
        proto_tree* tree = v.tree[v.depth];
        if (step->index >= 0 && place != nullptr) {
            tree = proto_tree_add_subtree_format(tree, v.tvb, 0, 0, ett_group, nullptr, "%s[%" PRId64 "]",
                                                 place->members[k].name, step->index);
        }
        ++v.depth;
        v.tree[v.depth] = tree;
        v.place[v.depth] = place != nullptr ? place->below[k] : -1;
        return 0;
    }
    case PAVA_WALK_LEAVE: v.depth = std::max(v.depth - 1, 0); return 0;
    default: break;
    }
    if (place == nullptr) return 0;
    const MemberField* field = place->fields[k];
    const bool number = step->bytes == nullptr;
    if (!number) escape_into(v.text, {step->bytes, step->length});
    if (!number && v.text.empty()) return 0;
    proto_tree* tree = v.tree[v.depth];
    proto_item* item = nullptr;
    if (field == nullptr || field->number != number) {
        if (number) v.text = std::to_string(step->number);
        item = proto_tree_add_string_format(tree, hf_read, v.tvb, 0, 0, v.text.c_str(), "%s: %s",
                                            place->paths[k].c_str(), v.text.c_str());
    } else if (number) {
        item = proto_tree_add_int(tree, field->hf, v.tvb, 0, 0, static_cast<int>(step->number));
    } else if (step->index >= 0) {  // a row of a ROWS member
        item = proto_tree_add_string_format(tree, field->hf, v.tvb, 0, 0, v.text.c_str(), "%s[%" PRId64 "]: %s",
                                            place->members[k].name, step->index, v.text.c_str());
    } else {
        item = proto_tree_add_string(tree, field->hf, v.tvb, 0, 0, v.text.c_str());
    }
    proto_item_set_generated(item);
    return 0;
}

void add_record(proto_tree* tree, tvbuff_t* tvb, const pava_record* record) {
    RecordView view;
    view.tvb = tvb;
    view.tree[0] = tree;
    view.place[0] = places.empty() ? -1 : 0;
    pava_record_walk(record, show_step, &view);
}

// A message's record from its frames joined again, as the first pass joined them.
RecordPtr join_again(const Joined& m) {
    RecordPtr none{nullptr, pava_record_free};
    pava_joiner* raw = nullptr;
    if (pava_joiner_new(&raw) != PAVA_RC_OK) return none;
    const std::unique_ptr<pava_joiner, decltype(&pava_joiner_free)> joiner(raw, pava_joiner_free);
    LogCapture capture;
    for (size_t k = 0; k < m.frames.size() && k < m.parts.size(); ++k) {
        pava_joiner_push(joiner.get(), m.frames[k].data(), m.frames[k].size(), m.parts[k]);
    }
    pava_joiner_finish(joiner.get());
    pava_record* record = nullptr;
    if (pava_record_new(&record) != PAVA_RC_OK) return none;
    RecordPtr out{record, pava_record_free};
    pava_join_info info{};
    info.size = sizeof info;
    while (pava_joiner_pop(joiner.get(), record, &info) == PAVA_RC_OK) {
        if (info.tag == m.info.tag) return out;
    }
    return none;
}

// The records of the messages a frame completes, given up once it is shown.
void release_records(uint64_t tag) {
    const auto done = completed_in.find(tag);
    if (done == completed_in.end()) return;
    for (const auto& m : done->second) m->record.reset();
}

// Every pass: the link to the frame that completes this frame's message,
// the joined messages this frame completes, the problems that concern it.
void show_join(packet_info* pinfo, proto_tree* tree, proto_item* ti, tvbuff_t* tvb, int index) {
    const uint64_t tag = tag_of(pinfo->num, index);
    const auto part = message_of.find(tag);
    if (part != message_of.end() && part->second->completed_at != tag) {
        proto_item_set_generated(
            proto_tree_add_uint(tree, hf_complete, tvb, 0, 0, packet_of(part->second->completed_at)));
    }
    const auto problems = problems_of.find(tag);
    if (problems != problems_of.end()) {
        for (const std::string& text : problems->second) expert_add_info_format(pinfo, ti, &ei_join, "%s", text.c_str());
    }
    const auto done = completed_in.find(tag);
    if (done == completed_in.end()) return;
    for (const auto& m : done->second) {
        proto_item* item = nullptr;
        proto_tree* sub = proto_tree_add_subtree_format(
            tree, tvb, 0, 0, ett_message, &item, "Joined message: %zu frames, first in frame %u%s", m->info.frames,
            packet_of(m->info.tag), m->info.complete ? "" : ", incomplete");
        for (const uint64_t p : m->parts) proto_item_set_generated(proto_tree_add_uint(sub, hf_part, tvb, 0, 0, packet_of(p)));
        for (const auto& [at, text] : m->problems) {
            expert_add_info_format(pinfo, item, &ei_join, "Frame %u: %s", packet_of(at), text.c_str());
        }
        if (m->info.rc != PAVA_RC_OK) expert_add_info_format(pinfo, item, &ei_failed, "Decoder: %s", pava_rc_text(m->info.rc));
        if (!members_wanted(sub)) continue;
        if (m->record) {
            add_record(sub, tvb, m->record.get());
        } else if (const RecordPtr again = join_again(*m)) {
            add_record(sub, tvb, again.get());
        }
    }
    release_records(tag);
}

// One frame of `wire` bytes at `offset`; its Info text.
std::string dissect_frame(tvbuff_t* tvb, packet_info* pinfo, proto_tree* root, int offset, int wire, int index) {
    // The frame as a whole block: reads past the declared length see zeros,
    // as the decoder does, never the bytes of the next frame.
    static char block[PAVA_FRAME_SIZE];
    static int dirty = PAVA_FRAME_SIZE;
    tvb_memcpy(tvb, block, offset, static_cast<size_t>(wire));
    if (dirty > wire) std::fill(block + wire, block + dirty, '\0');
    dirty = wire;
    const char* frame = block;
    const FrameHead h = read_head(frame, wire);
    const int body = wire - PAVA_HEADER_SIZE;
    proto_item* ti = proto_tree_add_item(root, proto_pava, tvb, offset, wire, ENC_NA);
    proto_tree* tree = proto_item_add_subtree(ti, ett_pava);
    proto_tree_add_int(tree, hf_rii, tvb, offset, 3, h.rii);
    proto_tree_add_uint(tree, hf_id, tvb, offset + 3, 5, static_cast<guint32>(h.id));
    proto_tree_add_int(tree, hf_type, tvb, offset + 8, 1, h.type);
    proto_item* length_item = proto_tree_add_int(tree, hf_length, tvb, offset + 9, 5, h.length);
    proto_tree_add_int(tree, hf_flag, tvb, offset + 14, 1, h.flag);
    const std::string cont = escaped({&h.cont, 1});
    proto_tree_add_string_format_value(tree, hf_cont, tvb, offset + 15, 1, cont.c_str(), "%s (%s)", cont.c_str(),
                                       h.cont == '1' ? "more follows" : "last");
    if (h.length > PAVA_BODY_SIZE) expert_add_info(pinfo, length_item, &ei_too_long);

    char info[96];
    std::snprintf(info, sizeof info, "%05d", h.id);
    std::string text = info;
    const auto family = family_of_id.find(h.id);
    if (family == family_of_id.end()) {
        expert_add_info(pinfo, ti, &ei_unknown);
        if (body > 0) proto_tree_add_item(tree, hf_unread, tvb, offset + PAVA_HEADER_SIZE, body, ENC_NA);
        return text + " (no layout)";
    }
    proto_item_set_generated(proto_tree_add_string(tree, hf_family, tvb, 0, 0, family->second.c_str()));
    proto_item_append_text(ti, ", %05d (%s)", h.id, family->second.c_str());
    text += " " + family->second;
    if (h.type > 1 || h.flag > 1) {
        std::snprintf(info, sizeof info, ", frame %d of %d", h.flag, h.type);
        text += info;
    }
    link_first(pinfo, tree, h, index);
    const bool joining = pref_join && !PINFO_FD_VISITED(pinfo) && splits(h);
    if (joining) join_frame(pinfo, h, frame, wire, index);
    if (tree == nullptr) {  // nothing shown: no need to decode
        release_records(tag_of(pinfo->num, index));
        return text;
    }
    if (pref_join) show_join(pinfo, tree, ti, tvb, index);
    const Reads reads = read_frame(frame, wire);
    add_reads(tvb, tree, offset + PAVA_HEADER_SIZE, body, frame, reads.dissection.get());
    for (const std::string& line : reads.log) expert_add_info_format(pinfo, ti, &ei_log, "%s", line.c_str());
    if (reads.rc != PAVA_RC_OK) {
        expert_add_info_format(pinfo, ti, &ei_failed, "Decoder: %s", pava_rc_text(reads.rc));
        text += " [malformed]";
    }
    return text;
}

}  // namespace

namespace {

// The frames of a packet numbered in the order they are dissected, the same
// on every pass (a packet's bytes may come in several calls: the end of a
// reassembled frame, then the frames behind it).
int next_index(packet_info* pinfo) {
    auto* counter = static_cast<int*>(p_get_proto_data(pinfo->pool, pinfo, proto_pava, 0));
    if (counter == nullptr) {
        counter = wmem_new0(pinfo->pool, int);
        p_add_proto_data(pinfo->pool, pinfo, proto_pava, 0, counter);
    }
    return (*counter)++;
}

// Whether the n bytes at offset (up to a header's) can begin a header, by the
// rule of the library's stream readers; with `registered`, only one of an id
// that has a codec. The header as read goes to `head` when given.
bool header_at(tvbuff_t* tvb, int offset, int n, bool registered, pava_header_info* head = nullptr) {
    pava_header_info info{};
    info.size = sizeof info;
    pava_header(reinterpret_cast<const char*>(tvb_get_ptr(tvb, offset, n)), static_cast<size_t>(n), &info);
    if (head != nullptr) *head = info;
    return info.plausible == 1 && (!registered || n < 8 || family_of_id.count(info.id) != 0);
}

// Frames one after the other over TCP, each as long as its header declares;
// a frame cut by the segment's end waits for the next segments.
int dissect_pava(tvbuff_t* tvb, packet_info* pinfo, proto_tree* root, void*) {
    const int total = static_cast<int>(tvb_captured_length(tvb));
    const bool later_call = p_get_proto_data(pinfo->pool, pinfo, proto_pava, 0) != nullptr;
    std::string info;
    int offset = 0;
    while (offset < total) {
        const int left = std::min(total - offset, PAVA_HEADER_SIZE);
        pava_header_info head{};
        if (!header_at(tvb, offset, left, false, &head)) {
            // Bytes that are not a frame, up to the next plausible header.
            int next = offset + 1;
            while (next < total && !header_at(tvb, next, std::min(total - next, PAVA_HEADER_SIZE), false)) ++next;
            proto_item* junk = proto_tree_add_item(root, hf_junk, tvb, offset, next - offset, ENC_NA);
            expert_add_info_format(pinfo, junk, &ei_junk, "%d bytes that are not a frame", next - offset);
            if (!info.empty()) info += " | ";
            info += "[not a frame]";
            offset = next;
            continue;
        }
        if (left < PAVA_HEADER_SIZE) {
            if (pinfo->can_desegment) {
                pinfo->desegment_offset = offset;
                pinfo->desegment_len = DESEGMENT_ONE_MORE_SEGMENT;
                break;
            }
            proto_tree_add_item(root, hf_unread, tvb, offset, left, ENC_NA);
            break;
        }
        size_t wire = head.wire_size;
        if (total - offset < static_cast<int>(wire)) {
            if (pinfo->can_desegment) {
                pinfo->desegment_offset = offset;
                pinfo->desegment_len = static_cast<guint32>(static_cast<int>(wire) - (total - offset));
                break;
            }
            wire = static_cast<size_t>(total - offset);  // shown as far as it goes
        }
        if (!info.empty()) info += " | ";
        info += dissect_frame(tvb, pinfo, root, offset, static_cast<int>(wire), next_index(pinfo));
        offset += static_cast<int>(wire);
    }
    if (!info.empty()) {
        // TCP fences the column between the calls of one packet (the end of a
        // reassembled frame, then the frames behind it): later calls append.
        col_set_str(pinfo->cinfo, COL_PROTOCOL, "PAVA");
        if (!later_call) col_clear(pinfo->cinfo, COL_INFO);
        col_append_sep_str(pinfo->cinfo, COL_INFO, " | ", info.c_str());
    }
    return total;
}

// A segment that starts with a header of a registered id; one that ends
// inside the header is judged by its first 8 bytes.
gboolean heuristic_pava(tvbuff_t* tvb, packet_info* pinfo, proto_tree* tree, void* data) {
    const int n = static_cast<int>(tvb_captured_length(tvb));
    if (!pref_heuristic || n < 8 || !header_at(tvb, 0, std::min(n, PAVA_HEADER_SIZE), true)) return FALSE;
    conversation_set_dissector(find_or_create_conversation(pinfo), pava_handle);
    dissect_pava(tvb, pinfo, tree, data);
    return TRUE;
}

void apply_prefs() {
    if (current_port != 0) dissector_delete_uint("tcp.port", current_port, pava_handle);
    current_port = pref_port;
    if (current_port != 0) dissector_add_uint("tcp.port", current_port, pava_handle);
}

void clear_state() {
    first_of_message.clear();
    first_of_frame.clear();
    directions.clear();
    completed_in.clear();
    message_of.clear();
    problems_of.clear();
}

void register_pava() {
    proto_pava = proto_register_protocol("PAVA", "PAVA", "pava");
    static hf_register_info head[] = {
        {&hf_rii, {"RII", "pava.rii", FT_INT32, BASE_DEC, nullptr, 0, nullptr, HFILL}},
        {&hf_id, {"Message id", "pava.id", FT_UINT32, BASE_DEC, nullptr, 0, nullptr, HFILL}},
        {&hf_type, {"Type (frame count)", "pava.type", FT_INT32, BASE_DEC, nullptr, 0, nullptr, HFILL}},
        {&hf_length, {"Body length", "pava.length", FT_INT32, BASE_DEC, nullptr, 0, nullptr, HFILL}},
        {&hf_flag, {"Flag (frame number)", "pava.flag", FT_INT32, BASE_DEC, nullptr, 0, nullptr, HFILL}},
        {&hf_cont, {"Continuation", "pava.cont", FT_STRING, BASE_NONE, nullptr, 0, nullptr, HFILL}},
        {&hf_family, {"Family", "pava.family", FT_STRING, BASE_NONE, nullptr, 0, nullptr, HFILL}},
        {&hf_first, {"First frame of the message", "pava.first", FT_FRAMENUM, BASE_NONE, nullptr, 0, nullptr, HFILL}},
        {&hf_unread, {"Unread bytes", "pava.unread", FT_BYTES, BASE_NONE, nullptr, 0,
                      "Bytes no read of the decoder covers", HFILL}},
        {&hf_read, {"Read", "pava.read", FT_STRING, BASE_NONE, nullptr, 0,
                    "A read whose path names no registered field", HFILL}},
        {&hf_junk, {"Not a frame", "pava.junk", FT_BYTES, BASE_NONE, nullptr, 0,
                    "Bytes before the next plausible header", HFILL}},
        {&hf_complete, {"Message completed in frame", "pava.joined_in", FT_FRAMENUM, BASE_NONE, nullptr, 0, nullptr,
                        HFILL}},
        {&hf_part, {"Frame of the message", "pava.part", FT_FRAMENUM, BASE_NONE, nullptr, 0, nullptr, HFILL}},
    };
    proto_register_field_array(proto_pava, head, G_N_ELEMENTS(head));

    // Header members are shown by the header fields above.
    for (const char* name : {"rii", "msgId", "msgLen", "msgType", "headFlag"}) field_of_path.emplace(name, nullptr);
    field_of_path["rii"] = &member_fields.emplace_back(MemberField{hf_rii, true});  // also read from some bodies
    add_members(PAVA_TYPE_RECORD, "", 0);
    for (auto it = field_of_path.begin(); it != field_of_path.end();) {
        it = it->second == nullptr ? field_of_path.erase(it) : std::next(it);
    }
    for (Place& p : places) {
        for (const std::string& path : p.paths) {
            const auto it = field_of_path.find(path);
            p.fields.push_back(it != field_of_path.end() ? it->second : nullptr);
        }
    }
    proto_register_field_array(proto_pava, member_hf.data(), static_cast<int>(member_hf.size()));

    static int* ett[] = {&ett_pava, &ett_group, &ett_message};
    proto_register_subtree_array(ett, G_N_ELEMENTS(ett));

    static ei_register_info ei[] = {
        {&ei_too_long, {"pava.length.too_long", PI_MALFORMED, PI_ERROR, "Body length over the maximum of 8192",
                        EXPFILL}},
        {&ei_unknown, {"pava.id.unknown", PI_UNDECODED, PI_WARN, "No codec for this id: body shown as bytes",
                       EXPFILL}},
        {&ei_failed, {"pava.decode.failed", PI_MALFORMED, PI_WARN, "The decoder failed", EXPFILL}},
        {&ei_log, {"pava.log", PI_PROTOCOL, PI_NOTE, "Decoder log line", EXPFILL}},
        {&ei_junk, {"pava.junk.bytes", PI_MALFORMED, PI_WARN, "Bytes that are not a frame", EXPFILL}},
        {&ei_join, {"pava.join.problem", PI_SEQUENCE, PI_WARN, "Split message problem", EXPFILL}},
    };
    expert_module_t* expert = expert_register_protocol(proto_pava);
    expert_register_field_array(expert, ei, G_N_ELEMENTS(ei));

    module_t* prefs = prefs_register_protocol(proto_pava, apply_prefs);
    prefs_register_uint_preference(prefs, "port", "TCP port",
                                   "TCP port of PAVA traffic (0: none; Decode As works on any port)", 10, &pref_port);
    prefs_register_bool_preference(prefs, "heuristic", "Look for PAVA on any TCP port",
                                   "Try the heuristic dissector on TCP traffic of other protocols", &pref_heuristic);
    prefs_register_bool_preference(prefs, "join", "Join split messages",
                                   "Show the whole record of a split message in the frame that completes it",
                                   &pref_join);

    register_init_routine(clear_state);
    register_cleanup_routine(clear_state);
}

int PAVA_CALL take_family(const pava_desc_token* token, void* user) {
    if (token->token != PAVA_DESC_TEXT || token->name == nullptr || std::strcmp(token->name, "family") != 0) return 0;
    *static_cast<std::string*>(user) = token->text != nullptr ? token->text : "";
    return 1;  // nothing more is needed
}

void handoff_pava() {
    pava_set_log(PAVA_LOG_SINK_OFF, nullptr, nullptr);
    size_t count = 0;
    pava_ids(nullptr, 0, &count);
    std::vector<int> ids(count);
    if (pava_ids(ids.data(), ids.size(), &count) == PAVA_RC_OK) {
        for (const int id : ids) {
            // The family is the description's first text at the top level.
            std::string family;
            pava_describe(id, take_family, &family);
            family_of_id[id] = family;
        }
    }
    pava_handle = register_dissector("pava", dissect_pava, proto_pava);
    dissector_add_for_decode_as("tcp.port", pava_handle);
    heur_dissector_add("tcp", heuristic_pava, "PAVA over TCP", "pava_tcp", proto_pava, HEURISTIC_ENABLE);
    apply_prefs();
}

}  // namespace

void plugin_register(void) {
    static proto_plugin plugin;
    plugin.register_protoinfo = register_pava;
    plugin.register_handoff = handoff_pava;
    proto_register_plugin(&plugin);
}
