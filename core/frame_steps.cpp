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

}  // namespace pava
