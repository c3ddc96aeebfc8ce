#include "messages/catalog.h"

namespace pava::messages {

std::span<const MessageDef> longText() { return {}; }

}  // namespace pava::messages
