// Helpers of the item list tests: records with item lists, encode and decode
// calls that keep the log, header views.
#ifndef ZMPAVA_TESTS_LIST_SUPPORT_H
#define ZMPAVA_TESTS_LIST_SUPPORT_H

#include <string>

#include "support.h"

namespace pava::test {

inline PavaDataItem dataItem(int id, const std::string& text) {
    PavaDataItem item;
    item.itemId = id;
    item.itemText = text;
    return item;
}

inline PavaFullData listRecord(int id, size_t count, const std::string& text = "a") {
    PavaFullData rec = recordFor(id);
    for (size_t i = 0; i < count; ++i) rec.dataList.push_back(dataItem(static_cast<int>(i), text));
    return rec;
}

struct Encoded {
    int rc = 0;
    PavaMsgList frames;
    std::string log;
};

inline Encoded encode(PavaFullData rec) {
    LogCapture capture;
    Encoded e;
    e.rc = Data_To_Pava(&rec, &e.frames);
    e.log = capture.text();
    return e;
}

// Encodes the caller's own record (some encoders change it) into a list that
// held frames before, which the entry point must empty first.
inline Encoded encodeInPlace(PavaFullData& rec) {
    LogCapture capture;
    Encoded e;
    e.frames.resize(2);
    e.rc = Data_To_Pava(&rec, &e.frames);
    e.log = capture.text();
    return e;
}

struct Decoded {
    int rc = 0;
    PavaFullData rec;
    std::string log;
};

inline Decoded decode(const PavaMsg& frame) {
    LogCapture capture;
    Decoded d;
    d.rc = Pava_To_Data(&frame, &d.rec);
    d.log = capture.text();
    return d;
}

inline int decode(const PavaMsg& frame, PavaFullData& out, std::string* log = nullptr) {
    LogCapture capture;
    const int rc = Pava_To_Data(&frame, &out);
    if (log != nullptr) *log = capture.text();
    return rc;
}

// The body up to the length its header declares.
inline std::string declaredBody(const PavaMsg& frame) {
    return bodyOf(frame, static_cast<size_t>(std::atoi(std::string(frame.head + 9, 5).c_str())));
}

inline char headAt(const PavaMsg& frame, int pos) { return frame.head[pos]; }

inline std::string nuls(size_t n) { return std::string(n, '\0'); }

}  // namespace pava::test

#endif
