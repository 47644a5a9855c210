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
/// `title` names the machine that is shown; `described`: times are those of its clock.
int show(const std::string& title, bool json, bool described);
int call(const std::vector<std::string>& calls);

struct WatchOptions {
    std::int64_t interval = 1000; // milliseconds
    std::uint64_t count = 0;      // 0 goes on until interrupted
    bool json = false;
    bool described = false; // the machine's clock has to be moved along
    bool chatty = false;    // log or trace go to standard error
};
int watch(const std::string& title, const WatchOptions& options);

} // namespace tool
