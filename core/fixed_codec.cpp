// The generic codec of fixed-layout messages, and the frame helpers that every
// single-frame encoder shares.
#include "frame_header.h"
#include "log.h"
#include "message.h"

namespace pava {

PavaMsg* beginFrame(FrameList* out, CPavaMsgAnalyze* an, int id, int* rc, bool quiet) {
    // Built in place at the end of the list, starting all zero.
    PavaMsg& frame = out->emplace_back();
    *rc = an->setHeadFromData(&frame);
    if (*rc == 0) return &frame;
    if (!quiet) log::headError(id);
    out->pop_back();
    return nullptr;
}

PavaMsg* enterEncode(const MessageDef& def, FrameList* out, CPavaMsgAnalyze* an, int* rc) {
    log::encodeEntry(def.encodeLogName());
    return beginFrame(out, an, def.id, rc);
}

bool enterDecode(int id, const PavaMsg* frame) noexcept {
    log::decodeEntry(id);
    if (frame != nullptr) return true;
    log::nullFrame(id);
    return false;
}

void finishFrame(PavaMsg& frame, int length) noexcept {
    PavaHeadAccessor head(&frame);
    head.setLength(length);
    head.setContinued(false);
}

int encodeFixedLayout(const MessageDef& def, FrameList* out, CPavaMsgAnalyze* an) {
    int rc = 0;
    PavaMsg* frame = enterEncode(def, out, an, &rc);
    if (frame == nullptr) return rc;
    if (!writeFields(def.layout.fields, *an->record(), frame->body, MAX_PAVA_MSG_LEN)) {
        out->pop_back();
        return -1;
    }
    finishFrame(*frame, def.layout.length);
    return 0;
}

int decodeFixedLayout(const MessageDef& def, const PavaMsg* frame, CPavaMsgAnalyze* an) {
    if (!enterDecode(def.id, frame)) return -1;
    return readFields(def.layout.readFields(), frame->body, MAX_PAVA_MSG_LEN, *an->record(), an->trace(*frame)) ? 0
                                                                                                                : -1;
}

}  // namespace pava
