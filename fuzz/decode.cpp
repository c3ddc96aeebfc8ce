// Decoder harness. Each input is used twice:
//   - as it stands, as a frame (header and body, the rest NUL), into a clean record;
//   - as a frame of a registered id chosen by the input, with a declared
//     length, header characters and body from the rest of it, decoded into a
//     record left dirty by earlier inputs or filled from the input.
// checkedDecode aborts when a decoder writes outside its id's members, writes
// its frame, or answers with a code outside the documented set.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "frame_header.h"
#include "frame_reader.h"
#include "read_trace.h"
#include "support.h"

using namespace pava;

namespace {

void writeDigits(char* dest, int width, long value, bool zeroPad) {
    char text[32];
    std::snprintf(text, sizeof text, zeroPad ? "%0*ld" : "%-*ld", width, value);
    std::memcpy(dest, text, static_cast<size_t>(width));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quietLogs();
    static PavaMsg frame;
    std::memset(&frame, 0, sizeof frame);
    std::memcpy(&frame, data, std::min(size, sizeof frame));
    fuzz::checkedDecode(frame);
    // A header the stream readers trust is never refused while its bytes
    // are still arriving (a dissector judges a header cut by a segment).
    if (plausibleHeader(frame.head))
        for (size_t n = 0; n < PAVA_HEAD_LEN; ++n)
            if (!plausibleHeaderStart(frame.head, n))
                fuzz::fail("a trusted header refused in part", readHead(&frame).getMsgId());

    FuzzedDataProvider fdp(data, size);
    const auto all = fuzz::registered();
    const MessageDef& def = *all[fdp.ConsumeIntegralInRange<size_t>(0, all.size() - 1)];
    static constexpr long kLengths[] = {0, 1, 15, 16, 17, 100, 8191, 8192, 8193, 9999, 65535, 65536, 99999};
    long length = fdp.ConsumeBool() ? fdp.PickValueInArray(kLengths) : fdp.ConsumeIntegralInRange<long>(-9, 8300);
    if (def.layout.length >= 0 && fdp.ConsumeBool()) length = def.layout.length;
    const bool dirty = fdp.ConsumeBool();
    const char type = fdp.ConsumeBool() ? static_cast<char>('0' + fdp.ConsumeIntegralInRange<int>(0, 9))
                                        : fdp.ConsumeIntegral<char>();
    const char flag = fdp.ConsumeBool() ? '0' : fdp.ConsumeIntegral<char>();
    const char continued = fdp.ConsumeBool() ? '0' : '1';
    const int rii = fdp.ConsumeIntegralInRange<int>(0, 999);
    // The body: what follows the input's own 16 header bytes.
    std::string rest = fdp.ConsumeRemainingBytesAsString();
    rest.erase(0, std::min<size_t>(rest.size(), PAVA_HEAD_LEN));

    std::memset(&frame, 0, sizeof frame);
    writeDigits(frame.head + kHeadRii, 3, rii, false);
    writeDigits(frame.head + kHeadMsgId, 5, def.id, true);
    frame.head[kHeadType] = type;
    if (length < 0 || length > 99999) {
        std::memcpy(frame.head + kHeadLength, "-1   ", 5);
    } else {
        writeDigits(frame.head + kHeadLength, 5, length, false);
    }
    frame.head[kHeadFlag] = flag;
    frame.head[kHeadContinued] = continued;
    std::memcpy(frame.body, rest.data(), std::min<size_t>(rest.size(), MAX_PAVA_MSG_LEN));

    // A record that still holds an earlier decode (or garbage) must decode
    // exactly as a fresh one: the entry point resets it first.
    static PavaFullData previous;
    PavaFullData fresh;
    const int freshRc = fuzz::checkedDecode(frame, &fresh);
    if (dirty) {
        FuzzedDataProvider junk(data, size);
        fuzz::fillRecord(junk, static_cast<uint16_t>(def.id), previous, true);
    }
    if (Pava_To_Data(&frame, &previous) != freshRc || fuzz::image(previous) != fuzz::image(fresh))
        fuzz::fail("a dirty record decodes differently", def.id);
    // Explaining the body decodes it again with every read reported: the
    // same code and record, and no span outside the frame's body.
    static PavaFullData traced;
    int tracedRc = 0;
    for (const BodySpan& span : explainBody(frame, traced, &tracedRc))
        if (span.offset < 0 || span.width < 0 || span.offset + span.width > MAX_PAVA_MSG_LEN)
            fuzz::fail("a span outside the body", def.id);
    if (tracedRc != freshRc || fuzz::image(traced) != fuzz::image(fresh))
        fuzz::fail("an explained decode differs from the plain one", def.id);
    return 0;
}
