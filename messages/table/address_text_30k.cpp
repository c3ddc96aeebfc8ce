#include "messages/catalog.h"

namespace pava::messages {

std::span<const MessageDef> addressText30k() { return {}; }

}  // namespace pava::messages
