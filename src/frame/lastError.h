#pragma once

#include "state/ProcessState.h"

#include <string>

namespace orv::frame {

/// Text of the last failure of any export. A success never clears it.
struct LastError {
    std::string text;
};

inline void setLastError(std::string text) {
    processWide<LastError>().text = std::move(text);
}

} // namespace orv::frame
