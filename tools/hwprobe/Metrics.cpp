#include "Metrics.h"

#include "Commands.h"
#include "MetricsFile.h"
#include "MetricsSample.h"
#include "orvane/hwprobe.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <httplib.h>
#include <optional>
#include <string_view>
#include <sys/socket.h>
#include <thread>

namespace tool {

namespace {

using Format = Exposition::Format;

// A scraper that hangs keeps one thread for the time of a read; these are many enough for others to go on.
constexpr std::size_t kThreads = 32;
constexpr std::time_t kReadSeconds = 2;
constexpr std::time_t kWriteSeconds = 5;
constexpr std::size_t kMostBodyBytes = 4096;

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

void answerMetrics(MetricsSampler& sampler, const httplib::Request& request, httplib::Response& response) {
    const auto exposition = sampler.latest();
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

void configure(httplib::Server& server) {
    server.new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
    // The library's own choice would let a second process have the same port.
    server.set_socket_options([](socket_t socket) {
        const int yes = 1;
        ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    server.set_tcp_nodelay(true);
    server.set_keep_alive_max_count(1);          // a connection between two scrapes would keep a thread
    server.set_keep_alive_timeout(kReadSeconds); // for the first byte
    server.set_read_timeout(kReadSeconds);       // for each of the others
    server.set_write_timeout(kWriteSeconds);
    server.set_payload_max_length(kMostBodyBytes);
    server.set_pre_routing_handler(refuseOtherMethods);
    server.Get("/", [](const httplib::Request&, httplib::Response& response) {
        response.set_content(kPage, "text/html; charset=utf-8");
    });
    server.set_error_handler([](const httplib::Request&, httplib::Response& response) {
        if (response.status == 404) response.set_content("the readings are at /metrics\n", "text/plain");
    });
}

/// Serves until one of the signals comes; false when listening ended by itself.
bool serveUntil(const sigset_t& endings, httplib::Server& server) {
    std::atomic<bool> ended = false;
    std::thread listener([&] {
        server.listen_after_bind();
        ended = true;
    });
    const timespec second{1, 0};
    bool asked = false;
    while (!asked && !ended)
        asked = ::sigtimedwait(&endings, nullptr, &second) > 0;
    while (!ended && !server.is_running()) // before that it cannot be stopped
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    server.stop();
    listener.join();
    return asked;
}

int serve(const Endpoint& endpoint, const MetricsOptions& options, bool described) {
    // Blocked here and so in every thread of the server; the end is waited for.
    sigset_t endings;
    sigemptyset(&endings);
    sigaddset(&endings, SIGINT);
    sigaddset(&endings, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &endings, nullptr);
    httplib::Server server;
    configure(server);
    errno = 0;
    int port = endpoint.port;
    const bool bound = port == 0 ? (port = server.bind_to_any_port(endpoint.address)) > 0
                                 : server.bind_to_port(endpoint.address, port);
    if (!bound) {
        std::fprintf(stderr, "%s: cannot be listened on: %s\n", options.listen.c_str(), std::strerror(errno));
        return kExitOutput;
    }
    MetricsSampler sampler(options.intervalMilliseconds, described);
    server.Get("/metrics", [&](const httplib::Request& request, httplib::Response& response) {
        answerMetrics(sampler, request, response);
    });
    const std::string host =
        endpoint.address.find(':') == std::string::npos ? endpoint.address : "[" + endpoint.address + "]";
    std::fprintf(stderr, "serving http://%s:%d/metrics\n", host.c_str(), port);
    if (serveUntil(endings, server)) return kExitOk;
    std::fprintf(stderr, "%s: listening ended\n", options.listen.c_str());
    return kExitOutput;
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
