#include "MetricsServer.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace tool {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kMostConnections = 128;
constexpr int kMostAdmitted = 32; // before those that are open have their turn again
constexpr std::size_t kMostRequestBytes = 8192;
constexpr std::size_t kMostIgnoredBytes = 65536;
constexpr auto kPatience = 10s;    // for a request, for news, and for the answer to be taken
constexpr auto kLastPatience = 2s; // for the client to have seen the end
constexpr int kTick = 100;         // milliseconds; how late an end of patience may be seen
constexpr std::string_view kEndOfRequest = "\r\n\r\n";
constexpr char kTooLong[] = "HTTP/1.1 431 Request Header Fields Too Large\r\nConnection: close\r\n"
                            "Content-Length: 0\r\n\r\n";

/// What of a request has a say here: its first line, and which form is accepted. The rest could only ask for
/// work: for parts of the answer, again and again, for its compression, for a body to be read.
std::string essenceOf(std::string_view request) {
    constexpr std::string_view accept = "accept:";
    std::string essence;
    for (std::size_t at = 0, end = 0; at < request.size(); at = end) {
        end = std::min(request.find('\n', at), request.size() - 1) + 1;
        const std::string_view line = request.substr(at, end - at);
        if (at == 0 ||
            (line.size() > accept.size() && ::strncasecmp(line.data(), accept.data(), accept.size()) == 0))
            essence += line;
    }
    return essence + "\r\n";
}

/// A request that has come whole, and room for its answer.
class MemoryStream : public httplib::Stream {
  public:
    explicit MemoryStream(std::string request) : request_(std::move(request)) {}

    bool is_readable() const override { return true; }
    bool is_writable() const override { return true; }
    ssize_t read(char* to, std::size_t size) override {
        const std::size_t count = request_.copy(to, size, at_);
        at_ += count;
        return static_cast<ssize_t>(count);
    }
    ssize_t write(const char* from, std::size_t size) override {
        answer.append(from, size);
        return static_cast<ssize_t>(size);
    }
    void get_remote_ip_and_port(std::string&, int&) const override {}
    void get_local_ip_and_port(std::string&, int&) const override {}
    socket_t socket() const override { return INVALID_SOCKET; }

    std::string answer;

  private:
    std::string request_;
    std::size_t at_ = 0;
};

bool isForLater() {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

} // namespace

MetricsServer::~MetricsServer() {
    while (!connections_.empty())
        drop(connections_.begin());
    if (svr_sock_ != INVALID_SOCKET) ::close(svr_sock_);
}

bool MetricsServer::open(const std::string& address, int& port) {
    // The library's own choice would let a second process have the same port.
    set_socket_options([](socket_t socket) {
        const int yes = 1;
        ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    errno = 0;
    if (port == 0)
        port = std::max(bind_to_any_port(address), 0);
    else if (!bind_to_port(address, port))
        port = 0;
    // More may wait than the library lets.
    return port != 0 && ::fcntl(svr_sock_, F_SETFL, O_NONBLOCK) == 0 && ::listen(svr_sock_, SOMAXCONN) == 0;
}

void MetricsServer::serve(int ending, int news) {
    std::vector<pollfd> polled;
    for (;;) {
        polled = {{ending, POLLIN, 0}, {news, POLLIN, 0}, {svr_sock_, POLLIN, 0}};
        for (const Connection& connection : connections_)
            polled.push_back({connection.socket, connection.events(), 0});
        if (::poll(polled.data(), polled.size(), connections_.empty() ? -1 : kTick) < 0) continue;
        if (polled[0].revents != 0) return;
        std::uint64_t count = 0;
        const bool come = polled[1].revents != 0 && ::read(news, &count, sizeof count) > 0;
        const Clock::time_point now = Clock::now();
        auto each = connections_.begin();
        for (std::size_t i = 3; i < polled.size(); ++i) {
            const bool waits = each->state == Connection::State::waiting;
            const bool late = now >= each->deadline;
            bool goes = true;
            if (waits && (come || late))
                goes = answer(*each, come ? Turn::news : Turn::late);
            else if (late || (waits && polled[i].revents != 0)) // it has gone
                goes = false;
            else if (polled[i].revents != 0)
                goes = goOn(*each);
            each = goes ? std::next(each) : drop(each);
        }
        if (polled[2].revents != 0) admit();
    }
}

short MetricsServer::Connection::events() const {
    return state == State::waiting ? 0 : state == State::answering ? POLLOUT : POLLIN;
}

void MetricsServer::admit() {
    for (int i = 0; i < kMostAdmitted; ++i) {
        const int socket = ::accept4(svr_sock_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (socket < 0) {
            if (errno != EMFILE && errno != ENFILE && errno != ENOBUFS && errno != ENOMEM) return;
            // Nothing is left for the connection, which goes on waiting at the door.
            if (connections_.empty()) std::this_thread::sleep_for(std::chrono::milliseconds(kTick));
            return makeRoom();
        }
        if (connections_.size() >= kMostConnections) makeRoom();
        connections_.push_back({socket, Clock::now() + kPatience});
    }
}

void MetricsServer::makeRoom() {
    const auto least = std::ranges::min_element(connections_, {}, &Connection::state); // the first of equals
    if (least != connections_.end()) drop(least);
}

MetricsServer::Connections::iterator MetricsServer::drop(Connections::iterator connection) {
    ::close(connection->socket);
    return connections_.erase(connection);
}

bool MetricsServer::goOn(Connection& connection) {
    switch (connection.state) {
    case Connection::State::asking:
        return receive(connection);
    case Connection::State::answering:
        return send(connection);
    case Connection::State::leaving:
        return ignore(connection);
    case Connection::State::waiting:
        break;
    }
    return true;
}

bool MetricsServer::receive(Connection& connection) {
    std::array<char, kMostRequestBytes> buffer;
    std::string& request = connection.request;
    const ssize_t count =
        ::recv(connection.socket, buffer.data(), kMostRequestBytes - request.size(), MSG_DONTWAIT);
    if (count <= 0) return count < 0 && isForLater();
    request.append(buffer.data(), static_cast<std::size_t>(count));
    if (const auto end = request.find(kEndOfRequest); end != request.npos) {
        request = essenceOf(std::string_view(request).substr(0, end + 2));
        return answer(connection, Turn::first);
    }
    if (request.size() < kMostRequestBytes) return true;
    connection.answer = kTooLong;
    return send(connection);
}

bool MetricsServer::answer(Connection& connection, Turn turn) {
    MemoryStream stream(connection.request);
    turn_ = turn;
    waits_ = false;
    bool closed = false;
    process_request(stream, true, closed, nullptr);
    connection.deadline = Clock::now() + kPatience;
    if (waits_) {
        connection.state = Connection::State::waiting;
        return true;
    }
    connection.answer = std::move(stream.answer);
    return send(connection);
}

bool MetricsServer::send(Connection& connection) {
    connection.state = Connection::State::answering;
    const std::string_view left = std::string_view(connection.answer).substr(connection.sent);
    const ssize_t count = ::send(connection.socket, left.data(), left.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count < 0) return isForLater();
    connection.sent += static_cast<std::size_t>(count);
    if (connection.sent < connection.answer.size()) return true;
    // To close while something is unread would take the answer away from the client.
    ::shutdown(connection.socket, SHUT_WR);
    connection.answer = {};
    connection.state = Connection::State::leaving;
    connection.deadline = Clock::now() + kLastPatience;
    return true;
}

bool MetricsServer::ignore(Connection& connection) {
    std::array<char, kMostRequestBytes> buffer;
    const ssize_t count = ::recv(connection.socket, buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (count <= 0) return count < 0 && isForLater();
    connection.ignored += static_cast<std::size_t>(count);
    return connection.ignored < kMostIgnoredBytes;
}

} // namespace tool
