#include "messages/catalog.h"

namespace pava::messages {

std::span<const MessageDef> addressedLongText() { return {}; }

}  // namespace pava::messages
