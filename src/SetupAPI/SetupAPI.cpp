#include "SetupAPI/SetupAPI.h"

#include "frame/HWException.h"
#include "platform/Platform.h"
#include "state/ProcessState.h"

namespace orv {

namespace {

struct BatteryDevices {
    std::unique_ptr<platform::DeviceInterfaces> list; // null while closed
};

platform::DeviceInterfaces& openList() {
    auto& list = processWide<BatteryDevices>().list;
    if (!list)
        throwHW(L"SetupDiEnumDeviceInterfaces failed: {}", getSystemErrorText(platform::kInvalidHandle));
    return *list;
}

[[noreturn]] void throwDetailFailed(platform::ErrorCode error) {
    throwHW(L"SetupDiGetDeviceInterfaceDetail failed: {}", getSystemErrorText(error));
}

} // namespace

void batteryDeviceOpen() {
    auto devices = platform::current().deviceTree().interfacesOf(platform::kBatteryClass);
    if (!devices.ok()) throwHW(L"SetupDiGetClassDevs failed: {}", getSystemErrorText(devices.error));
    processWide<BatteryDevices>().list = std::move(devices.value);
}

void batteryDeviceClose() {
    processWide<BatteryDevices>().list.reset();
}

platform::SP_DEVICE_INTERFACE_DATA batteryDeviceAt(std::uint32_t index) {
    const auto device = openList().at(index);
    if (device.error == platform::kNoMoreItems) return {};
    if (!device.ok()) throwHW(L"SetupDiEnumDeviceInterfaces failed: {}", getSystemErrorText(device.error));
    return device.value;
}

platform::Result<std::unique_ptr<platform::DeviceFile>>
batteryDeviceFile(const platform::SP_DEVICE_INTERFACE_DATA& data) {
    platform::DeviceInterfaces& list = openList();
    const auto size = list.detailSize(data);
    if (size.error != platform::kInsufficientBuffer) throwDetailFailed(size.error);
    const auto path = list.detail(data, size.value);
    if (!path.ok()) throwDetailFailed(path.error);
    return platform::current().deviceFiles().open(path.value);
}

} // namespace orv
