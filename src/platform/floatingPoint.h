#pragma once

namespace orv::platform {

/// The load step's floating-point control word of the loading thread: divide-by-zero unmasked, every other
/// floating-point exception masked. Only Windows sets it; elsewhere a library must not change its host's
/// traps.
void setLoadFloatingPointControl();

} // namespace orv::platform
