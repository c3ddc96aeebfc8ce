// With PAVA_FUZZ_DUMP=FILE set, the harnesses append what they feed the codecs
// to FILE, one JSON object a line: {"head", "body"} for a frame, {"record"}
// for a record, texts one character per byte as the golden corpus writes them.
// scripts/fuzz.sh case turns them into golden corpus cases.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "support.h"

namespace pava::fuzz {

namespace {

std::FILE* dumpFile() {
    static std::FILE* const file = [] {
        const char* path = std::getenv("PAVA_FUZZ_DUMP");
        return path != nullptr ? std::fopen(path, "a") : nullptr;
    }();
    return file;
}

std::string quoted(const char* p, size_t n) {
    std::string out = "\"";
    for (size_t i = 0; i < n; ++i) {
        const auto c = static_cast<unsigned char>(p[i]);
        if (c >= 0x20 && c < 0x7f && c != '"' && c != '\\') {
            out += static_cast<char>(c);
        } else {
            char esc[8];
            std::snprintf(esc, sizeof esc, "\\u%04x", c);
            out += esc;
        }
    }
    return out + "\"";
}

std::string quoted(const std::string& s) { return quoted(s.data(), s.size()); }

// Members of one owner that are not zero, as the tool's records name them.
template <class Obj>
std::string members(Obj& obj, MemberOwner owner) {
    std::string out;
    for (size_t i = 0; i < kMemberCount; ++i) {
        const Member m = static_cast<Member>(i);
        if (memberOwner(m) != owner) continue;
        const Slot s = slotOf(obj, m);
        std::string value;
        switch (s.type) {
            case SlotType::Int32:
                if (const int32_t v = *static_cast<const int32_t*>(s.ptr); v != 0) value = std::to_string(v);
                break;
            case SlotType::UInt16:
                if (const uint16_t v = *static_cast<const uint16_t*>(s.ptr); v != 0) value = std::to_string(v);
                break;
            case SlotType::Chars: {
                const char* p = static_cast<const char*>(s.ptr);
                size_t n = static_cast<size_t>(s.size);
                while (n > 0 && p[n - 1] == '\0') --n;
                if (n > 0) value = quoted(p, n);
                break;
            }
            case SlotType::String:
                if (const auto& t = *static_cast<const std::string*>(s.ptr); !t.empty()) value = quoted(t);
                break;
            case SlotType::None: break;
        }
        if (value.empty()) continue;
        out += out.empty() ? "" : ",";
        out += quoted(std::string(memberName(m))) + ":" + value;
    }
    return out;
}

template <class Item>
std::string list(const std::vector<Item>& items, MemberOwner owner) {
    std::string out = "[";
    for (const Item& item : items) out += (out.size() > 1 ? ",{" : "{") + members(const_cast<Item&>(item), owner) + "}";
    return out + "]";
}

void add(std::string& out, const std::string& piece) { out += (out.empty() ? "" : ",") + piece; }

}  // namespace

void dumpFrame(const PavaMsg& frame) {
    std::FILE* f = dumpFile();
    if (f == nullptr) return;
    size_t n = MAX_PAVA_MSG_LEN;
    while (n > 0 && frame.body[n - 1] == '\0') --n;
    std::fprintf(f, "{\"head\":%s,\"body\":%s}\n", quoted(frame.head, PAVA_HEAD_LEN).c_str(),
                 quoted(frame.body, n).c_str());
    std::fflush(f);
}

void dumpRecord(const PavaFullData& rec) {
    std::FILE* f = dumpFile();
    if (f == nullptr) return;
    auto& r = const_cast<PavaFullData&>(rec);
    std::string out = members(r, MemberOwner::Record);
    int rows = 200;
    while (rows > 0 && std::string(rec.fileBlock.fbCodes[rows - 1], 13).find_first_not_of('\0') == std::string::npos)
        --rows;
    if (rows > 0) {
        std::string codes = "[";
        for (int i = 0; i < rows; ++i) {
            size_t n = 13;
            while (n > 0 && rec.fileBlock.fbCodes[i][n - 1] == '\0') --n;
            codes += (i > 0 ? "," : "") + quoted(rec.fileBlock.fbCodes[i], n);
        }
        add(out, "\"fbCodes\":" + codes + "]");
    }
    if (!rec.dataList.empty()) add(out, "\"dataList\":" + list(rec.dataList, MemberOwner::Item));
    if (!rec.dataList2.empty()) add(out, "\"dataList2\":" + list(rec.dataList2, MemberOwner::Item));
    if (!rec.settingList.empty()) add(out, "\"settingList\":" + list(rec.settingList, MemberOwner::Setting));
    if (!rec.recordList.empty()) {
        std::string records = "[";
        for (const PavaRecordItem& item : rec.recordList) {
            std::string e;
            if (!item.fieldList.empty()) add(e, "\"fieldList\":" + list(item.fieldList, MemberOwner::Field));
            if (!item.fieldList2.empty()) add(e, "\"fieldList2\":" + list(item.fieldList2, MemberOwner::Field));
            if (!item.recText1.empty()) add(e, "\"recText1\":" + quoted(item.recText1));
            if (!item.recText2.empty()) add(e, "\"recText2\":" + quoted(item.recText2));
            if (!item.recText3.empty()) add(e, "\"recText3\":" + quoted(item.recText3));
            if (item.recInt != 0) add(e, "\"recInt\":" + std::to_string(item.recInt));
            records += (records.size() > 1 ? ",{" : "{") + e + "}";
        }
        add(out, "\"recordList\":" + records + "]");
    }
    std::fprintf(f, "{\"record\":{%s}}\n", out.c_str());
    std::fflush(f);
}

}  // namespace pava::fuzz
