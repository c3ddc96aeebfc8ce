/* ZMPavaAnalyzer: the plain C interface.
 *
 * A second way into the same codecs as ZMPavaAnalyzer.h, for callers that do
 * not share the library's C++ runtime: C, other compilers (MSVC against the
 * MinGW-built DLL), and foreign-function interfaces (Python ctypes, C#, Go,
 * Rust). Only C types cross it; every function is exported undecorated with
 * the cdecl convention, catches everything inside and reports through its
 * return code.
 *
 * Records are opaque handles. Their members are reached by path:
 *   "msgId", "text12b", "string1"                  members of the record
 *   "fileBlock.fbText16a", "fileBlock.fbCodes[7]"  the nested file block
 *   "dataList[3].itemText", "settingList[0].setId" list elements
 *   "recordList[0].fieldList[2].fieldText1"        nested lists
 * An index one past the end of a list in a set (or in pava_list_resize's
 * list path) appends a reset element first, so a record can be built from
 * empty lists by setting members in order.
 *
 * Every function that fails leaves the record as it was, except decoding,
 * which keeps what it decoded before a decoder failed (as Pava_To_Data does).
 * A handle may be used from any thread, one thread at a time; different
 * handles may be used concurrently. Nothing returned needs freeing with the
 * caller's own runtime: handles are freed with their pava_*_free function,
 * and returned texts are static.
 */
#ifndef ZMPAVAANALYZERC_H
#define ZMPAVAANALYZERC_H

#include <stddef.h>
#include <stdint.h>

#include "ZMPavaAnalyzerExport.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------ */
/* Return codes                                                              */
/* ------------------------------------------------------------------------ */

/* The codes of the C++ entry points. */
#define PAVA_RC_OK 0
#define PAVA_RC_NULL 0x10004       /* a required pointer is null */
#define PAVA_RC_NO_HANDLER 0x10008 /* no codec for the message id */
#define PAVA_RC_DECODE 0x10009     /* the decoder failed */
#define PAVA_RC_ENCODE 0x1000a     /* the encoder failed */
/* Codes of the C interface itself. */
#define PAVA_RC_UNKNOWN_MEMBER 0x10101 /* a path names no member, or is malformed */
#define PAVA_RC_WRONG_KIND 0x10102     /* the member is not of the kind the call reads or writes */
#define PAVA_RC_INDEX 0x10103          /* an index is out of range */
#define PAVA_RC_TOO_LONG 0x10104       /* bytes longer than the character array */
#define PAVA_RC_RANGE 0x10105          /* a number outside the member's type */
#define PAVA_RC_BUFFER 0x10106         /* the caller's buffer is too small; the size needed is returned */
#define PAVA_RC_SIZE 0x10107           /* a frame buffer shorter than a header or longer than a frame */
#define PAVA_RC_NO_MEMORY 0x10108      /* an allocation failed */
#define PAVA_RC_ARGUMENT 0x10109       /* another argument is invalid (an unknown table or mode) */

/* A frame: 16 header bytes, then up to 8192 body bytes. */
#define PAVA_FRAME_SIZE 8208
#define PAVA_HEADER_SIZE 16
#define PAVA_BODY_SIZE 8192

/* Describes a return code ("ok", "unknown member", ...); never null. */
PAVA_API const char* PAVA_CALL pava_rc_text(int rc);

/* The library's version, major.minor.patch; a null pointer skips its part.
 * Callers compiled against an older header keep working with a newer
 * library of the same major version. */
PAVA_API void PAVA_CALL pava_version(int* major, int* minor, int* patch);

/* ------------------------------------------------------------------------ */
/* Records                                                                   */
/* ------------------------------------------------------------------------ */

typedef struct pava_record pava_record;

/* A new record, every member at its reset value (zero, empty). */
PAVA_API int PAVA_CALL pava_record_new(pava_record** out);
/* Frees a record; null is ignored. */
PAVA_API void PAVA_CALL pava_record_free(pava_record* record);
/* Resets every member, as a decode does first. */
PAVA_API int PAVA_CALL pava_record_reset(pava_record* record);
/* Makes dest an exact copy of src. */
PAVA_API int PAVA_CALL pava_record_copy(pava_record* dest, const pava_record* src);

/* Integer members (32-bit signed, or 16-bit unsigned). Setting a number the
 * member cannot hold gives PAVA_RC_RANGE. */
PAVA_API int PAVA_CALL pava_get_int(const pava_record* record, const char* path, int64_t* value);
PAVA_API int PAVA_CALL pava_set_int(pava_record* record, const char* path, int64_t value);

/* Character arrays and strings as exact bytes (NULs and bytes >= 0x80 kept).
 * A character array reads as its bytes up to its last non-NUL byte and is
 * written NUL-filled behind the bytes; at most its size fits (else
 * PAVA_RC_TOO_LONG). pava_get_bytes always stores the length in *length; it
 * copies the bytes when capacity holds them, else returns PAVA_RC_BUFFER
 * (buffer may be null with capacity 0 to ask for the length). */
PAVA_API int PAVA_CALL pava_get_bytes(const pava_record* record, const char* path, char* buffer,
                                      size_t capacity, size_t* length);
PAVA_API int PAVA_CALL pava_set_bytes(pava_record* record, const char* path, const char* bytes,
                                      size_t length);

/* Lists ("dataList", "recordList[0].fieldList") and the fixed rows of
 * "fileBlock.fbCodes": the number of elements. Resizing a list appends reset
 * elements or drops elements from the end; the rows cannot be resized. */
PAVA_API int PAVA_CALL pava_list_size(const pava_record* record, const char* path, size_t* size);
PAVA_API int PAVA_CALL pava_list_resize(pava_record* record, const char* path, size_t size);

/* ------------------------------------------------------------------------ */
/* Encoding and decoding                                                     */
/* ------------------------------------------------------------------------ */

/* A set of frames owned by the library, reused by every encode into it. */
typedef struct pava_frames pava_frames;

PAVA_API int PAVA_CALL pava_frames_new(pava_frames** out);
PAVA_API void PAVA_CALL pava_frames_free(pava_frames* frames);
PAVA_API size_t PAVA_CALL pava_frames_count(const pava_frames* frames);
/* The index-th frame: its PAVA_FRAME_SIZE bytes (valid until the next encode
 * into the set or its free) and its wire size. Either output may be null. */
PAVA_API int PAVA_CALL pava_frames_at(const pava_frames* frames, size_t index, const char** frame,
                                      size_t* wire_size);

/* Encodes the record selected by its msgId into frames (emptied first), with
 * the codes of Data_To_Pava; frames appended before an encoder failed stay. */
PAVA_API int PAVA_CALL pava_encode(const pava_record* record, pava_frames* frames);

/* Encodes into the caller's buffer of capacity frames of PAVA_FRAME_SIZE
 * bytes each and stores the number of frames in *count. When they do not
 * fit, nothing is copied, *count is the number needed and the code is
 * PAVA_RC_BUFFER. */
PAVA_API int PAVA_CALL pava_encode_into(const pava_record* record, char* buffer, size_t capacity,
                                        size_t* count);

/* Decodes one frame into the record (reset first), with the codes of
 * Pava_To_Data. size PAVA_FRAME_SIZE: the whole block. A shorter size (at
 * least the header): the wire form, whose body bytes count up to the length
 * the header declares, the rest as zero. */
PAVA_API int PAVA_CALL pava_decode(const char* frame, size_t size, pava_record* record);

/* The wire size of a frame: the header and the body length it declares
 * (kept within 0..8192). frame holds at least the header. */
PAVA_API int PAVA_CALL pava_wire_size(const char* frame, size_t size, size_t* wire_size);

/* 1 when the first 16 of size bytes could be a header an encoder wrote (the
 * rule by which the tool's stream readers trust a header and resynchronise
 * on the next one), 0 otherwise or when size is shorter than a header. */
PAVA_API int PAVA_CALL pava_plausible_header(const char* frame, size_t size);

/* A header as the decoders read it. */
typedef struct pava_header_info {
    size_t size;      /* set by the caller to sizeof(pava_header_info); later versions only add members */
    int plausible;    /* pava_plausible_header's answer; for fewer than 16 bytes, 1 when they
                         could begin a plausible header (a stream cut inside one) */
    int rii;          /* the fields; one the bytes do not hold whole reads 0 */
    int id;
    int type;         /* the type digit's value (0-15 for '0'-'9', 'A'-'F', 'a'-'f') */
    int length;       /* the declared body length as read, not kept within the body */
    int flag;         /* the header flag's type digit */
    int continued;    /* 1 when the continuation byte is '1' */
    size_t wire_size; /* the header and the declared length kept within 0..8192; 0 for a part header */
} pava_header_info;

/* Reads the header at the start of size bytes into *info. */
PAVA_API int PAVA_CALL pava_header(const char* frame, size_t size, pava_header_info* info);

/* ------------------------------------------------------------------------ */
/* Dissection                                                                */
/* ------------------------------------------------------------------------ */

/* Every body byte of a frame as its decoder reads it: the decoder's reads in
 * offset order, each with the member path it fills ("text12b",
 * "dataList.count", "dataList[1].itemText.length",
 * "recordList[0].fieldList[2].fieldText1"), and the bytes no read covers
 * (padding, tails, bytes past a count) as unread spans. A read repeated at
 * the same place shows once. */
typedef struct pava_dissection pava_dissection;

/* How the decoder took a span's bytes. */
#define PAVA_SPAN_UNREAD 0  /* no read covers them */
#define PAVA_SPAN_DECIMAL 1 /* a number */
#define PAVA_SPAN_TEXT 2    /* a text up to its first NUL */
#define PAVA_SPAN_RAW 3     /* the bytes as they stand */
#define PAVA_SPAN_MARKER 4  /* bytes compared with a constant ("$$$") */

typedef struct pava_span {
    size_t size;      /* set by the caller to sizeof(pava_span); later versions only add members */
    int offset;       /* from the start of the body */
    int width;
    int kind;         /* PAVA_SPAN_* */
    const char* path; /* the member path; "" for unread bytes; owned by the dissection */
    int64_t number;   /* a DECIMAL span: the number the decoder took from its bytes, else 0 */
} pava_span;

/* Decodes the frame, read as pava_decode reads it, into record (which may be
 * null) and its reads into a new dissection in *out, freed with
 * pava_dissection_free. Returns the decode's code; the dissection is made
 * whenever the frame is read at all, a failed decode showing what it read
 * before it failed. */
PAVA_API int PAVA_CALL pava_dissect(const char* frame, size_t size, pava_record* record, pava_dissection** out);
PAVA_API void PAVA_CALL pava_dissection_free(pava_dissection* dissection);
PAVA_API size_t PAVA_CALL pava_dissection_count(const pava_dissection* dissection);
/* Span `index` into *span, as far as span->size reaches (PAVA_RC_ARGUMENT
 * for a size below the first version's). */
PAVA_API int PAVA_CALL pava_dissection_span(const pava_dissection* dissection, size_t index, pava_span* span);

/* ------------------------------------------------------------------------ */
/* Split messages                                                            */
/* ------------------------------------------------------------------------ */

/* Puts the frames of split messages back together: frames go in as they were
 * received, one record per message comes out holding every item (or record)
 * of all its frames in order. Frames belong to one message by id and RII;
 * missing, repeated or misplaced frames and a message cut off by the end of
 * the input are reported with the tag the caller gave the frame concerned
 * (a byte offset, a packet number). Frames of ids that never split come out
 * as messages of one frame. */
typedef struct pava_joiner pava_joiner;

/* What pava_joiner_pop handed out besides the record. */
typedef struct pava_join_info {
    size_t size;          /* set by the caller to sizeof(pava_join_info); later versions only add members */
    int rc;               /* the first failing decode result of its frames, else 0 */
    uint64_t tag;         /* the tag of its first frame */
    size_t frames;        /* frames joined */
    int complete;         /* 0: frames are missing (see the problems) */
    size_t problem_count; /* read with pava_joiner_problem until the next pop */
} pava_join_info;

PAVA_API int PAVA_CALL pava_joiner_new(pava_joiner** out);
PAVA_API void PAVA_CALL pava_joiner_free(pava_joiner* joiner);

/* Takes one received frame, whole (PAVA_FRAME_SIZE) or in wire form, as
 * pava_decode reads it. */
PAVA_API int PAVA_CALL pava_joiner_push(pava_joiner* joiner, const char* frame, size_t size, uint64_t tag);

/* The end of the input: unfinished messages become ready, incomplete. */
PAVA_API int PAVA_CALL pava_joiner_finish(pava_joiner* joiner);

/* The oldest ready message into record (replaced whole) and info. Returns
 * PAVA_RC_OK, or PAVA_RC_INDEX when no message is ready. */
PAVA_API int PAVA_CALL pava_joiner_pop(pava_joiner* joiner, pava_record* record, pava_join_info* info);

/* Problem `index` of the message last popped: the tag of the frame concerned
 * and a text owned by the joiner (valid until the next pop or free). */
PAVA_API int PAVA_CALL pava_joiner_problem(const pava_joiner* joiner, size_t index, uint64_t* tag,
                                           const char** text);

/* Frame `index` (below info.frames) of the message last popped: the tag its
 * frame was pushed with, in the order the message joins its frames. A frame
 * the joiner dropped (a repeat) belongs to no message. */
PAVA_API int PAVA_CALL pava_joiner_part(const pava_joiner* joiner, size_t index, uint64_t* tag);

/* ------------------------------------------------------------------------ */
/* Members                                                                   */
/* ------------------------------------------------------------------------ */

/* The object types a member may belong to. */
#define PAVA_TYPE_RECORD 0
#define PAVA_TYPE_FILE_BLOCK 1
#define PAVA_TYPE_DATA_ITEM 2    /* element of dataList, dataList2 */
#define PAVA_TYPE_SETTING_ITEM 3 /* element of settingList */
#define PAVA_TYPE_RECORD_ITEM 4  /* element of recordList */
#define PAVA_TYPE_FIELD_ITEM 5   /* element of fieldList, fieldList2 */

/* Member kinds. */
#define PAVA_KIND_INT32 1
#define PAVA_KIND_UINT16 2
#define PAVA_KIND_CHARS 3  /* a character array of `size` bytes */
#define PAVA_KIND_STRING 4 /* a string of any length */
#define PAVA_KIND_LIST 5   /* a list of objects of type `element` */
#define PAVA_KIND_OBJECT 6 /* a nested object of type `element` */
#define PAVA_KIND_ROWS 7   /* `count` character arrays of `size` bytes */

typedef struct pava_member_info {
    size_t size; /* set by the caller to sizeof(pava_member_info); later versions only add members */
    const char* name;
    int kind;    /* PAVA_KIND_* */
    int bytes;   /* bytes of a character array (of one row), else 0 */
    int count;   /* rows, else 0 */
    int element; /* PAVA_TYPE_* of list elements or the nested object, else -1 */
} pava_member_info;

/* The members of an object type in declaration order. */
PAVA_API int PAVA_CALL pava_member_count(int type, size_t* count);
PAVA_API int PAVA_CALL pava_member_at(int type, size_t index, pava_member_info* info);

/* Every member of a record that holds something, in one pass: numbers other
 * than zero, bytes other than none (a character array up to its last non-NUL
 * byte, as pava_get_bytes reads it), depth first in declaration order. A list
 * element or a nested object is entered and left around its members; a row
 * of a ROWS member is a value with its row as index. The member is named by
 * its object type and its index among pava_member_at's, so a caller maps it
 * to its own names once, without a path per value. fn returning non-zero
 * stops the walk, which then returns that value; bytes are valid during the
 * call only. */
#define PAVA_WALK_VALUE 1
#define PAVA_WALK_ENTER 2
#define PAVA_WALK_LEAVE 3

typedef struct pava_walk_step {
    size_t size;       /* sizeof(pava_walk_step) of the library; later versions only add members */
    int event;         /* PAVA_WALK_* */
    int type;          /* PAVA_TYPE_* of the object the member belongs to */
    size_t member;     /* the member's index in that type */
    int64_t index;     /* the list element entered or left, the row of a value; -1 where neither */
    int64_t number;    /* a value of an INT32 or UINT16 member */
    const char* bytes; /* a value of a CHARS, STRING or ROWS member */
    size_t length;
} pava_walk_step;

typedef int(PAVA_CALL* pava_walk_fn)(const pava_walk_step* step, void* user);
PAVA_API int PAVA_CALL pava_record_walk(const pava_record* record, pava_walk_fn fn, void* user);

/* ------------------------------------------------------------------------ */
/* Message ids and layouts                                                   */
/* ------------------------------------------------------------------------ */

/* Every registered id in ascending order: copies them when capacity holds
 * them, else PAVA_RC_BUFFER; *count is always their number. */
PAVA_API int PAVA_CALL pava_ids(int* ids, size_t capacity, size_t* count);

/* An id's description, as the codecs run it, handed out as a stream of
 * tokens in one vocabulary: objects and lists opened and closed around named
 * numbers, texts and truth values, in the order a JSON document reads
 * (`pava layout --json ID` prints the stream so). `pava layout`, the Python
 * package and the Wireshark dissector generator all read this stream; the
 * names it uses are listed in docs/layout.md. fn returning non-zero stops the
 * stream, which then returns that value; PAVA_RC_NO_HANDLER when the id is
 * not registered. Names and texts are static: they outlive the call. */
#define PAVA_DESC_OBJECT 1 /* an object opens */
#define PAVA_DESC_LIST 2   /* a list opens */
#define PAVA_DESC_END 3    /* the object or list opened last closes */
#define PAVA_DESC_NUMBER 4 /* number */
#define PAVA_DESC_TEXT 5   /* text; NULL where the description has none */
#define PAVA_DESC_BOOL 6   /* number, 0 or 1 */

typedef struct pava_desc_token {
    size_t size;      /* sizeof(pava_desc_token) of the library; later versions only add members */
    int token;        /* PAVA_DESC_* */
    const char* name; /* the key within an object; NULL for an element of a list */
    int64_t number;
    const char* text;
} pava_desc_token;

typedef int(PAVA_CALL* pava_desc_fn)(const pava_desc_token* token, void* user);
PAVA_API int PAVA_CALL pava_describe(int id, pava_desc_fn fn, void* user);

/* ------------------------------------------------------------------------ */
/* Log output                                                                */
/* ------------------------------------------------------------------------ */

#define PAVA_LOG_SINK_STDOUT 0   /* the default */
#define PAVA_LOG_SINK_OFF 1      /* no log output and no formatting work */
#define PAVA_LOG_SINK_CALLBACK 2 /* each line is handed to the callback */

typedef void(PAVA_CALL* pava_log_fn)(const char* text, void* user);

/* Routes the codecs' log lines, as Pava_SetLogOutput does. PAVA_RC_ARGUMENT
 * for an unknown mode, PAVA_RC_NULL for a callback mode without a callback
 * (the setting then stays). Meant to be called while no other call of the
 * library is running. */
PAVA_API int PAVA_CALL pava_set_log(int mode, pava_log_fn callback, void* user);

#ifdef __cplusplus
}
#endif

#endif /* ZMPAVAANALYZERC_H */
