#include "dissect.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include <fmt/format.h>

#include "field_codec.h"
#include "frame_header.h"
#include "frames.h"
#include "json_record.h"
#include "messages/catalog.h"

namespace pava::tool {

namespace {

template <class... Args>
void put(std::string& out, fmt::format_string<Args...> f, Args&&... args) {
    fmt::format_to(std::back_inserter(out), f, std::forward<Args>(args)...);
}

int fixedEnd(std::span<const Field> fields) {
    int end = 0;
    for (const Field& f : fields) end = std::max(end, f.offset + f.width);
    return end;
}

std::string flagNames(uint8_t flags) {
    std::string names;
    const auto add = [&](uint8_t bit, const char* name) {
        if ((flags & bit) == 0) return;
        if (!names.empty()) names += ',';
        names += name;
    };
    add(kClearMember, "clear");
    add(kWriteZero, "zero");
    add(kNulPadded, "nul-padded");
    return names;
}

void putFieldTable(std::string& out, std::span<const Field> fields) {
    put(out, "  offset  width  kind      member      flags\n");
    for (const Field& f : fields) {
        out += fmt::format("  {:>6}  {:>5}  {:<8}  {:<10}  {}", f.offset, f.width, fieldKindName(f.kind),
                           memberName(f.member), flagNames(f.flags));
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

std::string slotText(const Slot& s) {
    switch (s.type) {
    case SlotType::Int32: return std::to_string(*static_cast<const int32_t*>(s.ptr));
    case SlotType::UInt16: return std::to_string(*static_cast<const uint16_t*>(s.ptr));
    case SlotType::Chars: {
        // The array's padding is not part of the value.
        std::string_view text(static_cast<const char*>(s.ptr), static_cast<size_t>(s.size));
        return shownBytes(text.substr(0, text.find_last_not_of('\0') + 1));
    }
    case SlotType::String: return shownBytes(*static_cast<const std::string*>(s.ptr));
    case SlotType::None: break;
    }
    return {};
}

// The field as the decoder reads it into a fresh object of the member's owner.
template <class Obj>
std::string readValue(const Field& f, const char* body) {
    Obj obj{};
    if (!readFields(std::span(&f, 1), body, MAX_PAVA_MSG_LEN, obj)) return "(past the body)";
    return slotText(slotOf(obj, f.member));
}

std::string decodedValue(const Field& f, const char* body) {
    switch (memberOwner(f.member)) {
    case MemberOwner::Record: return readValue<PavaFullData>(f, body);
    case MemberOwner::Item: return readValue<PavaDataItem>(f, body);
    case MemberOwner::Setting: return readValue<PavaSettingItem>(f, body);
    case MemberOwner::Field: return readValue<PavaFieldItem>(f, body);
    case MemberOwner::None: break;
    }
    // A field without a member (an item count): the number the list codec reads.
    return f.kind == FieldKind::Decimal ? std::to_string(readIntField(body + f.offset, f.width)) : "";
}

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

}  // namespace

const char* familyOf(const MessageDef& def) {
    for (const messages::Family& family : messages::kFamilies) {
        const auto defs = family.messages();
        if (!defs.empty() && &def >= defs.data() && &def < defs.data() + defs.size()) return family.name;
    }
    return "?";
}

std::string listIds() {
    std::string out;
    put(out, "id     family                      length  fields\n");
    for (const MessageDef* def : registeredMessages()) {
        const std::string length = def->layout.length < 0 ? "varies" : std::to_string(def->layout.length);
        put(out, "{:05}  {:<26}  {:>6}  {:>6}\n", def->id, familyOf(*def), length, def->layout.fields.size());
    }
    return out;
}

std::string describeLayout(const MessageDef& def) {
    const Layout& layout = def.layout;
    std::string out;
    put(out, "{:05} ({}), body length {}\n", def.id, familyOf(def),
        layout.length < 0 ? "varies" : std::to_string(layout.length));
    putFieldTable(out, layout.fields);
    if (!layout.decodeFields.empty()) {
        put(out, "the decoder reads:\n");
        putFieldTable(out, layout.decodeFields);
    }
    const int end = fixedEnd(layout.fields);
    if (layout.length < 0 || end < layout.length)
        put(out, "the rest of the body, from byte {}, is a list or tail the codec lays out itself\n", end);
    return out;
}

std::string dissectFrame(const PavaMsg& frame, size_t number) {
    const int length = declaredLength(frame);
    std::string out;
    put(out, "frame {}: {} header + {} body bytes\n", number, PAVA_HEAD_LEN, length);
    putHeader(out, frame);

    const MessageDef* def = findMessage(readHead(&frame).getMsgId());
    int end = 0;
    if (def == nullptr) {
        put(out, "  no codec for this id\n");
    } else {
        const auto fields = def->layout.readFields();
        end = fixedEnd(fields);
        put(out, "  {:05} ({}): fixed fields as the decoder reads them\n", def->id, familyOf(*def));
        put(out, "  offset  width  member      kind      bytes -> value\n");
        for (const Field& f : fields) {
            const std::string_view bytes(frame.body + std::min<int>(f.offset, MAX_PAVA_MSG_LEN),
                                         static_cast<size_t>(std::clamp(MAX_PAVA_MSG_LEN - f.offset, 0, +f.width)));
            put(out, "  {:>6}  {:>5}  {:<10}  {:<8}  {} -> {}\n", f.offset, f.width, memberName(f.member),
                fieldKindName(f.kind), shownBytes(bytes), decodedValue(f, frame.body));
        }
    }
    if (end < length) {
        put(out, "  list/tail     bytes {}..{}\n", end, length - 1);
        out += byteRows({frame.body + end, static_cast<size_t>(length - end)}, end, "  ");
    }

    PavaFullData rec;
    const int rc = Pava_To_Data(&frame, &rec);
    put(out, "  decoded       rc {:#x}: {}\n", rc, jsonLine(recordToJson(rec)));
    return out;
}

}  // namespace pava::tool
