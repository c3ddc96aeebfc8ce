// `pava serve` and `pava send`: a PAVA peer over TCP that reports what it
// sees as JSON Lines events, answers by script, injects faults, and loads a
// peer with many connections. Built on standalone Asio, one thread.
#ifndef ZMPAVA_TOOLS_PEER_PEER_H
#define ZMPAVA_TOOLS_PEER_PEER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "frame_reader.h"

namespace pava::tool::peer {

struct PeerOptions {
    std::string listen = "127.0.0.1:0";  // serve: where to listen
    std::string target;                  // send: HOST:PORT to connect to
    std::string input;                   // send: records or frames ("-" standard input; empty: none)
    bool inputFrames = false;            // send: the input holds frames, not JSON records
    FrameForm inputForm = FrameForm::Wire;
    std::string script;  // script file (empty: none)
    std::string expect;  // send: expect file (empty: none)
    bool join = false;   // report (and answer) split messages joined
    bool quiet = false;  // no frame events
    double wait = 1.0;   // send: seconds to keep reading after the last send
    size_t connections = 1;
    size_t repeat = 1;
    double rate = 0;      // send: messages per second on each connection (0: as fast as they go)
    bool summary = false; // send: print the load summary
    size_t maxConnections = 1024;
    size_t maxPending = 1 << 20;  // bytes of output waiting per connection
    double idleTimeout = 0;       // seconds without a byte received (0: none)
    std::string record;           // write every connection to this capture file (empty: none)
};

// One frame a connection plays from a recording (`pava replay`): its wire
// bytes (at most a whole frame), sent once the peer has sent afterFrames
// frames on the connection and, when at is not negative, at seconds after
// the connection opened.
struct FeedFrame {
    std::string wire;
    double at = -1;
    uint64_t afterFrames = 0;
};

// What a playing connection sends, taken a frame at a time, so that nothing
// needs to hold all of it.
class Feed {
public:
    virtual ~Feed() = default;
    // The next frame, or nullptr when there is no more.
    virtual const FeedFrame* peek() = 0;
    virtual void pop() = 0;
};

// Makes each connection's feed as it opens.
using FeedMaker = std::function<std::unique_ptr<Feed>()>;

// Exit codes as the other commands use them: 0, 1 (expectations not met),
// 2 (command line or script), 4 (cannot listen or connect). With a feed
// maker, every connection plays the feed made for it (send then sends no
// FILE; a connection given no feed sends nothing); a connection whose feed
// waits for the peer's frames longer than `wait` seconds is closed as
// stalled. Any connection whose peer takes none of the output being written
// for `wait` seconds (runServe without a feed: 5 s) is closed as stalled too.
int runServe(const PeerOptions& o, const FeedMaker& feed = {});
int runSend(const PeerOptions& o, const FeedMaker& feed = {});

}  // namespace pava::tool::peer

#endif
