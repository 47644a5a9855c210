#include "platform/linux/DeviceServices.h"

#include "platform/linux/ErrorCodes.h"
#include "platform/linux/PowerSupply.h"
#include "platform/servers/DevicePaths.h"
#include "platform/text.h"

namespace orv::platform {

namespace {

constexpr std::string_view kPowerSupplies = "/sys/class/power_supply/";

/// Reads its files anew at each request, as a driver asks its hardware.
class PowerSupplyFile : public DeviceFile {
  public:
    PowerSupplyFile(const RootedFiles& files, std::string folder)
        : files_(files), folder_(std::move(folder)) {}

    Result<std::uint32_t> control(std::uint32_t code, std::span<const std::byte> in,
                                  std::span<std::byte> out) override {
        if (!files_.exists(folder_)) return Result<std::uint32_t>::failed(kFileNotFound);
        return answerPowerSupply(files_, folder_, code, in, out);
    }
    Result<std::uint32_t> read(std::uint64_t, std::span<std::byte>) override {
        return Result<std::uint32_t>::failed(kInvalidFunction);
    }

  private:
    const RootedFiles& files_;
    std::string folder_;
};

} // namespace

LinuxDeviceTree::LinuxDeviceTree(const RootedFiles& files)
    : files_(files), supplies_(files, std::string(kPowerSupplies)) {}

Result<std::unique_ptr<DeviceInterfaces>> LinuxDeviceTree::interfacesOf(const Guid& deviceClass) {
    using Answer = Result<std::unique_ptr<DeviceInterfaces>>;
    std::vector<std::wstring> paths;
    if (deviceClass == kBatteryClass) {
        const auto entries = supplies_.list(); // a kernel without the class has no such folder
        if (!entries.ok() && !saysAbsent(entries.error)) return Answer::failed(entries.error);
        for (const std::string& name : entries.value) {
            const std::string folder = std::string(kPowerSupplies) + name;
            const auto isBattery = isBatterySupply(files_, folder);
            if (!isBattery.ok()) return Answer::failed(isBattery.error);
            if (isBattery.value) paths.push_back(utf8ToWide(folder));
        }
    }
    return {std::make_unique<PathInterfaces>(deviceClass, std::move(paths))};
}

Result<std::unique_ptr<Devices>> LinuxDeviceTree::devicesOf(const Guid&) {
    return Result<std::unique_ptr<Devices>>::failed(kInvalidFunction);
}

ErrorCode LinuxDeviceFiles::defineDosDevice(std::wstring_view, std::wstring_view) {
    return kInvalidFunction;
}

Result<std::unique_ptr<DeviceFile>> LinuxDeviceFiles::open(std::wstring_view path, const DeviceOpening&) {
    using Answer = Result<std::unique_ptr<DeviceFile>>;
    std::string folder = wideToUtf8(path);
    if (!folder.starts_with(kPowerSupplies)) return Answer::failed(kFileNotFound);
    const auto isBattery = isBatterySupply(files_, folder);
    if (!isBattery.ok()) return Answer::failed(isBattery.error);
    if (!isBattery.value) return Answer::failed(kFileNotFound);
    return {std::make_unique<PowerSupplyFile>(files_, std::move(folder))};
}

} // namespace orv::platform
