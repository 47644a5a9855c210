#include "Commands.h"
#include "Metrics.h"

#include <cstdio>

namespace tool {

int metrics(const MetricsOptions&, bool) {
    std::fprintf(stderr, "metrics: not in this build: %s\n", HWPROBE_METRICS_MISSING);
    return kExitUsage;
}

} // namespace tool
