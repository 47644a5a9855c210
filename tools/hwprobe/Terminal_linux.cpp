#include "Terminal.h"

#include <csignal>
#include <sys/ioctl.h>
#include <unistd.h>

namespace tool {

bool prepareScreen() {
    return ::isatty(STDOUT_FILENO) == 1;
}

bool errorsOnScreen() {
    return ::isatty(STDERR_FILENO) == 1;
}

void makeLimitAnError() {
    std::signal(SIGXFSZ, SIG_IGN);
}

ScreenSize screenSize() {
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) return {};
    return {size.ws_col, size.ws_row};
}

} // namespace tool
