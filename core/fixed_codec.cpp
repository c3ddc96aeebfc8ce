// The generic codec of fixed-layout messages, and the frame helpers that every
// single-frame encoder shares.
#include "frame_header.h"
#include "log.h"
#include "message.h"

namespace pava {

PavaMsg* beginFrame(PavaMsgList* out, CPavaMsgAnalyze* an, int id, int* rc, bool quiet) {
    // Built in place at the end of the list, starting all zero.
    PavaMsg& frame = out->emplace_back();
    *rc = an->setHeadFromData(&frame);
    if (*rc == 0) return &frame;
    if (!quiet) log::headError(id);
    out->pop_back();
    return nullptr;
}

void finishFrame(PavaMsg& frame, int length) noexcept {
    PavaHeadAccessor head(&frame);
    head.setLength(length);
    head.setContinued(false);
}

int encodeFixedLayout(const MessageDef& def, PavaMsgList* out, CPavaMsgAnalyze* an) {
    log::encodeEntry(def.encodeLogName());
    int rc = 0;
    PavaMsg* frame = beginFrame(out, an, def.id, &rc);
    if (frame == nullptr) return rc;
    if (!writeFields(def.layout.fields, *an->record(), frame->body, MAX_PAVA_MSG_LEN)) {
        out->pop_back();
        return -1;
    }
    finishFrame(*frame, def.layout.length);
    return 0;
}

int decodeFixedLayout(const MessageDef& def, const PavaMsg* frame, CPavaMsgAnalyze* an) {
    log::decodeEntry(def.id);
    if (frame == nullptr) {
        log::nullFrame(def.id);
        return -1;
    }
    return readFields(def.layout.readFields(), frame->body, MAX_PAVA_MSG_LEN, *an->record()) ? 0 : -1;
}

}  // namespace pava
