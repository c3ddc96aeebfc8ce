#include "messages/catalog.h"

namespace pava::messages {

std::span<const MessageDef> dataObjectTypes() { return {}; }

}  // namespace pava::messages
