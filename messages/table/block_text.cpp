#include "messages/catalog.h"

namespace pava::messages {

std::span<const MessageDef> blockAndText() { return {}; }

}  // namespace pava::messages
