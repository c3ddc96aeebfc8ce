// What did not survive an encode: the record given, compared member by
// member with what the frames produced for it decode to.
#ifndef ZMPAVA_TOOLS_RECORD_CHECK_H
#define ZMPAVA_TOOLS_RECORD_CHECK_H

#include <string>
#include <vector>

#include "json_record.h"

namespace pava::tool {

// One line per member of `given` that `received` does not carry with the
// same value, named by its path: "dataList[3].itemInt2: 123456 sent as 1234",
// "text12c: \"ABC\" not sent", "dataList[2..4]: 3 rows not sent". Members
// only `received` has are not losses; msgLen (the codec computes it) is not
// compared, and trailing NUL characters of a text are padding, not content.
std::vector<std::string> lostMembers(const Json& given, const Json& received);

// The record the frames of one encode decode to: each frame through
// Pava_To_Data, split messages joined. rc is the first failing decode's.
Json receivedRecord(const PavaMsgList& frames, int& rc);

}  // namespace pava::tool

#endif
