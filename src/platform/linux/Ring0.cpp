#include "platform/linux/Ring0.h"

#include "platform/linux/ErrorCodes.h"

#include <bit>
#include <cerrno>
#include <cpuid.h>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace orv::platform {

namespace {

// Answers of GetDllStatus; docs/ring0.md holds the same table in words.
constexpr std::uint32_t kReady = 0;
constexpr std::uint32_t kUnsupportedPlatform = 1; // a processor without machine registers
constexpr std::uint32_t kDriverNotLoaded = 2;     // no device file: the msr module is not loaded
constexpr std::uint32_t kDriverUnloaded = 4;      // after releaseOls
constexpr std::uint32_t kUnknown = 9;             // the device file is there and does not open

constexpr char kPortDevice[] = "/dev/port";
constexpr std::uint32_t kConfigurationBytes = 4096; // extended configuration space (PCI Express)
constexpr std::uint32_t kCpuidMsr = 1U << 5;        // leaf 1, EDX: RDMSR and WRMSR

std::string registerDevice(int processor) {
    return "/dev/cpu/" + std::to_string(processor) + "/msr";
}

std::string configurationFile(pciAddress address) {
    char path[64];
    std::snprintf(path, sizeof path, "/sys/bus/pci/devices/0000:%02x:%02x.%x/config", address >> 8 & 0xFF,
                  address >> 3 & 0x1F, address & 7);
    return path;
}

bool inConfiguration(std::uint32_t reg, std::uint32_t size) {
    return reg < kConfigurationBytes && reg % size == 0;
}

bool hasMachineRegisters() {
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    return __get_cpuid(1, &a, &b, &c, &d) != 0 && (d & kCpuidMsr) != 0;
}

class OpenFile {
  public:
    OpenFile(const std::string& path, int mode) : file_(::open(path.c_str(), mode | O_CLOEXEC)) {}
    ~OpenFile() {
        if (file_ >= 0) ::close(file_);
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    int get() const { return file_; }

  private:
    int file_;
};

/// A transfer has to be whole: the kernel cuts what this process may not see.
ErrorCode whole(ssize_t moved, std::size_t size) {
    if (moved < 0) return errorFromErrno(errno);
    return static_cast<std::size_t>(moved) == size ? kSuccess : kAccessDenied;
}

} // namespace

ErrorCode LinuxRing0::readAt(const std::string& path, std::uint64_t offset, void* into,
                             std::size_t size) const {
    const OpenFile file(files_.full(path), O_RDONLY);
    if (file.get() < 0) return errorFromErrno(errno);
    return whole(::pread(file.get(), into, size, static_cast<off_t>(offset)), size);
}

ErrorCode LinuxRing0::writeAt(const std::string& path, std::uint64_t offset, const void* from,
                              std::size_t size) const {
    const OpenFile file(files_.full(path), O_WRONLY);
    if (file.get() < 0) return errorFromErrno(errno);
    return whole(::pwrite(file.get(), from, size, static_cast<off_t>(offset)), size);
}

ErrorCode LinuxRing0::InitializeOls() {
    const OpenFile device(files_.full(registerDevice(0)), O_RDONLY);
    return device.get() < 0 ? errorFromErrno(errno) : kSuccess;
}

Ring0Status LinuxRing0::GetDllStatus() {
    if (released_) return {kDriverUnloaded, kSuccess};
    if (!hasMachineRegisters()) return {kUnsupportedPlatform, kSuccess};
    const OpenFile device(files_.full(registerDevice(0)), O_RDONLY);
    if (device.get() >= 0) return {kReady, kSuccess};
    const int cause = errno;
    const bool missing = cause == ENOENT || cause == ENOTDIR || cause == ENXIO || cause == ENODEV;
    return {missing ? kDriverNotLoaded : kUnknown, errorFromErrno(cause)};
}

Ring0Answer LinuxRing0::RdmsrTx(std::uint32_t index, std::uint32_t affinityMask) {
    if (affinityMask == 0) return Ring0Answer::failed(kInvalidParameter);
    std::uint64_t value = 0;
    const ErrorCode error =
        readAt(registerDevice(std::countr_zero(affinityMask)), index, &value, sizeof value);
    return error == kSuccess ? Ring0Answer::read(value) : Ring0Answer::failed(error);
}

std::uint8_t LinuxRing0::ReadIoPortByte(std::uint16_t port) {
    std::uint8_t value = 0;
    return readAt(kPortDevice, port, &value, sizeof value) == kSuccess ? value : 0xFF;
}

void LinuxRing0::WriteIoPortByte(std::uint16_t port, std::uint8_t value) {
    writeAt(kPortDevice, port, &value, sizeof value);
}

void LinuxRing0::WriteIoPortWord(std::uint16_t port, std::uint16_t value) {
    // The kernel writes the two bytes in turn, as the bus does for a device with registers of one byte.
    writeAt(kPortDevice, port, &value, sizeof value);
}

std::uint8_t LinuxRing0::ReadPciConfigByte(pciAddress address, std::uint32_t reg) {
    std::uint8_t value = 0;
    const bool good = inConfiguration(reg, sizeof value) &&
                      readAt(configurationFile(address), reg, &value, sizeof value) == kSuccess;
    return good ? value : 0xFF;
}

std::uint16_t LinuxRing0::ReadPciConfigWord(pciAddress address, std::uint32_t reg) {
    std::uint16_t value = 0;
    const bool good = inConfiguration(reg, sizeof value) &&
                      readAt(configurationFile(address), reg, &value, sizeof value) == kSuccess;
    return good ? value : 0xFFFF;
}

std::uint32_t LinuxRing0::ReadPciConfigDword(pciAddress address, std::uint32_t reg) {
    const Ring0Answer answer = ReadPciConfigDwordEx(address, reg);
    return answer.result == 1 ? static_cast<std::uint32_t>(answer.value) : 0xFFFFFFFF;
}

void LinuxRing0::WritePciConfigDword(pciAddress address, std::uint32_t reg, std::uint32_t value) {
    WritePciConfigDwordEx(address, reg, value);
}

Ring0Answer LinuxRing0::ReadPciConfigDwordEx(pciAddress address, std::uint32_t reg) {
    std::uint32_t value = 0;
    if (!inConfiguration(reg, sizeof value)) return Ring0Answer::failed(kInvalidParameter);
    const ErrorCode error = readAt(configurationFile(address), reg, &value, sizeof value);
    return error == kSuccess ? Ring0Answer::read(value) : Ring0Answer::failed(error);
}

Ring0Answer LinuxRing0::WritePciConfigDwordEx(pciAddress address, std::uint32_t reg, std::uint32_t value) {
    if (!inConfiguration(reg, sizeof value)) return Ring0Answer::failed(kInvalidParameter);
    const ErrorCode error = writeAt(configurationFile(address), reg, &value, sizeof value);
    return error == kSuccess ? Ring0Answer::read(0) : Ring0Answer::failed(error);
}

} // namespace orv::platform
