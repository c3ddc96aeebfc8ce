#include "frame_marks.h"

#include "field_codec.h"
#include "frame_header.h"

namespace pava {

void writeOwnHead(PavaMsg& frame, const PavaFullData& rec) noexcept {
    PavaHeadAccessor head(&frame);
    head.setRii(rec.rii);
    head.setMsgId(rec.msgId);
    head.setType('\0');
    head.setLength(0);
    head.setHeadFlag('\0');
    head.setContinued(false);
}

void markFrameCount(FrameList& out, size_t first) noexcept {
    if (first >= out.size()) return;
    const char count = frameDigit(out.size() - first);
    for (size_t i = first; i < out.size(); ++i) {
        PavaHeadAccessor head(&out[i]);
        head.setType(count);
        head.setContinued(i + 1 < out.size());
    }
}

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

}  // namespace pava
