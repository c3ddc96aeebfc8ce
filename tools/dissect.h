// Text views of the codec tables and of frames, all taken from the layout
// tables the codecs themselves run.
#ifndef ZMPAVA_TOOLS_DISSECT_H
#define ZMPAVA_TOOLS_DISSECT_H

#include <cstdint>
#include <string>

#include <nlohmann/json.hpp>

#include "message.h"

namespace pava::tool {

// One line per registered id: id, family, declared body length, fixed fields.
std::string listIds();

// One codec's description (layoutJson) as text: its field table, the
// decoder's where it reads otherwise, the items, what follows the fixed
// fields, its quirks and split rule, and the members it carries.
std::string describeLayout(const nlohmann::ordered_json& layout);

// The header, then every body byte as the decoder reads it: each read with
// its member path, bytes and value, the bytes no read covers as unread; then
// what Pava_To_Data makes of the frame (its result also in *rc when given).
// offset is where the frame began in its input.
std::string dissectFrame(const PavaMsg& frame, size_t number, uint64_t offset = 0, int* rc = nullptr);

// The same reads as one JSON line: {"offset", "id", "length", "rc", "spans":
// [{"offset", "width", "path", "kind", "value"} or {"offset", "width",
// "path": null, "unread": true, "bytes"}]}.
std::string dissectFrameJson(const PavaMsg& frame, uint64_t offset = 0, int* rc = nullptr);

}  // namespace pava::tool

#endif
