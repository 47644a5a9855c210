#include "Output.h"

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

} // namespace tool
