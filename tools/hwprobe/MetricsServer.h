#pragma once

#include <chrono>
#include <httplib.h>
#include <list>
#include <string>

namespace tool {

/// Small answers for scrapers, whoever else connects: one thread has all connections, a connection gets one
/// answer and 8 KiB for its request, and where too many are open a new one takes the place of the one that
/// has been silent longest. The HTTP library reads the requests, finds their handlers and writes the answers.
class MetricsServer : public httplib::Server {
  public:
    /// Why a handler is called: a new request, one that waited for news which have come, or one that waited
    /// in vain.
    enum class Turn { first, news, late };

    MetricsServer() = default;
    ~MetricsServer() override;

    /// False, with errno, when the address cannot be had. Port 0 becomes the free one that was taken.
    bool open(const std::string& address, int& port);

    /// Serves until the descriptor `ending` is readable. When `news`, an eventfd, is, what waits has its next
    /// turn.
    void serve(int ending, int news);

    /// For a handler.
    Turn turn() const { return turn_; }
    /// For a handler: there is no answer yet, so what it gives is dropped.
    void wait() { waits_ = true; }

  private:
    using Clock = std::chrono::steady_clock;

    struct Connection {
        /// In the order in which they give way to a new connection, the oldest of each first.
        enum class State { leaving, asking, answering, waiting };
        int socket;
        Clock::time_point deadline;
        State state = State::asking;
        std::string request{};
        std::string answer{};
        std::size_t sent = 0;
        std::size_t ignored = 0; // bytes, of what came besides the request

        short events() const;
    };
    using Connections = std::list<Connection>; // the oldest first

    void admit();
    void makeRoom();
    /// These go on with a connection. False when it is at its end.
    bool goOn(Connection& connection);
    bool receive(Connection& connection);
    bool answer(Connection& connection, Turn turn);
    bool send(Connection& connection);
    static bool ignore(Connection& connection);

    Connections::iterator drop(Connections::iterator connection);

    Connections connections_;
    Turn turn_ = Turn::first;
    bool waits_ = false;
};

} // namespace tool
