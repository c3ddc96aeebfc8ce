#include "messages/catalog.h"

namespace pava::messages {

std::span<const MessageDef> escapedItemLists() { return {}; }

}  // namespace pava::messages
