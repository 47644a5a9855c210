#include "platform/windows/processor/Ring0.h"

#include <windows.h>

// The imports of WinRing0.dll; ring0/WinRing0.def gives each its ordinal.
extern "C" {
DWORD WINAPI GetDllStatus();
BOOL WINAPI InitializeOls();
void WINAPI releaseOls();
BOOL WINAPI RdmsrTx(DWORD index, DWORD* low, DWORD* high, DWORD affinityMask);
BYTE WINAPI ReadIoPortByte(WORD port);
void WINAPI WriteIoPortByte(WORD port, BYTE value);
void WINAPI WriteIoPortWord(WORD port, WORD value);
BYTE WINAPI ReadPciConfigByte(DWORD address, DWORD reg);
WORD WINAPI ReadPciConfigWord(DWORD address, DWORD reg);
DWORD WINAPI ReadPciConfigDword(DWORD address, DWORD reg);
void WINAPI WritePciConfigDword(DWORD address, DWORD reg, DWORD value);
BOOL WINAPI ReadPciConfigDwordEx(DWORD address, DWORD reg, DWORD* value);
BOOL WINAPI WritePciConfigDwordEx(DWORD address, DWORD reg, DWORD value);
}

namespace orv::platform {

Ring0Status WindowsRing0::GetDllStatus() {
    ::SetLastError(ERROR_SUCCESS);
    const DWORD status = ::GetDllStatus();
    return {status, ::GetLastError()};
}

ErrorCode WindowsRing0::InitializeOls() {
    ::SetLastError(ERROR_SUCCESS);
    if (::InitializeOls()) return kSuccess;
    const DWORD cause = ::GetLastError();
    return cause != ERROR_SUCCESS ? cause : kGeneralFailure;
}

void WindowsRing0::releaseOls() {
    ::releaseOls();
}

Ring0Answer WindowsRing0::RdmsrTx(std::uint32_t index, std::uint32_t affinityMask) {
    DWORD low = 0;
    DWORD high = 0;
    ::SetLastError(ERROR_SUCCESS);
    const BOOL result = ::RdmsrTx(index, &low, &high, affinityMask);
    return {static_cast<std::uint32_t>(result), ::GetLastError(), std::uint64_t{high} << 32 | low};
}

std::uint8_t WindowsRing0::ReadIoPortByte(std::uint16_t port) {
    return ::ReadIoPortByte(port);
}

void WindowsRing0::WriteIoPortByte(std::uint16_t port, std::uint8_t value) {
    ::WriteIoPortByte(port, value);
}

void WindowsRing0::WriteIoPortWord(std::uint16_t port, std::uint16_t value) {
    ::WriteIoPortWord(port, value);
}

std::uint8_t WindowsRing0::ReadPciConfigByte(pciAddress address, std::uint32_t reg) {
    return ::ReadPciConfigByte(address, reg);
}

std::uint16_t WindowsRing0::ReadPciConfigWord(pciAddress address, std::uint32_t reg) {
    return ::ReadPciConfigWord(address, reg);
}

std::uint32_t WindowsRing0::ReadPciConfigDword(pciAddress address, std::uint32_t reg) {
    return ::ReadPciConfigDword(address, reg);
}

void WindowsRing0::WritePciConfigDword(pciAddress address, std::uint32_t reg, std::uint32_t value) {
    ::WritePciConfigDword(address, reg, value);
}

Ring0Answer WindowsRing0::ReadPciConfigDwordEx(pciAddress address, std::uint32_t reg) {
    DWORD value = 0;
    ::SetLastError(ERROR_SUCCESS);
    const BOOL result = ::ReadPciConfigDwordEx(address, reg, &value);
    return {static_cast<std::uint32_t>(result), ::GetLastError(), value};
}

Ring0Answer WindowsRing0::WritePciConfigDwordEx(pciAddress address, std::uint32_t reg, std::uint32_t value) {
    ::SetLastError(ERROR_SUCCESS);
    const BOOL result = ::WritePciConfigDwordEx(address, reg, value);
    return {static_cast<std::uint32_t>(result), ::GetLastError(), 0};
}

} // namespace orv::platform
