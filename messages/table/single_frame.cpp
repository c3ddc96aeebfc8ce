#include "messages/table/single_frame.h"

#include <cstring>

#include "field_codec.h"
#include "frame_header.h"
#include "log.h"

namespace pava::messages {

int encodeFrame(const MessageDef& def, FrameList* out, CPavaMsgAnalyze* an) {
    const auto& rules = def.param<FrameRules>();
    if (rules.encodeEntry != nullptr)
        log::write(rules.encodeEntry);
    else
        log::encodeEntry(def.id);
    int rc = 0;
    PavaMsg* frame = beginFrame(out, an, def.id, &rc, rules.quietHead);
    if (frame == nullptr) return rc;
    const PavaFullData& rec = *an->record();
    bool ok = writeFields(def.layout.fields, rec, frame->body, MAX_PAVA_MSG_LEN);
    int length = def.layout.length;
    if (ok && rules.tail.encode != nullptr) {
        length = rules.tail.encode(rules.tail.params, rec, frame->body);
        ok = length >= 0;
    }
    if (!ok || !rules.append) {
        out->pop_back();
        return ok ? 0 : -1;
    }
    PavaHeadAccessor head(frame);
    head.setLength(length);
    if (!rules.keepContinued) head.setContinued(false);
    return 0;
}

int decodeFrame(const MessageDef& def, const PavaMsg* frame, CPavaMsgAnalyze* an) {
    const auto& rules = def.param<FrameRules>();
    if (rules.decodeEntry != nullptr)
        log::write(rules.decodeEntry);
    else
        log::decodeEntry(def.id);
    if (rules.alsoDecodeEntryOf != 0) log::decodeEntry(rules.alsoDecodeEntryOf);
    if (frame == nullptr) {
        if (rules.nullFrame != nullptr)
            log::write(rules.nullFrame);
        else
            log::nullFrame(def.id);
        return -1;
    }
    PavaFullData& rec = *an->record();
    if (!readFields(def.layout.readFields(), frame->body, MAX_PAVA_MSG_LEN, rec, an->trace(*frame))) return -1;
    return rules.tail.decode != nullptr ? rules.tail.decode(rules.tail.params, *frame, *an) : 0;
}

int encodeTextTail(const void* params, const PavaFullData& rec, char* body) {
    const auto& t = *static_cast<const TextTail*>(params);
    const std::string& text = rec.*t.text;
    size_t n = text.size();
    if (n > t.cap) {
        if (t.tooLong != nullptr) {
            log::write(t.tooLong);
            return -1;
        }
        n = t.cap;
    }
    if (t.bounded)
        copyTextField(body + t.offset, static_cast<int>(n), text.data(), static_cast<int>(n));
    else if (n > 0)
        std::memcpy(body + t.offset, text.data(), n);
    return t.offset + static_cast<int>(n);
}

int decodeTextTail(const void* params, const PavaMsg& frame, CPavaMsgAnalyze& an) {
    PavaFullData& rec = *an.record();
    const auto& t = *static_cast<const TextTail*>(params);
    const int64_t length = t.rule == HeaderLength::Bounded ? readHead(&frame).getLength() : rec.msgLen;
    const int64_t n = length - t.offset;
    int64_t count = n;
    switch (t.rule) {
    case HeaderLength::Signed:
        if (n >= t.cap) count = t.cap;
        break;
    case HeaderLength::Unsigned: {
        const auto wrapped = static_cast<uint32_t>(n);
        count = wrapped > t.cap ? t.cap : static_cast<int64_t>(wrapped);
        break;
    }
    case HeaderLength::Bounded:
        if (n < 0 || n > t.cap) {
            log::write(t.badLength);
            return -1;
        }
        break;
    }
    if (count < 1) return 0;
    // count <= cap, and every tail's offset + cap lies within the body.
    (rec.*t.text).assign(frame.body + t.offset, static_cast<size_t>(count));
    an.trace(frame).read(frame.body + t.offset, static_cast<int>(count), SpanKind::Raw,
                         kRecordPath.leaf(stringMember(t.text)));
    return 0;
}

}  // namespace pava::messages
