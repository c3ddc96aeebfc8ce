#include "script.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <sstream>

#include <fmt/format.h>

#include "describe.h"
#include "message.h"
#include "record_check.h"

namespace pava::tool::peer {

namespace {

// A path inside the file: "rules[2].send[0].text12b".
std::string at(const std::string& where, const std::string& key) { return where.empty() ? key : where + "." + key; }
std::string at(const std::string& where, size_t index) { return fmt::format("{}[{}]", where, index); }

[[noreturn]] void fail(const std::string& where, const std::string& why) {
    throw ScriptError(where.empty() ? why : where + ": " + why);
}

// A member of the record itself (not of a list item), by name, from the
// library's member catalog.
std::optional<Member> recordMember(std::string_view name) {
    for (int i = 0; i < static_cast<int>(Member::None); ++i) {
        const auto m = static_cast<Member>(i);
        if (memberOwner(m) == MemberOwner::Record && name == memberName(m)) return m;
    }
    return std::nullopt;
}

bool isNumber(Member m) {
    PavaFullData probe;
    const SlotType t = slotOf(probe, m).type;
    return t == SlotType::Int32 || t == SlotType::UInt16;
}

// The header's members: every id carries them.
bool inHeader(Member m) {
    switch (m) {
    case Member::rii:
    case Member::msgId:
    case Member::msgType:
    case Member::msgLen:
    case Member::headFlag:
    case Member::contFlag: return true;
    default: return false;
    }
}

std::string trimNuls(std::string s) {
    while (!s.empty() && s.back() == '\0') s.pop_back();
    return s;
}

// The bytes of a text member as held (a character array up to its last non-NUL).
std::string textOf(const Slot& s) {
    if (s.type == SlotType::String) return *static_cast<const std::string*>(s.ptr);
    const char* p = static_cast<const char*>(s.ptr);
    size_t n = static_cast<size_t>(s.size);
    while (n > 0 && p[n - 1] == '\0') --n;
    return std::string(p, n);
}

int64_t numberOf(const Slot& s) {
    return s.type == SlotType::Int32 ? *static_cast<const int32_t*>(s.ptr) : *static_cast<const uint16_t*>(s.ptr);
}

void checkKeys(const Json& j, const std::string& where, std::initializer_list<const char*> allowed) {
    if (!j.is_object()) fail(where, "expected an object");
    for (const auto& [key, value] : j.items()) {
        if (std::find_if(allowed.begin(), allowed.end(), [&](const char* a) { return key == a; }) == allowed.end()) {
            std::string names;
            for (const char* a : allowed) names += names.empty() ? a : std::string(", ") + a;
            fail(at(where, key), "unknown key (known: " + names + ")");
        }
    }
}

int integer(const Json& v, const std::string& where, int64_t lo, int64_t hi) {
    if (!v.is_number_integer()) fail(where, "expected an integer");
    const int64_t n = v.is_number_unsigned() && v.get<uint64_t>() > static_cast<uint64_t>(INT64_MAX)
                          ? INT64_MAX
                          : v.get<int64_t>();
    if (n < lo || n > hi) fail(where, fmt::format("{} is out of range {}..{}", n, lo, hi));
    return static_cast<int>(n);
}

int knownId(const Json& v, const std::string& where) {
    const int id = integer(v, where, 0, 99999);
    if (findMessage(id) == nullptr) fail(where, fmt::format("no codec for id {:05}", id));
    return id;
}

Faults parseFaults(const Json& j, const std::string& where) {
    checkKeys(j, where, {"segments", "gapMs", "length", "damageHeader", "drop", "repeat", "swap", "stallMs",
                         "closeMidFrame"});
    Faults f;
    if (j.contains("segments")) {
        const Json& s = j["segments"];
        const std::string w = at(where, "segments");
        if (s.is_string() && s.get<std::string>() == "header") {
            f.headerApart = true;
        } else if (s.is_array() && !s.empty()) {
            for (size_t i = 0; i < s.size(); ++i) f.segments.push_back(static_cast<size_t>(integer(s[i], at(w, i), 1, 8208)));
        } else {
            fail(w, "expected \"header\" or a list of write sizes");
        }
    }
    if (j.contains("gapMs")) f.gapMs = integer(j["gapMs"], at(where, "gapMs"), 0, 60000);
    if (j.contains("length")) f.length = integer(j["length"], at(where, "length"), -9999, 99999);
    if (j.contains("damageHeader")) f.damageAt = integer(j["damageHeader"], at(where, "damageHeader"), 0, 15);
    if (j.contains("drop")) f.drop = integer(j["drop"], at(where, "drop"), 1, 255);
    if (j.contains("repeat")) f.repeat = integer(j["repeat"], at(where, "repeat"), 1, 255);
    if (j.contains("swap")) f.swap = integer(j["swap"], at(where, "swap"), 1, 254);
    if (j.contains("stallMs")) f.stallMs = integer(j["stallMs"], at(where, "stallMs"), 0, 600000);
    if (j.contains("closeMidFrame")) {
        if (!j["closeMidFrame"].is_boolean()) fail(at(where, "closeMidFrame"), "expected true or false");
        f.closeMidFrame = j["closeMidFrame"].get<bool>();
    }
    return f;
}

Reply parseReply(const Json& j, const std::string& where) {
    if (!j.is_object()) fail(where, "expected a record (an object)");
    Reply r;
    Json plain = Json::object();
    Json trial = Json::object();
    for (const auto& [key, value] : j.items()) {
        if (value.is_string() && !value.get_ref<const std::string&>().empty() &&
            value.get_ref<const std::string&>()[0] == '$') {
            const std::string from = value.get<std::string>().substr(1);
            const auto to = recordMember(key);
            if (!to) fail(at(where, key), "only the record's own members take a copied value");
            if (*to == Member::msgId) fail(at(where, key), "the id of a record sent is given, not copied");
            const auto source = recordMember(from);
            if (!source) fail(at(where, key), fmt::format("\"${}\": no such member to copy", from));
            if (isNumber(*to) != isNumber(*source))
                fail(at(where, key), fmt::format("\"${}\" is a {}, {} a {}", from, isNumber(*source) ? "number" : "text",
                                                 key, isNumber(*to) ? "number" : "text"));
            r.copies.push_back({*to, *source});
            // Checked below with a value of its kind in its place.
            trial[key] = isNumber(*to) ? Json(1) : Json("A");
            continue;
        }
        plain[key] = value;
        trial[key] = value;
    }
    PavaFullData probe;
    try {
        r.record = recordFromJson(plain);
        probe = recordFromJson(trial);
    } catch (const RecordError& e) {
        fail(where, e.what());
    }
    if (!j.contains("msgId")) fail(at(where, "msgId"), "missing: every record sent names its id");
    if (findMessage(probe.msgId) == nullptr) fail(at(where, "msgId"), fmt::format("no codec for id {:05}", probe.msgId));
    // Encoded once here, so a record that cannot be sent as written is refused now.
    const Json asked = recordToJson(probe);
    PavaMsgList frames;
    const int rc = Data_To_Pava(&probe, &frames);
    if (rc != PAVA_OK || frames.empty()) fail(where, fmt::format("{:05} does not encode (rc {:#x})", probe.msgId, rc));
    int back = PAVA_OK;
    const std::vector<std::string> lost = lostMembers(asked, receivedRecord(frames, back));
    if (!lost.empty()) fail(where, fmt::format("{:05} cannot send it: {}", probe.msgId, lost.front()));
    return r;
}

Action parseAction(const Json& j, const std::string& where, std::initializer_list<const char*> keys) {
    checkKeys(j, where, keys);
    Action a;
    if (j.contains("send")) {
        const Json& s = j["send"];
        const std::string w = at(where, "send");
        if (s.is_array()) {
            for (size_t i = 0; i < s.size(); ++i) a.send.push_back(parseReply(s[i], at(w, i)));
        } else {
            a.send.push_back(parseReply(s, w));
        }
    }
    if (j.contains("delayMs")) a.delayMs = integer(j["delayMs"], at(where, "delayMs"), 0, 600000);
    if (j.contains("faults")) a.faults = parseFaults(j["faults"], at(where, "faults"));
    if (j.contains("close")) {
        if (!j["close"].is_boolean()) fail(at(where, "close"), "expected true or false");
        a.close = j["close"].get<bool>();
    }
    return a;
}

Json readJson(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw ScriptError(path + ": cannot be opened");
    try {
        return Json::parse(in);
    } catch (const Json::exception& e) {
        throw ScriptError(path + ": not JSON: " + e.what());
    }
}

template <class Fn>
auto withPath(const std::string& path, Fn&& fn) {
    try {
        return fn();
    } catch (const ScriptError& e) {
        throw ScriptError(path + ": " + e.what());
    }
}

}  // namespace

bool Faults::any() const noexcept {
    return !segments.empty() || headerApart || length || damageAt >= 0 || drop || repeat || swap || stallMs ||
           closeMidFrame;
}

Match parseMatch(const Json& j, const std::string& where) {
    if (!j.is_object()) fail(where, "expected an object of member values");
    Match m;
    m.text = jsonLine(j);
    for (const auto& [key, value] : j.items()) {
        const std::string w = at(where, key);
        const std::vector<Json> allowed = value.is_array() ? value.get<std::vector<Json>>() : std::vector<Json>{value};
        if (allowed.empty()) fail(w, "an empty list allows nothing");
        if (key == "msgId") {
            for (size_t i = 0; i < allowed.size(); ++i) m.ids.push_back(knownId(allowed[i], value.is_array() ? at(w, i) : w));
            continue;
        }
        const auto member = recordMember(key);
        if (!member) fail(w, "no such member (a match names the record's own members)");
        Condition c;
        c.member = *member;
        for (size_t i = 0; i < allowed.size(); ++i) {
            const std::string wi = value.is_array() ? at(w, i) : w;
            if (isNumber(*member)) {
                if (!allowed[i].is_number_integer()) fail(wi, "expected an integer");
                c.numbers.push_back(allowed[i].get<int64_t>());
            } else {
                if (!allowed[i].is_string()) fail(wi, "expected a string");
                try {
                    c.texts.push_back(trimNuls(utf8ToBytes(allowed[i].get<std::string>())));
                } catch (const RecordError& e) {
                    fail(wi, e.what());
                }
            }
        }
        m.conditions.push_back(std::move(c));
    }
    // A member no id of the match carries could never match.
    for (const Condition& c : m.conditions) {
        if (inHeader(c.member)) continue;
        for (const int id : m.ids) {
            const std::vector<Member> carried = carriedMembers(*findMessage(id));
            if (std::find(carried.begin(), carried.end(), c.member) == carried.end())
                fail(at(where, memberName(c.member)), fmt::format("id {:05} does not carry this member", id));
        }
    }
    return m;
}

bool Match::matches(const PavaFullData& rec) const noexcept {
    if (!ids.empty() && std::find(ids.begin(), ids.end(), rec.msgId) == ids.end()) return false;
    auto& r = const_cast<PavaFullData&>(rec);  // slots are only read
    for (const Condition& c : conditions) {
        const Slot s = slotOf(r, c.member);
        if (s.type == SlotType::Int32 || s.type == SlotType::UInt16) {
            if (std::find(c.numbers.begin(), c.numbers.end(), numberOf(s)) == c.numbers.end()) return false;
        } else {
            bool any = false;
            try {
                const std::string t = textOf(s);
                any = std::find(c.texts.begin(), c.texts.end(), t) != c.texts.end();
            } catch (...) {
            }
            if (!any) return false;
        }
    }
    return true;
}

PavaFullData& Reply::build(const PavaFullData* request) const {
    PavaFullData& out = record;
    if (copies.empty()) return out;
    static const PavaFullData none;  // what a copy reads without a request: zeros
    auto& from = const_cast<PavaFullData&>(request != nullptr ? *request : none);  // slots are only read
    for (const Copy& c : copies) {
        const Slot to = slotOf(out, c.to);
        const Slot src = slotOf(from, c.from);
        if (to.type == SlotType::Int32) {
            *static_cast<int32_t*>(to.ptr) = static_cast<int32_t>(numberOf(src));
        } else if (to.type == SlotType::UInt16) {
            *static_cast<uint16_t*>(to.ptr) = static_cast<uint16_t>(numberOf(src));
        } else {
            // Text to text, without a copy in between when both are arrays.
            const char* bytes = nullptr;
            size_t n = 0;
            if (src.type == SlotType::String) {
                const auto* str = static_cast<const std::string*>(src.ptr);
                bytes = str->data();
                n = str->size();
            } else {
                bytes = static_cast<const char*>(src.ptr);
                n = static_cast<size_t>(src.size);
                while (n > 0 && bytes[n - 1] == '\0') --n;
            }
            if (to.type == SlotType::Chars) {
                const size_t fit = std::min(n, static_cast<size_t>(to.size));
                std::memcpy(to.ptr, bytes, fit);
                std::memset(static_cast<char*>(to.ptr) + fit, 0, static_cast<size_t>(to.size) - fit);
            } else if (to.type == SlotType::String) {
                static_cast<std::string*>(to.ptr)->assign(bytes, n);
            }
        }
    }
    return out;
}

const Rule* Script::ruleFor(const PavaFullData& rec) const noexcept {
    for (const Rule& r : rules)
        if (r.match.matches(rec)) return &r;
    return nullptr;
}

Script loadScript(const std::string& path) {
    const Json j = readJson(path);
    return withPath(path, [&] {
        checkKeys(j, "", {"onConnect", "every", "rules", "faults"});
        Script s;
        if (j.contains("onConnect"))
            s.onConnect = parseAction(j["onConnect"], "onConnect", {"send", "delayMs", "faults", "close"});
        if (j.contains("every")) {
            if (!j["every"].is_array()) fail("every", "expected a list");
            for (size_t i = 0; i < j["every"].size(); ++i) {
                const Json& e = j["every"][i];
                const std::string w = at("every", i);
                Periodic p;
                p.action = parseAction(e, w, {"everyMs", "send", "faults", "close"});
                if (!e.contains("everyMs")) fail(at(w, "everyMs"), "missing");
                p.everyMs = integer(e["everyMs"], at(w, "everyMs"), 1, 86400000);
                s.periodic.push_back(std::move(p));
            }
        }
        if (j.contains("rules")) {
            if (!j["rules"].is_array()) fail("rules", "expected a list");
            for (size_t i = 0; i < j["rules"].size(); ++i) {
                const Json& e = j["rules"][i];
                const std::string w = at("rules", i);
                Rule r;
                r.action = parseAction(e, w, {"match", "send", "delayMs", "faults", "close"});
                if (!e.contains("match")) fail(at(w, "match"), "missing (use {} to take every message)");
                r.match = parseMatch(e["match"], at(w, "match"));
                s.rules.push_back(std::move(r));
            }
        }
        if (j.contains("faults")) s.faults = parseFaults(j["faults"], "faults");
        return s;
    });
}

Expectation loadExpectation(const std::string& path) {
    const Json j = readJson(path);
    return withPath(path, [&] {
        Expectation e;
        const Json* list = &j;
        if (j.is_object()) {
            checkKeys(j, "", {"order", "messages"});
            if (j.contains("order")) {
                const Json& o = j["order"];
                if (!o.is_string() || (o != "any" && o != "given")) fail("order", "expected \"any\" or \"given\"");
                e.anyOrder = o == "any";
            }
            if (!j.contains("messages")) fail("messages", "missing");
            list = &j["messages"];
        }
        if (!list->is_array()) fail(j.is_object() ? "messages" : "", "expected a list of matches");
        for (size_t i = 0; i < list->size(); ++i)
            e.matches.push_back(parseMatch((*list)[i], at(j.is_object() ? "messages" : "", i)));
        return e;
    });
}

}  // namespace pava::tool::peer
