#include "platform/linux/processor/Ring0.h"

#include "platform/linux/ErrorCodes.h"
#include "platform/linux/files/Descriptor.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cpuid.h>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace orv::platform {

namespace {

// Answers of GetDllStatus; docs/ring0.md holds the same table in words.
constexpr std::uint32_t kReady = 0;
constexpr std::uint32_t kUnsupportedPlatform = 1; // a processor without machine registers
constexpr std::uint32_t kDriverNotLoaded = 2;     // neither a thermal driver nor the msr module is loaded
constexpr std::uint32_t kDriverUnloaded = 4;      // after releaseOls
constexpr std::uint32_t kUnknown = 9;             // the device file is there and does not open

constexpr char kPortDevice[] = "/dev/port";
constexpr std::uint32_t kConfigurationBytes = 4096; // extended configuration space (PCI Express)
constexpr std::uint32_t kCpuidMsr = 1U << 5;        // leaf 1, EDX: RDMSR and WRMSR

// IA32_THERM_STATUS: readout in bits 22:16, in degrees below the reference; resolution of a degree, valid.
constexpr std::uint32_t kThermStatus = 0x19C;
constexpr std::uint32_t kReadoutValid = 0x88000000;
constexpr std::uint32_t kReadoutShift = 16;
constexpr double kLargestReadout = 0x7F;
// The library's logic takes 100 degrees for the reference of every model. Readouts are told from there, so
// that the temperature comes out right on a model with another one.
constexpr double kReference = 100.0;

// AMD's control temperature: eighths of a degree in bits 31:21; with the range bit they begin at -49 degrees.
constexpr std::uint32_t kControlShift = 21;
constexpr double kControlSteps = 8.0;
constexpr double kLargestControl = 0x7FF;
constexpr std::uint32_t kControlRange = 1U << 19;
constexpr double kRangeStart = -49.0;

constexpr pciAddress kRootComplex = 0;
constexpr pciAddress kMiscellaneousControl = 0x18 << 3 | 3; // northbridge function of families 0x10 to 0x16
constexpr std::uint32_t kReportedTemperature = 0xA4;

/// A way to the control temperature through an index and a data register of the root complex.
struct ControlPair {
    std::uint32_t indexRegister;
    std::uint32_t index;
    std::uint32_t dataRegister;
    bool range; // the register has the range bit
};
constexpr ControlPair kControlPairs[] = {
    {0xB8, 0xD8200CA4, 0xBC, false}, // SMU of family 0x15
    {0x60, 0x00059800, 0x64, true},  // system management network, from family 0x17 on
};

std::string registerDevice(std::uint32_t processor) {
    return "/dev/cpu/" + std::to_string(processor) + "/msr";
}

std::string configurationFile(pciAddress address) {
    char path[64];
    std::snprintf(path, sizeof path, "/sys/bus/pci/devices/0000:%02x:%02x.%x/config", address >> 8 & 0xFF,
                  address >> 3 & 0x1F, address & 7);
    return path;
}

// Causes of a device file that does not open where its driver is not there.
constexpr int kNoDevice[] = {ENOENT, ENOTDIR, ENXIO, ENODEV};

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
    OpenFile(const std::string& path, int mode) : file_(openDescriptor(path.c_str(), mode)) {}
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

ErrorCode LinuxRing0::openRegisters() const {
    const std::size_t bit = processors_.standInFor(0).value_or(0);
    const OpenFile device(files_.full(registerDevice(processors_.numbers()[bit])), O_RDONLY);
    return device.get() < 0 ? errorFromErrno(errno) : kSuccess;
}

ErrorCode LinuxRing0::InitializeOls() {
    return drivers_.find() ? kSuccess : openRegisters();
}

Ring0Status LinuxRing0::GetDllStatus() {
    if (released_) return {kDriverUnloaded, kSuccess};
    if (drivers_.find()) return {kReady, kSuccess};
    if (!hasMachineRegisters()) return {kUnsupportedPlatform, kSuccess};
    const ErrorCode error = openRegisters();
    if (error == kSuccess) return {kReady, kSuccess};
    const bool missing =
        std::ranges::any_of(kNoDevice, [&](int cause) { return errorFromErrno(cause) == error; });
    return {missing ? kDriverNotLoaded : kUnknown, error};
}

/// What a driver of the kernel reads, else the register itself; where that fails too, a driver may have been
/// loaded in the meantime.
template <class Driver, class Register>
Ring0Answer LinuxRing0::byDriver(Driver driver, Register itself) {
    if (const auto value = driver()) return Ring0Answer::read(*value);
    const Ring0Answer answer = itself();
    if (answer.result == 1 || !drivers_.find()) return answer;
    const auto value = driver();
    return value ? Ring0Answer::read(*value) : answer;
}

std::optional<std::uint32_t> LinuxRing0::thermalStatus(std::size_t bit) {
    const auto degrees = drivers_.core(bit);
    if (!degrees) return std::nullopt;
    const double readout = std::clamp(std::round(kReference - *degrees), 0.0, kLargestReadout);
    return kReadoutValid | static_cast<std::uint32_t>(readout) << kReadoutShift;
}

Ring0Answer LinuxRing0::RdmsrTx(std::uint32_t index, std::uint32_t affinityMask) {
    const auto bit = processors_.lowestBit(affinityMask);
    if (!bit) return Ring0Answer::failed(kInvalidParameter);
    const auto registerOf = [&](std::size_t processor) {
        std::uint64_t value = 0;
        const ErrorCode error =
            readAt(registerDevice(processors_.numbers()[processor]), index, &value, sizeof value);
        return error == kSuccess ? Ring0Answer::read(value) : Ring0Answer::failed(error);
    };
    const auto itself = [&] {
        const Ring0Answer answer = registerOf(*bit);
        const auto other = answer.result == 1 ? std::nullopt : processors_.standInFor(*bit);
        if (!other) return answer;
        const auto status = index == kThermStatus ? thermalStatus(*other) : std::nullopt;
        return status ? Ring0Answer::read(*status) : registerOf(*other);
    };
    if (index != kThermStatus) return itself();
    return byDriver([&] { return thermalStatus(*bit); }, itself);
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

std::optional<std::uint32_t> LinuxRing0::controlTemperature(bool range) {
    const auto degrees = drivers_.control();
    if (!degrees) return std::nullopt;
    const double steps = std::round((*degrees - (range ? kRangeStart : 0.0)) * kControlSteps);
    const auto value = static_cast<std::uint32_t>(std::clamp(steps, 0.0, kLargestControl)) << kControlShift;
    return range ? value | kControlRange : value;
}

Ring0Answer LinuxRing0::ReadPciConfigDwordEx(pciAddress address, std::uint32_t reg) {
    if (!inConfiguration(reg, sizeof reg)) return Ring0Answer::failed(kInvalidParameter);
    if (address == kRootComplex && selected_ && selected_->dataRegister == reg)
        return Ring0Answer::read(selected_->value);
    const auto itself = [&] {
        std::uint32_t value = 0;
        const ErrorCode error = readAt(configurationFile(address), reg, &value, sizeof value);
        return error == kSuccess ? Ring0Answer::read(value) : Ring0Answer::failed(error);
    };
    if (address != kMiscellaneousControl || reg != kReportedTemperature) return itself();
    return byDriver([&] { return controlTemperature(false); }, itself);
}

/// A write that selects the control temperature stays here where a driver has it: the register pair belongs
/// to the kernel.
Ring0Answer LinuxRing0::WritePciConfigDwordEx(pciAddress address, std::uint32_t reg, std::uint32_t value) {
    if (!inConfiguration(reg, sizeof value)) return Ring0Answer::failed(kInvalidParameter);
    if (address == kRootComplex) selected_.reset();
    const auto itself = [&] {
        const ErrorCode error = writeAt(configurationFile(address), reg, &value, sizeof value);
        return error == kSuccess ? Ring0Answer::read(0) : Ring0Answer::failed(error);
    };
    const auto pair = std::ranges::find_if(kControlPairs, [&](const ControlPair& candidate) {
        return candidate.indexRegister == reg && candidate.index == value;
    });
    if (address != kRootComplex || pair == std::end(kControlPairs)) return itself();
    const auto selected = [&]() -> std::optional<std::uint32_t> {
        const auto temperature = controlTemperature(pair->range);
        if (!temperature) return std::nullopt;
        selected_ = Selected{pair->dataRegister, *temperature};
        return 0;
    };
    return byDriver(selected, itself);
}

} // namespace orv::platform
