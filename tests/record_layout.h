// The public record types as MinGW-w64 g++ lays them out for Windows: the
// offset of every member and the size of every type, for 32-bit (i686) and
// 64-bit (x86_64) code. A caller of the DLL's C++ interface compiles against
// this layout, so every build that includes this file checks its own layout
// against it at compile time: Linux x86_64 and i386 (-m32) and both MinGW-w64
// targets must agree member for member.
#ifndef ZMPAVA_RECORD_LAYOUT_H
#define ZMPAVA_RECORD_LAYOUT_H

#include <cstddef>
#include <cstdint>

#include "ZMPavaAnalyzer.h"

#if UINTPTR_MAX == 0xFFFFFFFFu
#  define ZMPAVA_PICK(bits32, bits64) bits32
#elif UINTPTR_MAX == 0xFFFFFFFFFFFFFFFFu
#  define ZMPAVA_PICK(bits32, bits64) bits64
#endif
#define ZMPAVA_SIZE(type, bits32, bits64) \
    static_assert(sizeof(type) == ZMPAVA_PICK(bits32, bits64), "size of " #type);
#define ZMPAVA_AT(type, member, bits32, bits64) \
    static_assert(offsetof(type, member) == ZMPAVA_PICK(bits32, bits64), "offset of " #type "::" #member);

#if defined(__GNUC__)
#  pragma GCC diagnostic push
#  pragma GCC diagnostic ignored "-Winvalid-offsetof"
#endif
// clang-format off
ZMPAVA_SIZE(PavaMsg, 8208, 8208)
ZMPAVA_AT(PavaMsg, head, 0, 0)
ZMPAVA_AT(PavaMsg, body, 16, 16)
ZMPAVA_SIZE(PavaDataItem, 80, 96)
ZMPAVA_AT(PavaDataItem, itemId, 0, 0)
ZMPAVA_AT(PavaDataItem, itemInt, 4, 4)
ZMPAVA_AT(PavaDataItem, itemText, 8, 8)
ZMPAVA_AT(PavaDataItem, itemBlock, 32, 40)
ZMPAVA_AT(PavaDataItem, itemText2, 48, 56)
ZMPAVA_AT(PavaDataItem, itemInt2, 72, 88)
ZMPAVA_AT(PavaDataItem, itemInt3, 76, 92)
ZMPAVA_SIZE(PavaSettingItem, 88, 104)
ZMPAVA_AT(PavaSettingItem, setId, 0, 0)
ZMPAVA_AT(PavaSettingItem, setInt, 4, 4)
ZMPAVA_AT(PavaSettingItem, setText30, 8, 8)
ZMPAVA_AT(PavaSettingItem, setText, 40, 40)
ZMPAVA_AT(PavaSettingItem, setText2, 64, 72)
ZMPAVA_SIZE(PavaFieldItem, 56, 72)
ZMPAVA_AT(PavaFieldItem, fieldType, 0, 0)
ZMPAVA_AT(PavaFieldItem, fieldLen, 4, 4)
ZMPAVA_AT(PavaFieldItem, fieldText1, 8, 8)
ZMPAVA_AT(PavaFieldItem, fieldText2, 32, 40)
ZMPAVA_SIZE(PavaRecordItem, 100, 152)
ZMPAVA_AT(PavaRecordItem, fieldList, 0, 0)
ZMPAVA_AT(PavaRecordItem, fieldList2, 12, 24)
ZMPAVA_AT(PavaRecordItem, recText1, 24, 48)
ZMPAVA_AT(PavaRecordItem, recText2, 48, 80)
ZMPAVA_AT(PavaRecordItem, recText3, 72, 112)
ZMPAVA_AT(PavaRecordItem, recInt, 96, 144)
ZMPAVA_SIZE(PavaFileBlock, 2738, 2738)
ZMPAVA_AT(PavaFileBlock, fbText16a, 0, 0)
ZMPAVA_AT(PavaFileBlock, fbText16b, 17, 17)
ZMPAVA_AT(PavaFileBlock, fbText16c, 34, 34)
ZMPAVA_AT(PavaFileBlock, fbText32a, 52, 52)
ZMPAVA_AT(PavaFileBlock, fbInt1, 92, 92)
ZMPAVA_AT(PavaFileBlock, fbText32b, 94, 94)
ZMPAVA_AT(PavaFileBlock, fbInt2, 134, 134)
ZMPAVA_AT(PavaFileBlock, fbCount, 136, 136)
ZMPAVA_AT(PavaFileBlock, fbCodes, 138, 138)
ZMPAVA_SIZE(PavaFullData, 3328, 3432)
ZMPAVA_AT(PavaFullData, rii, 0, 0)
ZMPAVA_AT(PavaFullData, msgId, 2, 2)
ZMPAVA_AT(PavaFullData, msgType, 4, 4)
ZMPAVA_AT(PavaFullData, msgLen, 6, 6)
ZMPAVA_AT(PavaFullData, headFlag, 8, 8)
ZMPAVA_AT(PavaFullData, contFlag, 10, 10)
ZMPAVA_AT(PavaFullData, intValue1, 12, 12)
ZMPAVA_AT(PavaFullData, intValue2, 16, 16)
ZMPAVA_AT(PavaFullData, intValue3, 20, 20)
ZMPAVA_AT(PavaFullData, intValue4, 24, 24)
ZMPAVA_AT(PavaFullData, intValue5, 28, 28)
ZMPAVA_AT(PavaFullData, intValue6, 32, 32)
ZMPAVA_AT(PavaFullData, intValue7, 36, 36)
ZMPAVA_AT(PavaFullData, intValue8, 40, 40)
ZMPAVA_AT(PavaFullData, intValue9, 44, 44)
ZMPAVA_AT(PavaFullData, intValue10, 48, 48)
ZMPAVA_AT(PavaFullData, text12a, 52, 52)
ZMPAVA_AT(PavaFullData, text12b, 65, 65)
ZMPAVA_AT(PavaFullData, text20a, 78, 78)
ZMPAVA_AT(PavaFullData, text20b, 99, 99)
ZMPAVA_AT(PavaFullData, text15a, 120, 120)
ZMPAVA_AT(PavaFullData, text15b, 136, 136)
ZMPAVA_AT(PavaFullData, text12c, 152, 152)
ZMPAVA_AT(PavaFullData, text12d, 165, 165)
ZMPAVA_AT(PavaFullData, text64a, 178, 178)
ZMPAVA_AT(PavaFullData, text64b, 243, 243)
ZMPAVA_AT(PavaFullData, text32, 308, 308)
ZMPAVA_AT(PavaFullData, string1, 344, 344)
ZMPAVA_AT(PavaFullData, string2, 368, 376)
ZMPAVA_AT(PavaFullData, string3, 392, 408)
ZMPAVA_AT(PavaFullData, string4, 416, 440)
ZMPAVA_AT(PavaFullData, dataList, 440, 472)
ZMPAVA_AT(PavaFullData, dataList2, 452, 496)
ZMPAVA_AT(PavaFullData, settingList, 464, 520)
ZMPAVA_AT(PavaFullData, fileBlock, 476, 544)
ZMPAVA_AT(PavaFullData, intValue11, 3216, 3284)
ZMPAVA_AT(PavaFullData, intValue12, 3220, 3288)
ZMPAVA_AT(PavaFullData, intValue13, 3224, 3292)
ZMPAVA_AT(PavaFullData, text26, 3228, 3296)
ZMPAVA_AT(PavaFullData, string5, 3256, 3328)
ZMPAVA_AT(PavaFullData, string6, 3280, 3360)
ZMPAVA_AT(PavaFullData, intValue14, 3304, 3392)
ZMPAVA_AT(PavaFullData, intValue15, 3308, 3396)
ZMPAVA_AT(PavaFullData, intValue16, 3312, 3400)
ZMPAVA_AT(PavaFullData, recordList, 3316, 3408)
// clang-format on
#if defined(__GNUC__)
#  pragma GCC diagnostic pop
#endif

#undef ZMPAVA_AT
#undef ZMPAVA_SIZE
#undef ZMPAVA_PICK

#endif  // ZMPAVA_RECORD_LAYOUT_H
