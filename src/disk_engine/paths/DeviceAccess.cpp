#include "disk_engine/paths/DeviceAccess.h"

#include "platform/ManagementData.h"
#include "platform/Platform.h"

#include <fmt/xchar.h>

#include <cstring>
#include <vector>

namespace orv {

namespace {

/// How much a failure says: a later one takes an earlier one's place unless it says less.
int weightOf(platform::ErrorCode error) {
    return error == platform::kAccessDenied ? 3
           : error == platform::kTimedOut   ? 2
           : error != platform::kSuccess    ? 1
                                            : 0;
}

} // namespace

platform::ErrorCode tellingMore(platform::ErrorCode earlier, platform::ErrorCode later) {
    return weightOf(later) >= weightOf(earlier) ? later : earlier;
}

void endWithoutDescriptors(platform::ErrorCode error) {
    if ((error & ~platform::kComWin32) == platform::kTooManyOpenFiles) throw TooManyOpenFiles();
}

void DeviceAccess::noteFailure(platform::ErrorCode error) {
    if (searching_) endWithoutDescriptors(error);
    failure_ = tellingMore(failure_, error);
}

std::unique_ptr<platform::DeviceFile> DeviceAccess::open(const std::wstring& path,
                                                         const platform::DeviceOpening& opening) {
    auto file = platform::current().deviceFiles().open(path, opening);
    noteFailure(file.error);
    return file.ok() ? std::move(file.value) : nullptr;
}

platform::Result<std::uint32_t> DeviceAccess::control(platform::DeviceFile& file, std::uint32_t code,
                                                      std::span<const std::byte> in,
                                                      std::span<std::byte> out) {
    const auto answer = file.control(code, in, out);
    noteFailure(answer.error);
    return answer;
}

bool DeviceAccess::exchangeInPlace(platform::DeviceFile& file, std::uint32_t code, std::span<std::byte> block,
                                   std::size_t wanted) {
    const std::vector<std::byte> question(block.begin(), block.end());
    const auto answer = control(file, code, question, block);
    if (!answer.ok()) return false;
    const bool right = answer.value >= wanted && answer.value <= block.size();
    if (!right) noteFailure(platform::kInvalidData);
    return right;
}

platform::Result<bool> DeviceAccess::exchange(platform::DeviceFile& file, std::uint32_t code,
                                              std::span<const std::byte> question,
                                              std::span<std::byte> answer, std::size_t dataAt,
                                              std::span<std::uint8_t> data) {
    const auto told = control(file, code, question, answer);
    if (!told.ok()) return platform::Result<bool>::failed(told.error);
    if (data.empty()) return {true};
    if (told.value < dataAt + data.size() || told.value > answer.size()) {
        noteFailure(platform::kInvalidData);
        return {false};
    }
    std::memcpy(data.data(), answer.data() + dataAt, data.size());
    return {true};
}

std::wstring physicalDrivePath(std::int32_t physicalDriveId) {
    return fmt::format(L"\\\\.\\PhysicalDrive{}", physicalDriveId);
}

std::wstring scsiPath(std::int32_t scsiPort) {
    return fmt::format(L"\\\\.\\Scsi{}:", scsiPort);
}

std::optional<platform::SCSI_ADDRESS> GetScsiAddress(const std::wstring& path) {
    const auto file = platform::current().deviceFiles().open(path, {.attributes = 0});
    if (!file.ok()) return std::nullopt;
    platform::SCSI_ADDRESS address{};
    const auto answer = file.value->control(platform::IOCTL_SCSI_GET_ADDRESS, {}, room(address));
    if (!answer.ok() || answer.value < sizeof address) return std::nullopt;
    return address;
}

std::wstring GetScsiPath(const std::wstring& path) {
    const auto address = GetScsiAddress(path);
    return address ? L"\\\\.\\SCSI" + std::to_wstring(address->PortNumber) + L":" : L"";
}

} // namespace orv
