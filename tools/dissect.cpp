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
    if (fields.empty()) {
        put(out, "  (no fields)\n");
        return;
    }
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

// The field as the decoder reads it into a fresh object of the member's owner;
// the object starts at src, `room` bytes before the body ends.
template <class Obj>
std::string readValue(const Field& f, const char* src, int room) {
    Obj obj{};
    if (!readFields(std::span(&f, 1), src, room, obj)) return "(past the body)";
    return slotText(slotOf(obj, f.member));
}

std::string decodedValue(const Field& f, const char* src, int room) {
    switch (memberOwner(f.member)) {
    case MemberOwner::Record: return readValue<PavaFullData>(f, src, room);
    case MemberOwner::Item: return readValue<PavaDataItem>(f, src, room);
    case MemberOwner::Setting: return readValue<PavaSettingItem>(f, src, room);
    case MemberOwner::Field: return readValue<PavaFieldItem>(f, src, room);
    case MemberOwner::None: break;
    }
    // A field without a member (an item count): the number the list codec reads.
    if (f.offset + f.width > room) return "(past the body)";
    return f.kind == FieldKind::Decimal ? std::to_string(readIntField(src + f.offset, f.width)) : "";
}

// One row per field of an object that starts at body offset `base`.
void putFieldRows(std::string& out, std::span<const Field> fields, const char* body, int base) {
    const int room = MAX_PAVA_MSG_LEN - base;
    for (const Field& f : fields) {
        const int at = base + f.offset;
        const std::string_view bytes(body + std::min(at, MAX_PAVA_MSG_LEN),
                                     static_cast<size_t>(std::clamp(MAX_PAVA_MSG_LEN - at, 0, +f.width)));
        put(out, "  {:>6}  {:>5}  {:<10}  {:<8}  {} -> {}\n", at, f.width, memberName(f.member),
            fieldKindName(f.kind), shownBytes(bytes), decodedValue(f, body + base, room));
    }
}

std::string countText(const ListShape& list) {
    if (list.countWidth == 0) return "one item, no count";
    return fmt::format("count in {} digits at byte {}", list.countWidth, list.countAt);
}

// The items as the decoder reads them, as many as the count says and the
// declared length holds. Returns the offset behind the last item shown.
int putItems(std::string& out, const ListShape& list, const char* body, int length, int end) {
    const int count = list.countWidth == 0 ? 1 : readIntField(body + list.countAt, list.countWidth);
    const int fit = list.itemSize > 0 ? std::max(0, length - list.itemsAt) / list.itemSize : 0;
    const int shown = std::clamp(count, 0, fit);
    put(out, "  items         {} of {} bytes from byte {} ({})", count, list.itemSize, list.itemsAt, countText(list));
    if (shown < count) put(out, ", {} within the declared length", shown);
    out += '\n';
    for (int i = 0; i < shown; ++i) {
        const int at = list.itemsAt + i * list.itemSize;
        put(out, "  item {:<7}  bytes {}..{}\n", i + 1, at, at + list.itemSize - 1);
        putFieldRows(out, list.itemReadFields(), body, at);
    }
    return shown > 0 ? list.itemsAt + shown * list.itemSize : end;
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

std::string listIds() {
    std::string out;
    put(out, "id     family                      length  fields\n");
    for (const MessageDef* def : registeredMessages()) {
        const std::string length = def->layout.length < 0 ? "varies" : std::to_string(def->layout.length);
        put(out, "{:05}  {:<26}  {:>6}  {:>6}\n", def->id, familyName(*def), length, def->layout.fields.size());
    }
    return out;
}

std::string describeLayout(const MessageDef& def) {
    const Layout& layout = def.layout;
    std::string out;
    put(out, "{:05} ({}), body length {}\n", def.id, familyName(def),
        layout.length < 0 ? "varies" : std::to_string(layout.length));
    putFieldTable(out, layout.fields);
    if (!layout.decodeFields.empty()) {
        put(out, "the decoder reads:\n");
        putFieldTable(out, layout.decodeFields);
    }
    if (const ListShape* list = layout.list) {
        put(out, "items of {} bytes from byte {} ({}), offsets within the item:\n", list->itemSize, list->itemsAt,
            countText(*list));
        putFieldTable(out, list->itemFields);
        if (!list->itemDecodeFields.empty()) {
            put(out, "the decoder reads an item as:\n");
            putFieldTable(out, list->itemDecodeFields);
        }
        if (!list->trailer.empty()) {
            put(out, "behind the last item (offsets from there):\n");
            putFieldTable(out, list->trailer);
        }
    }
    const BodyPart& body = layout.body;
    if (body.words != nullptr) {
        put(out, "from byte {} ({}): {}\n", body.at, bodyKindName(body.kind), body.words);
        if (layout.list == nullptr && !body.trailer.empty()) {
            put(out, "behind it (offsets from there):\n");
            putFieldTable(out, body.trailer);
        }
    } else if (layout.list == nullptr) {
        const int end = fixedEnd(layout.fields);
        if (layout.length < 0 || end < layout.length)
            put(out, "the rest of the body, from byte {}, is a tail the codec lays out itself\n", end);
    }
    const auto members = carriedMembers(def);
    put(out, "members: {}\n", members.empty() ? std::string("none") : fmt::format("{}", fmt::join(members, " ")));
    return out;
}

std::string dissectFrame(const PavaMsg& frame, size_t number, uint64_t offset, int* rc) {
    const int length = declaredLength(frame);
    std::string out;
    put(out, "frame {} at offset {}: {} header + {} body bytes\n", number, offset, PAVA_HEAD_LEN, length);
    putHeader(out, frame);

    const MessageDef* def = findMessage(readHead(&frame).getMsgId());
    int end = 0;
    if (def == nullptr) {
        put(out, "  no codec for this id\n");
    } else {
        const auto fields = def->layout.readFields();
        end = fixedEnd(fields);
        put(out, "  {:05} ({}): fixed fields as the decoder reads them\n", def->id, familyName(*def));
        put(out, "  offset  width  member      kind      bytes -> value\n");
        putFieldRows(out, fields, frame.body, 0);
        if (def->layout.list != nullptr) end = putItems(out, *def->layout.list, frame.body, length, end);
    }
    if (end < length) {
        put(out, "  {:<12}  bytes {}..{}\n", def != nullptr && def->layout.list != nullptr ? "tail" : "list/tail", end,
            length - 1);
        out += byteRows({frame.body + end, static_cast<size_t>(length - end)}, end, "  ");
    }

    PavaFullData rec;
    const int decoded = Pava_To_Data(&frame, &rec);
    if (rc != nullptr) *rc = decoded;
    put(out, "  decoded       rc {:#x}: {}\n", decoded, jsonLine(recordToJson(rec)));
    return out;
}

}  // namespace pava::tool
