#include "messages/catalog.h"

namespace pava::messages {

std::span<const MessageDef> extendedFixed() { return {}; }

}  // namespace pava::messages
