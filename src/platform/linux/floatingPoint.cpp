#include "platform/floatingPoint.h"

namespace orv::platform {

// Here a shared library is loaded into programs that rely on the default environment, where a division by
// zero gives an infinity; unmasking the trap would end them with a signal. So nothing is set.
void setLoadFloatingPointControl() {}

} // namespace orv::platform
