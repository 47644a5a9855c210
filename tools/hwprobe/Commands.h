#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

inline constexpr int kExitOk = 0;
inline constexpr int kExitSomeFailed = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitFailedCall = 3;
inline constexpr int kExitOutput = 4;
inline constexpr int kExitHardwareFault = 5;

/// The table, or with `json` one object and a status that tells whether all, some or no readings answered.
/// `title` names the machine that is shown.
int show(const std::string& title, bool json);
int call(const std::vector<std::string>& calls);
/// `count` 0 goes on until interrupted. `described`: the machine's clock has to be moved along.
int watch(const std::string& title, std::int64_t intervalMilliseconds, std::uint64_t count, bool described);

} // namespace tool
