// `pava replay`: plays a recorded conversation again. With --to it connects
// to a live peer and sends one side's frames of one recorded connection at
// their recorded times (scaled by --speed, or as fast as they go); with
// --serve it listens and plays the server side to each client that
// connects, every frame once the client frames it followed in the recording
// have arrived. What the peer sends back is reported as `pava send` and
// `pava serve` report it; the connection handling is theirs (tools/peer).
#ifndef ZMPAVA_TOOLS_REPLAY_REPLAY_H
#define ZMPAVA_TOOLS_REPLAY_REPLAY_H

#include <cstdint>
#include <string>
#include <vector>

#include "peer.h"

namespace pava::tool::replay {

struct ReplayOptions {
    std::string capture;           // pcap or pcapng file
    bool serve = false;            // play the server side to clients (else connect to peer.target)
    bool playServer = false;       // --to: play the server's frames (else the client's)
    uint64_t connection = 1;       // as `pava decode` numbers them, with the same ports
    std::vector<uint16_t> ports;   // which connections are PAVA (none: those that look like it)
    double speed = 1;              // recorded time divided by this
    bool asFastAsPossible = false; // --to: no timing at all
    bool timed = false;            // --serve: each frame also not before its recorded time
    peer::PeerOptions peer;        // target or listen, wait, expect, join, quiet, record, maxPending
};

// Exit codes as `pava send` and `pava serve` have them (0, 1 expectations not
// met, 2 command line, 4 cannot connect, listen or open the capture), and 3
// when the capture was damaged (every frame before the damage was played).
int runReplay(const ReplayOptions& o);

}  // namespace pava::tool::replay

#endif
