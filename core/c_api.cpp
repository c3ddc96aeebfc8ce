// The plain C interface: opaque records reached by member paths, frame sets,
// and the member and layout tables, all over the C++ entry points.
#include "ZMPavaAnalyzerC.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "ZMPavaAnalyzer.h"
#include "analyzer.h"
#include "frame_reader.h"
#include "field_codec.h"
#include "frame_header.h"
#include "members.h"
#include "describe.h"
#include "message.h"
#include "multiframe/joiner.h"
#include "read_trace.h"
#include "record_schema.h"

static_assert(PAVA_RC_OK == PAVA_OK && PAVA_RC_NULL == PAVA_ERR_NULL && PAVA_RC_NO_HANDLER == PAVA_ERR_NO_HANDLER &&
              PAVA_RC_DECODE == PAVA_ERR_DECODE && PAVA_RC_ENCODE == PAVA_ERR_ENCODE);
static_assert(PAVA_LOG_SINK_STDOUT == PAVA_LOG_STDOUT && PAVA_LOG_SINK_OFF == PAVA_LOG_OFF &&
              PAVA_LOG_SINK_CALLBACK == PAVA_LOG_CALLBACK);
static_assert(PAVA_FRAME_SIZE == sizeof(PavaMsg) && PAVA_HEADER_SIZE == PAVA_HEAD_LEN &&
              PAVA_BODY_SIZE == MAX_PAVA_MSG_LEN);

struct pava_record {
    PavaFullData data;
};

struct pava_frames {
    PavaMsgList list;
};

struct pava_dissection {
    std::vector<pava::BodySpan> spans;
    std::string text;                // the spans' paths, each ended by a NUL; "" for unread ones
    std::vector<size_t> paths;       // where each span's path starts in text
    std::vector<int64_t> numbers;    // of the decimal spans, 0 for others
};

static_assert(PAVA_SPAN_DECIMAL == 1 + static_cast<int>(pava::SpanKind::Decimal) &&
              PAVA_SPAN_TEXT == 1 + static_cast<int>(pava::SpanKind::Text) &&
              PAVA_SPAN_RAW == 1 + static_cast<int>(pava::SpanKind::Raw) &&
              PAVA_SPAN_MARKER == 1 + static_cast<int>(pava::SpanKind::Marker));

struct pava_joiner {
    pava::MessageJoiner joiner;
    std::vector<pava::JoinProblem> problems;  // of the message last popped
    std::vector<uint64_t> parts;              // the tags of its frames
};

namespace {

using namespace pava;

// ---------------------------------------------------------------------------
// Paths
// ---------------------------------------------------------------------------

enum class Walk {
    Read,   // every index within its list
    Check,  // an index one past the end is an append to come; nothing changes
    Apply,  // as Check, and the appends are made
};

struct Target {
    const SchemaEntry* entry = nullptr;
    int type = PAVA_TYPE_RECORD;  // the type that holds the entry
    void* object = nullptr;       // the object of that type; null for an append to come
    int row = -1;                 // the row of fbCodes[row]
    bool indexed = false;         // the last segment carried an index
};

// The first append an Apply walk made, undone when a later step fails.
struct Undo {
    void* object = nullptr;
    Container container = Container::None;
    void undo() const {
        if (object != nullptr) listPop(object, container);
    }
};

// Decimal digits only; an index of more than 9 digits is past any list.
bool parseIndex(std::string_view digits, size_t& index) {
    if (digits.empty() || digits.find_first_not_of("0123456789") != std::string_view::npos) return false;
    index = 0;
    if (digits.size() > 9) {
        index = SIZE_MAX;
        return true;
    }
    for (const char c : digits) index = index * 10 + static_cast<size_t>(c - '0');
    return true;
}

int walk(PavaFullData& rec, const char* path, Walk mode, Target& out, Undo* undo) {
    if (path == nullptr) return PAVA_RC_NULL;
    std::string_view rest(path);
    int type = PAVA_TYPE_RECORD;
    void* object = &rec;
    for (;;) {
        const size_t dot = rest.find('.');
        std::string_view segment = rest.substr(0, dot);
        const bool last = dot == std::string_view::npos;
        rest = last ? std::string_view() : rest.substr(dot + 1);

        bool indexed = false;
        size_t index = 0;
        if (const size_t open = segment.find('['); open != std::string_view::npos) {
            if (segment.back() != ']' || !parseIndex(segment.substr(open + 1, segment.size() - open - 2), index))
                return PAVA_RC_UNKNOWN_MEMBER;
            indexed = true;
            segment = segment.substr(0, open);
        }
        const SchemaEntry* e = findEntry(type, segment);
        if (e == nullptr) return PAVA_RC_UNKNOWN_MEMBER;

        const int kind = e->info.kind;
        if (last) {
            if (indexed && kind != PAVA_KIND_ROWS) return PAVA_RC_WRONG_KIND;
            if (indexed && index >= static_cast<size_t>(e->info.count)) return PAVA_RC_INDEX;
            out = Target{e, type, object, indexed ? static_cast<int>(index) : -1, indexed};
            return PAVA_RC_OK;
        }
        if (kind == PAVA_KIND_OBJECT && !indexed) {
            type = e->info.element;  // the file block is reached through the record itself
            continue;
        }
        if (kind != PAVA_KIND_LIST || !indexed) return PAVA_RC_WRONG_KIND;
        const size_t size = object != nullptr ? listSize(object, e->container) : 0;
        if (index < size) {
            object = listElement(object, e->container, index);
        } else if (index == size && mode != Walk::Read) {
            if (mode == Walk::Apply) {
                void* holder = object;
                object = listAppend(holder, e->container);
                if (undo != nullptr && undo->object == nullptr) *undo = Undo{holder, e->container};
            } else {
                object = nullptr;  // an element to come: its lists are empty
            }
        } else {
            return PAVA_RC_INDEX;
        }
        type = e->info.element;
    }
}

Slot leafSlot(const Target& t) {
    const SchemaEntry& e = *t.entry;
    if (e.container == Container::FbCodes) {
        if (t.row < 0) return {};
        auto& codes = static_cast<PavaFullData*>(t.object)->fileBlock.fbCodes;
        return {SlotType::Chars, codes[t.row], static_cast<int>(sizeof codes[0])};
    }
    if (e.recordItem >= 0) {
        const RecordItemMember& m = recordItemMembers()[static_cast<size_t>(e.recordItem)];
        return m.slot(*static_cast<PavaRecordItem*>(t.object));
    }
    switch (t.type) {
    case PAVA_TYPE_RECORD:
    case PAVA_TYPE_FILE_BLOCK: return slotOf(*static_cast<PavaFullData*>(t.object), e.member);
    case PAVA_TYPE_DATA_ITEM: return slotOf(*static_cast<PavaDataItem*>(t.object), e.member);
    case PAVA_TYPE_SETTING_ITEM: return slotOf(*static_cast<PavaSettingItem*>(t.object), e.member);
    case PAVA_TYPE_FIELD_ITEM: return slotOf(*static_cast<PavaFieldItem*>(t.object), e.member);
    default: return {};
    }
}

// The kind a target reads and writes as: a row of fbCodes is a character array.
int targetKind(const Target& t) { return t.row >= 0 ? PAVA_KIND_CHARS : t.entry->info.kind; }
int targetSize(const Target& t) { return t.entry->info.bytes; }

// Runs a change on the record: the path is checked first (no change), then
// check() on the target decides, then the walk is made for real and change()
// applied; a failure after an append takes the append back.
template <class Check, class Change>
int changeAt(pava_record* record, const char* path, Check&& check, Change&& change) {
    if (record == nullptr) return PAVA_RC_NULL;
    Target t;
    if (const int rc = walk(record->data, path, Walk::Check, t, nullptr); rc != PAVA_RC_OK) return rc;
    if (const int rc = check(t); rc != PAVA_RC_OK) return rc;
    Undo undo;
    try {
        walk(record->data, path, Walk::Apply, t, &undo);
        change(t);
    } catch (...) {
        undo.undo();
        throw;
    }
    return PAVA_RC_OK;
}

int readAt(const pava_record* record, const char* path, Target& t) {
    if (record == nullptr) return PAVA_RC_NULL;
    // A read walk changes nothing.
    return walk(const_cast<PavaFullData&>(record->data), path, Walk::Read, t, nullptr);
}

// Runs f, turning any exception into a code: no exception leaves the library.
template <class F>
int guarded(F&& f) noexcept {
    try {
        return f();
    } catch (const std::bad_alloc&) {
        return PAVA_RC_NO_MEMORY;
    } catch (const std::length_error&) {
        return PAVA_RC_NO_MEMORY;
    } catch (...) {
        return PAVA_RC_ARGUMENT;
    }
}

size_t wireSizeOf(const char* head) {
    const int n = readDecimal(head + kHeadLength, head + PAVA_HEAD_LEN);
    return static_cast<size_t>(PAVA_HEAD_LEN + std::clamp(n, 0, MAX_PAVA_MSG_LEN));
}

// A record's members that hold something, to the caller's function.
class RecordWalk {
public:
    RecordWalk(pava_walk_fn fn, void* user) : fn_(fn), user_(user) {}

    // object: the object of the type; for the file block, the record (its
    // members are reached through the record, as paths reach them).
    int object(int type, void* object) {
        const auto& entries = schema()[type];
        for (size_t i = 0; i < entries.size(); ++i) {
            const SchemaEntry& e = entries[i];
            int rc = 0;
            switch (e.info.kind) {
            case PAVA_KIND_LIST:
                for (size_t k = 0, n = listSize(object, e.container); k < n && rc == 0; ++k) {
                    rc = around(type, i, static_cast<int64_t>(k), e.info.element,
                                listElement(object, e.container, k));
                }
                break;
            case PAVA_KIND_OBJECT: rc = around(type, i, -1, e.info.element, object); break;
            case PAVA_KIND_ROWS:
                for (int row = 0; row < e.info.count && rc == 0; ++row) {
                    rc = value(type, i, row, leafSlot(Target{&e, type, object, row, true}));
                }
                break;
            default: rc = value(type, i, -1, leafSlot(Target{&e, type, object})); break;
            }
            if (rc != 0) return rc;
        }
        return 0;
    }

private:
    pava_walk_step step(int event, int type, size_t member, int64_t index) const {
        pava_walk_step s{};
        s.size = sizeof s;
        s.event = event;
        s.type = type;
        s.member = member;
        s.index = index;
        return s;
    }

    int around(int type, size_t member, int64_t index, int element, void* inner) {
        pava_walk_step s = step(PAVA_WALK_ENTER, type, member, index);
        if (const int rc = fn_(&s, user_); rc != 0) return rc;
        if (const int rc = object(element, inner); rc != 0) return rc;
        s.event = PAVA_WALK_LEAVE;
        return fn_(&s, user_);
    }

    int value(int type, size_t member, int64_t index, const Slot& slot) {
        pava_walk_step s = step(PAVA_WALK_VALUE, type, member, index);
        switch (slot.type) {
        case SlotType::Int32: s.number = *static_cast<const int32_t*>(slot.ptr); break;
        case SlotType::UInt16: s.number = *static_cast<const uint16_t*>(slot.ptr); break;
        case SlotType::String: {
            const auto* text = static_cast<const std::string*>(slot.ptr);
            s.bytes = text->data(), s.length = text->size();
            break;
        }
        case SlotType::Chars:
            s.bytes = static_cast<const char*>(slot.ptr), s.length = static_cast<size_t>(slot.size);
            while (s.length > 0 && s.bytes[s.length - 1] == '\0') --s.length;
            break;
        default: return 0;
        }
        return s.number == 0 && s.length == 0 ? 0 : fn_(&s, user_);
    }

    pava_walk_fn fn_;
    void* user_;
};

}  // namespace

extern "C" {

PAVA_API void PAVA_CALL pava_version(int* major, int* minor, int* patch) {
    if (major != nullptr) *major = ZMPAVA_VERSION_MAJOR;
    if (minor != nullptr) *minor = ZMPAVA_VERSION_MINOR;
    if (patch != nullptr) *patch = ZMPAVA_VERSION_PATCH;
}

PAVA_API const char* PAVA_CALL pava_rc_text(int rc) {
    switch (rc) {
    case PAVA_RC_OK: return "ok";
    case PAVA_RC_NULL: return "null pointer";
    case PAVA_RC_NO_HANDLER: return "no codec for the message id";
    case PAVA_RC_DECODE: return "the decoder failed";
    case PAVA_RC_ENCODE: return "the encoder failed";
    case PAVA_RC_UNKNOWN_MEMBER: return "unknown member";
    case PAVA_RC_WRONG_KIND: return "wrong kind of member";
    case PAVA_RC_INDEX: return "index out of range";
    case PAVA_RC_TOO_LONG: return "bytes longer than the character array";
    case PAVA_RC_RANGE: return "number out of the member's range";
    case PAVA_RC_BUFFER: return "buffer too small";
    case PAVA_RC_SIZE: return "frame size out of range";
    case PAVA_RC_NO_MEMORY: return "out of memory";
    case PAVA_RC_ARGUMENT: return "invalid argument";
    default: return "unknown code";
    }
}

PAVA_API int PAVA_CALL pava_record_new(pava_record** out) {
    if (out == nullptr) return PAVA_RC_NULL;
    return guarded([&] {
        *out = new pava_record;
        return PAVA_RC_OK;
    });
}

PAVA_API void PAVA_CALL pava_record_free(pava_record* record) { delete record; }

PAVA_API int PAVA_CALL pava_record_reset(pava_record* record) {
    if (record == nullptr) return PAVA_RC_NULL;
    resetFullData(record->data);
    return PAVA_RC_OK;
}

PAVA_API int PAVA_CALL pava_record_copy(pava_record* dest, const pava_record* src) {
    if (dest == nullptr || src == nullptr) return PAVA_RC_NULL;
    return guarded([&] {
        if (dest != src) {
            PavaFullData copy = src->data;  // dest changes only once the copy is complete
            dest->data = std::move(copy);
        }
        return PAVA_RC_OK;
    });
}

PAVA_API int PAVA_CALL pava_get_int(const pava_record* record, const char* path, int64_t* value) {
    return guarded([&] {
        Target t;
        if (const int rc = readAt(record, path, t); rc != PAVA_RC_OK) return rc;
        const int kind = targetKind(t);
        if (kind != PAVA_KIND_INT32 && kind != PAVA_KIND_UINT16) return PAVA_RC_WRONG_KIND;
        if (value == nullptr) return PAVA_RC_NULL;
        const Slot s = leafSlot(t);
        *value = s.type == SlotType::Int32 ? *static_cast<const int32_t*>(s.ptr) : *static_cast<const uint16_t*>(s.ptr);
        return PAVA_RC_OK;
    });
}

PAVA_API int PAVA_CALL pava_set_int(pava_record* record, const char* path, int64_t value) {
    return guarded([&] {
        return changeAt(
            record, path,
            [&](const Target& t) {
                const int kind = targetKind(t);
                bool fits = false;
                if (kind == PAVA_KIND_INT32)
                    fits = value >= INT32_MIN && value <= INT32_MAX;
                else if (kind == PAVA_KIND_UINT16)
                    fits = value >= 0 && value <= UINT16_MAX;
                else
                    return PAVA_RC_WRONG_KIND;
                return fits ? PAVA_RC_OK : PAVA_RC_RANGE;
            },
            [&](const Target& t) {
                const Slot s = leafSlot(t);
                if (s.type == SlotType::Int32)
                    *static_cast<int32_t*>(s.ptr) = static_cast<int32_t>(value);
                else
                    *static_cast<uint16_t*>(s.ptr) = static_cast<uint16_t>(value);
            });
    });
}

PAVA_API int PAVA_CALL pava_get_bytes(const pava_record* record, const char* path, char* buffer, size_t capacity,
                                      size_t* length) {
    return guarded([&] {
        Target t;
        if (const int rc = readAt(record, path, t); rc != PAVA_RC_OK) return rc;
        const int kind = targetKind(t);
        if (kind != PAVA_KIND_CHARS && kind != PAVA_KIND_STRING) return PAVA_RC_WRONG_KIND;
        if (length == nullptr || (buffer == nullptr && capacity > 0)) return PAVA_RC_NULL;
        const Slot s = leafSlot(t);
        const char* data = static_cast<const char*>(s.ptr);
        size_t n = 0;
        if (s.type == SlotType::String) {
            const auto* str = static_cast<const std::string*>(s.ptr);
            data = str->data(), n = str->size();
        } else {
            n = static_cast<size_t>(s.size);
            while (n > 0 && data[n - 1] == '\0') --n;  // the padding is not part of the value
        }
        *length = n;
        if (n > capacity) return PAVA_RC_BUFFER;
        if (n > 0) std::memcpy(buffer, data, n);
        return PAVA_RC_OK;
    });
}

PAVA_API int PAVA_CALL pava_set_bytes(pava_record* record, const char* path, const char* bytes, size_t length) {
    if (bytes == nullptr && length > 0) return PAVA_RC_NULL;
    return guarded([&] {
        return changeAt(
            record, path,
            [&](const Target& t) {
                const int kind = targetKind(t);
                if (kind == PAVA_KIND_STRING) return PAVA_RC_OK;
                if (kind != PAVA_KIND_CHARS) return PAVA_RC_WRONG_KIND;
                return length <= static_cast<size_t>(targetSize(t)) ? PAVA_RC_OK : PAVA_RC_TOO_LONG;
            },
            [&](const Target& t) {
                const Slot s = leafSlot(t);
                if (s.type == SlotType::String) {
                    auto* str = static_cast<std::string*>(s.ptr);
                    if (length > 0)
                        str->assign(bytes, length);
                    else
                        str->clear();
                    return;
                }
                auto* dest = static_cast<char*>(s.ptr);
                if (length > 0) std::memcpy(dest, bytes, length);
                std::memset(dest + length, 0, static_cast<size_t>(s.size) - length);
            });
    });
}

PAVA_API int PAVA_CALL pava_list_size(const pava_record* record, const char* path, size_t* size) {
    return guarded([&] {
        Target t;
        if (const int rc = readAt(record, path, t); rc != PAVA_RC_OK) return rc;
        if (t.indexed) return PAVA_RC_WRONG_KIND;
        const int kind = t.entry->info.kind;
        if (kind != PAVA_KIND_LIST && kind != PAVA_KIND_ROWS) return PAVA_RC_WRONG_KIND;
        if (size == nullptr) return PAVA_RC_NULL;
        *size = kind == PAVA_KIND_ROWS ? static_cast<size_t>(t.entry->info.count)
                                       : listSize(t.object, t.entry->container);
        return PAVA_RC_OK;
    });
}

PAVA_API int PAVA_CALL pava_list_resize(pava_record* record, const char* path, size_t size) {
    return guarded([&] {
        return changeAt(
            record, path,
            [](const Target& t) { return t.entry->info.kind == PAVA_KIND_LIST ? PAVA_RC_OK : PAVA_RC_WRONG_KIND; },
            [&](const Target& t) { listResize(t.object, t.entry->container, size); });
    });
}

PAVA_API int PAVA_CALL pava_record_walk(const pava_record* record, pava_walk_fn fn, void* user) {
    if (record == nullptr || fn == nullptr) return PAVA_RC_NULL;
    return guarded([&] {
        RecordWalk walk(fn, user);
        return walk.object(PAVA_TYPE_RECORD, const_cast<PavaFullData*>(&record->data));
    });
}

PAVA_API int PAVA_CALL pava_frames_new(pava_frames** out) {
    if (out == nullptr) return PAVA_RC_NULL;
    return guarded([&] {
        *out = new pava_frames;
        return PAVA_RC_OK;
    });
}

PAVA_API void PAVA_CALL pava_frames_free(pava_frames* frames) { delete frames; }

PAVA_API size_t PAVA_CALL pava_frames_count(const pava_frames* frames) {
    return frames != nullptr ? frames->list.size() : 0;
}

PAVA_API int PAVA_CALL pava_frames_at(const pava_frames* frames, size_t index, const char** frame, size_t* wire_size) {
    if (frames == nullptr) return PAVA_RC_NULL;
    if (index >= frames->list.size()) return PAVA_RC_INDEX;
    const PavaMsg& msg = frames->list[index];
    if (frame != nullptr) *frame = msg.head;
    if (wire_size != nullptr) *wire_size = wireSizeOf(msg.head);
    return PAVA_RC_OK;
}

PAVA_API int PAVA_CALL pava_encode(const pava_record* record, pava_frames* frames) {
    if (record == nullptr || frames == nullptr) return PAVA_RC_NULL;
    frames->list.clear();
    // Encoders only read the record.
    return Data_To_Pava(const_cast<PavaFullData*>(&record->data), &frames->list);
}

PAVA_API int PAVA_CALL pava_encode_into(const pava_record* record, char* buffer, size_t capacity, size_t* count) {
    if (record == nullptr || count == nullptr || (buffer == nullptr && capacity > 0)) return PAVA_RC_NULL;
    return guarded([&] {
        PavaMsgList list;
        const int rc = Data_To_Pava(const_cast<PavaFullData*>(&record->data), &list);
        *count = list.size();
        if (list.size() > capacity) return PAVA_RC_BUFFER;
        if (!list.empty()) std::memcpy(buffer, list.data(), list.size() * sizeof(PavaMsg));
        return rc;
    });
}

PAVA_API int PAVA_CALL pava_decode(const char* frame, size_t size, pava_record* record) {
    if (frame == nullptr || record == nullptr) return PAVA_RC_NULL;
    if (size < PAVA_HEADER_SIZE || size > PAVA_FRAME_SIZE) return PAVA_RC_SIZE;
    if (size == PAVA_FRAME_SIZE) return Pava_To_Data(reinterpret_cast<const PavaMsg*>(frame), &record->data);
    // The wire form: the body up to its declared length, zero behind it.
    PavaMsg whole{};
    const size_t n = std::min(size, wireSizeOf(frame));
    std::memcpy(whole.head, frame, n);
    return Pava_To_Data(&whole, &record->data);
}

PAVA_API int PAVA_CALL pava_dissect(const char* frame, size_t size, pava_record* record, pava_dissection** out) {
    if (frame == nullptr || out == nullptr) return PAVA_RC_NULL;
    if (size < PAVA_HEADER_SIZE || size > PAVA_FRAME_SIZE) return PAVA_RC_SIZE;
    return guarded([&] {
        // The frame as a whole block: bytes past its wire form read as zeros.
        PavaMsg block;
        const size_t given = size == PAVA_FRAME_SIZE ? size : std::min(size, wireSizeOf(frame));
        std::memcpy(block.head, frame, given);
        std::memset(block.head + given, 0, sizeof block - given);
        const PavaMsg* whole = &block;
        auto d = std::make_unique<pava_dissection>();
        PavaFullData scratch;
        int rc = 0;
        d->spans = explainBody(*whole, record != nullptr ? record->data : scratch, &rc);
        d->paths.reserve(d->spans.size());
        d->text.reserve(d->spans.size() * 24);
        d->numbers.reserve(d->spans.size());
        for (const BodySpan& s : d->spans) {
            d->paths.push_back(d->text.size());
            if (!s.unread) appendPathText(d->text, s.path);
            d->text += '\0';
            // A decimal's bytes as the decoders read them: a field of up to
            // 16 characters, or a number running to its span's end.
            const int from = std::clamp(s.offset, 0, MAX_PAVA_MSG_LEN);
            const int to = std::clamp(s.offset + s.width, from, MAX_PAVA_MSG_LEN);
            int64_t number = 0;
            if (!s.unread && s.kind == SpanKind::Decimal)
                number = to - from <= 16 ? readIntField(whole->body + from, to - from)
                                         : readDecimal(whole->body + from, whole->body + to);
            d->numbers.push_back(number);
        }
        *out = d.release();
        return rc;
    });
}

PAVA_API void PAVA_CALL pava_dissection_free(pava_dissection* dissection) { delete dissection; }

PAVA_API size_t PAVA_CALL pava_dissection_count(const pava_dissection* dissection) {
    return dissection != nullptr ? dissection->spans.size() : 0;
}

PAVA_API int PAVA_CALL pava_dissection_span(const pava_dissection* dissection, size_t index, pava_span* span) {
    if (dissection == nullptr || span == nullptr) return PAVA_RC_NULL;
    // The first version ended with the path.
    if (span->size < offsetof(pava_span, number)) return PAVA_RC_ARGUMENT;
    if (index >= dissection->spans.size()) return PAVA_RC_INDEX;
    const BodySpan& s = dissection->spans[index];
    span->offset = s.offset;
    span->width = s.width;
    span->kind = s.unread ? PAVA_SPAN_UNREAD : 1 + static_cast<int>(s.kind);
    span->path = dissection->text.c_str() + dissection->paths[index];
    if (span->size >= offsetof(pava_span, number) + sizeof span->number) span->number = dissection->numbers[index];
    return PAVA_RC_OK;
}

PAVA_API int PAVA_CALL pava_joiner_new(pava_joiner** out) {
    if (out == nullptr) return PAVA_RC_NULL;
    return guarded([&] {
        *out = new pava_joiner;
        return PAVA_RC_OK;
    });
}

PAVA_API void PAVA_CALL pava_joiner_free(pava_joiner* joiner) { delete joiner; }

PAVA_API int PAVA_CALL pava_joiner_push(pava_joiner* joiner, const char* frame, size_t size, uint64_t tag) {
    if (joiner == nullptr || frame == nullptr) return PAVA_RC_NULL;
    if (size < PAVA_HEADER_SIZE || size > PAVA_FRAME_SIZE) return PAVA_RC_SIZE;
    if (size == PAVA_FRAME_SIZE) return joiner->joiner.push(reinterpret_cast<const PavaMsg*>(frame), tag);
    PavaMsg whole{};
    std::memcpy(whole.head, frame, std::min(size, wireSizeOf(frame)));
    return joiner->joiner.push(&whole, tag);
}

PAVA_API int PAVA_CALL pava_joiner_finish(pava_joiner* joiner) {
    if (joiner == nullptr) return PAVA_RC_NULL;
    joiner->joiner.finish();
    return PAVA_RC_OK;
}

PAVA_API int PAVA_CALL pava_joiner_pop(pava_joiner* joiner, pava_record* record, pava_join_info* info) {
    if (joiner == nullptr || record == nullptr || info == nullptr) return PAVA_RC_NULL;
    if (info->size < sizeof(pava_join_info)) return PAVA_RC_ARGUMENT;
    return guarded([&] {
        JoinedMessage m;
        if (!joiner->joiner.pop(m)) return PAVA_RC_INDEX;
        record->data = std::move(m.record);
        joiner->problems = std::move(m.problems);
        joiner->parts = std::move(m.parts);
        *info = {info->size, m.rc, m.tag, m.frames, m.complete ? 1 : 0, joiner->problems.size()};
        return PAVA_RC_OK;
    });
}

PAVA_API int PAVA_CALL pava_joiner_problem(const pava_joiner* joiner, size_t index, uint64_t* tag,
                                           const char** text) {
    if (joiner == nullptr || tag == nullptr || text == nullptr) return PAVA_RC_NULL;
    if (index >= joiner->problems.size()) return PAVA_RC_INDEX;
    *tag = joiner->problems[index].tag;
    *text = joiner->problems[index].what.c_str();
    return PAVA_RC_OK;
}

PAVA_API int PAVA_CALL pava_joiner_part(const pava_joiner* joiner, size_t index, uint64_t* tag) {
    if (joiner == nullptr || tag == nullptr) return PAVA_RC_NULL;
    if (index >= joiner->parts.size()) return PAVA_RC_INDEX;
    *tag = joiner->parts[index];
    return PAVA_RC_OK;
}

PAVA_API int PAVA_CALL pava_wire_size(const char* frame, size_t size, size_t* wire_size) {
    if (frame == nullptr || wire_size == nullptr) return PAVA_RC_NULL;
    if (size < PAVA_HEADER_SIZE) return PAVA_RC_SIZE;
    *wire_size = wireSizeOf(frame);
    return PAVA_RC_OK;
}

PAVA_API int PAVA_CALL pava_plausible_header(const char* frame, size_t size) {
    return frame != nullptr && size >= PAVA_HEADER_SIZE && pava::plausibleHeader(frame) ? 1 : 0;
}

PAVA_API int PAVA_CALL pava_header(const char* frame, size_t size, pava_header_info* info) {
    if (frame == nullptr || info == nullptr) return PAVA_RC_NULL;
    if (info->size < sizeof(pava_header_info)) return PAVA_RC_ARGUMENT;
    const size_t given = info->size;
    *info = pava_header_info{};
    info->size = given;
    info->plausible = pava::plausibleHeaderStart(frame, size) ? 1 : 0;
    // Each field the bytes hold whole; the length from position 9 on, as far
    // as the given bytes go.
    const char* end = frame + std::min<size_t>(size, PAVA_FRAME_SIZE);
    if (size > kHeadRii + 2) info->rii = readIntField(frame + kHeadRii, 3);
    if (size > kHeadMsgId + 4) info->id = readIntField(frame + kHeadMsgId, 5);
    if (size > kHeadType) info->type = typeDigitValue(frame[kHeadType]);
    if (size > kHeadLength + 4) info->length = readDecimal(frame + kHeadLength, end);
    if (size > kHeadFlag) info->flag = typeDigitValue(frame[kHeadFlag]);
    if (size < PAVA_HEADER_SIZE) return PAVA_RC_OK;
    info->continued = frame[kHeadContinued] == '1' ? 1 : 0;
    info->wire_size = wireSizeOf(frame);
    return PAVA_RC_OK;
}

PAVA_API int PAVA_CALL pava_member_count(int type, size_t* count) {
    if (count == nullptr) return PAVA_RC_NULL;
    if (type < 0 || type >= kTypeCount) return PAVA_RC_ARGUMENT;
    return guarded([&] {
        *count = schema()[type].size();
        return PAVA_RC_OK;
    });
}

PAVA_API int PAVA_CALL pava_member_at(int type, size_t index, pava_member_info* info) {
    if (info == nullptr) return PAVA_RC_NULL;
    if (type < 0 || type >= kTypeCount || info->size < sizeof(pava_member_info)) return PAVA_RC_ARGUMENT;
    return guarded([&] {
        const auto& members = schema()[type];
        if (index >= members.size()) return PAVA_RC_INDEX;
        const size_t given = info->size;
        *info = members[index].info;
        info->size = given;
        return PAVA_RC_OK;
    });
}

PAVA_API int PAVA_CALL pava_ids(int* ids, size_t capacity, size_t* count) {
    if (count == nullptr || (ids == nullptr && capacity > 0)) return PAVA_RC_NULL;
    return guarded([&] {
        const auto all = registeredMessages();
        *count = all.size();
        if (all.size() > capacity) return PAVA_RC_BUFFER;
        for (size_t i = 0; i < all.size(); ++i) ids[i] = all[i]->id;
        return PAVA_RC_OK;
    });
}

PAVA_API int PAVA_CALL pava_describe(int id, pava_desc_fn fn, void* user) {
    if (fn == nullptr) return PAVA_RC_NULL;
    return guarded([&] {
        const MessageDef* def = findMessage(id);
        return def == nullptr ? PAVA_RC_NO_HANDLER : describeMessage(*def, fn, user);
    });
}

PAVA_API int PAVA_CALL pava_set_log(int mode, pava_log_fn callback, void* user) {
    if (mode != PAVA_LOG_SINK_STDOUT && mode != PAVA_LOG_SINK_OFF && mode != PAVA_LOG_SINK_CALLBACK)
        return PAVA_RC_ARGUMENT;
    return Pava_SetLogOutput(mode, callback, user);
}

}  // extern "C"
