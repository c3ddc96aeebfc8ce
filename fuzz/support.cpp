#include "support.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "analyzer.h"
#include "frame_header.h"
#include "multiframe/splitter.h"
#include "table_body.h"

namespace pava::fuzz {

namespace {

constexpr unsigned char kGuardByte = 0xA5;
const std::string kGuardText = "\xA5\xA5 guard";

using detail::isRecordMember;

void addFields(Carried& c, std::span<const Field> fields) {
    for (const Field& f : fields)
        if (f.member != Member::None && isRecordMember(f.member)) c.members.set(static_cast<size_t>(f.member));
}

void addList(Carried& c, const ListLayout& list) {
    addFields(c, list.prefix);
    if (list.trailerRead) addFields(c, list.trailer);
    c.containers |= kDataList;  // the list reader appends to dataList
}

// A table fills its records, and intValue4 where a case reads a digit.
void addTable(Carried& c, const Table& t) {
    c.containers |= kRecordList;
    for (const TableCase& k : t.cases)
        if (k.step == TableStep::Digit) c.members.set(static_cast<size_t>(Member::intValue4));
}

void forEachRecordMember(auto&& fn) {
    for (size_t i = 0; i < kMemberCount; ++i)
        if (isRecordMember(static_cast<Member>(i))) fn(static_cast<Member>(i));
}

}  // namespace

std::span<const MessageDef* const> registered() { return registeredMessages(); }

const MessageDef& pickById(std::span<const MessageDef* const> ids, uint16_t key) {
    const auto it = std::lower_bound(ids.begin(), ids.end(), int{key},
                                     [](const MessageDef* def, int k) { return def->id < k; });
    return it != ids.end() ? **it : *ids.front();
}

void quietLogs() {
    static const bool once = (Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr), true);
    (void)once;
}

void fail(const char* what, int id, const std::string& detail) {
    std::fprintf(stderr, "\n*** invariant broken: %s (id %05d)%s%s\n", what, id, detail.empty() ? "" : "\n    ",
                 detail.c_str());
    std::fflush(stderr);
    std::abort();
}

Carried carriedBy(const MessageDef& def) {
    Carried c;
    for (const Member m : {Member::rii, Member::msgId, Member::msgType, Member::msgLen, Member::headFlag,
                           Member::contFlag})
        c.members.set(static_cast<size_t>(m));
    addFields(c, def.layout.readFields());
    bool described = false;
    if (def.description != nullptr) {
        const Tail& tail = def.description->read;
        if (tail.text != nullptr) {
            const Member m = stringMember(tail.text->text);
            if (m != Member::None) c.members.set(static_cast<size_t>(m));
        } else if (tail.rows != nullptr) {
            c.containers |= tail.rows->list == pava::Container::SettingList ? kSettingList : kFbCodes;
        } else if (tail.records != nullptr) {
            c.containers |= kRecordList;
        } else if (tail.items != nullptr) {
            addList(c, tail.items->list);
        } else if (tail.split != nullptr) {
            addList(c, tail.split->list);
        } else if (tail.values != nullptr) {
            c.containers |= kDataList;
        } else if (tail.valueRecords != nullptr) {
            c.containers |= kRecordList;
        } else if (tail.table != nullptr) {
            addTable(c, *tail.table);
        }
        described = true;
    }
    if (!described) fail("no description of what the decoder writes", def.id);
    return c;
}

void guardRecord(PavaFullData& rec, const Carried& carried) {
    resetFullData(rec);
    forEachRecordMember([&](Member m) {
        if (carried.has(m)) return;
        const Slot s = slotOf(rec, m);
        switch (s.type) {
            case SlotType::Int32: std::memset(s.ptr, kGuardByte, 4); break;
            case SlotType::UInt16: std::memset(s.ptr, kGuardByte, 2); break;
            case SlotType::Chars: std::memset(s.ptr, kGuardByte, static_cast<size_t>(s.size)); break;
            case SlotType::String: *static_cast<std::string*>(s.ptr) = kGuardText; break;
            case SlotType::None: break;
        }
    });
    if (!(carried.containers & kFbCodes)) std::memset(rec.fileBlock.fbCodes, kGuardByte, sizeof rec.fileBlock.fbCodes);
    PavaDataItem guardItem;
    guardItem.itemId = INT32_MIN + 0xA5;
    guardItem.itemText = kGuardText;
    if (!(carried.containers & kDataList)) rec.dataList.assign(1, guardItem);
    if (!(carried.containers & kDataList2)) rec.dataList2.assign(1, guardItem);
    if (!(carried.containers & kSettingList)) {
        rec.settingList.assign(1, PavaSettingItem{});
        rec.settingList[0].setText = kGuardText;
    }
    if (!(carried.containers & kRecordList)) {
        rec.recordList.assign(1, PavaRecordItem{});
        rec.recordList[0].recText1 = kGuardText;
    }
}

int checkedDecode(const PavaMsg& frame, PavaFullData* out) {
    dumpFrame(frame);
    static PavaMsg before;
    std::memcpy(&before, &frame, sizeof frame);
    PavaFullData rec;
    const int rc = Pava_To_Data(&frame, &rec);
    // The record keeps the id in 16 bits; that is the id the registry is asked for.
    const int id = static_cast<uint16_t>(readHead(&frame).getMsgId());
    if (std::memcmp(&before, &frame, sizeof frame) != 0) fail("the decoder wrote into its input frame", id);
    if (rc != PAVA_OK && rc != PAVA_ERR_NO_HANDLER && rc != PAVA_ERR_DECODE)
        fail("undocumented decode return code", id, std::to_string(rc));
    const MessageDef* def = findMessage(id);
    if ((def != nullptr) != (rc != PAVA_ERR_NO_HANDLER)) fail("0x10008 does not match the registry", id);
    if (def != nullptr) {
        // The same decode from a guarded record: the decoder must leave every
        // part outside its id alone and produce what the entry point produced.
        const Carried carried = carriedBy(*def);
        PavaFullData guarded;
        guardRecord(guarded, carried);
        const std::string guard = image(guarded, carried, true);
        CPavaMsgAnalyze an(&guarded);
        an.parseHeadToData(&frame);
        int direct = 0;
        try {
            direct = def->decode(*def, &frame, &an);
        } catch (const std::bad_alloc&) {
            direct = -1;
        }
        if (image(guarded, carried, true) != guard) fail("the decoder wrote a member its id does not carry", id);
        if ((direct != 0) != (rc != PAVA_OK)) fail("decode result depends on the record's prior content", id);
        if (image(guarded, carried, false) != image(rec, carried, false))
            fail("decoded members depend on the record's prior content", id);
        if (image(rec, carried, true) != image(PavaFullData{}, carried, true))
            fail("the entry point left a member outside the id set", id);
    }
    // The same frame into records that hold list items already, its own
    // decode's and a crowd of others: they are reused, and must not show.
    static const PavaFullData crowded = crowdedRecord(3);
    const std::string decoded = image(rec);
    for (PavaFullData held : {rec, crowded}) {
        if (Pava_To_Data(&frame, &held) != rc) fail("decode result depends on the record's list items", id);
        if (image(held) != decoded) fail("decoded record depends on the list items it held", id);
    }
    if (out != nullptr) *out = std::move(rec);
    return rc;
}

// ---------------------------------------------------------------------------
// Records from fuzzer input
// ---------------------------------------------------------------------------

namespace {

int32_t pickInt32(FuzzedDataProvider& fdp) {
    static constexpr int32_t kEdges[] = {0, 1, -1, 9, 10, 99, 100, 999, 1000, 9999, 10000, 99999, 100000,
                                         999999, 1000000, 9999999, 10000000, 99999999, 100000000, 999999999,
                                         1000000000, INT32_MAX, INT32_MIN, -9, -10, -99, -100, -999, -1000,
                                         -9999, -10000, -9999999, -10000000, 2, 3, 4, 5, 6, 7, 8, 12, 16, 200, 255};
    switch (fdp.ConsumeIntegralInRange<int>(0, 3)) {
        case 0: return fdp.ConsumeIntegralInRange<int32_t>(-20, 20);
        case 1: return fdp.PickValueInArray(kEdges);
        case 2: {  // one past an edge, wrapping at the ends of the type
            const uint32_t edge = static_cast<uint32_t>(fdp.PickValueInArray(kEdges));
            return static_cast<int32_t>(fdp.ConsumeBool() ? edge + 1 : edge - 1);
        }
        default: return fdp.ConsumeIntegral<int32_t>();
    }
}

uint16_t pickUInt16(FuzzedDataProvider& fdp) {
    static constexpr uint16_t kEdges[] = {0, 1, 2, 9, 10, 15, 16, 99, 100, 199, 200, 201, 255, 256, 999, 1000, 9999,
                                          10000, 32767, 32768, 65535};
    switch (fdp.ConsumeIntegralInRange<int>(0, 2)) {
        case 0: return fdp.ConsumeIntegralInRange<uint16_t>(0, 20);
        case 1: return fdp.PickValueInArray(kEdges);
        default: return fdp.ConsumeIntegral<uint16_t>();
    }
}

char pickChar(FuzzedDataProvider& fdp) {
    static constexpr char kChars[] = {'0', '1', '9', ' ', '$', '-', '+', 'A', 'z', '/', '.', '\0', '\xff', '\x80'};
    return fdp.ConsumeBool() ? fdp.PickValueInArray(kChars) : fdp.ConsumeIntegral<char>();
}

void fillChars(FuzzedDataProvider& fdp, char* dest, int size) {
    std::memset(dest, 0, static_cast<size_t>(size));
    switch (fdp.ConsumeIntegralInRange<int>(0, 3)) {
        case 0: return;  // empty
        case 1: {        // every byte used, no NUL anywhere
            const char c = pickChar(fdp);
            for (int i = 0; i < size; ++i) {
                const char b = fdp.ConsumeBool() ? pickChar(fdp) : c;
                dest[i] = b != '\0' ? b : 'x';
            }
            return;
        }
        case 2: {  // a short text, NUL, then junk
            const int n = fdp.ConsumeIntegralInRange<int>(0, size - 1);
            for (int i = 0; i < size; ++i) dest[i] = i == n ? '\0' : static_cast<char>('A' + i % 26);
            return;
        }
        default: {
            const std::string bytes = fdp.ConsumeBytesAsString(static_cast<size_t>(size));
            std::memcpy(dest, bytes.data(), bytes.size());
            return;
        }
    }
}

std::string pickString(FuzzedDataProvider& fdp, size_t cap) {
    static constexpr size_t kLengths[] = {0, 1, 7, 8, 9, 12, 13, 15, 16, 31, 32, 33, 64, 65, 255, 256, 999, 1000,
                                          1001, 4096, 8171, 8172, 8192, 8193, 9999, 10000, 70000};
    switch (fdp.ConsumeIntegralInRange<int>(0, 3)) {
        case 0: return {};
        case 1: return fdp.ConsumeRandomLengthString(24);
        default: {
            const size_t n = std::min(cap, fdp.PickValueInArray(kLengths));
            std::string s(n, pickChar(fdp));
            // A few bytes placed at chosen positions, NUL among them.
            for (int k = fdp.ConsumeIntegralInRange<int>(0, 3); k > 0 && n > 0; --k)
                s[fdp.ConsumeIntegralInRange<size_t>(0, n - 1)] = pickChar(fdp);
            return s;
        }
    }
}

// Longest text and longest list the fill makes now: a long list holds short
// texts and short inner lists, so that one input stays within megabytes.
thread_local size_t textCap = 70000;
thread_local size_t listCapNow = 2000;

size_t pickCount(FuzzedDataProvider& fdp, size_t cap) {
    static constexpr size_t kCounts[] = {0, 1, 2, 3, 9, 10, 11, 49, 50, 51, 99, 100, 101, 199, 200, 201,
                                         255, 256, 300, 511, 512, 999, 1000, 1001, 2000};
    switch (fdp.ConsumeIntegralInRange<int>(0, 2)) {
        case 0: return 0;
        case 1: return fdp.ConsumeIntegralInRange<size_t>(1, 4);
        default: return std::min(cap, fdp.PickValueInArray(kCounts));
    }
}

// The first few items from the input, the rest copies of them. Texts inside
// a list stay shorter than a record's own, shorter still in a long list or
// in a list inside a list of more than a few items.
template <class Item, class Fill>
void fillList(FuzzedDataProvider& fdp, std::vector<Item>& list, Fill fill) {
    const size_t n = pickCount(fdp, listCapNow);
    list.resize(n);
    const size_t outerText = textCap, outerList = listCapNow;
    textCap = std::min<size_t>(textCap, n > 50 ? 300 : 9000);
    listCapNow = n > 50 ? 4 : n > 4 ? 50 : 300;
    if (n > 4) textCap = std::min<size_t>(textCap, 300);
    const size_t own = std::min<size_t>(n, 4);
    for (size_t i = 0; i < own; ++i) fill(list[i]);
    for (size_t i = own; i < n; ++i) list[i] = list[i % own];
    textCap = outerText;
    listCapNow = outerList;
}

// Every member of `owner` in the object, in declaration order.
template <class Obj>
void fillMembers(FuzzedDataProvider& fdp, Obj& obj, MemberOwner owner) {
    for (size_t i = 0; i < kMemberCount; ++i) {
        if (memberOwner(static_cast<Member>(i)) != owner) continue;
        const Slot s = slotOf(obj, static_cast<Member>(i));
        switch (s.type) {
            case SlotType::Int32: *static_cast<int32_t*>(s.ptr) = pickInt32(fdp); break;
            case SlotType::UInt16: *static_cast<uint16_t*>(s.ptr) = pickUInt16(fdp); break;
            case SlotType::Chars: fillChars(fdp, static_cast<char*>(s.ptr), s.size); break;
            case SlotType::String: *static_cast<std::string*>(s.ptr) = pickString(fdp, textCap); break;
            case SlotType::None: break;
        }
    }
}

}  // namespace

void fillRecord(FuzzedDataProvider& fdp, uint16_t id, PavaFullData& rec, bool small) {
    textCap = small ? 300 : 70000;
    listCapNow = small ? 4 : 2000;
    fillMembers(fdp, rec, MemberOwner::Record);
    rec.msgId = id;
    // The numbers of the id's own fields at and just past what their digits hold.
    if (const MessageDef* def = findMessage(id); def != nullptr)
        for (const Field& f : def->layout.fields) {
            const Slot s = slotOf(rec, f.member);
            if (f.kind != FieldKind::Decimal || s.type != SlotType::Int32 || !fdp.ConsumeBool()) continue;
            int64_t top = 1;
            for (int i = 0; i < f.width && top < INT32_MAX; ++i) top *= 10;
            const int64_t edges[] = {top - 1, top, top / 10 - 1, -(top / 10 - 1), -(top / 10)};
            *static_cast<int32_t*>(s.ptr) =
                static_cast<int32_t>(std::clamp<int64_t>(fdp.PickValueInArray(edges), INT32_MIN, INT32_MAX));
        }
    const int rows = std::min<int>(rec.fileBlock.fbCount, 200);
    for (int i = 0; i < rows; ++i) fillChars(fdp, rec.fileBlock.fbCodes[i], 13);
    fillList(fdp, rec.dataList, [&](PavaDataItem& item) { fillMembers(fdp, item, MemberOwner::Item); });
    fillList(fdp, rec.dataList2, [&](PavaDataItem& item) { fillMembers(fdp, item, MemberOwner::Item); });
    fillList(fdp, rec.settingList, [&](PavaSettingItem& s) { fillMembers(fdp, s, MemberOwner::Setting); });
    // Nested lists stay small enough that one input runs in milliseconds.
    fillList(fdp, rec.recordList, [&](PavaRecordItem& r) {
        fillList(fdp, r.fieldList, [&](PavaFieldItem& f) { fillMembers(fdp, f, MemberOwner::Field); });
        fillList(fdp, r.fieldList2, [&](PavaFieldItem& f) { fillMembers(fdp, f, MemberOwner::Field); });
        r.recText1 = pickString(fdp, textCap);
        r.recInt = pickInt32(fdp);
    });
}

}  // namespace pava::fuzz
