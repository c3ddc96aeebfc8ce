#include "messages/catalog.h"

namespace pava::messages {

std::span<const MessageDef> textMessages() { return {}; }

}  // namespace pava::messages
