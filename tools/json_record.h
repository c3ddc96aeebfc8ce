// PavaFullData <-> JSON. Member names are the record's own; texts carry one
// byte per character (U+0000..U+00FF), so any byte string round-trips.
#ifndef ZMPAVA_TOOLS_JSON_RECORD_H
#define ZMPAVA_TOOLS_JSON_RECORD_H

#include <stdexcept>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "ZMPavaAnalyzer.h"

namespace pava::tool {

// Objects keep their members in the order written.
using Json = nlohmann::ordered_json;

// A JSON record that does not fit the record type.
struct RecordError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Bytes as a JSON string (each byte its Latin-1 code point), and back.
std::string bytesToUtf8(std::string_view bytes);
std::string utf8ToBytes(std::string_view utf8);  // throws RecordError above U+00FF

// The members of rec that are not zero or empty.
Json recordToJson(const PavaFullData& rec);

// The members of recordToJson(rec), written straight into out as jsonLine
// writes them, without the braces: `first` says whether a member was written
// before (and is cleared once one is). The fast path of `pava decode`.
void appendRecordMembers(std::string& out, bool& first, const PavaFullData& rec);

// A record from a JSON object; members not named stay zero. Throws
// RecordError for an unknown member, a wrong type, a number out of range or a
// text longer than its character array.
PavaFullData recordFromJson(const Json& j);

// One line of JSON, pure ASCII (bytes above 0x7F as \u0080..\u00ff).
inline std::string jsonLine(const Json& j) { return j.dump(-1, ' ', true); }

}  // namespace pava::tool

#endif
