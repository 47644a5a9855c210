#include "disk_engine/CAtaSmart.h"
#include "disk_engine/search/SearchStages.h"
#include "platform/Platform.h"

#include <fmt/xchar.h>

#include <array>

namespace orv {

namespace {

constexpr std::size_t kSectorBytes = 512;
constexpr platform::DeviceOpening kPlain = {.attributes = 0};
constexpr platform::DeviceOpening kForWakeUp = {.write = false, .shareWrite = false, .attributes = 0};

} // namespace

std::wstring physicalDrivePath(std::int32_t physicalDriveId) {
    return fmt::format(L"\\\\.\\PhysicalDrive{}", physicalDriveId);
}

std::wstring scsiPath(std::int32_t scsiPort) {
    return fmt::format(L"\\\\.\\Scsi{}:", scsiPort);
}

void CAtaSmart::noteFailure(platform::ErrorCode error) {
    if (searching_) endWithoutDescriptors(error);
    probeFailure_ = tellingMore(probeFailure_, error);
}

std::unique_ptr<platform::DeviceFile> CAtaSmart::open(const std::wstring& path,
                                                      const platform::DeviceOpening& opening) {
    auto file = platform::current().deviceFiles().open(path, opening);
    noteFailure(file.error);
    return file.ok() ? std::move(file.value) : nullptr;
}

platform::Result<std::uint32_t> CAtaSmart::control(platform::DeviceFile& file, std::uint32_t code,
                                                   std::span<const std::byte> in, std::span<std::byte> out) {
    const auto answer = file.control(code, in, out);
    noteFailure(answer.error);
    return answer;
}

std::unique_ptr<platform::DeviceFile> CAtaSmart::OpenPhysicalDrive(std::int32_t physicalDriveId) {
    return open(physicalDrivePath(physicalDriveId), kPlain);
}

void CAtaSmart::WakeUp(std::int32_t physicalDriveId) {
    if (physicalDriveId < 0 || FlagNoWakeUp) return;
    std::array<std::byte, kSectorBytes> sector{};
    if (const auto file = open(physicalDrivePath(physicalDriveId), kForWakeUp)) file->read(0, sector);
}

} // namespace orv
