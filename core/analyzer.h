// The per-call analyzer: binds the caller's record, dispatches to the codec of
// a message id and maps the codec's result to the entry points' return codes.
#ifndef ZMPAVA_CORE_ANALYZER_H
#define ZMPAVA_CORE_ANALYZER_H

#include "ZMPavaAnalyzer.h"

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

private:
    PavaFullData* m_record;
};

// Clears every member of the record as a decode does before it reads a frame.
void resetFullData(PavaFullData& rec) noexcept;

}  // namespace pava

#endif
