#include "messages/catalog.h"

namespace pava::messages {

std::span<const MessageDef> addressLongText() { return {}; }

}  // namespace pava::messages
