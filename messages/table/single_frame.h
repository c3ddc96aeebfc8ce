// One codec for the single-frame messages whose body is a table of fixed
// fields, optionally followed by a variable part (a text whose length the
// record or the header gives, or a counted list of rows). What differs from id
// to id is data: the field tables, the log texts, and a few rules on the
// header and on whether the frame is sent at all.
#ifndef ZMPAVA_MESSAGES_TABLE_SINGLE_FRAME_H
#define ZMPAVA_MESSAGES_TABLE_SINGLE_FRAME_H

#include <cstdint>
#include <string>

#include "message.h"

namespace pava::messages {

// The variable part of a body, after its fixed fields. Either side may be
// absent. encode returns the body length, or -1 once it has logged why the
// frame cannot be built; decode reads the frame's body (and, where a rule
// says so, its header) and returns 0, or -1 keeping what it stored.
struct BodyTail {
    int (*encode)(const void* params, const PavaFullData& rec, char* body) = nullptr;
    int (*decode)(const void* params, const PavaMsg& frame, CPavaMsgAnalyze& an) = nullptr;
    const void* params = nullptr;
};

struct FrameRules {
    // Log texts where they are not the common ones ("Data_To_Pava_%05d!\n",
    // "Pava_%05d_To_Data!\n", "... Pava_%05d_To_Data pPavaMsg == NULL! ").
    const char* encodeEntry = nullptr;
    const char* decodeEntry = nullptr;
    const char* nullFrame = nullptr;
    // An id whose decoder entry text this decoder prints after its own.
    int alsoDecodeEntryOf = 0;
    // The 00xxx encoders return a header failure without logging it.
    bool quietHead = true;
    // Some encoders build their frame and then drop it: success, no frame.
    bool append = true;
    // Some encoders leave the continuation flag as the header took it from contFlag.
    bool keepContinued = false;
    BodyTail tail{};
};

// Fixed fields and nothing else, with the common texts.
inline constexpr FrameRules kPlainFrame{};

int encodeFrame(const MessageDef& def, FrameList* out, CPavaMsgAnalyze* an);
int decodeFrame(const MessageDef& def, const PavaMsg* frame, CPavaMsgAnalyze* an);

// A message of this codec. `length` is the body length of a fixed body (the
// tail, when there is one, gives the length instead); `decodeFields` is the
// table the decoder reads where it differs from what the encoder writes.
constexpr MessageDef frameMessage(int id, const FrameRules& rules, std::span<const Field> fields,
                                  int length, std::span<const Field> decodeFields = {}) {
    return MessageDef{id, encodeFrame, decodeFrame, Layout{fields, decodeFields, length}, 0, &rules};
}

// ---------------------------------------------------------------------------
// A text member that runs from a fixed offset to the end of the body.
// ---------------------------------------------------------------------------

// How a decoder turns the header's body length into the number of text
// characters n = length - offset:
enum class HeaderLength : uint8_t {
    Signed,    // msgLen, signed: n >= cap reads cap; n < 1 reads nothing
    Unsigned,  // msgLen, unsigned 32-bit: a length below the offset wraps and reads cap
    Bounded,   // the header's own number, not cut to the 16 bits of msgLen:
               // n outside 0..cap is refused with badLength
};

struct TextTail {
    uint16_t offset = 0;                         // the text's first body position
    std::string PavaFullData::*text = nullptr;  // the string member carried
    // Encoder: a text longer than `cap` is cut to it, or refused with tooLong.
    uint16_t cap = 0;
    const char* tooLong = nullptr;
    bool bounded = false;  // the copy stops at the text's first NUL (else bytes as they stand)
    // Decoder: how the header's length is read; refusals log badLength.
    HeaderLength rule = HeaderLength::Signed;
    const char* badLength = nullptr;
};

int encodeTextTail(const void* params, const PavaFullData& rec, char* body);
int decodeTextTail(const void* params, const PavaMsg& frame, CPavaMsgAnalyze& an);

// Every tail is declared through this check: a text of `cap` characters at
// `offset` must stay within the body, or the table does not compile.
consteval TextTail checkedTail(TextTail t) {
    if (t.offset + t.cap > MAX_PAVA_MSG_LEN) throw "text tail runs past the body";
    return t;
}

}  // namespace pava::messages

#endif
