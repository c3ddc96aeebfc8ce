// The codecs' descriptions as JSON, read from the library's description
// stream (pava_describe): what `pava layout` shows and what the Wireshark
// dissector is generated from.
#ifndef ZMPAVA_TOOLS_LAYOUT_JSON_H
#define ZMPAVA_TOOLS_LAYOUT_JSON_H

#include <nlohmann/json.hpp>

namespace pava::tool {

// One id's description, the stream turned into JSON token by token; null for
// an id without a codec.
nlohmann::ordered_json layoutJson(int id);

// Every registered id, in ascending order.
nlohmann::ordered_json allLayoutsJson();

// Every member a layout may name: its name, owner and whether it is a number.
nlohmann::ordered_json membersJson();

}  // namespace pava::tool

#endif
