// The stream commands of `pava`: encode, decode and dissect, reading a file
// or standard input and writing a file or standard output. Data goes to the
// output; reports, log lines and damage go to standard error.
#ifndef ZMPAVA_TOOLS_COMMANDS_H
#define ZMPAVA_TOOLS_COMMANDS_H

#include <cstdint>
#include <string>
#include <vector>

#include "frame_stream.h"

namespace pava::tool {

// Exit codes of `pava`, the worst that happened wins (larger is worse).
enum Exit : int {
    kExitOk = 0,
    kExitCodec = 1,    // a codec call failed, or (with --strict) an encode lost data
    kExitUsage = 2,    // the command line is wrong
    kExitDamaged = 3,  // input was skipped: not a frame, a fragment, a bad record, an unfinished message
    kExitIo = 4,       // a file could not be opened, read or written
};

// Where the codecs' log lines go.
enum class LogTo { Off, Stderr, Json };

struct StreamOptions {
    std::string input = "-";   // "-" is standard input
    std::string output = "-";  // "-" is standard output
    FrameForm form = FrameForm::Wire;
    LogTo log = LogTo::Off;
    bool strict = false;  // stop at the first damage (encode: at the first loss)
    bool join = false;    // decode: one record per message, split frames joined
    bool json = false;    // dissect: one JSON object per frame
    bool pcap = false;    // the input is a capture (else told by its magic number)
    std::vector<uint16_t> ports;  // captures: the connections to read (none: those that look like PAVA)
};

// True when the input is read as a packet capture: --pcap, or a file that
// starts with a pcap or pcapng magic number.
bool captureInput(const StreamOptions& o);
// False when this build reads no captures (no libpcap where it was built).
bool capturesSupported();

int runDecode(const StreamOptions& o);
int runDissect(const StreamOptions& o);
// Records (JSON Lines, concatenated objects, or one array) to frames in the
// chosen form (wire, raw blocks or hex lines).
int runEncode(const StreamOptions& o);

}  // namespace pava::tool

#endif
