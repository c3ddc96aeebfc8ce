// What the fuzz harnesses and the concurrency test share: the members each
// id's decoder may write, records filled with a guard pattern, byte images of
// records for comparison, and records built from fuzzer input.
#ifndef ZMPAVA_FUZZ_SUPPORT_H
#define ZMPAVA_FUZZ_SUPPORT_H

#include <cstdint>
#include <span>
#include <string>

#include "ZMPavaAnalyzer.h"
#include "members.h"
#include "message.h"
#include "record_image.h"

class FuzzedDataProvider;

namespace pava::fuzz {

// The header members, what the layout tables name (fields, decoder fields, the
// list's item table and trailer) and, for codecs whose body is an algorithm,
// what that algorithm fills. Aborts for an id none of these describe.
Carried carriedBy(const MessageDef& def);

// Writes the guard pattern into every part the id does not carry and the
// reset state into every part it does: the record a decode starts from,
// except that a stray write now shows.
void guardRecord(PavaFullData& rec, const Carried& carried);

// Decodes one frame the way the entry point does, but into a record whose
// parts outside the id's decoder carry the guard pattern, and aborts with a
// message when the decoder writes one of them, or when the entry point's own
// result differs from it, or when the frame changes. Returns the entry
// point's code; `out` (when given) receives its record.
int checkedDecode(const PavaMsg& frame, PavaFullData* out = nullptr);

// Fills a record for the id from fuzzer input: every integer at and past the
// limits of its fields, character arrays with and without NUL, strings with
// NULs and long lengths, lists empty, small and past their limits, fbCount in
// and out of range. `small` keeps lists and texts short (a dirty record).
void fillRecord(FuzzedDataProvider& fdp, uint16_t id, PavaFullData& rec, bool small = false);

// Every registered codec.
std::span<const MessageDef* const> registered();

// The first codec of `ids` (ascending) whose id is at least `key`, wrapping to
// the first: inputs name ids by value, so seeds made from records stay valid
// when ids are added.
const MessageDef& pickById(std::span<const MessageDef* const> ids, uint16_t key);

// The frames of a list as one byte string, for exact comparison.
inline std::string framesImage(const PavaMsgList& frames) {
    return {reinterpret_cast<const char*>(frames.data()), frames.size() * sizeof(PavaMsg)};
}

// Quiet logging, once.
void quietLogs();

// With PAVA_FUZZ_DUMP set, appends the frame or record to that file as a
// JSON line (for golden corpus cases made from findings).
void dumpFrame(const PavaMsg& frame);
void dumpRecord(const PavaFullData& rec);

// Prints what went wrong and aborts, so that libFuzzer keeps the input.
[[noreturn]] void fail(const char* what, int id, const std::string& detail = {});

}  // namespace pava::fuzz

#endif
