#include <cstring>

#include "analyzer.h"

namespace pava {

void resetFullData(PavaFullData& rec) noexcept {
    rec.rii = rec.msgId = rec.msgType = rec.msgLen = rec.headFlag = rec.contFlag = 0;
    rec.intValue1 = rec.intValue2 = rec.intValue3 = rec.intValue4 = rec.intValue5 = 0;
    rec.intValue6 = rec.intValue7 = rec.intValue8 = rec.intValue9 = rec.intValue10 = 0;
    rec.intValue11 = rec.intValue12 = rec.intValue13 = 0;
    rec.intValue14 = rec.intValue15 = rec.intValue16 = 0;
    std::memset(rec.text12a, 0, sizeof rec.text12a);
    std::memset(rec.text12b, 0, sizeof rec.text12b);
    std::memset(rec.text20a, 0, sizeof rec.text20a);
    std::memset(rec.text20b, 0, sizeof rec.text20b);
    std::memset(rec.text15a, 0, sizeof rec.text15a);
    std::memset(rec.text15b, 0, sizeof rec.text15b);
    std::memset(rec.text12c, 0, sizeof rec.text12c);
    std::memset(rec.text12d, 0, sizeof rec.text12d);
    std::memset(rec.text64a, 0, sizeof rec.text64a);
    std::memset(rec.text64b, 0, sizeof rec.text64b);
    std::memset(rec.text32, 0, sizeof rec.text32);
    std::memset(rec.text26, 0, sizeof rec.text26);
    rec.fileBlock = PavaFileBlock{};
    // Strings and lists are emptied; their capacity stays for the next decode.
    rec.string1.clear();
    rec.string2.clear();
    rec.string3.clear();
    rec.string4.clear();
    rec.string5.clear();
    rec.string6.clear();
    rec.dataList.clear();
    rec.dataList2.clear();
    rec.settingList.clear();
    rec.recordList.clear();
}

}  // namespace pava
