#include "splitter.h"

#include <cstring>

#include "frame_header.h"
#include "frame_marks.h"
#include "log.h"

namespace pava {

namespace {

// Closes a frame of a split list: the trailer at pos (when withTrailer), the
// body length, position 14 '0' + index, and the item count into the prefix.
void closeListFrame(const ListLayout& list, const PavaFullData& rec, PavaMsg& frame, int pos,
                    size_t index, size_t count, bool withTrailer = true) noexcept {
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

// Appends a frame with the message's header and prefix.
PavaMsg& openFrame(FrameList& out, const char (&head)[PAVA_HEAD_LEN], const ListLayout& list,
                   const PavaFullData& rec) {
    PavaMsg& frame = out.emplace_back();
    std::memcpy(frame.head, head, PAVA_HEAD_LEN);
    writeFields(list.prefix, rec, frame.body, MAX_PAVA_MSG_LEN);
    return frame;
}

}  // namespace

int writeSplitItems(const SplitItems& split, int id, bool loudHead, FrameList& out, CPavaMsgAnalyze& an) {
    const ListLayout& list = split.list;
    const PavaFullData& rec = *an.record();
    const int logId = split.frameLogId != 0 ? split.frameLogId : id;

    reserveItemFrames(out, list, rec.dataList);
    const size_t firstFrame = out.size();
    PavaMsg* frame = &out.emplace_back();
    if (split.head == SplitHead::FromRecord) {
        if (const int rc = an.setHeadFromData(frame); rc != 0) {
            dropHeadlessFrame(&out, id, !loudHead);
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
        log::write(split.emptyWarning);
        closeListFrame(list, rec, *frame, list.itemsAt, index, 0, split.trailerWhenEmpty);
    } else {
        size_t next = 0;
        for (;;) {
            int pos = list.itemsAt;
            const size_t end = fillItems(list, split.full, items, next, frame->body, pos);
            const size_t count = end - next;
            if (end == items.size()) {
                log::format(split.lastFrameMade, logId, static_cast<int>(count), static_cast<int>(index));
                closeListFrame(list, rec, *frame, pos, index, count);
                break;
            }
            if (count == 0) {
                log::format(split.itemTooLarge, id);
                out.pop_back();
                return -1;
            }
            log::format(split.frameMade, logId, static_cast<int>(count), static_cast<int>(index), pos);
            closeListFrame(list, rec, *frame, pos, index, count);
            ++index;
            next = end;
            frame = &openFrame(out, head, list, rec);
        }
    }

    markFrameCount(out, firstFrame);
    if (split.frames.headFlagTwo && rec.headFlag == 2)
        for (size_t i = firstFrame; i < out.size(); ++i) PavaHeadAccessor(&out[i]).setHeadFlag('2');
    log::format(split.leave, id);
    return 0;
}

int readSplitItems(const SplitItems& split, int id, const PavaMsg& frame, CPavaMsgAnalyze& an) {
    PavaFullData& rec = *an.record();
    ListRefill<PavaDataItem> items = an.refill(rec.dataList);
    if (readItemsBehindPrefix(split.list, frame.body, rec, items, an.trace(frame))) return 0;
    return refuseListOutOfBody(id);
}

}  // namespace pava
