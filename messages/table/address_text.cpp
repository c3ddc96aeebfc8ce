#include "messages/catalog.h"

namespace pava::messages {

std::span<const MessageDef> addressText() { return {}; }

}  // namespace pava::messages
