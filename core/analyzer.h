// The per-call analyzer: binds the caller's record, dispatches to the codec of
// a message id and maps the codec's result to the entry points' return codes.
#ifndef ZMPAVA_CORE_ANALYZER_H
#define ZMPAVA_CORE_ANALYZER_H

#include <cstdint>
#include <vector>

#include "ZMPavaAnalyzer.h"
#include "list_refill.h"
#include "read_trace.h"

namespace pava {

class CPavaMsgAnalyze {
public:
    explicit CPavaMsgAnalyze(PavaFullData* record) noexcept : m_record(record) {}
    virtual ~CPavaMsgAnalyze() = default;
    CPavaMsgAnalyze(const CPavaMsgAnalyze&) = delete;
    CPavaMsgAnalyze& operator=(const CPavaMsgAnalyze&) = delete;

    PavaFullData* record() const noexcept { return m_record; }

    // Encodes the record into out (emptied first once the id is known).
    // Returns 0, PAVA_ERR_NULL, PAVA_ERR_NO_HANDLER or PAVA_ERR_ENCODE.
    int Data_To_Pava(PavaMsgList* out);

    // Resets the record, parses the header, decodes the body.
    // Returns 0, PAVA_ERR_NULL, PAVA_ERR_NO_HANDLER or PAVA_ERR_DECODE.
    int Pava_To_Data(const PavaMsg* frame);

    // Writes the header of frame from the record's six header members
    // (length 0). Returns 0, or PAVA_ERR_NULL without a record or frame.
    int setHeadFromData(PavaMsg* frame) const noexcept;

    // Fills the record's six header members from the frame's header.
    int parseHeadToData(const PavaMsg* frame) const noexcept;

    // One of the record's lists (or a list inside one of its items), to be
    // filled by the decoder. Pava_To_Data leaves the items of the record's
    // previous decode in its lists for the decoder to reuse, and empties,
    // when the decode ends, every list no decoder took this way.
    template <class T>
    ListRefill<T> refill(std::vector<T>& list) noexcept {
        m_kept &= static_cast<uint8_t>(~keptBit(&list));
        return ListRefill<T>(list);
    }

    // Reports the decoder's reads to observer (null: no reports).
    void observe(ReadObserver* observer) noexcept { m_observer = observer; }
    // The decoder's handle on the observer, for the frame it decodes.
    ReadTrace trace(const PavaMsg& frame) const noexcept { return ReadTrace(m_observer, frame.body); }

private:
    uint8_t keptBit(const void* list) const noexcept;
    void emptyKeptLists() noexcept;

    PavaFullData* m_record;
    uint8_t m_kept = 0;  // record lists still holding the previous decode's items
    ReadObserver* m_observer = nullptr;
};

// Clears every member of the record as a decode does before it reads a frame.
void resetFullData(PavaFullData& rec) noexcept;

// The same, but the lists keep their items: Pava_To_Data hands them to the
// decoder for reuse.
void resetAllButLists(PavaFullData& rec) noexcept;

}  // namespace pava

#endif
