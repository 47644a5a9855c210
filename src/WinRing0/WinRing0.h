#pragma once

namespace orv {

/// Makes ring-0 access ready; each path to a register or port calls it first. Throws HWException when the
/// component is not ready, and for good after WinRing0Release.
void WinRing0Init();

/// Ends ring-0 access for the rest of the process. Never throws.
void WinRing0Release();

/// The last outcome of the component: 11 never started, 0 ready, 1 to 5 and 9 a status, 12 released.
int ring0State();

} // namespace orv
