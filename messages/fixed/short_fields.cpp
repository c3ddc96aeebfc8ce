#include "messages/catalog.h"

namespace pava::messages {

std::span<const MessageDef> shortFields() { return {}; }

}  // namespace pava::messages
