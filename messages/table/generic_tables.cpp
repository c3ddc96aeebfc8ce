#include "messages/catalog.h"

namespace pava::messages {

std::span<const MessageDef> genericTables() { return {}; }

}  // namespace pava::messages
