#include "SMBUS/SMBUS.h"

#include "WinRing0/WinRing0.h"
#include "frame/HWException.h"
#include "log/log.h"
#include "platform/Clock.h"
#include "platform/Platform.h"
#include "platform/Ring0.h"

namespace orv {

namespace {

// Ports of the host controller, from its base on (Intel I/O controller hub and AMD FCH data sheets).
constexpr std::uint16_t kStatus = 0;
constexpr std::uint16_t kControl = 2;
constexpr std::uint16_t kCommand = 3;
constexpr std::uint16_t kSlaveAddress = 4;
constexpr std::uint16_t kData = 5;

constexpr std::uint8_t kBusy = 0x01;
constexpr std::uint8_t kDone = 0x02;
constexpr std::uint8_t kDeviceError = 0x04;
constexpr std::uint8_t kClearStatus = 0x1E;

constexpr std::uint8_t kStartRead = 0x48;
constexpr std::uint8_t kStartWrite = 0x50;

constexpr unsigned kMostPasses = 500;
constexpr unsigned kWriteAttempts = 5;

// PCI configuration of the Intel controller.
constexpr std::uint32_t kCommandRegister = 4; // bit 0: I/O space
constexpr std::uint32_t kHostConfig = 0x40;   // bit 0: host enable
constexpr std::uint32_t kBaseAddress = 0x20;

// AMD's power management registers, of which 0 and 1 hold the decode enable with the base address.
constexpr std::uint16_t kPmIndex = 0xCD6;
constexpr std::uint16_t kPmData = 0xCD7;
constexpr std::uint16_t kAmdBase = 0x0B00;

platform::Ring0& ring0() {
    return platform::current().ring0();
}

void SmbusDelay() {
    constexpr std::int64_t delayNs = 1000;
    platform::Clock& clock = platform::current().clock();
    const std::int64_t start = clock.monotonicNs();
    while (clock.monotonicNs() - start < delayNs) {
    }
}

/// The first function of class "SMBus controller"; 0 when there is none.
std::uint32_t findController() {
    for (std::uint32_t address = 0; address <= 0xFFFF; ++address) // bus, device and function, lowest first
        if (ring0().ReadPciConfigWord(address, 0) != 0xFFFF &&
            ring0().ReadPciConfigByte(address, 0x0B) == 0x0C &&
            ring0().ReadPciConfigByte(address, 0x0A) == 0x05)
            return address;
    return 0;
}

} // namespace

SMBus::SMBus() {
    log::entry(smbusLogger, L"SMBus::SMBus");
    WinRing0Init();
    vendor_ = GetCpuVendor();
    switch (vendor_) {
    case CpuVendor::intel:
        log::info(smbusLogger, L"CPU Vendor: Intel");
        findIntel();
        break;
    case CpuVendor::amd:
        log::info(smbusLogger, L"CPU Vendor: AMD");
        findAmd();
        break;
    default:
        throwHW(L"Unknown CPU Vendor");
    }
}

void SMBus::findIntel() {
    pciAddress_ = findController();
    if (pciAddress_ == 0) throwHW(L"SMBus not found");
    log::info(smbusLogger, L"SMBus found at: 0x{:x}", pciAddress_);

    const std::uint32_t command = ring0().ReadPciConfigDword(pciAddress_, kCommandRegister);
    log::info(smbusLogger, L"I/O Space state: 0x{:08x}", command);
    if ((command & 1) == 0) {
        log::info(smbusLogger, L"I/O Space disable, enable it");
        ring0().WritePciConfigDword(pciAddress_, kCommandRegister, command | 1);
    }
    const std::uint32_t hostConfig = ring0().ReadPciConfigDword(pciAddress_, kHostConfig);
    log::info(smbusLogger, L"HST_EN state: 0x{:08x}", hostConfig);
    if ((hostConfig & 1) == 0) {
        log::info(smbusLogger, L"HST_EN disable, enable it");
        ring0().WritePciConfigDword(pciAddress_, kHostConfig, hostConfig | 1);
    }
    base_ = ring0().ReadPciConfigWord(pciAddress_, kBaseAddress) & 0xFFFE;
    log::debug(smbusLogger, L"SMBus Base: 0x{:x}", base_);
}

void SMBus::findAmd() {
    ring0().WriteIoPortByte(kPmIndex, 0);
    const std::uint8_t low = ring0().ReadIoPortByte(kPmData);
    ring0().WriteIoPortByte(kPmIndex, 1);
    const std::uint8_t high = ring0().ReadIoPortByte(kPmData);
    if (low == 0xFF || high == 0xFF) {
        base_ = kAmdBase;
        return;
    }
    base_ = static_cast<std::uint16_t>(high << 8);
    log::info(smbusLogger, L"SMBus Base: 0x{:x}", base_);
}

std::uint8_t SMBus::readPort(std::uint16_t offset) {
    return ring0().ReadIoPortByte(static_cast<std::uint16_t>(base_ + offset));
}

void SMBus::writePort(std::uint16_t offset, std::uint8_t value) {
    ring0().WriteIoPortByte(static_cast<std::uint16_t>(base_ + offset), value);
}

std::uint8_t SMBus::acknowledgeStatus() {
    const std::uint8_t status = readPort(kStatus);
    writePort(kStatus, status);
    return status;
}

std::uint8_t SMBus::readSlaveData(std::uint8_t address, std::uint8_t command) {
    log::entry(smbusLogger, L"SMBus::readSlaveData");
    ring0().WriteIoPortWord(base_, kClearStatus);
    if (readPort(kStatus) == 0xFF && readPort(kControl) == 0xFF) {
        log::debug(smbusLogger, L"readSlaveData 0xff");
        return 0xFF;
    }
    std::uint8_t status = 0;
    unsigned passes = 0;
    do {
        status = acknowledgeStatus();
        if (++passes > kMostPasses) {
            log::error(smbusLogger, L"SMBus busy, timeout");
            return 0xFF;
        }
        SmbusDelay();
    } while ((status & kBusy) != 0);

    writePort(kSlaveAddress, address | 1);
    SmbusDelay();
    writePort(kCommand, command);
    SmbusDelay();
    writePort(kControl, kStartRead);
    SmbusDelay();
    for (passes = 0;;) {
        status = readPort(kStatus);
        SmbusDelay();
        if ((status & kDeviceError) != 0) {
            log::debug(smbusLogger, L"readSlaveData 0xff");
            return 0xFF;
        }
        if (++passes > kMostPasses) {
            log::error(smbusLogger, L"SMBus busy, timeout");
            return 0xFF;
        }
        if ((status & kDone) != 0) {
            SmbusDelay();
            return readPort(kData);
        }
    }
}

std::uint8_t SMBus::addressOfWrite(std::uint8_t address) const {
    if (vendor_ == CpuVendor::intel)
        return address | 1; // the transaction that 0x50 starts there wants it set
    if (vendor_ == CpuVendor::amd) return address & 0xFE;
    throwHW(L"Unknown CPU Vendor");
}

bool SMBus::writeSlaveData(std::uint8_t address, std::uint8_t command, std::uint8_t data) {
    log::entry(smbusLogger, L"SMBus::writeSlaveData");
    std::uint8_t last = 0;
    for (unsigned retries = 0; retries < kWriteAttempts; ++retries) {
        writePort(kStatus, kClearStatus);
        if (last == 0xFF && readPort(kControl) == 0xFF) return false;
        for (unsigned passes = 1; (acknowledgeStatus() & kBusy) != 0; ++passes) {
            if (passes > kMostPasses) {
                log::error(smbusLogger, L"SMBus busy, timeout");
                return false;
            }
            SmbusDelay();
        }
        writePort(kSlaveAddress, addressOfWrite(address));
        SmbusDelay();
        writePort(kCommand, command);
        SmbusDelay();
        writePort(kData, data);
        SmbusDelay();
        writePort(kControl, kStartWrite);
        const Attempt attempt = pollWrite(last);
        if (attempt != Attempt::deviceError) return attempt == Attempt::taken;
    }
    return false;
}

SMBus::Attempt SMBus::pollWrite(std::uint8_t& last) {
    for (unsigned passes = 1; passes <= kMostPasses; ++passes) {
        SmbusDelay();
        last = readPort(kStatus);
        if ((last & kDeviceError) != 0) {
            acknowledgeStatus();
            return Attempt::deviceError;
        }
        if ((last & kDone) != 0) {
            acknowledgeStatus();
            return Attempt::taken;
        }
    }
    log::error(smbusLogger, L"SMBus busy, timeout");
    return Attempt::timeout;
}

} // namespace orv
