#include "Output.h"

#include "Printable.h"
#include "disk_engine/DebugPrint.h"
#include "platform/Clock.h"
#include "platform/Platform.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

namespace tool {

void put(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    if (std::fflush(stdout) == 0 && !std::ferror(stdout)) return;
    throw OutputError(std::string("the output cannot be written: ") + std::strerror(errno));
}

void traceToStandardError() {
    constexpr std::int64_t nsPerMillisecond = 1'000'000;
    const auto now = [] { return orv::platform::current().clock().monotonicNs(); };
    orv::setDebugListener([now, first = now()](std::wstring_view text) {
        std::fprintf(stderr, "%08lld %s\n", static_cast<long long>((now() - first) / nsPerMillisecond),
                     printable(std::wstring(text)).c_str());
    });
}

} // namespace tool
