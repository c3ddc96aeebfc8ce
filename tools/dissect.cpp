#include "dissect.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "field_codec.h"
#include "frame_header.h"
#include "frames.h"
#include "json_record.h"
#include "layout_json.h"
#include "read_trace.h"

namespace pava::tool {

namespace {

template <class... Args>
void put(std::string& out, fmt::format_string<Args...> f, Args&&... args) {
    fmt::format_to(std::back_inserter(out), f, std::forward<Args>(args)...);
}

using Json = nlohmann::ordered_json;

void putFieldTable(std::string& out, const Json& fields, std::string_view indent = "  ") {
    if (fields.empty()) {
        put(out, "{}(no fields)\n", indent);
        return;
    }
    put(out, "{}offset  width  kind      member      flags\n", indent);
    for (const Json& f : fields) {
        const std::string member = f["member"].is_null() ? "none" : f["member"].get<std::string>();
        std::string flags;
        for (const Json& flag : f["flags"]) {
            if (!flags.empty()) flags += ',';
            flags += flag.get_ref<const std::string&>();
        }
        out += fmt::format("{}{:>6}  {:>5}  {:<8}  {:<10}  {}", indent, f["offset"].get<int>(), f["width"].get<int>(),
                           f["kind"].get<std::string>(), member, flags);
        out.erase(out.find_last_not_of(' ') + 1);
        out += '\n';
    }
}

// Bytes in quotes; a run of trailing NULs is counted rather than spelled out.
std::string shownBytes(std::string_view bytes) {
    size_t n = bytes.size();
    while (n > 0 && bytes[n - 1] == '\0') --n;
    if (bytes.size() - n < 2) n = bytes.size();
    std::string text = '"' + escapeBytes(bytes.substr(0, n)) + '"';
    return n < bytes.size() ? text + fmt::format(" + {} NUL", bytes.size() - n) : text;
}

bool isFieldTable(const Json& j) {
    return j.is_array() && !j.empty() && j.front().is_object() && j.front().contains("offset") &&
           j.front().contains("kind");
}

// A part of a description, whatever its kind: its numbers, names and texts
// on lines of their own width, then its field tables, lists and parts below
// them, indented. A field table equal to one shown before is named, not
// shown again.
void putTail(std::string& out, const Json& part, const std::string& indent) {
    std::string line;
    for (const auto& [key, value] : part.items()) {
        if (value.is_structured() || value.is_null()) continue;
        const bool plain = !value.is_string() || value.get_ref<const std::string&>().find_first_of(" \t\r\n\"") ==
                                                     std::string::npos;
        const std::string item = key + " " + (plain && value.is_string() ? value.get<std::string>() : value.dump());
        if (!line.empty() && line.size() + item.size() > 96) {
            put(out, "{}{}\n", indent, line);
            line.clear();
        }
        line += (line.empty() ? "" : ", ") + item;
    }
    if (!line.empty()) put(out, "{}{}\n", indent, line);
    std::vector<std::string> shown;
    for (const auto& [key, value] : part.items()) {
        if (isFieldTable(value)) {
            const auto same =
                std::find_if(shown.begin(), shown.end(), [&](const std::string& k) { return part[k] == value; });
            if (same != shown.end()) {
                put(out, "{}{}: as {}\n", indent, key, *same);
                continue;
            }
            shown.push_back(key);
            put(out, "{}{}:\n", indent, key);
            putFieldTable(out, value, indent + "  ");
        } else if (value.is_array() && !value.empty() && value.front().is_string()) {
            put(out, "{}{}: {}\n", indent, key, fmt::join(value.get<std::vector<std::string>>(), " "));
        } else if (value.is_array()) {
            for (size_t i = 0; i < value.size(); ++i) {
                put(out, "{}{}[{}]:\n", indent, key, i);
                putTail(out, value[i], indent + "  ");
            }
        } else if (value.is_object()) {
            put(out, "{}{}:\n", indent, key);
            putTail(out, value, indent + "  ");
        }
    }
}

// A text of the description, or its absence.
std::string textOf(const Json& j) { return j.is_string() ? j.get<std::string>() : std::string(); }

std::string typeChar(char c) {
    return fmt::format("'{}' = {}", escapeBytes({&c, 1}), static_cast<int16_t>(typeDigitValue(c)));
}

void putHeader(std::string& out, const PavaMsg& frame) {
    const PavaHeadAccessor head = readHead(&frame);
    const char cont = frame.head[kHeadContinued];
    put(out, "  header        \"{}\"\n", escapeBytes({frame.head, PAVA_HEAD_LEN}));
    put(out, "  rii           {}\n", head.getRii());
    put(out, "  id            {:05}\n", head.getMsgId());
    put(out, "  type          {}\n", typeChar(head.getType()));
    put(out, "  length        {}\n", head.getLength());
    put(out, "  flag          {}\n", typeChar(head.getHeadFlag()));
    put(out, "  continuation  '{}' ({})\n", escapeBytes({&cont, 1}), head.isContinued() ? "more follows" : "last");
}

// A span's bytes, within the body.
std::string_view spanBytes(const PavaMsg& frame, const BodySpan& s) {
    const int from = std::clamp(s.offset, 0, MAX_PAVA_MSG_LEN);
    return {frame.body + from, static_cast<size_t>(std::clamp(s.width, 0, MAX_PAVA_MSG_LEN - from))};
}

// What a read gives: a number, or bytes.
struct SpanValue {
    bool number = false;
    int64_t n = 0;
    std::string bytes;
    std::string text() const { return number ? std::to_string(n) : shownBytes(bytes); }
};

SpanValue slotValue(const Slot& s) {
    switch (s.type) {
    case SlotType::Int32: return {true, *static_cast<const int32_t*>(s.ptr), {}};
    case SlotType::UInt16: return {true, *static_cast<const uint16_t*>(s.ptr), {}};
    case SlotType::Chars: {
        // The array's padding is not part of the value.
        std::string_view text(static_cast<const char*>(s.ptr), static_cast<size_t>(s.size));
        return {false, 0, std::string(text.substr(0, text.find_last_not_of('\0') + 1))};
    }
    case SlotType::String: return {false, 0, *static_cast<const std::string*>(s.ptr)};
    case SlotType::None: break;
    }
    return {};
}

// A member read as the decoder reads it into a fresh object of the member's owner.
template <class Obj>
SpanValue memberValue(const Field& f, const char* src) {
    Obj obj{};
    readFields(std::span(&f, 1), src, f.width, obj);
    return slotValue(slotOf(obj, f.member));
}

FieldKind fieldKindOf(SpanKind kind) {
    return kind == SpanKind::Decimal ? FieldKind::Decimal : kind == SpanKind::Text ? FieldKind::Text : FieldKind::Raw;
}

// The value a read takes from its bytes: a member's as the decoder stores
// it, a count's or length's number, a marker's or code row's bytes.
SpanValue valueOf(const PavaMsg& frame, const BodySpan& s) {
    const std::string_view bytes = spanBytes(frame, s);
    if (s.path.member != Member::None && s.path.name == nullptr) {
        const Field f{0, static_cast<uint16_t>(bytes.size()), fieldKindOf(s.kind), s.path.member};
        switch (memberOwner(f.member)) {
        case MemberOwner::Record: return memberValue<PavaFullData>(f, bytes.data());
        case MemberOwner::Item: return memberValue<PavaDataItem>(f, bytes.data());
        case MemberOwner::Setting: return memberValue<PavaSettingItem>(f, bytes.data());
        case MemberOwner::Field: return memberValue<PavaFieldItem>(f, bytes.data());
        case MemberOwner::None: break;
        }
    }
    if (s.kind == SpanKind::Decimal) return {true, readDecimal(bytes.data(), bytes.data() + bytes.size()), {}};
    if (s.kind == SpanKind::Text) return {false, 0, std::string(bytes.substr(0, bytes.find('\0')))};
    return {false, 0, std::string(bytes)};
}

// Unread runs up to this many bytes are shown on their row, longer ones in rows of 16.
constexpr int kShownUnread = 48;
constexpr const char* kUnread = "(unread)";

}  // namespace

std::string listIds() {
    std::string out;
    put(out, "id     family                      length  fields\n");
    for (const MessageDef* def : registeredMessages()) {
        const std::string length = def->layout.length < 0 ? "varies" : std::to_string(def->layout.length);
        put(out, "{:05}  {:<26}  {:>6}  {:>6}\n", def->id, familyName(*def), length, def->layout.fields.size());
    }
    return out;
}

std::string describeLayout(const Json& j) {
    std::string out;
    put(out, "{:05} ({}), body length {}\n", j["id"].get<int>(), textOf(j["family"]),
        j["length"].is_null() ? "varies" : std::to_string(j["length"].get<int>()));
    putFieldTable(out, j["fields"]);
    if (j["readFields"] != j["fields"]) {
        put(out, "the decoder reads:\n");
        putFieldTable(out, j["readFields"]);
    }
    if (const Json& d = j["description"]; d.is_object() && !d["write"].is_null()) {
        if (d["write"] == d["read"]) {
            put(out, "behind the fixed fields, written and read alike:\n");
            putTail(out, d["write"], "  ");
        } else {
            put(out, "behind the fixed fields, the encoder writes:\n");
            putTail(out, d["write"], "  ");
            put(out, "and the decoder reads:\n");
            d["read"].is_null() ? put(out, "  nothing\n") : putTail(out, d["read"], "  ");
        }
    } else if (d.is_object() && !d["read"].is_null()) {
        put(out, "behind the fixed fields, the decoder reads:\n");
        putTail(out, d["read"], "  ");
    }
    if (const Json& d = j["description"]; d.is_object() && !d["quirks"].empty())
        put(out, "quirks: {}\n", fmt::join(d["quirks"].get<std::vector<std::string>>(), " "));
    if (const Json& s = j["split"]; s.is_object())
        put(out, "split over frames: {} marks{}{}\n", textOf(s["marks"]),
            s["headFlagTwo"].get<bool>() ? ", header flag 2 on every frame" : "",
            s["repair"] == "none" ? std::string() : ", each frame mended before its decode: " + textOf(s["repair"]));
    const auto members = j["members"].get<std::vector<std::string>>();
    put(out, "members: {}\n", members.empty() ? std::string("none") : fmt::format("{}", fmt::join(members, " ")));
    return out;
}

std::string dissectFrame(const PavaMsg& frame, size_t number, uint64_t offset, int* rc) {
    const int length = declaredLength(frame);
    std::string out;
    put(out, "frame {} at offset {}: {} header + {} body bytes\n", number, offset, PAVA_HEAD_LEN, length);
    putHeader(out, frame);

    PavaFullData rec;
    int decoded = 0;
    const std::vector<BodySpan> spans = explainBody(frame, rec, &decoded);
    if (rc != nullptr) *rc = decoded;
    if (const MessageDef* def = findMessage(readHead(&frame).getMsgId()); def == nullptr)
        put(out, "  no codec for this id\n");
    else
        put(out, "  {:05} ({}): every body byte as the decoder reads it\n", def->id, familyName(*def));
    put(out, "  offset  width  path                      kind      bytes -> value\n");
    for (const BodySpan& s : spans) {
        const std::string_view bytes = spanBytes(frame, s);
        if (!s.unread) {
            put(out, "  {:>6}  {:>5}  {:<24}  {:<8}  {} -> {}\n", s.offset, s.width, pathText(s.path),
                spanKindName(s.kind), shownBytes(bytes), valueOf(frame, s).text());
        } else if (s.width <= kShownUnread) {
            put(out, "  {:>6}  {:>5}  {:<24}  {:<8}  {}\n", s.offset, s.width, kUnread, "", shownBytes(bytes));
        } else {
            put(out, "  {:>6}  {:>5}  {}\n", s.offset, s.width, kUnread);
            out += byteRows(bytes, s.offset, "  ");
        }
    }
    put(out, "  decoded       rc {:#x}: {}\n", decoded, jsonLine(recordToJson(rec)));
    return out;
}

std::string dissectFrameJson(const PavaMsg& frame, uint64_t offset, int* rc) {
    PavaFullData rec;
    int decoded = 0;
    const std::vector<BodySpan> spans = explainBody(frame, rec, &decoded);
    if (rc != nullptr) *rc = decoded;
    Json list = Json::array();
    for (const BodySpan& s : spans) {
        Json j{{"offset", s.offset}, {"width", s.width}};
        if (s.unread) {
            j["path"] = nullptr;
            j["unread"] = true;
            j["bytes"] = bytesToUtf8(spanBytes(frame, s));
        } else {
            j["path"] = pathText(s.path);
            j["kind"] = spanKindName(s.kind);
            const SpanValue v = valueOf(frame, s);
            j["value"] = v.number ? Json(v.n) : Json(bytesToUtf8(v.bytes));
        }
        list.push_back(std::move(j));
    }
    const Json j{{"offset", offset}, {"id", readHead(&frame).getMsgId()}, {"length", declaredLength(frame)},
                 {"rc", decoded}, {"spans", std::move(list)}};
    return jsonLine(j);
}

}  // namespace pava::tool
