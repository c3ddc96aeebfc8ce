// Shared helpers of the unit tests: log capture, records, frames, encode and
// decode calls that keep the log, and byte views.
#ifndef ZMPAVA_TESTS_SUPPORT_H
#define ZMPAVA_TESTS_SUPPORT_H

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ZMPavaAnalyzer.h"

namespace pava::test {

// Collects the library's log lines while it lives; restores standard output after.
class LogCapture {
public:
    LogCapture() { Pava_SetLogOutput(PAVA_LOG_CALLBACK, &LogCapture::append, &m_text); }
    ~LogCapture() { Pava_SetLogOutput(PAVA_LOG_STDOUT, nullptr, nullptr); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    const std::string& text() const { return m_text; }
    void clear() { m_text.clear(); }

private:
    static void append(const char* text, void* user) { static_cast<std::string*>(user)->append(text); }
    std::string m_text;
};

inline std::string headOf(const PavaMsg& frame) { return std::string(frame.head, PAVA_HEAD_LEN); }
inline std::string bodyOf(const PavaMsg& frame, size_t length) { return std::string(frame.body, length); }
inline char headAt(const PavaMsg& frame, int pos) { return frame.head[pos]; }
// The body up to the length its header declares.
inline std::string declaredBody(const PavaMsg& frame) {
    return bodyOf(frame, static_cast<size_t>(std::atoi(std::string(frame.head + 9, 5).c_str())));
}

// A frame with the given header characters (at most 16) and body bytes; the rest zero.
inline PavaMsg makeFrame(const std::string& head, const std::string& body = {}) {
    PavaMsg frame{};
    std::memcpy(frame.head, head.data(), head.size() < 16 ? head.size() : 16);
    std::memcpy(frame.body, body.data(), body.size() < MAX_PAVA_MSG_LEN ? body.size() : MAX_PAVA_MSG_LEN);
    return frame;
}

// A record that encodes message `id` with a plain header (rii 1, type 0, flag 0).
inline PavaFullData recordFor(int id) {
    PavaFullData rec;
    rec.msgId = static_cast<uint16_t>(id);
    rec.rii = 1;
    return rec;
}

inline void setText(char* member, size_t size, const std::string& text) {
    std::memset(member, 0, size);
    std::memcpy(member, text.data(), text.size() < size ? text.size() : size);
}
#define PAVA_SET_TEXT(member, text) ::pava::test::setText(member, sizeof(member), text)

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

inline PavaFieldItem fieldItem(int type, const std::string& value) {
    PavaFieldItem f;
    f.fieldType = type;
    f.fieldLen = static_cast<int>(value.size());
    f.fieldText1 = value;
    f.fieldText2 = value;
    return f;
}

// A record with the members the codecs read filled in, and `items` entries
// in each list; `hostile` adds entries that make splitting encoders fail part
// way, after frames were appended.
inline PavaFullData busyRecord(int id, size_t items, bool hostile) {
    PavaFullData rec = recordFor(id);
    rec.rii = 7;
    rec.msgType = 1;
    rec.intValue1 = rec.intValue2 = rec.intValue3 = rec.intValue5 = 4;
    rec.intValue4 = rec.intValue14 = 2;
    rec.intValue16 = id == 10004 ? 3 : 1;
    PAVA_SET_TEXT(rec.text12a, "CODE-A-12CHR");
    PAVA_SET_TEXT(rec.text12b, "CODE-B-12CHR");
    PAVA_SET_TEXT(rec.text64a, "a text of the record");
    rec.string1 = rec.string4 = rec.string5 = "some free text";
    rec.fileBlock.fbCount = 2;
    for (size_t i = 0; i < items; ++i) {
        std::string value = "V";
        value += std::to_string(i);
        PavaDataItem item = dataItem(static_cast<int>(i), i % 7 == 0 ? std::string(40, 't') : value);
        item.itemText2 = value;
        item.itemInt2 = static_cast<int>(value.size());
        rec.dataList.push_back(item);
        PavaRecordItem record;
        record.fieldList = {fieldItem(1, value), fieldItem(2, "LD0/LLN0.Mod.stVal")};
        rec.recordList.push_back(record);
        PavaSettingItem setting;
        setting.setId = static_cast<int>(i);
        setting.setText = value;
        rec.settingList.push_back(setting);
    }
    if (hostile) {
        PavaRecordItem huge;
        huge.fieldList = {fieldItem(1, std::string(8150, 'H'))};
        rec.recordList.push_back(huge);
        PavaDataItem wide = dataItem(1, "W");
        wide.itemText2 = std::string(8150, 'w');
        wide.itemInt2 = 8150;
        rec.dataList.push_back(wide);
    }
    return rec;
}

// Bytes as a C++ string literal would show them, for readable failures.
inline std::string printable(const std::string& bytes) {
    std::string out;
    for (unsigned char c : bytes) {
        if (c >= 0x20 && c < 0x7f) {
            out += static_cast<char>(c);
        } else {
            char hex[8];
            std::snprintf(hex, sizeof hex, "\\x%02x", c);
            out += hex;
        }
    }
    return out;
}

struct Encoded {
    int rc = 0;
    PavaMsgList frames;
    std::string log;
};

// Encodes a record into a list that held frames before, which the entry
// point must empty first.
inline Encoded encode(PavaFullData rec) {
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

}  // namespace pava::test

#endif
