// Any bytes as a drive's log of device statistics: what is read of it keeps to what the log says, and what is
// told of the drive to what a drive can tell.

#include "Answering.h"
#include "drive_reading/DeviceStatistics.h"
#include "drive_reading/DriveReading.h"

#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::vector<std::uint8_t> log(bytes,
                                        bytes + size); // of its own size, so that a read past it is seen
    const DeviceStatistics statistics = readDeviceStatistics(log);
    const auto listed = listedPages(std::span(log).first(std::min<std::size_t>(size, 512)));
    const auto has = [&](std::uint8_t number) { return std::ranges::find(listed, number) != listed.end(); };
    require(size % 512 == 0 || (!statistics.fault.empty() && !statistics.powerOnHours));
    require(has(1) || !(statistics.powerOnResets || statistics.powerOnHours ||
                        statistics.logicalSectorsWritten || statistics.logicalSectorsRead));
    require(has(5) || !statistics.temperature);
    require(has(7) || !statistics.percentageUsed);
    require(statistics.percentageUsed.value_or(0) <= 255 &&
            statistics.logicalSectorsWritten.value_or(0) >> 48 == 0);

    constexpr std::int64_t now = 1'764'000'000;
    const AtaSmartInfo asi;
    const DriveReading reading = readingOf(asi, {}, {log, std::nullopt}, now);
    require(reading.life.value.value_or(0) >= 0 && reading.life.value.value_or(0) <= 100);
    require(reading.temperature.value.value_or(0) >= -40 && reading.temperature.value.value_or(0) <= 150);
    require(reading.powerOnHours.value.value_or(0) <= 300'000);
    require((!reading.life || !reading.life.basis.empty()) && !reading.healthReason.empty());
    return 0;
}
