// Putting split messages back together.
//
// Some encoders cut a long list over several frames; each decode call reads
// one frame. MessageJoiner takes frames in the order they were received and
// hands out one record per message, holding every item (or record) of all its
// frames in order. Frames belong to one message by id and RII; their order
// and completeness come from the frame marks:
//   - the eight data lists, 10002, 10004 and 10006 carry the frame count at
//     header position 8 and the frame number at 14 (both '0' + n), so a
//     missing, repeated or misplaced frame is seen;
//   - 61851, 61858 and 61901 carry only the continuation flag (position 15
//     is '1' on every frame but the last), so a message ends at its first
//     frame without it and a frame lost in between cannot be told;
//   - 20018, 20020 and 30018 sent with header flag 2 carry '2' at position
//     14 of every frame and are joined by the continuation flag as well.
// Frames of other ids pass through as messages of one frame. Which ids split,
// their marks and the repairs below are the split rules of the codecs'
// definitions (SplitRule).
//
// The joined record's header members are those of the message's first
// frame, so Data_To_Pava of it cuts the list into the same frames again.
// Where a frame's own decode misreads what its encoder wrote (the per-frame
// counts of 10002, 10004, 10006 and 61858, the value bytes of 61851) the
// joiner reads the frame as it was written.
//
// No member throws: an allocation failure ends in PAVA_ERR_DECODE.
#ifndef ZMPAVA_CORE_MULTIFRAME_JOINER_H
#define ZMPAVA_CORE_MULTIFRAME_JOINER_H

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "ZMPavaAnalyzer.h"

namespace pava {

// Something wrong with the frames of a message; tag is the caller's tag of
// the frame concerned (for a file, its byte offset).
struct JoinProblem {
    uint64_t tag = 0;
    std::string what;
};

struct JoinedMessage {
    PavaFullData record;
    int rc = PAVA_OK;            // the first failing Pava_To_Data result of its frames
    uint64_t tag = 0;            // tag of its first frame
    size_t frames = 0;           // frames joined
    std::vector<uint64_t> parts; // their tags, in the order the message joins them
    bool complete = true;        // false: frames are missing (see problems)
    std::vector<JoinProblem> problems;
};

class MessageJoiner {
public:
    MessageJoiner();
    ~MessageJoiner();
    MessageJoiner(const MessageJoiner&) = delete;
    MessageJoiner& operator=(const MessageJoiner&) = delete;

    // Takes one received frame with a tag of the caller's choosing. Returns
    // PAVA_OK, or PAVA_ERR_NULL for a null frame, PAVA_ERR_DECODE when out of memory.
    int push(const PavaMsg* frame, uint64_t tag) noexcept;

    // The end of the input: every unfinished message is handed out,
    // incomplete, with a problem saying so.
    void finish() noexcept;

    // The next message ready, oldest first; false when none is.
    bool pop(JoinedMessage& out) noexcept;

    // True for the ids whose encoders may split a message.
    static bool splits(int id) noexcept;

    // How many messages, and frames in all, may wait at once; past either
    // the oldest message is handed out incomplete. Keeps memory bounded
    // (some 30 MB at most) whatever the input holds.
    static constexpr size_t kMaxPending = 16;
    static constexpr size_t kMaxPendingFrames = 512;
    // Frames one message may have (the frame count is one character).
    static constexpr size_t kMaxFrames = 255;

    struct Pending;

private:
    void complete(size_t index, bool complete, const char* why, uint64_t tag);
    void pushFrame(const PavaMsg& frame, uint64_t tag);

    std::vector<std::unique_ptr<Pending>> m_pending;
    std::deque<JoinedMessage> m_ready;
    size_t m_pendingFrames = 0;
};

}  // namespace pava

#endif
