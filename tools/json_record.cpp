#include "json_record.h"

#include <array>
#include <cstdint>
#include <iterator>
#include <cstring>
#include <optional>
#include <vector>

#include <fmt/format.h>

#include "members.h"

namespace pava::tool {

namespace {

std::string_view arrayText(const char* p, int size) {
    // A character array shows up to its last non-NUL byte.
    while (size > 0 && p[size - 1] == '\0') --size;
    return {p, static_cast<size_t>(size)};
}

// The members of one owner, in catalog order.
template <class F>
void forEachMember(MemberOwner owner, F&& f) {
    for (int i = 0; i < static_cast<int>(Member::None); ++i)
        if (const auto m = static_cast<Member>(i); memberOwner(m) == owner) f(m);
}

std::optional<Member> findMember(std::string_view name, MemberOwner owner) {
    std::optional<Member> found;
    forEachMember(owner, [&](Member m) {
        if (name == memberName(m)) found = m;
    });
    return found;
}

// A slot's value, or null when it is zero or empty.
Json slotToJson(const Slot& s) {
    switch (s.type) {
    case SlotType::Int32:
        if (const int32_t v = *static_cast<const int32_t*>(s.ptr); v != 0) return v;
        break;
    case SlotType::UInt16:
        if (const uint16_t v = *static_cast<const uint16_t*>(s.ptr); v != 0) return v;
        break;
    case SlotType::Chars:
        if (const auto text = arrayText(static_cast<const char*>(s.ptr), s.size); !text.empty())
            return bytesToUtf8(text);
        break;
    case SlotType::String:
        if (const auto* str = static_cast<const std::string*>(s.ptr); !str->empty()) return bytesToUtf8(*str);
        break;
    case SlotType::None: break;
    }
    return nullptr;
}

int64_t integerIn(const Json& v, int64_t lo, int64_t hi, const std::string& where) {
    if (!v.is_number_integer()) throw RecordError(where + ": expected an integer");
    if (v.is_number_unsigned() && v.get<uint64_t>() > static_cast<uint64_t>(hi))
        throw RecordError(fmt::format("{}: {} is out of range {}..{}", where, v.get<uint64_t>(), lo, hi));
    const auto n = v.get<int64_t>();
    if (n < lo || n > hi) throw RecordError(fmt::format("{}: {} is out of range {}..{}", where, n, lo, hi));
    return n;
}

std::string textOf(const Json& v, const std::string& where) {
    if (!v.is_string()) throw RecordError(where + ": expected a string");
    try {
        return utf8ToBytes(v.get_ref<const std::string&>());
    } catch (const RecordError& e) {
        throw RecordError(where + ": " + e.what());
    }
}

void slotFromJson(const Slot& s, const Json& v, const std::string& where) {
    switch (s.type) {
    case SlotType::Int32:
        *static_cast<int32_t*>(s.ptr) = static_cast<int32_t>(integerIn(v, INT32_MIN, INT32_MAX, where));
        break;
    case SlotType::UInt16:
        *static_cast<uint16_t*>(s.ptr) = static_cast<uint16_t>(integerIn(v, 0, UINT16_MAX, where));
        break;
    case SlotType::Chars: {
        const std::string bytes = textOf(v, where);
        if (bytes.size() > static_cast<size_t>(s.size))
            throw RecordError(fmt::format("{}: {} bytes do not fit the {}-byte array", where, bytes.size(), s.size));
        std::memset(s.ptr, 0, static_cast<size_t>(s.size));
        std::memcpy(s.ptr, bytes.data(), bytes.size());
        break;
    }
    case SlotType::String: *static_cast<std::string*>(s.ptr) = textOf(v, where); break;
    case SlotType::None: break;
    }
}

// A record item has no catalog members: all of its keys go to recordItemFromJson.
Slot slotOf(PavaRecordItem&, Member) noexcept { return {}; }

// Catalog members of obj into / from a JSON object. Keys the catalog does not
// know go to `other`, which returns false for a key it does not know either.
template <class Obj>
void membersToJson(Obj& obj, MemberOwner owner, Json& out) {
    forEachMember(owner, [&](Member m) {
        if (Json v = slotToJson(slotOf(obj, m)); !v.is_null()) out[memberName(m)] = std::move(v);
    });
}

template <class Obj, class Other>
void membersFromJson(const Json& j, Obj& obj, MemberOwner owner, const std::string& where, Other&& other) {
    if (!j.is_object()) throw RecordError(where.empty() ? "expected an object" : where + ": expected an object");
    for (const auto& [key, value] : j.items()) {
        const std::string at = where.empty() ? key : where + "." + key;
        if (const auto m = findMember(key, owner))
            slotFromJson(slotOf(obj, *m), value, at);
        else if (!other(key, value, at))
            throw RecordError(at + ": unknown member");
    }
}

template <class Item>
Json listToJson(const std::vector<Item>& items, MemberOwner owner) {
    Json list = Json::array();
    for (const Item& item : items) {
        Json j = Json::object();
        membersToJson(const_cast<Item&>(item), owner, j);  // slots are only read
        list.push_back(std::move(j));
    }
    return list;
}

template <class Item, class Other>
void listFromJson(const Json& j, std::vector<Item>& items, MemberOwner owner, const std::string& where,
                  Other&& other) {
    if (!j.is_array()) throw RecordError(where + ": expected an array");
    for (const Json& e : j) {
        Item& item = items.emplace_back();
        const std::string at = fmt::format("{}[{}]", where, items.size() - 1);
        membersFromJson(e, item, owner, at, [&](const std::string& key, const Json& v, const std::string& a) {
            return other(item, key, v, a);
        });
    }
}

constexpr auto kNoOther = [](auto&, const std::string&, const Json&, const std::string&) { return false; };

bool recordItemFromJson(PavaRecordItem& r, const std::string& key, const Json& v, const std::string& at) {
    if (key == "fieldList" || key == "fieldList2") {
        listFromJson(v, key == "fieldList" ? r.fieldList : r.fieldList2, MemberOwner::Field, at, kNoOther);
        return true;
    }
    for (const RecordItemMember& m : recordItemMembers()) {
        if (key == m.name) {
            slotFromJson(m.slot(r), v, at);
            return true;
        }
    }
    return false;
}

constexpr int kCodeRows = static_cast<int>(std::size(PavaFileBlock{}.fbCodes));
constexpr int kCodeSize = static_cast<int>(sizeof PavaFileBlock{}.fbCodes[0]);

}  // namespace

std::string bytesToUtf8(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size());
    for (const char c : bytes) {
        const auto b = static_cast<unsigned char>(c);
        if (b < 0x80) {
            out += c;
        } else {
            out += static_cast<char>(0xC0 | (b >> 6));
            out += static_cast<char>(0x80 | (b & 0x3F));
        }
    }
    return out;
}

std::string utf8ToBytes(std::string_view utf8) {
    std::string out;
    out.reserve(utf8.size());
    for (size_t i = 0; i < utf8.size(); ++i) {
        const auto b = static_cast<unsigned char>(utf8[i]);
        if (b < 0x80) {
            out += static_cast<char>(b);
            continue;
        }
        // Two-byte sequences with lead C2 or C3 are U+0080..U+00FF; anything else is not a byte.
        const auto next = i + 1 < utf8.size() ? static_cast<unsigned char>(utf8[i + 1]) : 0;
        if ((b != 0xC2 && b != 0xC3) || (next & 0xC0) != 0x80)
            throw RecordError(fmt::format("character at byte {} is not in U+0000..U+00FF", i));
        out += static_cast<char>(((b & 0x03) << 6) | (next & 0x3F));
        ++i;
    }
    return out;
}

Json recordToJson(const PavaFullData& rec) {
    auto& r = const_cast<PavaFullData&>(rec);  // slots are only read
    Json j = Json::object();
    membersToJson(r, MemberOwner::Record, j);
    int rows = kCodeRows;
    while (rows > 0 && arrayText(rec.fileBlock.fbCodes[rows - 1], kCodeSize).empty()) --rows;
    for (int i = 0; i < rows; ++i) j["fbCodes"].push_back(bytesToUtf8(arrayText(rec.fileBlock.fbCodes[i], kCodeSize)));
    if (!rec.dataList.empty()) j["dataList"] = listToJson(rec.dataList, MemberOwner::Item);
    if (!rec.dataList2.empty()) j["dataList2"] = listToJson(rec.dataList2, MemberOwner::Item);
    if (!rec.settingList.empty()) j["settingList"] = listToJson(rec.settingList, MemberOwner::Setting);
    for (const PavaRecordItem& item : rec.recordList) {
        Json e = Json::object();
        if (!item.fieldList.empty()) e["fieldList"] = listToJson(item.fieldList, MemberOwner::Field);
        if (!item.fieldList2.empty()) e["fieldList2"] = listToJson(item.fieldList2, MemberOwner::Field);
        for (const RecordItemMember& m : recordItemMembers())
            if (Json v = slotToJson(m.slot(const_cast<PavaRecordItem&>(item))); !v.is_null()) e[m.name] = std::move(v);
        j["recordList"].push_back(std::move(e));
    }
    return j;
}

namespace {

// The members of each owner, listed once.
const std::vector<Member>& membersOf(MemberOwner owner) {
    static const auto lists = [] {
        std::array<std::vector<Member>, 5> all;
        for (int i = 0; i < static_cast<int>(Member::None); ++i) {
            const auto m = static_cast<Member>(i);
            all[static_cast<size_t>(memberOwner(m))].push_back(m);
        }
        return all;
    }();
    return lists[static_cast<size_t>(owner)];
}

// Bytes as a JSON string, each byte its code point, escaped as jsonLine does.
void appendJsonText(std::string& out, std::string_view bytes) {
    static constexpr char kHex[] = "0123456789abcdef";
    const auto needsNoEscape = [](char c) {
        const auto b = static_cast<unsigned char>(c);
        return b >= 0x20 && b < 0x7f && b != '"' && b != '\\';
    };
    size_t clean = 0;
    while (clean < bytes.size() && needsNoEscape(bytes[clean])) ++clean;
    if (clean == bytes.size()) {
        // Most texts need no escape: quotes and bytes in one write.
        const size_t at = out.size();
        out.resize(at + bytes.size() + 2);
        char* p = out.data() + at;
        p[0] = '"';
        if (!bytes.empty()) std::memcpy(p + 1, bytes.data(), bytes.size());
        p[bytes.size() + 1] = '"';
        return;
    }
    out += '"';
    // Runs of characters that need no escape go in one append each.
    size_t plain = 0;
    for (size_t i = clean; i < bytes.size(); ++i) {
        const auto b = static_cast<unsigned char>(bytes[i]);
        if (b >= 0x20 && b < 0x7f && b != '"' && b != '\\') continue;
        out.append(bytes.data() + plain, i - plain);
        plain = i + 1;
        switch (b) {
        case '"': out += "\\\""; continue;
        case '\\': out += "\\\\"; continue;
        case '\b': out += "\\b"; continue;
        case '\f': out += "\\f"; continue;
        case '\n': out += "\\n"; continue;
        case '\r': out += "\\r"; continue;
        case '\t': out += "\\t"; continue;
        default: break;
        }
        const char esc[6] = {'\\', 'u', '0', '0', kHex[b >> 4], kHex[b & 15]};
        out.append(esc, 6);
    }
    out.append(bytes.data() + plain, bytes.size() - plain);
    out += '"';
}

void appendInt(std::string& out, long long v) {
    const fmt::format_int text(v);
    out.append(text.data(), text.size());
}

void appendKey(std::string& out, bool& first, std::string_view key) {
    out += first ? "\"" : ",\"";
    first = false;
    out += key;
    out += "\":";
}

// A member's key as written, quotes and colon included: made once, so no
// name is measured again for every member of every line.
void appendKey(std::string& out, bool& first, Member m) {
    // Each key with the comma before it; the first member of an object skips it.
    static const std::vector<std::string> keys = [] {
        std::vector<std::string> k;
        for (int i = 0; i <= static_cast<int>(Member::None); ++i)
            k.push_back(fmt::format(",\"{}\":", memberName(static_cast<Member>(i))));
        return k;
    }();
    const auto i = static_cast<size_t>(m);
    std::string_view key = i < keys.size() ? std::string_view(keys[i]) : std::string_view(",\"?\":");
    if (first) key.remove_prefix(1);
    first = false;
    out += key;
}

template <class Obj>
void appendMembers(std::string& out, bool& first, Obj& obj, MemberOwner owner) {
    for (const Member m : membersOf(owner)) {
        const Slot s = slotOf(obj, m);
        switch (s.type) {
        case SlotType::Int32:
            if (const int32_t v = *static_cast<const int32_t*>(s.ptr); v != 0)
                appendKey(out, first, m), appendInt(out, v);
            break;
        case SlotType::UInt16:
            if (const uint16_t v = *static_cast<const uint16_t*>(s.ptr); v != 0)
                appendKey(out, first, m), appendInt(out, v);
            break;
        case SlotType::Chars: {
            // Most arrays are all NUL: one wide compare rules that out before the byte scan.
            static constexpr char kZeros[256] = {};
            const auto* p = static_cast<const char*>(s.ptr);
            if (s.size <= static_cast<int>(sizeof kZeros) && std::memcmp(p, kZeros, static_cast<size_t>(s.size)) == 0)
                break;
            if (const auto text = arrayText(p, s.size); !text.empty())
                appendKey(out, first, m), appendJsonText(out, text);
            break;
        }
        case SlotType::String:
            if (const auto* str = static_cast<const std::string*>(s.ptr); !str->empty())
                appendKey(out, first, m), appendJsonText(out, *str);
            break;
        case SlotType::None: break;
        }
    }
}

template <class Item>
void appendList(std::string& out, bool& first, std::string_view key, const std::vector<Item>& items,
                MemberOwner owner) {
    if (items.empty()) return;
    appendKey(out, first, key);
    out += '[';
    for (size_t i = 0; i < items.size(); ++i) {
        out += i == 0 ? "{" : ",{";
        bool inner = true;
        appendMembers(out, inner, const_cast<Item&>(items[i]), owner);  // slots are only read
        out += '}';
    }
    out += ']';
}

}  // namespace

void appendRecordMembers(std::string& out, bool& first, const PavaFullData& rec) {
    auto& r = const_cast<PavaFullData&>(rec);  // slots are only read
    appendMembers(out, first, r, MemberOwner::Record);
    // Most records carry no codes: one compare of the whole table instead of a scan per row.
    static constexpr char kNoCodes[sizeof rec.fileBlock.fbCodes] = {};
    int rows = std::memcmp(rec.fileBlock.fbCodes, kNoCodes, sizeof kNoCodes) == 0 ? 0 : kCodeRows;
    while (rows > 0 && arrayText(rec.fileBlock.fbCodes[rows - 1], kCodeSize).empty()) --rows;
    if (rows > 0) {
        appendKey(out, first, "fbCodes");
        out += '[';
        for (int i = 0; i < rows; ++i) {
            if (i > 0) out += ',';
            appendJsonText(out, arrayText(rec.fileBlock.fbCodes[i], kCodeSize));
        }
        out += ']';
    }
    appendList(out, first, "dataList", rec.dataList, MemberOwner::Item);
    appendList(out, first, "dataList2", rec.dataList2, MemberOwner::Item);
    appendList(out, first, "settingList", rec.settingList, MemberOwner::Setting);
    if (rec.recordList.empty()) return;
    appendKey(out, first, "recordList");
    out += '[';
    for (size_t i = 0; i < rec.recordList.size(); ++i) {
        const PavaRecordItem& item = rec.recordList[i];
        out += i == 0 ? "{" : ",{";
        bool inner = true;
        appendList(out, inner, "fieldList", item.fieldList, MemberOwner::Field);
        appendList(out, inner, "fieldList2", item.fieldList2, MemberOwner::Field);
        for (const RecordItemMember& m : recordItemMembers()) {
            const Slot s = m.slot(const_cast<PavaRecordItem&>(item));
            if (s.type == SlotType::Int32 && *static_cast<const int32_t*>(s.ptr) != 0)
                appendKey(out, inner, m.name), appendInt(out, *static_cast<const int32_t*>(s.ptr));
            else if (s.type == SlotType::String && !static_cast<const std::string*>(s.ptr)->empty())
                appendKey(out, inner, m.name), appendJsonText(out, *static_cast<const std::string*>(s.ptr));
        }
        out += '}';
    }
    out += ']';
}

PavaFullData recordFromJson(const Json& j) {
    PavaFullData rec;
    membersFromJson(j, rec, MemberOwner::Record, "", [&](const std::string& key, const Json& v, const std::string& at) {
        if (key == "dataList" || key == "dataList2") {
            listFromJson(v, key == "dataList" ? rec.dataList : rec.dataList2, MemberOwner::Item, at, kNoOther);
        } else if (key == "settingList") {
            listFromJson(v, rec.settingList, MemberOwner::Setting, at, kNoOther);
        } else if (key == "recordList") {
            listFromJson(v, rec.recordList, MemberOwner::None, at, recordItemFromJson);
        } else if (key == "fbCodes") {
            if (!v.is_array() || v.size() > static_cast<size_t>(kCodeRows))
                throw RecordError(fmt::format("{}: expected an array of at most {} texts", at, kCodeRows));
            for (size_t i = 0; i < v.size(); ++i)
                slotFromJson(Slot{SlotType::Chars, rec.fileBlock.fbCodes[i], kCodeSize}, v[i],
                             fmt::format("{}[{}]", at, i));
        } else if (key != "rc" && key != "offset" && key != "frames" && key != "complete" &&
                   key != "log") {  // what `pava decode` adds to each record
            return false;
        }
        return true;
    });
    return rec;
}

}  // namespace pava::tool
