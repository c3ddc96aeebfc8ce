#include "messages/catalog.h"

namespace pava::messages {

std::span<const MessageDef> multiFrameLists() { return {}; }

}  // namespace pava::messages
