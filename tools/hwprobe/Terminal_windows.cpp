#include "Terminal.h"

#include <windows.h>

namespace tool {

bool prepareScreen() {
    const HANDLE output = ::GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    if (!::GetConsoleMode(output, &mode)) return false;
    ::SetConsoleOutputCP(CP_UTF8);
    return ::SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

} // namespace tool
