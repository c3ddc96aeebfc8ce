#include "messages/catalog.h"

namespace pava::messages {

std::span<const MessageDef> iecFixed() { return {}; }

}  // namespace pava::messages
