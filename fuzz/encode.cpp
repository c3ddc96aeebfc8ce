// Encoder harness: a record for a registered id built from the input (values
// at and past every limit, see fillRecord), encoded into an empty list and
// into a list that already holds frames; both runs must agree (the same
// return code and the same frames, byte for byte), the frames of
// before must be gone, and every frame produced must decode under the
// decoder checks.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstring>

#include "frame_header.h"
#include "support.h"

using namespace pava;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quietLogs();
    if (size < 2) return -1;
    const auto all = fuzz::registered();
    const MessageDef& def = fuzz::pickById(all, static_cast<uint16_t>(data[0] << 8 | data[1]));
    FuzzedDataProvider fdp(data + 2, size - 2);
    PavaFullData rec;
    fuzz::fillRecord(fdp, static_cast<uint16_t>(def.id), rec);
    const size_t stale = fdp.ConsumeIntegralInRange<size_t>(0, 3);

    fuzz::dumpRecord(rec);
    PavaFullData again = rec;
    PavaMsgList frames;
    const int rc = Data_To_Pava(&rec, &frames);
    if (rc != PAVA_OK && rc != PAVA_ERR_ENCODE) fuzz::fail("undocumented encode return code", def.id, std::to_string(rc));

    // Frames already in the list: none may survive the call.
    PavaMsg old;
    std::memset(&old, 0x5A, sizeof old);
    std::memcpy(old.head, "STALE-FRAME-0000", PAVA_HEAD_LEN);
    PavaMsgList prefilled(stale, old);
    const int rc2 = Data_To_Pava(&again, &prefilled);
    if (rc2 != rc) fuzz::fail("encode result depends on the list's prior content", def.id);
    if (fuzz::framesImage(prefilled) != fuzz::framesImage(frames))
        fuzz::fail("frames differ with a list that held frames (stale frames left?)", def.id,
                   std::to_string(prefilled.size()) + " vs " + std::to_string(frames.size()) + " frames");

    for (const PavaMsg& frame : frames) {
        const int drc = fuzz::checkedDecode(frame);
        if (drc == PAVA_ERR_NO_HANDLER) fuzz::fail("an encoded frame names no registered id", def.id);
    }
    return 0;
}
