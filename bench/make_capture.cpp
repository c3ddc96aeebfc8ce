// Writes a capture for measuring `pava decode` on captures: the shipped
// records' frames sent over and over on four interleaved connections, each
// answered by the server, in Ethernet frames of at most 1460 bytes of TCP
// payload, one packet every 20 microseconds.
//
//     pava_make_capture OUT.pcap [MEGABYTES]     (64 by default)
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "capture_writer.h"
#include "frames.h"
#include "json_record.h"

using namespace pava::capture;

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: pava_make_capture OUT.pcap [MEGABYTES]\n");
        return 2;
    }
    const size_t bytes = (argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 64) << 20;
    Pava_SetLogOutput(PAVA_LOG_OFF, nullptr, nullptr);
    std::ifstream in(PAVA_SHIPPED_RECORDS);
    // Each record's frames together, so that no split message is cut.
    std::vector<std::string> frames;
    for (const pava::tool::Json& j : pava::tool::Json::parse(in)) {
        PavaFullData rec = pava::tool::recordFromJson(j);
        PavaMsgList list;
        Data_To_Pava(&rec, &list);
        std::string message;
        for (const PavaMsg& f : list)
            message.append(f.head, PAVA_HEAD_LEN + static_cast<size_t>(pava::tool::declaredLength(f)));
        frames.push_back(message);
    }
    std::FILE* out = std::fopen(argv[1], "wb");
    if (out == nullptr) return std::perror(argv[1]), 4;
    CaptureWriter w(out, CaptureFormat::Pcap, LinkType::Ethernet);
    std::vector<TcpConversation> conns;
    for (uint16_t i = 0; i < 4; ++i)
        conns.emplace_back(Endpoint{ipv4(10, 0, 0, 1), static_cast<uint16_t>(40000 + i)},
                           Endpoint{ipv4(10, 0, 0, 2), 7766}, 1000 + i * 77777u, 900000 + i * 5555u);
    Timestamp ts{1700000000, 0};
    const auto put = [&](const std::vector<std::string>& packets) {
        for (const std::string& p : packets) {
            w.write(ts, p);
            ts.nsec += 20000;
            if (ts.nsec >= 1000000000) ts.nsec -= 1000000000, ++ts.sec;
        }
    };
    for (auto& c : conns) put(c.open());
    const std::string& answer = frames.front();  // one short frame
    for (size_t n = 0, i = 0; n < bytes; ++i) {
        auto& c = conns[i % conns.size()];
        const std::string& f = frames[i % frames.size()];
        put(c.send(Side::Client, f));
        put(c.send(Side::Server, answer));
        n += f.size() + answer.size() + 2 * 80;
    }
    for (auto& c : conns) put(c.close(Side::Client));
    std::fclose(out);
    return w.good() ? 0 : 4;
}
