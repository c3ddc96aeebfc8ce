#include "splitter.h"

#include <cstring>

#include "frame_header.h"
#include "frame_marks.h"
#include "log.h"

namespace pava {

void closeListFrame(const ListLayout& list, const PavaFullData& rec, PavaMsg& frame, int pos,
                    size_t index, size_t count, bool withTrailer) noexcept {
    int length = pos;
    if (withTrailer && !list.trailer.empty()) {
        writeFields(list.trailer, rec, frame.body + pos, MAX_PAVA_MSG_LEN - pos);
        length += list.trailerLength;
    }
    PavaHeadAccessor head(&frame);
    head.setLength(length);
    head.setHeadFlag(frameDigit(index));
    writeItemCount(list, frame.body, count);
}

namespace {

// Appends a frame with the message's header and prefix.
PavaMsg& openFrame(FrameList& out, const char (&head)[PAVA_HEAD_LEN], const ListLayout& list,
                   const PavaFullData& rec) {
    PavaMsg& frame = out.emplace_back();
    std::memcpy(frame.head, head, PAVA_HEAD_LEN);
    writeFields(list.prefix, rec, frame.body, MAX_PAVA_MSG_LEN);
    return frame;
}

}  // namespace

int encodeSplitList(const MessageDef& def, FrameList* out, CPavaMsgAnalyze* an) {
    const SplitList& params = def.param<SplitList>();
    const ListLayout& list = params.list;
    const PavaFullData& rec = *an->record();
    const int logId = params.frameLogId != 0 ? params.frameLogId : def.id;
    log::encodeEntry(def.id);

    reserveItemFrames(*out, list, rec.dataList);
    const size_t firstFrame = out->size();
    PavaMsg* frame = &out->emplace_back();
    if (params.headFromRecord) {
        if (const int rc = an->setHeadFromData(frame); rc != 0) {
            log::headError(def.id);
            out->pop_back();
            return rc;
        }
    } else {
        writeOwnHead(*frame, rec);
    }
    // The header every further frame starts from.
    char head[PAVA_HEAD_LEN];
    std::memcpy(head, frame->head, PAVA_HEAD_LEN);
    writeFields(list.prefix, rec, frame->body, MAX_PAVA_MSG_LEN);
    size_t index = 1;

    const std::span<const PavaDataItem> items = rec.dataList;
    if (items.empty()) {
        log::write(params.emptyWarning);
        closeListFrame(list, rec, *frame, list.itemsAt, index, 0, params.trailerWhenEmpty);
    } else {
        size_t next = 0;
        for (;;) {
            int pos = list.itemsAt;
            const size_t end = fillItems(list, params.full, items, next, frame->body, pos);
            const size_t count = end - next;
            if (end == items.size()) {
                log::format("Data_To_Pava_%05d make frame datanum %d, frmidx = %d \r\n", logId,
                            static_cast<int>(count), static_cast<int>(index));
                closeListFrame(list, rec, *frame, pos, index, count);
                break;
            }
            if (count == 0) {
                log::format("Data_To_Pava_%05d single data size overflow!", def.id);
                out->pop_back();
                return -1;
            }
            log::format("Data_To_Pava_%05d make frame datanum %d, frmidx = %d frmlen = %d \r\n", logId,
                        static_cast<int>(count), static_cast<int>(index), pos);
            closeListFrame(list, rec, *frame, pos, index, count);
            ++index;
            next = end;
            frame = &openFrame(*out, head, list, rec);
        }
    }

    markFrameCount(*out, firstFrame);
    if (params.frames.headFlagTwo && rec.headFlag == 2)
        for (size_t i = firstFrame; i < out->size(); ++i) PavaHeadAccessor(&(*out)[i]).setHeadFlag('2');
    log::format("Leave Data_To_Pava_%05d!\n", def.id);
    return 0;
}

int decodeSplitList(const MessageDef& def, const PavaMsg* frame, CPavaMsgAnalyze* an) {
    const SplitList& params = def.param<SplitList>();
    if (!params.catchOnDecode) return decodeItemList(def.id, params.list, frame, an);
    try {
        return decodeItemList(def.id, params.list, frame, an);
    } catch (...) {
        log::format("error:: CPavaMsgAnalyze::Pava_%05d_To_Data excption! ", def.id);
        return -1;
    }
}

}  // namespace pava
