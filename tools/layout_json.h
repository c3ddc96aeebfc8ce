// The layout tables of the registered codecs as data: what `pava layout
// --json` prints and what the Wireshark dissector is generated from.
#ifndef ZMPAVA_TOOLS_LAYOUT_JSON_H
#define ZMPAVA_TOOLS_LAYOUT_JSON_H

#include <nlohmann/json.hpp>

#include "message.h"

namespace pava::tool {

// One id: family, declared length (null when it varies), the field tables
// as the encoder writes and the decoder reads them, the item table of a list
// of fixed-size items, what follows the fixed fields (kind, place, count and
// words) and the members the id carries.
nlohmann::ordered_json layoutJson(const MessageDef& def);

// Every registered id, in ascending order.
nlohmann::ordered_json allLayoutsJson();

// Every member a layout may name: its name, owner and whether it is a number.
nlohmann::ordered_json membersJson();

// The members an id carries, in the order its tables name them.
std::vector<std::string> carriedMembers(const MessageDef& def);

}  // namespace pava::tool

#endif
