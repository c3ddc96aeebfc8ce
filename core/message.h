// A message id's codec: its encoder, decoder and layout description.
#ifndef ZMPAVA_CORE_MESSAGE_H
#define ZMPAVA_CORE_MESSAGE_H

#include <span>
#include <vector>

#include "ZMPavaAnalyzer.h"
#include "analyzer.h"
#include "body.h"
#include "frame_list.h"
#include "layout.h"

namespace pava {

struct MessageDef;

// An encoder appends frames to out (0 on success, anything else is failure);
// a decoder fills the analyzer's record from one frame (which may be null).
using EncodeFn = int (*)(const MessageDef& def, FrameList* out, CPavaMsgAnalyze* an);
using DecodeFn = int (*)(const MessageDef& def, const PavaMsg* frame, CPavaMsgAnalyze* an);

struct MessageDef {
    int id = 0;
    EncodeFn encode = nullptr;
    DecodeFn decode = nullptr;
    // The fixed fields (for a list message: its prefix) and declared length.
    Layout layout;
    // The description the interpreter runs (body_codec.h), where one does.
    const Description* description = nullptr;
    // How the encoder splits a message over frames, where it may.
    const SplitRule* split = nullptr;
};

// def with the rule by which its encoder splits a message over frames.
constexpr MessageDef withSplit(MessageDef def, const SplitRule& rule) {
    def.split = &rule;
    return def;
}

// The codec of an id, or null when none is registered. The registry is built
// once per process and immutable afterwards.
const MessageDef* findMessage(int id);

// Every registered codec, in ascending id order.
std::span<const MessageDef* const> registeredMessages();

// The tables' codecs in id order. An id registered more than once is an
// error: it is appended to *duplicates and none of its codecs is kept.
std::vector<const MessageDef*> mergeRegistrations(std::span<const std::span<const MessageDef>> tables,
                                                  std::vector<int>* duplicates);
// The ids the families register more than once (none, unless a table is wrong).
std::span<const int> registryDuplicates();

// The name of the family whose table holds def ("?" for a definition of none).
const char* familyName(const MessageDef& def) noexcept;

// Drops the frame beginFrame appended and logs the header failure (unless
// quiet); null.
PavaMsg* dropHeadlessFrame(FrameList* out, int id, bool quiet) noexcept;

// Appends a zeroed frame to out whose header is set from the record; on a
// header failure logs the encoder's "set pava head erorr!" text (unless
// quiet), drops the frame and returns the setter's code in *rc.
inline PavaMsg* beginFrame(FrameList* out, CPavaMsgAnalyze* an, int id, int* rc, bool quiet = false) {
    // Built in place at the end of the list, starting all zero.
    PavaMsg& frame = out->emplace_back();
    *rc = an->setHeadFromData(&frame);
    if (*rc == 0) [[likely]]
        return &frame;
    return dropHeadlessFrame(out, id, quiet);
}

}  // namespace pava

#endif
