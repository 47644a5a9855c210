#include "Metrics.h"

#include "Commands.h"
#include "Descriptor.h"
#include "MetricsFile.h"
#include "MetricsSample.h"
#include "MetricsServer.h"
#include "orvane/hwprobe.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <mutex>
#include <optional>
#include <string_view>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <thread>

namespace tool {

namespace {

using Format = Exposition::Format;

constexpr auto kPatience = std::chrono::seconds(2); // for a reading that is under way at the end

constexpr char kPage[] = "<!DOCTYPE html><html lang=\"en\"><head><title>hwprobe</title></head><body>"
                         "<h1>hwprobe " HWPROBE_VERSION "</h1><p><a href=\"/metrics\">Metrics</a></p>"
                         "</body></html>\n";

struct Endpoint {
    std::string address;
    int port = 0;
};

bool isAddress(const std::string& text, int family) {
    std::array<unsigned char, sizeof(in6_addr)> address{};
    return ::inet_pton(family, text.c_str(), address.data()) == 1;
}

/// ADDRESS:PORT or [ADDRESS]:PORT, in numbers.
std::optional<Endpoint> parseEndpoint(const std::string& text) {
    const auto colon = text.rfind(':');
    if (colon == text.npos) return std::nullopt;
    Endpoint endpoint{text.substr(0, colon), 0};
    std::uint16_t port = 0;
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data() + colon + 1, end, port);
    if (parsed.ec != std::errc() || parsed.ptr != end) return std::nullopt;
    endpoint.port = port;
    if (isAddress(endpoint.address, AF_INET)) return endpoint;
    const auto size = endpoint.address.size();
    if (size < 2 || endpoint.address.front() != '[' || endpoint.address.back() != ']') return std::nullopt;
    endpoint.address = endpoint.address.substr(1, size - 2);
    return isAddress(endpoint.address, AF_INET6) ? std::optional(endpoint) : std::nullopt;
}

std::string lower(std::string_view text) {
    std::string lowered;
    for (const char letter : text)
        lowered += letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    return lowered;
}

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

/// Takes the part before the separator off the front of a text.
std::string_view cutAt(std::string_view& text, char separator) {
    const auto end = std::min(text.find(separator), text.size());
    const std::string_view part = trimmed(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    return part;
}

/// The weight that an Accept header, in lower case, gives to a media type by name; 0 when it is not named.
double weightOf(std::string_view accept, std::string_view type) {
    while (!accept.empty()) {
        std::string_view range = cutAt(accept, ',');
        if (cutAt(range, ';') != type) continue;
        double weight = 1.0;
        while (!range.empty()) {
            const std::string_view parameter = cutAt(range, ';');
            if (parameter.starts_with("q="))
                std::from_chars(parameter.data() + 2, parameter.data() + parameter.size(), weight);
        }
        return weight;
    }
    return 0.0;
}

Format formatFor(const httplib::Request& request) {
    const std::string accept = lower(request.get_header_value("Accept"));
    const double weight = weightOf(accept, "application/openmetrics-text");
    return weight > 0 && weight >= weightOf(accept, "text/plain") ? Format::openMetrics : Format::text;
}

/// Reads the machine in a thread of its own, so that a device that hangs holds no connection.
class Reader {
  public:
    Reader(const MetricsOptions& options, bool described)
        : thread_([this, interval = options.intervalMilliseconds, described] { run(interval, described); }) {}
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    /// Ends the process where a device does not answer: nothing is left to do then.
    ~Reader() {
        std::unique_lock lock(mutex_);
        ending_ = true;
        changed_.notify_all();
        if (!changed_.wait_for(lock, kPatience, [&] { return ended_; })) std::_Exit(kExitOk);
        lock.unlock();
        thread_.join();
    }

    /// Has the machine read, or the latest reading looked at; then `news` is readable.
    void ask() {
        std::lock_guard lock(mutex_);
        asked_ = true;
        changed_.notify_all();
    }
    int news() const { return news_.get(); }
    std::shared_ptr<const Exposition> latest() {
        std::lock_guard lock(mutex_);
        return latest_;
    }

  private:
    void run(std::int64_t interval, bool described) {
        MetricsSampler sampler(interval, described);
        std::unique_lock lock(mutex_);
        while (!ending_) {
            changed_.wait(lock, [&] { return asked_ || ending_; });
            if (ending_) break;
            asked_ = false;
            lock.unlock();
            std::shared_ptr<const Exposition> latest;
            try {
                latest = sampler.latest();
            } catch (const std::exception& failure) { // of memory, for one
                std::fprintf(stderr, "no reading: %s\n", failure.what());
            }
            lock.lock();
            latest_ = std::move(latest);
            ::eventfd_write(news_.get(), 1);
        }
        ended_ = true;
        changed_.notify_all();
    }

    const Descriptor news_{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    std::mutex mutex_; // over all that follows
    std::condition_variable changed_;
    std::shared_ptr<const Exposition> latest_;
    bool asked_ = false;
    bool ending_ = false;
    bool ended_ = false;
    std::thread thread_; // the last, for it uses the others
};

void answerMetrics(MetricsServer& server, Reader& reader, const httplib::Request& request,
                   httplib::Response& response) {
    if (server.turn() == MetricsServer::Turn::first) {
        reader.ask();
        return server.wait();
    }
    const auto exposition = server.turn() == MetricsServer::Turn::news ? reader.latest() : nullptr;
    if (!exposition) {
        response.status = 503;
        response.set_content("the machine is slow to answer\n", "text/plain");
        return;
    }
    const Format format = formatFor(request);
    response.set_content(exposition->in(format), Exposition::contentType(format));
}

httplib::Server::HandlerResponse refuseOtherMethods(const httplib::Request& request,
                                                    httplib::Response& response) {
    if (request.method == "GET" || request.method == "HEAD")
        return httplib::Server::HandlerResponse::Unhandled;
    response.status = 405;
    response.set_header("Allow", "GET, HEAD");
    response.set_content("only GET and HEAD\n", "text/plain");
    return httplib::Server::HandlerResponse::Handled;
}

void configure(MetricsServer& server, Reader& reader) {
    server.set_pre_routing_handler(refuseOtherMethods);
    server.Get("/", [](const httplib::Request&, httplib::Response& response) {
        response.set_content(kPage, "text/html; charset=utf-8");
    });
    server.Get("/metrics", [&](const httplib::Request& request, httplib::Response& response) {
        answerMetrics(server, reader, request, response);
    });
    server.set_error_handler([](const httplib::Request&, httplib::Response& response) {
        if (response.status == 404) response.set_content("the readings are at /metrics\n", "text/plain");
    });
}

int serve(const Endpoint& endpoint, const MetricsOptions& options, bool described) {
    // Blocked here and so in the thread that reads; the end is waited for.
    sigset_t endings;
    sigemptyset(&endings);
    sigaddset(&endings, SIGINT);
    sigaddset(&endings, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &endings, nullptr);
    const Descriptor ending(::signalfd(-1, &endings, SFD_CLOEXEC));
    MetricsServer server;
    int port = endpoint.port;
    if (!server.open(endpoint.address, port)) {
        std::fprintf(stderr, "%s: cannot be listened on: %s\n", options.listen.c_str(), std::strerror(errno));
        return kExitOutput;
    }
    Reader reader(options, described);
    configure(server, reader);
    const std::string host =
        endpoint.address.find(':') == std::string::npos ? endpoint.address : "[" + endpoint.address + "]";
    std::fprintf(stderr, "serving http://%s:%d/metrics\n", host.c_str(), port);
    server.serve(ending.get(), reader.news());
    return kExitOk;
}

} // namespace

int metrics(const MetricsOptions& options, bool described) {
    if (!options.textFile.empty()) {
        MetricsSampler sampler(options.intervalMilliseconds, described);
        const auto exposition = sampler.latest();
        return replaceFile(options.textFile, exposition->in(Format::text));
    }
    const auto endpoint = parseEndpoint(options.listen);
    if (!endpoint) {
        std::fprintf(stderr,
                     "%s: not ADDRESS:PORT in numbers, such as 127.0.0.1:9477, 0.0.0.0:9477 or [::1]:9477\n",
                     options.listen.c_str());
        return kExitUsage;
    }
    return serve(*endpoint, options, described);
}

} // namespace tool
