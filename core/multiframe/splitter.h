// Data lists that may need several frames, as a tail of a body description
// (body.h) that the interpreter hands to writeSplitItems. A SplitItems table
// says how the frames look:
//   - every frame repeats the prefix (record fields, the count among them);
//   - items follow back to back until the frame-full test holds, then the
//     frame is closed (trailer, length, position 14 = '0' + frame number,
//     count of its items) and the same item starts the next frame;
//   - finally position 8 becomes '0' + the number of frames and the
//     continuation flag '1' on all frames but the last (markFrameCount).
// An item that fails the frame-full test in an empty frame can never be sent:
// the call fails, dropping the frame it was building; frames closed before
// stay in the list. An empty list gives one frame with count 0. Each frame
// decodes alone, as a list of its own.
#ifndef ZMPAVA_CORE_MULTIFRAME_SPLITTER_H
#define ZMPAVA_CORE_MULTIFRAME_SPLITTER_H

#include "frame_marks.h"
#include "item_list.h"

namespace pava {

// Where the frames of a split list take their header from.
enum class SplitHead : uint8_t {
    Own,         // writeOwnHead (frame_marks.h): cannot fail
    FromRecord,  // the analyzer's header setter, as a single frame does
};

// The encoder's lines, each a printf text taking the id (the make-frame lines
// the id, the item count, the frame number and, but for the last frame, its
// length).
inline constexpr const char* kFrameMadeText = "Data_To_Pava_%05d make frame datanum %d, frmidx = %d frmlen = %d \r\n";
inline constexpr const char* kLastFrameMadeText = "Data_To_Pava_%05d make frame datanum %d, frmidx = %d \r\n";
inline constexpr const char* kItemTooLargeText = "Data_To_Pava_%05d single data size overflow!";
inline constexpr const char* kLeaveText = "Leave Data_To_Pava_%05d!\n";
// The decoder's line where it meets an exception (kCatchesOnDecode).
inline constexpr const char* kDecodeCaughtText = "error:: CPavaMsgAnalyze::Pava_%05d_To_Data excption! ";

struct SplitItems {
    ListLayout list;
    FitRule full;                         // the frame-full test before each item
    SplitHead head = SplitHead::Own;
    bool trailerWhenEmpty = false;        // the frame of an empty list carries the trailer
    SplitRule frames = {};                // the marks a reader joins the frames by
    int frameLogId = 0;                   // id named in the make-frame lines (0: its own)
    const char* emptyWarning = nullptr;   // logged for an empty list
    const char* frameMade = kFrameMadeText;
    const char* lastFrameMade = kLastFrameMadeText;
    const char* itemTooLarge = kItemTooLargeText;
    const char* leave = kLeaveText;
    const char* caught = kDecodeCaughtText;
};

// Appends the frames of the record's list to out (after the encoder's entry
// line): 0, the header setter's code, or -1 for an item too large for any
// frame, each logged (a header failure only when loudHead).
int writeSplitItems(const SplitItems& split, int id, bool loudHead, FrameList& out, CPavaMsgAnalyze& an);

// One frame's list behind its prefix: 0, or -1 logged when a count or length
// points past the body.
int readSplitItems(const SplitItems& split, int id, const PavaMsg& frame, CPavaMsgAnalyze& an);

}  // namespace pava

#endif
