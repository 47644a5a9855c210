#include "platform/floatingPoint.h"

#include <cfloat>

namespace orv::platform {

namespace {
// Bits of the control word that are set, and their values: of the exception masks only _EM_ZERODIVIDE (0x8)
// is cleared, which unmasks the division by zero (float.h).
constexpr unsigned kValue = 0xFFFFFFF7;
constexpr unsigned kMask = 0x8001F;
} // namespace

void setLoadFloatingPointControl() {
    ::_controlfp(kValue, kMask);
}

} // namespace orv::platform
