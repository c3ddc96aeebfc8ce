#include "recorder.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>

namespace pava::capture {

namespace {
// Segments as large as an IPv4 packet allows: one per read or write.
constexpr size_t kSegment = 65000;
}  // namespace

SessionRecorder::SessionRecorder(const std::string& path) : m_file(std::fopen(path.c_str(), "wb")) {
    if (m_file == nullptr) throw std::runtime_error(path + ": " + std::strerror(errno));
    m_writer = std::make_unique<CaptureWriter>(m_file, CaptureFormat::Pcap, LinkType::Ethernet, true);
}

SessionRecorder::~SessionRecorder() { std::fclose(m_file); }

Timestamp SessionRecorder::now() {
    const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(
                        std::chrono::system_clock::now().time_since_epoch())
                        .count();
    return Timestamp{ns / 1000000000, static_cast<uint32_t>(ns % 1000000000)};
}

uint64_t SessionRecorder::open(const Endpoint& client, const Endpoint& server) {
    const uint64_t id = ++m_next;
    // Initial sequence numbers differ from connection to connection, as a
    // real stack's do, so that tools never mistake one for another.
    const auto isn = static_cast<uint32_t>(id * 2654435761u);
    auto [it, fresh] = m_conns.try_emplace(id, client, server, isn, ~isn);
    const Timestamp t = now();
    for (const std::string& p : it->second.open()) m_writer->write(t, p);
    return id;
}

void SessionRecorder::data(uint64_t connection, Side from, const char* bytes, size_t n) {
    const auto it = m_conns.find(connection);
    if (it == m_conns.end() || n == 0) return;
    const Timestamp t = now();
    for (const std::string& p : it->second.send(from, std::string_view(bytes, n), kSegment)) m_writer->write(t, p);
}

void SessionRecorder::close(uint64_t connection, Side first) {
    const auto it = m_conns.find(connection);
    if (it == m_conns.end()) return;
    const Timestamp t = now();
    for (const std::string& p : it->second.close(first)) m_writer->write(t, p);
    m_conns.erase(it);
    std::fflush(m_file);
}

}  // namespace pava::capture
