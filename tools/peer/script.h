// What a scripted peer does: rules that answer received messages, records
// sent on connect and periodically, and faults put on what is sent. Scripts
// are JSON (see docs/peer.md); loadScript checks all of it before anything
// runs and refuses it whole, with the path of what is wrong.
#ifndef ZMPAVA_TOOLS_PEER_SCRIPT_H
#define ZMPAVA_TOOLS_PEER_SCRIPT_H

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "ZMPavaAnalyzer.h"
#include "json_record.h"
#include "members.h"

namespace pava::tool::peer {

// A script or expect file that cannot be used; what() names the file, the
// place in it and the reason.
struct ScriptError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A condition on one member of a received record: its value is one of the
// allowed ones.
struct Condition {
    Member member = Member::None;
    std::vector<int64_t> numbers;     // a number member
    std::vector<std::string> texts;   // a text member (trailing NULs are padding)
};

// Which messages a rule or an expectation takes: by id (any when empty) and
// member values.
struct Match {
    std::vector<int> ids;
    std::vector<Condition> conditions;
    std::string text;  // as written, for reports

    bool matches(const PavaFullData& rec) const noexcept;
};

// Faults put on the frames sent; see docs/peer.md.
struct Faults {
    std::vector<size_t> segments;  // write sizes, cycled; empty: a frame in one write
    bool headerApart = false;      // the header and the body written apart
    int gapMs = 0;                 // pause between the writes of a frame
    std::optional<int> length;     // declared body length written in the header
    int damageAt = -1;             // header position whose byte is replaced
    int drop = 0;                  // frame number (from 1) of a split message left out
    int repeat = 0;                // ... sent twice
    int swap = 0;                  // ... sent after the frame behind it
    int stallMs = 0;               // writing stops halfway through a frame for so long
    bool closeMidFrame = false;    // the connection closed halfway through the first frame

    bool any() const noexcept;
};

// A record to send; members named "$member" are copied from the received one.
struct Reply {
    // Built in place: every copy rewrites the whole of its member, so the
    // members no copy names keep the script's values from one reply to the
    // next and the record is never copied.
    mutable PavaFullData record;
    struct Copy {
        Member to;
        Member from;
    };
    std::vector<Copy> copies;

    // The record to send in answer to `request` (null: none, copies give
    // zeros), valid until the next build.
    PavaFullData& build(const PavaFullData* request) const;
};

struct Action {
    std::vector<Reply> send;
    int delayMs = 0;
    std::optional<Faults> faults;  // else the script's own
    bool close = false;            // the connection closed once this is written
};

struct Rule {
    Match match;
    Action action;
};

struct Periodic {
    int everyMs = 0;
    Action action;
};

struct Script {
    std::optional<Action> onConnect;
    std::vector<Periodic> periodic;
    std::vector<Rule> rules;
    Faults faults;  // on everything the connection sends

    // The first rule that takes rec, or null.
    const Rule* ruleFor(const PavaFullData& rec) const noexcept;
};

// Reads and checks a script file. Throws ScriptError.
Script loadScript(const std::string& path);

// What `pava send --expect FILE` waits for: matchers, in order or in any order.
struct Expectation {
    std::vector<Match> matches;
    bool anyOrder = false;
};
Expectation loadExpectation(const std::string& path);

// Checks one match object (as in a rule) at `where`; used by both loaders.
Match parseMatch(const Json& j, const std::string& where);

}  // namespace pava::tool::peer

#endif
