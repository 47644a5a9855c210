#pragma once

#include "disk_engine/DebugPrint.h"

#include <fmt/xchar.h>

namespace orv {

/// A line of the engine's trace with values in it, formed only where somebody reads it.
template <class... Values>
void DebugFormat(fmt::wformat_string<Values...> text, Values&&... values) {
    if (debugWanted()) DebugPrint(fmt::format(text, std::forward<Values>(values)...));
}

} // namespace orv
