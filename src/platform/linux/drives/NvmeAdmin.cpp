#include "platform/linux/drives/NvmeAdmin.h"

#include "platform/linux/ErrorCodes.h"
#include "platform/records/NvmeRecords.h"

#include <algorithm>
#include <cerrno>
#include <sys/ioctl.h>

namespace orv::platform {

namespace {

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
    // 0 is the kernel's own time-out. When an admin command runs out of time, the kernel resets the
    // controller.
    command.timeout_ms = std::min(request.timeOutSeconds, kMostSeconds) * 1000;
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

ErrorCode nvmeErrorOf(int status, int error) {
    constexpr int withoutHints = 0x7FF; // status code and its type, without "more" and "do not retry"
    constexpr int hostAborted = 0x371;
    // No signal ends the wait for an admin command: EINTR is one that the kernel gave up.
    if (status < 0) return error == EINTR ? kTimedOut : errorFromErrno(error);
    if ((status & withoutHints) == hostAborted) return kTimedOut;
    return status == 0 ? kSuccess : errorFromErrno(EIO);
}

ErrorCode sendNvme(int file, nvme_admin_cmd command, std::span<std::uint8_t> data) {
    command.addr = reinterpret_cast<std::uintptr_t>(data.data());
    const int status = ::ioctl(file, NVME_IOCTL_ADMIN_CMD, &command);
    return nvmeErrorOf(status, errno);
}

} // namespace orv::platform
