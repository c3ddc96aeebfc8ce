// The dissection of known frames.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "dissect.h"
#include "frames.h"

namespace pava::tool {
namespace {

PavaMsg frameOf(const std::string& head, const std::string& body) {
    PavaMsg frame{};
    std::memcpy(frame.head, head.data(), PAVA_HEAD_LEN);
    std::memcpy(frame.body, body.data(), body.size());
    return frame;
}

// A 20015 frame with odd bytes in its address, a number field that is not
// all digits and four bytes behind the fixed fields.
TEST(Dissect, KnownFrame) {
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
    const PavaMsg frame = frameOf("6  20015a25   Z1", std::string("AB\"\\\x01\xe9\xff\0\0\0\0\0", 12) + "1x-7912 4TAIL");
    EXPECT_EQ(dissectFrame(frame, 3), R"(frame 3 at offset 0: 16 header + 25 body bytes
  header        "6  20015a25   Z1"
  rii           6
  id            20015
  type          'a' = 10
  length        25
  flag          'Z' = 90
  continuation  '1' (more follows)
  20015 (short fixed fields): every body byte as the decoder reads it
  offset  width  path                      kind      bytes -> value
       0     12  text12b                   raw       "AB\"\\\x01\xe9\xff" + 5 NUL -> "AB\"\\\x01\xe9\xff"
      12      2  intValue3                 decimal   "1x" -> 1
      14      2  intValue2                 decimal   "-7" -> -7
      16      1  intValue6                 decimal   "9" -> 9
      17      4  intValue9                 decimal   "12 4" -> 12
      21      4  (unread)                            "TAIL"
  decoded       rc 0x0: {"rii":6,"msgId":20015,"msgType":10,"msgLen":25,"headFlag":90,"contFlag":1,"intValue2":-7,"intValue3":1,"intValue6":9,"intValue9":12,"text12b":"AB\"\\\u0001\u00e9\u00ff"}
)");
    Pava_SetLogOutput(PAVA_LOG_STDOUT, nullptr, nullptr);
}

// A 20002 frame with two items and its 12-byte code behind them; the same
// bytes with a count far beyond the frame show every item the decoder reads.
TEST(Dissect, ListItemsFieldByField) {
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
    const std::string items =
        std::string("ALPHA\0\0\0\0\0\0\0" "312", 15) + "BRAVOCHARLIE9x1" + std::string("CODE\0\0\0\0\0\0\0\0", 12);
    const PavaMsg frame = frameOf("1  20002046   00", "2   " + items);
    EXPECT_EQ(dissectFrame(frame, 1), R"(frame 1 at offset 0: 16 header + 46 body bytes
  header        "1  20002046   00"
  rii           1
  id            20002
  type          '0' = 0
  length        46
  flag          '0' = 0
  continuation  '0' (last)
  20002 (one-frame data lists): every body byte as the decoder reads it
  offset  width  path                      kind      bytes -> value
       0      4  dataList.count            decimal   "2   " -> 2
       4     12  dataList[0].itemText      text      "ALPHA" + 7 NUL -> "ALPHA"
      16      1  dataList[0].itemId        decimal   "3" -> 3
      17      2  dataList[0].itemInt2      decimal   "12" -> 12
      19     12  dataList[1].itemText      text      "BRAVOCHARLIE" -> "BRAVOCHARLIE"
      31      1  dataList[1].itemId        decimal   "9" -> 9
      32      2  dataList[1].itemInt2      decimal   "x1" -> 0
      34     12  text12c                   raw       "CODE" + 8 NUL -> "CODE"
  decoded       rc 0x0: {"rii":1,"msgId":20002,"msgLen":46,"text12c":"CODE","dataList":[{"itemId":3,"itemText":"ALPHA","itemInt2":12},{"itemId":9,"itemText":"BRAVOCHARLIE"}]}
)");

    const std::string hostile = dissectFrame(frameOf("1  20002046   00", "9999" + items), 1);
    // The decoder reads items on past the declared length, as many as the body holds.
    EXPECT_NE(hostile.find("      34     12  dataList[2].itemText      text      \"CODE\" + 8 NUL"), std::string::npos);
    EXPECT_NE(hostile.find("    8164     12  dataList[544].itemText "), std::string::npos);
    EXPECT_NE(hostile.find("  decoded       rc 0x10009:"), std::string::npos);
    Pava_SetLogOutput(PAVA_LOG_STDOUT, nullptr, nullptr);
}

}  // namespace
}  // namespace pava::tool
