// Shared helpers of the unit tests: log capture, frame building and views.
#ifndef ZMPAVA_TESTS_SUPPORT_H
#define ZMPAVA_TESTS_SUPPORT_H

#include <cstdio>
#include <cstring>
#include <string>

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

}  // namespace pava::test

#endif
