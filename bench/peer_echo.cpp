// The floor of what any TCP peer can do on this machine: a plain echo on
// standalone Asio, one thread, as `pava serve` runs, sending back every byte
// it reads. Listens on 127.0.0.1 and a free port, printed on standard error;
// stops at SIGINT or SIGTERM.
#include <array>
#include <cstdio>
#include <memory>

#include <asio.hpp>

namespace {

using asio::ip::tcp;

class Echo : public std::enable_shared_from_this<Echo> {
public:
    explicit Echo(tcp::socket s) : m_socket(std::move(s)) { m_socket.set_option(tcp::no_delay(true)); }
    void read() {
        m_socket.async_read_some(asio::buffer(m_buf), [self = shared_from_this()](asio::error_code ec, size_t n) {
            if (ec) return;
            asio::async_write(self->m_socket, asio::buffer(self->m_buf.data(), n),
                              [self](asio::error_code wec, size_t) {
                                  if (!wec) self->read();
                              });
        });
    }

private:
    tcp::socket m_socket;
    std::array<char, 4096> m_buf{};
};

void accept(tcp::acceptor& acceptor) {
    acceptor.async_accept([&acceptor](asio::error_code ec, tcp::socket s) {
        if (!ec) std::make_shared<Echo>(std::move(s))->read();
        if (acceptor.is_open()) accept(acceptor);
    });
}

}  // namespace

int main() {
    asio::io_context io;
    tcp::acceptor acceptor(io, tcp::endpoint(asio::ip::make_address("127.0.0.1"), 0));
    std::fprintf(stderr, "echo: listening on 127.0.0.1:%u\n", acceptor.local_endpoint().port());
    std::fflush(stderr);
    accept(acceptor);
    asio::signal_set signals(io, SIGINT, SIGTERM);
    signals.async_wait([&](asio::error_code, int) { io.stop(); });
    io.run();
}
