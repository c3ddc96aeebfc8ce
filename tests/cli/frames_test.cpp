// Frames in files and the dissection of one known frame.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
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

TEST(Frames, WireFormCarriesTheDeclaredBodyOnly) {
    const PavaMsgList frames = {frameOf("1  20001012   00", "ABCDEFGHIJKL-not sent"),
                                frameOf("2  20002000   00", "")};
    std::stringstream wire;
    writeFrames(wire, frames);
    EXPECT_EQ(wire.str(), std::string("1  20001012   00ABCDEFGHIJKL2  20002000   00"));

    const PavaMsgList back = readFrames(wire, false);
    ASSERT_EQ(back.size(), 2u);
    EXPECT_EQ(std::string(back[0].body, 13), std::string("ABCDEFGHIJKL\0", 13));
    EXPECT_EQ(std::memcmp(back[1].head, frames[1].head, PAVA_HEAD_LEN), 0);
}

TEST(Frames, RefusesTruncatedOrOversizedFrames) {
    const struct {
        std::string bytes;
        bool raw;
        const char* message;
    } cases[] = {
        {"1  20001012   00ABC", false, "frame 1: body shorter than its declared 12 bytes"},
        {"1  200010", false, "frame 1: header shorter than 16 bytes"},
        {"1  2000108193 00", false, "frame 1: declared body length 8193 is outside 0..8192"},
        {"1  200010-1   00", false, "frame 1: declared body length -1 is outside 0..8192"},
        {std::string(8208 + 5, '0'), true, "frame 2: shorter than 8208 bytes"},
    };
    for (const auto& c : cases) {
        std::istringstream in(c.bytes);
        try {
            readFrames(in, c.raw);
            ADD_FAILURE() << "accepted " << c.bytes;
        } catch (const FrameError& e) {
            EXPECT_STREQ(e.what(), c.message);
        }
    }
}

// A 20015 frame with odd bytes in its address, a number field that is not
// all digits and four bytes behind the fixed fields.
TEST(Dissect, KnownFrame) {
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
    const PavaMsg frame = frameOf("6  20015a25   Z1", std::string("AB\"\\\x01\xe9\xff\0\0\0\0\0", 12) + "1x-7912 4TAIL");
    EXPECT_EQ(dissectFrame(frame, 3), R"(frame 3: 16 header + 25 body bytes
  header        "6  20015a25   Z1"
  rii           6
  id            20015
  type          'a' = 10
  length        25
  flag          'Z' = 90
  continuation  '1' (more follows)
  20015 (short fixed fields): fixed fields as the decoder reads them
  offset  width  member      kind      bytes -> value
       0     12  text12b     raw       "AB\"\\\x01\xe9\xff" + 5 NUL -> "AB\"\\\x01\xe9\xff"
      12      2  intValue3   decimal   "1x" -> 1
      14      2  intValue2   decimal   "-7" -> -7
      16      1  intValue6   decimal   "9" -> 9
      17      4  intValue9   decimal   "12 4" -> 12
  list/tail     bytes 21..24
     21  "TAIL"
  decoded       rc 0x0: {"rii":6,"msgId":20015,"msgType":10,"msgLen":25,"headFlag":90,"contFlag":1,"intValue2":-7,"intValue3":1,"intValue6":9,"intValue9":12,"text12b":"AB\"\\\u0001\u00e9\u00ff"}
)");
    Pava_SetLogOutput(PAVA_LOG_STDOUT, nullptr, nullptr);
}

}  // namespace
}  // namespace pava::tool
