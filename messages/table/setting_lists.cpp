#include "messages/catalog.h"

namespace pava::messages {

std::span<const MessageDef> settingLists() { return {}; }

}  // namespace pava::messages
