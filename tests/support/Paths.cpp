#include "support/Paths.h"

namespace orv::test {

std::string sourceDir() {
    return HWPROBE_SOURCE_DIR;
}

} // namespace orv::test
