#include "messages/catalog.h"

namespace pava::messages {

std::span<const MessageDef> recordFieldList() { return {}; }

}  // namespace pava::messages
