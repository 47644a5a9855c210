// The last step of loading, linked into the shared library alone: its log file is there as soon as it is
// loaded. A program that holds the library's objects opens the file with its first line, and so leaves none
// behind when it reads nothing.

#include "log/Logger.h"
#include "platform/Cancellation.h"

namespace {
[[maybe_unused]] const bool logFileOpened = [] {
    const auto former = orv::platform::holdCancellation();
    orv::log::openFile();
    orv::platform::restoreCancellation(former);
    return true;
}();
} // namespace
