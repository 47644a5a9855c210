#pragma once

#include <string_view>

namespace orv {

/// Whether the service runs; false too when it cannot be asked.
bool isServiceRunning(std::wstring_view name);

/// Starts the service and waits for it, some seconds at most; sets it to start by itself where it does not
/// come up. True when it runs at the end.
bool startService(std::wstring_view name);

} // namespace orv
