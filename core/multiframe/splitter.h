// The splitter of data lists that may need several frames.
//
// One encoder serves every such message; a SplitList row (pointed to by the
// MessageDef's params) says how its frames look:
//   - every frame repeats the prefix (record fields, the count among them);
//   - items follow back to back until the frame-full test holds, then the
//     frame is closed (trailer, length, position 14 = '0' + frame number,
//     count of its items) and the same item starts the next frame;
//   - finally position 8 becomes '0' + the number of frames and the
//     continuation flag '1' on all frames but the last (markFrameCount).
// An item that fails the frame-full test in an empty frame can never be sent:
// the call fails, dropping the frame it was building; frames closed before
// stay in the list. An empty list gives one frame with count 0.
//
// closeListFrame below, writeOwnHead and markFrameCount (frame_marks.h) are
// the pieces other split messages can use with their own item loops.
#ifndef ZMPAVA_CORE_MULTIFRAME_SPLITTER_H
#define ZMPAVA_CORE_MULTIFRAME_SPLITTER_H

#include "frame_marks.h"
#include "item_list.h"

namespace pava {

struct SplitList {
    ListLayout list;
    FitRule full;                    // the frame-full test before each item
    bool headFromRecord = false;     // header from the record, else writeOwnHead
    bool trailerWhenEmpty = false;   // the frame of an empty list carries the trailer
    SplitRule frames;                // numbered frames of dataList items (header flag 2 on all?)
    bool catchOnDecode = false;      // the decoder logs an exception and fails
    int frameLogId = 0;              // id named in the make-frame lines (0: its own)
    const char* emptyWarning = nullptr;  // logged for an empty list
};

// Closes a frame of a split list: the trailer at pos (when withTrailer), the
// body length, position 14 '0' + index, and the item count into the prefix.
void closeListFrame(const ListLayout& list, const PavaFullData& rec, PavaMsg& frame, int pos,
                    size_t index, size_t count, bool withTrailer = true) noexcept;

int encodeSplitList(const MessageDef& def, FrameList* out, CPavaMsgAnalyze* an);
int decodeSplitList(const MessageDef& def, const PavaMsg* frame, CPavaMsgAnalyze* an);

constexpr MessageDef splitList(int id, const SplitList& params) {
    return MessageDef{id, encodeSplitList, decodeSplitList,
                      Layout{params.list.prefix, {}, -1, listShapeOf(params.list), params.list.body}, &params,
                      nullptr, &params.frames};
}

}  // namespace pava

#endif
