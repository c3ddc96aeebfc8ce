// ZMPavaAnalyzer: codec between PavaFullData records and PAVA protocol frames.
//
// This header is the library's whole public interface. A frame (PavaMsg) is a
// 16-character ASCII header followed by a body of at most MAX_PAVA_MSG_LEN bytes.
// Data_To_Pava encodes one record into one or more frames; Pava_To_Data decodes
// one frame back into a record. The record layout below is shared with callers
// as a memory layout: member order, types and widths must not change.
#ifndef ZMPAVAANALYZER_H
#define ZMPAVAANALYZER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ZMPavaAnalyzerExport.h"

// ---------------------------------------------------------------------------
// Frames
// ---------------------------------------------------------------------------

constexpr int MAX_PAVA_MSG_LEN = 8192;   // body capacity of one frame
constexpr int PAVA_HEAD_LEN = 16;        // header characters before the body

// One frame: a plain 8208-byte block, copied by value.
struct PavaMsg {
    char head[PAVA_HEAD_LEN];
    char body[MAX_PAVA_MSG_LEN];
};

// Frames in transmission order. Data_To_Pava empties the list, then appends.
using PavaMsgList = std::vector<PavaMsg>;

// ---------------------------------------------------------------------------
// Record
// ---------------------------------------------------------------------------

// Element of dataList and dataList2.
struct PavaDataItem {
    int32_t itemId = 0;
    int32_t itemInt = 0;
    std::string itemText;
    char itemBlock[16] = {};
    std::string itemText2;
    int32_t itemInt2 = 0;
    int32_t itemInt3 = 0;
};

// Element of settingList.
struct PavaSettingItem {
    int32_t setId = 0;
    int32_t setInt = 0;
    char setText30[30] = {};
    std::string setText;
    std::string setText2;
};

// Element of PavaRecordItem::fieldList and fieldList2.
struct PavaFieldItem {
    int32_t fieldType = 0;
    int32_t fieldLen = 0;
    std::string fieldText1;
    std::string fieldText2;
};

// Element of recordList.
struct PavaRecordItem {
    std::vector<PavaFieldItem> fieldList;
    std::vector<PavaFieldItem> fieldList2;
    std::string recText1;
    std::string recText2;
    std::string recText3;
    int32_t recInt = 0;
};

// The record's nested file block (character arrays back to back).
struct PavaFileBlock {
    char fbText16a[17] = {};
    char fbText16b[17] = {};
    char fbText16c[18] = {};
    char fbText32a[40] = {};
    uint16_t fbInt1 = {};
    char fbText32b[40] = {};
    uint16_t fbInt2 = {};
    uint16_t fbCount = {};           // used rows of fbCodes (at most 200)
    char fbCodes[200][13] = {};
};

// One record type for every message id; each message uses a subset.
// Value-initialise it (PavaFullData rec{};) to start from all zero.
struct PavaFullData {
    uint16_t rii = {};
    uint16_t msgId = {};
    uint16_t msgType = {};
    uint16_t msgLen = {};
    uint16_t headFlag = {};
    uint16_t contFlag = {};
    int32_t intValue1 = {};
    int32_t intValue2 = {};
    int32_t intValue3 = {};
    int32_t intValue4 = {};
    int32_t intValue5 = {};
    int32_t intValue6 = {};
    int32_t intValue7 = {};
    int32_t intValue8 = {};
    int32_t intValue9 = {};
    int32_t intValue10 = {};
    char text12a[13] = {};
    char text12b[13] = {};           // the message's main 12-character address
    char text20a[21] = {};
    char text20b[21] = {};
    char text15a[16] = {};
    char text15b[16] = {};
    char text12c[13] = {};
    char text12d[13] = {};
    char text64a[65] = {};
    char text64b[65] = {};
    char text32[33] = {};
    std::string string1;
    std::string string2;
    std::string string3;
    std::string string4;
    std::vector<PavaDataItem> dataList;
    std::vector<PavaDataItem> dataList2;
    std::vector<PavaSettingItem> settingList;
    PavaFileBlock fileBlock;
    int32_t intValue11 = {};
    int32_t intValue12 = {};
    int32_t intValue13 = {};
    char text26[27] = {};
    std::string string5;
    std::string string6;
    int32_t intValue14 = {};
    int32_t intValue15 = {};
    int32_t intValue16 = {};
    std::vector<PavaRecordItem> recordList;
};

// The layout is an interface: the same offsets on 32-bit and 64-bit builds.
static_assert(sizeof(PavaMsg) == 8208, "PavaMsg is an 8208-byte block");
#if defined(__GNUC__)
#  pragma GCC diagnostic push
#  pragma GCC diagnostic ignored "-Winvalid-offsetof"
#endif
static_assert(offsetof(PavaFullData, rii) == 0, "record layout");
static_assert(offsetof(PavaFullData, msgId) == 2, "record layout");
static_assert(offsetof(PavaFullData, msgType) == 4, "record layout");
static_assert(offsetof(PavaFullData, msgLen) == 6, "record layout");
static_assert(offsetof(PavaFullData, headFlag) == 8, "record layout");
static_assert(offsetof(PavaFullData, contFlag) == 10, "record layout");
static_assert(offsetof(PavaFullData, intValue1) == 12, "record layout");
static_assert(offsetof(PavaFullData, intValue2) == 16, "record layout");
static_assert(offsetof(PavaFullData, intValue3) == 20, "record layout");
static_assert(offsetof(PavaFullData, intValue4) == 24, "record layout");
static_assert(offsetof(PavaFullData, intValue5) == 28, "record layout");
static_assert(offsetof(PavaFullData, intValue6) == 32, "record layout");
static_assert(offsetof(PavaFullData, intValue7) == 36, "record layout");
static_assert(offsetof(PavaFullData, intValue8) == 40, "record layout");
static_assert(offsetof(PavaFullData, intValue9) == 44, "record layout");
static_assert(offsetof(PavaFullData, intValue10) == 48, "record layout");
static_assert(offsetof(PavaFullData, text12a) == 52, "record layout");
static_assert(offsetof(PavaFullData, text12b) == 65, "record layout");
static_assert(offsetof(PavaFullData, text20a) == 78, "record layout");
static_assert(offsetof(PavaFullData, text20b) == 99, "record layout");
static_assert(offsetof(PavaFullData, text15a) == 120, "record layout");
static_assert(offsetof(PavaFullData, text15b) == 136, "record layout");
static_assert(offsetof(PavaFullData, text12c) == 152, "record layout");
static_assert(offsetof(PavaFullData, text12d) == 165, "record layout");
static_assert(offsetof(PavaFullData, text64a) == 178, "record layout");
static_assert(offsetof(PavaFullData, text64b) == 243, "record layout");
static_assert(offsetof(PavaFullData, text32) == 308, "record layout");
static_assert(offsetof(PavaFullData, string1) == 344, "record layout");
static_assert(sizeof(PavaFileBlock) == 2738, "fileBlock layout");
static_assert(offsetof(PavaFileBlock, fbText16b) == 17, "fileBlock layout");
static_assert(offsetof(PavaFileBlock, fbText16c) == 34, "fileBlock layout");
static_assert(offsetof(PavaFileBlock, fbText32a) == 52, "fileBlock layout");
static_assert(offsetof(PavaFileBlock, fbInt1) == 92, "fileBlock layout");
static_assert(offsetof(PavaFileBlock, fbText32b) == 94, "fileBlock layout");
static_assert(offsetof(PavaFileBlock, fbInt2) == 134, "fileBlock layout");
static_assert(offsetof(PavaFileBlock, fbCount) == 136, "fileBlock layout");
static_assert(offsetof(PavaFileBlock, fbCodes) == 138, "fileBlock layout");
#if defined(__GNUC__)
#  pragma GCC diagnostic pop
#endif

// ---------------------------------------------------------------------------
// Entry points
// ---------------------------------------------------------------------------

// Return codes.
constexpr int PAVA_OK = 0;
constexpr int PAVA_ERR_NULL = 0x10004;        // null record, or null frame on decode
constexpr int PAVA_ERR_NO_HANDLER = 0x10008;  // no codec for the message id
constexpr int PAVA_ERR_DECODE = 0x10009;      // the decoder failed
constexpr int PAVA_ERR_ENCODE = 0x1000a;      // the encoder failed

// Log output. By default every log line goes to standard output through C stdio.
enum PavaLogMode {
    PAVA_LOG_STDOUT = 0,    // default
    PAVA_LOG_OFF = 1,       // no log output, and no formatting work
    PAVA_LOG_CALLBACK = 2,  // each line is handed to the callback
};
typedef void(PAVA_CALL* PavaLogCallback)(const char* text, void* user);

extern "C" {

// Encodes the record selected by record->msgId into msgList (emptied first).
PAVA_API int PAVA_CALL Data_To_Pava(PavaFullData* record, PavaMsgList* msgList);

// Resets the record and decodes one frame into it.
PAVA_API int PAVA_CALL Pava_To_Data(const PavaMsg* frame, PavaFullData* record);

// Routes log lines. Returns 0, or PAVA_ERR_NULL for an unknown mode or a
// PAVA_LOG_CALLBACK without a callback (the setting is then left as it was).
// Meant to be called while no other call of the library is running.
PAVA_API int PAVA_CALL Pava_SetLogOutput(int mode, PavaLogCallback callback, void* user);

}  // extern "C"

#endif  // ZMPAVAANALYZER_H
