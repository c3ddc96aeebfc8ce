// The description export (describe.cpp): an id's codec as the stream of
// tokens pava_describe hands out.
#ifndef ZMPAVA_CORE_DESCRIBE_H
#define ZMPAVA_CORE_DESCRIBE_H

#include <vector>

#include "ZMPavaAnalyzerC.h"
#include "message.h"

namespace pava {

// Streams def's description to fn: 0, or the first non-zero answer of fn.
int describeMessage(const MessageDef& def, pava_desc_fn fn, void* user);

// The members def carries, each once, in the order its tables name them.
std::vector<Member> carriedMembers(const MessageDef& def);
void addMember(std::vector<Member>& out, Member m);

// The object a member belongs to ("record", "item", "setting", "field"); null
// for none.
const char* ownerName(MemberOwner owner) noexcept;
// A member's storage: its type, and a character array's size.
Slot slotIn(Member m);

}  // namespace pava

#endif
