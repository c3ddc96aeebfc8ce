// `pava wireshark`: a Lua dissector for Wireshark and tshark generated from
// the layout tables (the description `pava layout --json` prints), the
// hand-written walkers of the algorithmic bodies and the frame dissector.
#ifndef ZMPAVA_TOOLS_WIRESHARK_H
#define ZMPAVA_TOOLS_WIRESHARK_H

#include <string>

namespace pava::tool {

// The two hand-written Lua parts, embedded when the tool is built.
extern const char* const kLuaBodies;
extern const char* const kLuaEngine;

// The whole pava.lua.
std::string wiresharkDissector();

}  // namespace pava::tool

#endif
