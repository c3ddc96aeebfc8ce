// What the capture reader and writer share: time stamps, addresses, the two
// sides of a TCP connection.
#ifndef ZMPAVA_TOOLS_CAPTURE_TYPES_H
#define ZMPAVA_TOOLS_CAPTURE_TYPES_H

#include <array>
#include <cstdint>
#include <string>

namespace pava::capture {

// Seconds and nanoseconds since 1970 (UTC), as a capture records them.
struct Timestamp {
    int64_t sec = 0;
    uint32_t nsec = 0;
};

// An IPv4 address in the first four bytes, or an IPv6 address.
struct Address {
    std::array<uint8_t, 16> bytes{};
    bool v6 = false;
    bool operator==(const Address&) const = default;
};

struct Endpoint {
    Address addr;
    uint16_t port = 0;
    bool operator==(const Endpoint&) const = default;
};

// "10.0.0.1:7766", "[::1]:7766".
std::string toString(const Endpoint& e);
Address ipv4(uint8_t a, uint8_t b, uint8_t c, uint8_t d);
// From 16 bytes in network order.
Address ipv6(const std::array<uint8_t, 16>& bytes);

// The side that opened the connection (sent the first SYN) and the one that
// accepted it.
enum class Side : uint8_t { Client, Server };
inline const char* sideName(Side s) { return s == Side::Client ? "client" : "server"; }
inline Side other(Side s) { return s == Side::Client ? Side::Server : Side::Client; }

// Link types, as pcap and pcapng number them.
enum class LinkType : uint32_t {
    Null = 0,         // BSD loopback: 4-byte address family, host order
    Ethernet = 1,
    Raw = 101,        // IPv4 or IPv6, told by the version nibble
    LinuxSll = 113,   // Linux cooked capture, version 1
    LinuxSll2 = 276,  // Linux cooked capture, version 2
};

}  // namespace pava::capture

#endif
