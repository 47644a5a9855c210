#pragma once

#include <cstdint>
#include <string>

namespace tool {

struct MetricsOptions {
    std::string listen = "127.0.0.1:9477";
    std::string textFile; // write once to this file in place of serving
    std::int64_t intervalMilliseconds = 1000;
};

/// The readings for Prometheus: served until SIGINT or SIGTERM, or written once to a file. `described`: the
/// machine's clock has to be moved along.
int metrics(const MetricsOptions& options, bool described);

} // namespace tool
