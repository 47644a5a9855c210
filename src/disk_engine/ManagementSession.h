#pragma once

#include "platform/ManagementData.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace orv {

inline constexpr std::uint32_t kRowMilliseconds = 10'000; ///< how long the engine waits for a row

/// A connection of the engine to a namespace of the management data. COM has been started on the thread.
struct ManagementSession {
    std::unique_ptr<platform::ManagementLocator> locator;
    std::unique_ptr<platform::ManagementServices> services;
};

/// Locator, connection, security of the calls. Without `services` a step failed.
ManagementSession connectManagement(std::wstring_view space, std::uint32_t flags);

/// The text of a column; empty when the row has none, or no value in it.
std::wstring columnText(platform::ManagementRow& row, std::wstring_view column);

} // namespace orv
