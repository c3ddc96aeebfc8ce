#include "messages/catalog.h"

namespace pava::messages {

std::span<const MessageDef> fixedFields30k() { return {}; }

}  // namespace pava::messages
