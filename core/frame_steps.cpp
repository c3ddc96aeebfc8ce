// The frame helpers that the single-frame encoders share.
#include "frame_header.h"
#include "log.h"
#include "message.h"

namespace pava {

PavaMsg* dropHeadlessFrame(FrameList* out, int id, bool quiet) noexcept {
    if (!quiet) log::headError(id);
    out->pop_back();
    return nullptr;
}

PavaMsg* enterEncode(const MessageDef& def, FrameList* out, CPavaMsgAnalyze* an, int* rc) {
    log::encodeEntry(def.id);
    return beginFrame(out, an, def.id, rc);
}

bool enterDecode(int id, const PavaMsg* frame) noexcept {
    log::decodeEntry(id);
    if (frame != nullptr) return true;
    log::nullFrame(id);
    return false;
}

}  // namespace pava
