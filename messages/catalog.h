// Every family of message codecs. Each family's source file defines its
// table; the registry merges them once per process.
#ifndef ZMPAVA_MESSAGES_CATALOG_H
#define ZMPAVA_MESSAGES_CATALOG_H

#include <span>

#include "message.h"

namespace pava::messages {

// Multi-frame data lists (core/multiframe).
std::span<const MessageDef> multiFrameLists();
// Table and auxiliary messages (messages/table).
std::span<const MessageDef> genericTables();
std::span<const MessageDef> numberPairs();
std::span<const MessageDef> fixedFields30k();
std::span<const MessageDef> blockAndText();
std::span<const MessageDef> settingLists();
std::span<const MessageDef> textMessages();
std::span<const MessageDef> longText();
std::span<const MessageDef> addressLongText();
std::span<const MessageDef> addressText();
std::span<const MessageDef> addressText30k();
// Fixed-layout messages 20001-20112 (messages/fixed).
std::span<const MessageDef> singleAddress();
std::span<const MessageDef> shortFields();
std::span<const MessageDef> oneFrameLists();
// Extended data messages (messages/extended).
std::span<const MessageDef> recordFieldList();
std::span<const MessageDef> escapedItemLists();
std::span<const MessageDef> extendedFixed();
std::span<const MessageDef> shortItemLists();
std::span<const MessageDef> addressedLongText();
// IEC 61850 reference messages (messages/iec61850).
std::span<const MessageDef> referenceLists();
std::span<const MessageDef> dataObjectTypes();
std::span<const MessageDef> iecFixed();

// Ids the protocol names without a body layout, and 20024, which would only
// forward to one of them: none has a codec, and a call for one is answered as
// having no handler.
inline constexpr int kIdsWithoutLayout[] = {
    20022, 20024, 20026, 20035, 20036, 20037, 20038, 20039, 20040, 20041, 20042, 20043, 20044, 20049, 20051,
    20052, 20053, 20054, 20090, 20109, 20112, 20115, 20116, 20120, 20121, 20125, 20126, 20131, 20132, 20133,
    20134, 20135, 20137, 20141, 20143, 20144, 20147, 20148, 20149, 20151, 20152, 20153, 20154, 20156, 20157,
    20158, 20159, 20161, 20162, 20164, 20167, 20168, 30022, 30025, 30026, 30043, 30132, 30175, 30176, 30177,
    30178, 30181, 30183, 61861, 61862,
};

struct Family {
    const char* name;
    std::span<const MessageDef> (*messages)();
};

inline constexpr Family kFamilies[] = {
    {"multi-frame data lists", multiFrameLists},
    {"generic tables", genericTables},
    {"number pairs", numberPairs},
    {"30xxx fixed fields", fixedFields30k},
    {"block and text", blockAndText},
    {"setting lists", settingLists},
    {"text messages", textMessages},
    {"long text", longText},
    {"address and long text", addressLongText},
    {"address and text", addressText},
    {"30xxx address and text", addressText30k},
    {"single address", singleAddress},
    {"short fixed fields", shortFields},
    {"one-frame data lists", oneFrameLists},
    {"record and field list", recordFieldList},
    {"escaped item lists", escapedItemLists},
    {"extended fixed layouts", extendedFixed},
    {"short item lists", shortItemLists},
    {"addressed long text", addressedLongText},
    {"reference and value lists", referenceLists},
    {"data object type list", dataObjectTypes},
    {"IEC 61850 fixed layouts", iecFixed},
};

}  // namespace pava::messages

#endif
