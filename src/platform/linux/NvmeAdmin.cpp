#include "platform/linux/NvmeAdmin.h"

#include "platform/linux/ErrorCodes.h"
#include "platform/records/NvmeRecords.h"

#include <algorithm>
#include <cerrno>
#include <sys/ioctl.h>

namespace orv::platform {

namespace {

constexpr std::uint32_t kUsualSeconds = 2;
constexpr std::uint32_t kMostSeconds = 600;
constexpr std::size_t kHealthLogBytes = 512;

/// Bytes of a log page that a command asks for: its number of dwords, less one, stands in two halves.
std::size_t logBytes(const nvme_admin_cmd& command) {
    return ((std::size_t{command.cdw11 & 0xFFFF} << 16 | command.cdw10 >> 16) + 1) * 4;
}

/// The number of dwords in the bits of dword 10 that a storage query leaves to its driver.
std::uint32_t dwordCount(const DriveRequest& request) {
    constexpr std::uint32_t mostDwords = 0x10000;
    std::size_t bytes = request.dataBytes;
    if (request.commandDword10 == kNvmeHealthLog) bytes = std::min(bytes, kHealthLogBytes);
    const auto dwords = std::min<std::size_t>(bytes / 4, mostDwords);
    return static_cast<std::uint32_t>(std::max<std::size_t>(dwords, 1) - 1) << 16;
}

} // namespace

Result<nvme_admin_cmd> nvmeCommandOf(const DriveRequest& request) {
    using Answer = Result<nvme_admin_cmd>;
    nvme_admin_cmd command{};
    command.opcode = request.nvmeOpcode;
    command.nsid = request.namespaceId;
    command.cdw10 = request.commandDword10;
    command.cdw11 = request.commandDword11;
    const std::uint32_t seconds = request.timeOutSeconds == 0 ? kUsualSeconds : request.timeOutSeconds;
    command.timeout_ms = std::min(seconds, kMostSeconds) * 1000;
    std::size_t bytes = kNvmeDataBytes;
    if (request.nvmeOpcode == kNvmeGetLogPage) {
        if (request.path == DrivePath::storageQuery && command.cdw10 >> 16 == 0)
            command.cdw10 |= dwordCount(request);
        bytes = logBytes(command);
    } else if (request.nvmeOpcode != kNvmeIdentify) {
        return Answer::failed(kInvalidFunction);
    }
    if (bytes > request.dataBytes) return Answer::failed(kInvalidParameter);
    command.data_len = static_cast<std::uint32_t>(bytes);
    return {command};
}

ErrorCode sendNvme(int file, nvme_admin_cmd command, std::span<std::uint8_t> data) {
    command.addr = reinterpret_cast<std::uintptr_t>(data.data());
    const int status = ::ioctl(file, NVME_IOCTL_ADMIN_CMD, &command);
    if (status < 0) return errorFromErrno(errno);
    return status == 0 ? kSuccess : errorFromErrno(EIO); // above 0: the status that the drive gave
}

} // namespace orv::platform
