#pragma once

#include "DriveFacts.h"
#include "Exports.h"
#include "MetricsText.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tool {

/// Reads the machine for scrapers. Safe across threads: the library takes one call at a time, so one thread
/// reads while the others wait for what it gives.
class MetricsSampler {
  public:
    /// Begins the readings that count from an earlier one; takes over a second.
    MetricsSampler(std::int64_t intervalMilliseconds, bool described);

    /// The latest reading, a fresh one when it is as old as the interval. Null when another thread has been
    /// reading for ten seconds, as long as a scraper waits.
    std::shared_ptr<const Exposition> latest();

  private:
    using Clock = std::chrono::steady_clock;

    /// Null after a failure, which is counted; a new reason goes to standard error. A processor's load and
    /// clock may be those of the system's counters then.
    std::optional<Outcome> ask(std::string_view name, std::uint32_t index = 0);
    bool renewDrive(std::uint32_t index, bool listed);
    void readNumbers(Exposition& to);
    void readMemoryModules(Exposition& to);
    void findDrives();
    void readDrives(Exposition& to);
    void readBatteries(Exposition& to);
    void readNetwork(Exposition& to);
    Exposition read();

    const std::chrono::milliseconds interval_;
    const bool described_;

    std::timed_mutex mutex_; // over all that follows, and the library
    std::shared_ptr<const Exposition> latest_;
    Clock::time_point readAt_;
    std::map<std::string_view, std::uint64_t> failures_;
    std::map<std::pair<std::string_view, std::uint32_t>, std::string> told_; // reason, empty after a success
    std::optional<std::vector<MetricLabels>> modules_;
    std::optional<std::int32_t> drives_; // in the library's list; none after a failure
    std::optional<Clock::time_point> searchedAt_;
    UnlistedDrives unlisted_;
};

} // namespace tool
