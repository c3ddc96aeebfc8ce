// Encode and decode through the entry points with the log lines captured.
#ifndef ZMPAVA_TESTS_LIST_SUPPORT_H
#define ZMPAVA_TESTS_LIST_SUPPORT_H

#include <string>

#include "support.h"

namespace pava::test {

struct Encoded {
    int rc;
    PavaMsgList frames;
    std::string log;
};

inline Encoded encode(PavaFullData& rec) {
    LogCapture cap;
    Encoded e;
    e.frames.resize(2);  // the entry point empties the list first
    e.rc = Data_To_Pava(&rec, &e.frames);
    e.log = cap.text();
    return e;
}

inline int decode(const PavaMsg& frame, PavaFullData& out, std::string* log = nullptr) {
    LogCapture cap;
    const int rc = Pava_To_Data(&frame, &out);
    if (log != nullptr) *log = cap.text();
    return rc;
}

}  // namespace pava::test

#endif
