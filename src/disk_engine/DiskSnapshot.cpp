#include "disk_engine/DiskSnapshot.h"

#include "disk_engine/CAtaSmart.h"
#include "disk_engine/ManagementSession.h"
#include "platform/text.h"
#include "state/ProcessState.h"

#include <algorithm>
#include <stdexcept>

namespace orv {

namespace {

struct EngineStart {
    OnceCell<bool> done;
};

/// The process's engine with its list. The drives are searched for once.
CAtaSmart& startedEngine() {
    auto& engine = processWide<CAtaSmart>();
    processWide<EngineStart>().done.get([&] {
        engine.UseStandardPaths();
        constexpr BOOL useWmi = 1, advancedDiskSearch = 0, skipHd204uiOldFirmware = 0;
        constexpr BOOL hideNoSmartDisk = 1, sortDriveLetter = 1;
        engine.Init(useWmi, advancedDiskSearch, nullptr, skipHd204uiOldFirmware, hideNoSmartDisk,
                    sortDriveLetter);
        return true;
    });
    return engine;
}

DiskSnapshot snapshotOf(const AtaSmartInfo& asi, std::size_t index) {
    DiskSnapshot snapshot;
    snapshot.index = static_cast<std::uint32_t>(index);
    std::ranges::copy(asi.SmartReadData, snapshot.SmartReadData);
    std::ranges::copy(asi.SmartReadThreshold, snapshot.SmartReadThreshold);
    std::ranges::copy(asi.Attribute, snapshot.Attribute);
    std::ranges::copy(asi.Threshold, snapshot.Threshold);
    snapshot.IsSmartEnabled = asi.IsSmartEnabled;
    snapshot.IsSmartSupported = asi.IsSmartSupported;
    snapshot.IsSsd = asi.IsSsd;
    snapshot.IsNVMe = asi.IsNVMe;
    snapshot.PhysicalDriveId = asi.PhysicalDriveId;
    snapshot.TotalDiskSize = asi.TotalDiskSize;
    snapshot.DetectedPowerOnHours = asi.DetectedPowerOnHours;
    snapshot.PowerOnCount = asi.PowerOnCount;
    snapshot.Temperature = asi.Temperature;
    snapshot.TemperatureMultiplier = asi.TemperatureMultiplier;
    snapshot.NominalMediaRotationRate = asi.NominalMediaRotationRate;
    snapshot.Life = asi.Life;
    snapshot.DriveLetterMap = asi.DriveLetterMap;
    snapshot.Model = platform::wideToAnsi(asi.Model);
    snapshot.SerialNumber = platform::wideToAnsi(asi.SerialNumber);
    snapshot.CurrentTransferMode = platform::wideToAnsi(asi.CurrentTransferMode);
    snapshot.Interface = platform::wideToAnsi(asi.Interface);
    return snapshot;
}

CAtaSmart& readEveryDrive() {
    const ComOnThread com;
    CAtaSmart& engine = startedEngine();
    for (std::size_t index = 0; index < engine.vars.size(); ++index)
        engine.UpdateSmartInfo(index);
    return engine;
}

} // namespace

std::vector<DiskSnapshot> ReadAllSnapshots() {
    const CAtaSmart& engine = readEveryDrive();
    std::vector<DiskSnapshot> snapshots;
    snapshots.reserve(engine.vars.size());
    for (const AtaSmartInfo& asi : engine.vars)
        snapshots.push_back(snapshotOf(asi, snapshots.size()));
    return snapshots;
}

DiskSnapshot ReadSnapshot(std::uint32_t index) {
    CAtaSmart& engine = startedEngine();
    engine.UpdateSmartInfo(index);
    if (index >= engine.vars.size()) throw std::out_of_range("index out of range");
    return snapshotOf(engine.vars[index], index);
}

} // namespace orv
