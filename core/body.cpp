// The steps of the description interpreter that do not depend on the
// description: text tails and the rows' refusal.
#include <cstring>

#include "body_codec.h"
#include "frame_header.h"
#include "log.h"

namespace pava {

const char* textLengthName(TextLength rule) noexcept {
    switch (rule) {
    case TextLength::Signed: return "signed";
    case TextLength::Unsigned: return "unsigned";
    case TextLength::Bounded: return "bounded";
    case TextLength::OnEntry: return "on-entry";
    }
    return "?";
}

namespace body {

int writeText(const TextToEnd& t, bool cutAtNul, const PavaFullData& rec, char* body) noexcept {
    const std::string& text = rec.*t.text;
    size_t n = text.size();
    if (n > t.cap) {
        if (t.tooLong != nullptr) {
            log::write(t.tooLong);
            return -1;
        }
        n = t.cap;
    }
    if (cutAtNul)
        copyTextField(body + t.at, static_cast<int>(n), text.data(), static_cast<int>(n));
    else if (n > 0)
        std::memcpy(body + t.at, text.data(), n);
    return t.at + static_cast<int>(n);
}

int readText(const TextToEnd& t, const PavaMsg& frame, CPavaMsgAnalyze& an) {
    PavaFullData& rec = *an.record();
    std::string& text = rec.*t.text;
    int64_t count = 0;
    switch (t.length) {
    case TextLength::Signed: {
        const int64_t n = int64_t{rec.msgLen} - t.at;
        count = n >= t.cap ? t.cap : n;
        break;
    }
    case TextLength::Unsigned: {
        const auto wrapped = static_cast<uint32_t>(int64_t{rec.msgLen} - t.at);
        count = wrapped > t.cap ? t.cap : static_cast<int64_t>(wrapped);
        break;
    }
    case TextLength::Bounded:
        count = int64_t{readHead(&frame).getLength()} - t.at;
        if (count < 0 || count > t.cap) {
            log::write(t.badLength);
            return -1;
        }
        break;
    case TextLength::OnEntry:
        count = text.size() < t.readCap ? static_cast<int64_t>(text.size()) : t.readCap;
        if (t.at + count > MAX_PAVA_MSG_LEN) {
            log::format(t.badLength, static_cast<int>(t.at + count));
            return -1;
        }
        break;
    }
    // A text taken at its own length is reported even when empty.
    if (count < 1 && t.length != TextLength::OnEntry) return 0;
    // count <= cap (or fits the body), and every text's at + cap lies within the body.
    text.assign(frame.body + t.at, static_cast<size_t>(count));
    an.trace(frame).read(frame.body + t.at, static_cast<int>(count), SpanKind::Raw,
                         kRecordPath.leaf(stringMember(t.text)));
    return 0;
}

int refuseRow(const Rows& r) noexcept {
    log::write(r.tooMany);
    return -1;
}

}  // namespace body

}  // namespace pava
