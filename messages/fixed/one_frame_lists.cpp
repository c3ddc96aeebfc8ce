#include "messages/catalog.h"

namespace pava::messages {

std::span<const MessageDef> oneFrameLists() { return {}; }

}  // namespace pava::messages
