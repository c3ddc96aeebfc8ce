// A text of the golden corpus files: a string, or pieces
// ["abc", {"repeat": "x", "times": 8154}, ...], as the bytes it stands for.
#ifndef PAVA_TESTS_CORPUS_TEXT_H
#define PAVA_TESTS_CORPUS_TEXT_H

#include <string>

#include "json_record.h"

namespace pava::test {

inline std::string textOf(const tool::Json& j) {
    if (j.is_string()) return tool::utf8ToBytes(j.get_ref<const std::string&>());
    std::string out;
    for (const tool::Json& p : j) {
        if (p.is_string()) {
            out += tool::utf8ToBytes(p.get_ref<const std::string&>());
            continue;
        }
        const std::string unit = tool::utf8ToBytes(p.at("repeat").get<std::string>());
        for (int i = p.at("times").get<int>(); i > 0; --i) out += unit;
    }
    return out;
}

}  // namespace pava::test

#endif
