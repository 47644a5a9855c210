#pragma once

#include "platform/ManagementData.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace orv {

inline constexpr std::uint32_t kRowMilliseconds = 10'000; ///< how long the engine waits for a row

/// COM on this thread for a scope. Each start owes an end, also one that found COM started.
class ComOnThread {
  public:
    ComOnThread();
    ~ComOnThread();
    ComOnThread(const ComOnThread&) = delete;
    ComOnThread& operator=(const ComOnThread&) = delete;

  private:
    platform::ManagementData& data_;
    bool started_;
};

/// A connection of the engine to a namespace of the management data. COM has been started on the thread.
struct ManagementSession {
    std::unique_ptr<platform::ManagementLocator> locator;
    std::unique_ptr<platform::ManagementServices> services;
};

/// Locator, connection, security of the calls. Without `services` a step failed.
ManagementSession connectManagement(std::wstring_view space, std::uint32_t flags);

/// Gives the rows of a query one by one, `limit` of them at most. False when the query failed.
bool eachRow(platform::ManagementServices& services, const std::wstring& query, std::size_t limit,
             const std::function<void(platform::ManagementRow&)>& onRow);

/// The text of a column; empty when the row has none, or no value in it.
std::wstring columnText(platform::ManagementRow& row, std::wstring_view column);

/// The whole number of a column; -1 when the row has none.
std::int32_t columnNumber(platform::ManagementRow& row, std::wstring_view column);

} // namespace orv
