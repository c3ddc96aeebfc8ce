#include <cstring>
#include <type_traits>

#include "analyzer.h"
#include "zero_fill.h"

namespace pava {

void resetAllButLists(PavaFullData& rec) noexcept {
    rec.rii = rec.msgId = rec.msgType = rec.msgLen = rec.headFlag = rec.contFlag = 0;
    rec.intValue1 = rec.intValue2 = rec.intValue3 = rec.intValue4 = rec.intValue5 = 0;
    rec.intValue6 = rec.intValue7 = rec.intValue8 = rec.intValue9 = rec.intValue10 = 0;
    rec.intValue11 = rec.intValue12 = rec.intValue13 = 0;
    rec.intValue14 = rec.intValue15 = rec.intValue16 = 0;
    const auto zero = [](auto& array) { std::memset(array, 0, sizeof array); };
    zero(rec.text12a), zero(rec.text12b), zero(rec.text20a), zero(rec.text20b);
    zero(rec.text15a), zero(rec.text15b), zero(rec.text12c), zero(rec.text12d);
    zero(rec.text64a), zero(rec.text64b), zero(rec.text32), zero(rec.text26);
    // A plain block of characters and numbers, cleared in one go.
    static_assert(std::is_trivially_copyable_v<PavaFileBlock>);
    zeroFillReused(&rec.fileBlock, sizeof rec.fileBlock);
    // Strings are emptied; their capacity stays for the next decode.
    rec.string1.clear();
    rec.string2.clear();
    rec.string3.clear();
    rec.string4.clear();
    rec.string5.clear();
    rec.string6.clear();
}

void resetFullData(PavaFullData& rec) noexcept {
    resetAllButLists(rec);
    rec.dataList.clear();
    rec.dataList2.clear();
    rec.settingList.clear();
    rec.recordList.clear();
}

}  // namespace pava
