#include "cpu/CpuAmd.h"

#include "WinRing0/WinRing0.h"
#include "frame/HWException.h"
#include "platform/Platform.h"

namespace orv {

namespace {
constexpr platform::pciAddress kNorthbridge = 0xC0; // bus 0, device 0x18
constexpr std::uint32_t kDeviceVendorId = 0x00;     // Device/Vendor ID register
constexpr std::uint32_t kVendorAmd = 0x1022;
} // namespace

platform::pciAddress FindPciFunction(std::uint32_t function, std::uint32_t deviceId) {
    WinRing0Init();
    const platform::pciAddress address = kNorthbridge | (function & 7);
    const auto id = platform::current().ring0().ReadPciConfigDwordEx(address, kDeviceVendorId);
    if (id.result == 0) throwHW(L"ReadPciConfigDwordEx failed, check pci address");
    if (id.value != (deviceId << 16 | kVendorAmd)) throwHW(L"Device vendor id is not AMD");
    return address;
}

} // namespace orv
