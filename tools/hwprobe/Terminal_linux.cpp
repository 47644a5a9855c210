#include "Terminal.h"

#include <unistd.h>

namespace tool {

bool prepareScreen() {
    return ::isatty(STDOUT_FILENO) == 1;
}

} // namespace tool
