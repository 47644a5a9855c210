#pragma once

#include "disk_engine/DiskSnapshot.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace orv {

/// One drive as the reports see it: a copy of the engine's values that is renewed at most every five seconds,
/// and the drive's byte counters. Move-only; an object that was moved from may only be destroyed or assigned.
class Disk {
  public:
    static constexpr std::int32_t kHardDisk = 1;
    static constexpr std::int32_t kSolidState = 2;

    /// The drives in the engine's order. One that cannot be opened makes the whole list fail.
    static std::vector<Disk> GetAllDisk();

    /// Takes the first sample of the counters. Throws HWException when the drive does not give it.
    explicit Disk(const DiskSnapshot& snapshot);
    Disk(Disk&& other) noexcept;
    Disk& operator=(Disk&& other) noexcept; ///< for who orders a list of his own
    ~Disk();

    // Each of these renews the values first. Texts are in the system's narrow code page.

    std::string Model();
    std::string SerialNumber();
    double Temperature();            ///< degrees Celsius
    std::int32_t diskType();         ///< kSolidState or kHardDisk
    std::uint32_t DriverLetterMap(); ///< bit n: drive letter 'A' + n

    /// Bytes per millisecond written and read since the sample before, in this order. Throws HWException when
    /// the drive gives no sample or less than a millisecond has gone by.
    std::pair<double, double> GetReadWriteSpeed();

    /// Renews the values when the last time is more than five seconds ago. After a failure the next call
    /// tries again.
    void UpdateInfo();

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace orv
