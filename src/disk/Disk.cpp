#include "disk/Disk.h"

#include "disk_engine/CAtaSmart.h"
#include "frame/HWException.h"
#include "log/log.h"
#include "platform/Clock.h"
#include "platform/Platform.h"
#include "platform/text.h"

#include <optional>
#include <span>

namespace orv {

namespace {

constexpr std::int64_t kMillisecond = 1'000'000; // ns
constexpr std::int64_t kRefreshLimit = 5'000 * kMillisecond;

std::int64_t clockNow() {
    return platform::current().clock().monotonicNs();
}

platform::Result<std::unique_ptr<platform::DeviceFile>> openDrive(const DiskSnapshot& snapshot) {
    return platform::current().deviceFiles().open(physicalDrivePath(snapshot.PhysicalDriveId));
}

/// None when the request fails; an answer that is too short is a failure.
std::optional<platform::DISK_PERFORMANCE> countersOf(platform::DeviceFile& drive) {
    platform::DISK_PERFORMANCE counters{};
    const auto written =
        drive.control(platform::IOCTL_DISK_PERFORMANCE, {}, std::as_writable_bytes(std::span(&counters, 1)));
    if (!written.ok() || written.value < sizeof counters) return std::nullopt;
    return counters;
}

/// How far a counter went on, negative when it began anew.
double growth(std::int64_t from, std::int64_t to) {
    return static_cast<double>(
        static_cast<std::int64_t>(static_cast<std::uint64_t>(to) - static_cast<std::uint64_t>(from)));
}

/// A flag that a snapshot does not keep is told as 0.
void logConstructed(const DiskSnapshot& snapshot) {
    constexpr BOOL none = 0;
    log::info(diskLogger,
              L"Disk: Ok, index: {}, PhysicalDriveId: {}, Model: {}, SerialNumber: {}, Interface: {}, "
              L"IsSsd: {}, IsNVMe: {}, IsSmartSupported: {}, IsSmartEnabled: {}, IsIdInfoIncorrect: {}, "
              L"IsSmartCorrect: {}, IsThresholdCorrect: {}, IsCheckSumError: {}, IsWord88: {}, "
              L"IsWord64_76: {}, IsRawValues8: {}, IsRawValues7: {}, Is9126MB: {}, IsThresholdBug: {}, "
              L"IsLba48Supported: {}, IsAamSupported: {}, IsApmSupported: {}, IsAamEnabled: {}, "
              L"IsApmEnabled: {}, IsNcqSupported: {}, IsNvCacheSupported: {}, IsDeviceSleepSupported: {}, "
              L"IsMaxtorMinute: {}, IsSsd: {}, IsTrimSupported: {}, IsVolatileWriteCachePresent: {}, "
              L"Temperature: {}, NominalMediaRotationRate: {}",
              snapshot.index, snapshot.PhysicalDriveId, platform::utf8ToWide(snapshot.Model),
              platform::utf8ToWide(snapshot.SerialNumber), platform::utf8ToWide(snapshot.Interface),
              snapshot.IsSsd, snapshot.IsNVMe, snapshot.IsSmartSupported, snapshot.IsSmartEnabled, none, none,
              none, none, none, none, none, none, none, none, none, none, none, none, none, none, none, none,
              none, snapshot.IsSsd, none, none, snapshot.Temperature, snapshot.NominalMediaRotationRate);
}

} // namespace

struct Disk::Impl {
    DiskSnapshot snapshot;
    std::int64_t lastBytesWritten = 0;
    std::int64_t lastBytesRead = 0;
    std::int64_t prevBytesWritten = 0;
    std::int64_t prevBytesRead = 0;
    std::int64_t lastSampleTime = 0; ///< ns of the monotonic clock
    std::int64_t lastUpdateTime = 0;
};

std::vector<Disk> Disk::GetAllDisk() {
    log::entry(diskLogger, L"orv::Disk::GetAllDisk");
    std::vector<Disk> disks;
    for (const DiskSnapshot& snapshot : ReadAllSnapshots())
        disks.emplace_back(snapshot);
    log::info(diskLogger, L"GetAllDisk: Ok, size: {}", disks.size());
    return disks;
}

Disk::Disk(const DiskSnapshot& snapshot) : impl_(std::make_unique<Impl>(Impl{.snapshot = snapshot})) {
    log::entry(diskLogger, L"orv::Disk::Disk");
    logConstructed(snapshot);
    const auto drive = openDrive(snapshot);
    if (!drive.ok())
        throwHW(L"CreateFileA {} failed. Reason: {}", snapshot.PhysicalDriveId,
                getSystemErrorText(drive.error));
    const auto counters = countersOf(*drive.value);
    if (!counters) throwHW(L"DeviceIoControl failed");
    impl_->lastBytesRead = impl_->prevBytesRead = counters->BytesRead;
    impl_->lastBytesWritten = impl_->prevBytesWritten = counters->BytesWritten;
    impl_->lastSampleTime = impl_->lastUpdateTime = clockNow();
}

Disk::Disk(Disk&& other) noexcept = default;
Disk& Disk::operator=(Disk&& other) noexcept = default;
Disk::~Disk() = default;

std::string Disk::Model() {
    log::entry(diskLogger, L"orv::Disk::Model");
    UpdateInfo();
    return impl_->snapshot.Model;
}

std::string Disk::SerialNumber() {
    log::entry(diskLogger, L"orv::Disk::SerialNumber");
    UpdateInfo();
    return impl_->snapshot.SerialNumber;
}

double Disk::Temperature() {
    log::entry(diskLogger, L"orv::Disk::Temperature");
    UpdateInfo();
    return impl_->snapshot.Temperature * impl_->snapshot.TemperatureMultiplier;
}

std::int32_t Disk::diskType() {
    log::entry(diskLogger, L"orv::Disk::diskType");
    UpdateInfo();
    return impl_->snapshot.IsSsd ? kSolidState : kHardDisk;
}

std::uint32_t Disk::DriverLetterMap() {
    log::entry(diskLogger, L"orv::Disk::DriverLetterMap");
    UpdateInfo();
    return impl_->snapshot.DriveLetterMap;
}

void Disk::UpdateInfo() {
    log::entry(diskLogger, L"orv::Disk::UpdateInfo");
    if (clockNow() - impl_->lastUpdateTime <= kRefreshLimit) return;
    log::info(diskLogger, L"UpdateInfo: Ok, index: {}", impl_->snapshot.index);
    impl_->snapshot = ReadSnapshot(impl_->snapshot.index);
    impl_->lastUpdateTime = clockNow();
}

std::pair<double, double> Disk::GetReadWriteSpeed() {
    log::entry(diskLogger, L"orv::Disk::GetReadWriteSpeed");
    const auto drive = openDrive(impl_->snapshot);
    if (!drive.ok()) throwHW(L"CreateFileA failed");
    const auto counters = countersOf(*drive.value);
    if (!counters) throw HWException(L"DeviceIoControl failed"); // alone without its place
    const std::int64_t now = clockNow();
    const std::int64_t interval = (now - impl_->lastSampleTime) / kMillisecond;
    if (interval == 0) throwHW(L"GetReadWriteSpeed failed. The interval is 0");

    impl_->prevBytesRead = std::exchange(impl_->lastBytesRead, counters->BytesRead);
    impl_->prevBytesWritten = std::exchange(impl_->lastBytesWritten, counters->BytesWritten);
    impl_->lastSampleTime = now;
    const auto milliseconds = static_cast<double>(interval);
    const double readSpeed = growth(impl_->prevBytesRead, impl_->lastBytesRead) / milliseconds;
    const double writeSpeed = growth(impl_->prevBytesWritten, impl_->lastBytesWritten) / milliseconds;
    log::info(diskLogger, L"GetReadWriteSpeed: Ok, readSpeed: {}, writeSpeed: {}", readSpeed, writeSpeed);
    return {writeSpeed, readSpeed};
}

} // namespace orv
