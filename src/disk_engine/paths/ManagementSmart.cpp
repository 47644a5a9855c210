#include "disk_engine/CAtaSmart.h"
#include "disk_engine/ManagementSession.h"
#include "disk_engine/WideText.h"
#include "disk_engine/paths/AtaCommands.h"

#include <algorithm>
#include <exception>
#include <optional>

namespace orv {

namespace {

constexpr wchar_t kNamespace[] = L"\\\\.\\root\\WMI";
constexpr wchar_t kReadData[] = L"SELECT * FROM MSStorageDriver_FailurePredictData";
constexpr wchar_t kReadThresholds[] = L"SELECT * FROM MSStorageDriver_FailurePredictThresholds";

std::optional<AtaBlock> blockOf(platform::ManagementRow& row) {
    const auto column = row.get(L"VendorSpecific");
    if (!column.ok() || column.value.bytes.size() < kAtaBytes) return std::nullopt;
    AtaBlock block;
    std::copy_n(column.value.bytes.begin(), kAtaBytes, block.begin());
    return block;
}

/// The block of the first row that is the drive's and has one. The instance name of such a row is the
/// drive's device id with a suffix.
std::optional<AtaBlock> findBlock(const std::wstring& deviceId, const wchar_t* query) {
    const auto session =
        connectManagement(kNamespace, PlatformVersionTest(6, 0, 0) ? platform::kConnectWaitsAtMost : 0);
    if (!session.services) return std::nullopt;
    const auto rows = session.services->execQuery(query);
    if (!rows.ok()) return std::nullopt;
    while (const auto row = rows.value->next(kRowMilliseconds)) {
        if (!Begins(Upper(columnText(*row, L"InstanceName")), deviceId)) continue;
        if (auto block = blockOf(*row)) return block;
    }
    return std::nullopt;
}

bool readManagement(AtaSmartInfo& asi, std::uint8_t feature, const wchar_t* query) {
    if (asi.PnpDeviceId.empty()) return false;
    try {
        const auto block = findBlock(asi.PnpDeviceId, query);
        return block && keepSmart(asi, feature, *block);
    } catch (const std::exception&) {
        return false; // a service that breaks down in the middle is one without the data
    }
}

} // namespace

bool CAtaSmart::GetSmartAttributeWmi(AtaSmartInfo& asi) {
    return readManagement(asi, kSmartReadData, kReadData);
}

bool CAtaSmart::GetSmartThresholdWmi(AtaSmartInfo& asi) {
    return PlatformVersionTest(5, 1, 0) && readManagement(asi, kSmartReadThresholds, kReadThresholds);
}

} // namespace orv
