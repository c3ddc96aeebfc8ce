#include "messages/list_codec.h"

#include <cstring>

#include "field_codec.h"
#include "frame_header.h"
#include "log.h"

namespace pava::messages {

PavaMsg& carryOver(FrameList& out, int countPos, int count, int length, int written, int headSize) {
    out.completeCopy(written);
    PavaMsg& full = out.back();
    writeIntField(count, full.body + countPos, 4);
    PavaHeadAccessor head(&full);
    head.setLength(length);
    head.setContinued(true);
    return out.pushCopyOfBack(headSize);
}

void closeLastFrame(FrameList& out, int length) noexcept {
    out.completeCopy(length);
    PavaHeadAccessor head(&out.back());
    head.setLength(length);
    head.setContinued(false);
}

}  // namespace pava::messages
