#include "messages/catalog.h"

namespace pava::messages {

std::span<const MessageDef> shortItemLists() { return {}; }

}  // namespace pava::messages
