// Round-trip harness for the ids whose body is a field table and nothing
// else. The record's values are made to fit the fields (numbers within their
// digits, texts within their widths and free of NUL), so nothing is lost on
// the way: encode, decode, encode must give the same frame, and the decoded
// record must hold the values that went out.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "support.h"

using namespace pava;

namespace {

// The body is a field table and nothing else, and the decoder reads each
// field back into the member it was written from (a decoder that reads a
// field into another member loses a value by design).
bool tableOnly(const MessageDef& def) {
    if (def.description == nullptr) return false;
    const Description& d = *def.description;
    if (!d.write.empty() || !d.read.empty() || d.has(kDropsFrame)) return false;
    const auto out = def.layout.fields, back = def.layout.readFields();
    if (out.size() != back.size()) return false;
    for (size_t i = 0; i < out.size(); ++i)
        if (out[i].offset != back[i].offset || out[i].width != back[i].width || out[i].member != back[i].member)
            return false;
    return true;
}

const std::vector<const MessageDef*>& lossless() {
    static const std::vector<const MessageDef*> ids = [] {
        std::vector<const MessageDef*> out;
        for (const MessageDef* def : fuzz::registered())
            if (tableOnly(*def)) out.push_back(def);
        return out;
    }();
    return ids;
}

constexpr int64_t power10(int n) { return n <= 0 ? 1 : 10 * power10(n - 1); }

void fitText(FuzzedDataProvider& fdp, char* dest, int room) {
    const int n = fdp.ConsumeIntegralInRange<int>(0, room);
    for (int i = 0; i < n; ++i) {
        const char c = fdp.ConsumeIntegral<char>();
        dest[i] = c != '\0' ? c : '0';
    }
}

void fitField(FuzzedDataProvider& fdp, const Field& f, PavaFullData& rec) {
    const Slot s = slotOf(rec, f.member);
    switch (s.type) {
        case SlotType::Int32:
        case SlotType::UInt16: {
            if (f.kind != FieldKind::Decimal) return;
            const int64_t hi = std::min<int64_t>(power10(f.width) - 1, s.type == SlotType::Int32 ? INT32_MAX : 65535);
            const int64_t lo = s.type == SlotType::Int32 ? std::max<int64_t>(1 - power10(f.width - 1), INT32_MIN) : 0;
            const int64_t v = fdp.ConsumeIntegralInRange<int64_t>(lo, hi);
            if (s.type == SlotType::Int32)
                *static_cast<int32_t*>(s.ptr) = static_cast<int32_t>(v);
            else
                *static_cast<uint16_t*>(s.ptr) = static_cast<uint16_t>(v);
            return;
        }
        case SlotType::Chars:
            std::memset(s.ptr, 0, static_cast<size_t>(s.size));
            fitText(fdp, static_cast<char*>(s.ptr), std::min<int>(f.width, s.size - 1));
            return;
        case SlotType::String: {
            auto& text = *static_cast<std::string*>(s.ptr);
            text.assign(static_cast<size_t>(f.width), '\0');
            fitText(fdp, text.data(), f.width);
            text.resize(std::strlen(text.c_str()));
            return;
        }
        case SlotType::None: return;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quietLogs();
    if (size < 2) return -1;
    const auto& ids = lossless();
    const MessageDef& def = fuzz::pickById(ids, static_cast<uint16_t>(data[0] << 8 | data[1]));
    FuzzedDataProvider fdp(data + 2, size - 2);
    PavaFullData rec;
    rec.msgId = static_cast<uint16_t>(def.id);
    rec.rii = fdp.ConsumeIntegralInRange<uint16_t>(0, 999);
    rec.msgType = fdp.ConsumeIntegralInRange<uint16_t>(0, 15);
    rec.headFlag = fdp.ConsumeIntegralInRange<uint16_t>(0, 15);
    for (const Field& f : def.layout.fields)
        if (f.member != Member::None && !(f.flags & kWriteZero) && memberOwner(f.member) == MemberOwner::Record)
            fitField(fdp, f, rec);

    fuzz::dumpRecord(rec);
    PavaMsgList first;
    if (Data_To_Pava(&rec, &first) != PAVA_OK) fuzz::fail("a record whose values fit is refused", def.id);
    if (first.size() != 1) fuzz::fail("a field table gives one frame", def.id);
    PavaFullData back;
    if (fuzz::checkedDecode(first[0], &back) != PAVA_OK) fuzz::fail("a frame just encoded does not decode", def.id);
    for (const Field& f : def.layout.readFields()) {
        if (f.member == Member::None || (f.flags & kWriteZero) || f.kind != FieldKind::Decimal) continue;
        if (memberOwner(f.member) != MemberOwner::Record) continue;
        PavaFullData& r = rec;
        const Slot a = slotOf(r, f.member), b = slotOf(back, f.member);
        const size_t n = a.type == SlotType::Int32 ? 4 : a.type == SlotType::UInt16 ? 2 : 0;
        if (n != 0 && std::memcmp(a.ptr, b.ptr, n) != 0)
            fuzz::fail("a number that fits its field comes back changed", def.id, memberName(f.member));
    }
    PavaMsgList second;
    if (Data_To_Pava(&back, &second) != PAVA_OK) fuzz::fail("a decoded record is refused", def.id);
    if (fuzz::framesImage(second) != fuzz::framesImage(first)) fuzz::fail("encode, decode, encode changes the frame", def.id);
    return 0;
}
