#include "messages/catalog.h"

namespace pava::messages {

std::span<const MessageDef> referenceLists() { return {}; }

}  // namespace pava::messages
