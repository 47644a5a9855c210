#include "platform/linux/DeviceServices.h"

#include "platform/linux/ErrorCodes.h"
#include "platform/linux/PowerSupply.h"
#include "platform/linux/drives/DriveFile.h"
#include "platform/linux/drives/Volumes.h"
#include "platform/linux/files/PciFunctions.h"
#include "platform/servers/DevicePaths.h"
#include "platform/text.h"

#include <array>
#include <cstring>

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

constexpr Guid kPciDeviceKeys = {
    0x3AB22E31, 0x8264, 0x4B4E, {0x9A, 0xF5, 0xA8, 0xD2, 0xD8, 0xE3, 0x3E, 0x62}};

struct PciFunction {
    std::string folder;
    PciFunctionFacts::Facts facts;
};

/// A property of a PCI device's link.
struct LinkProperty {
    std::uint32_t id;
    std::optional<std::uint32_t> (*read)(const RootedFiles& files, const PciFunction& function);
};

constexpr std::array kLinkProperties = {
    LinkProperty{9,
                 [](const RootedFiles& files, const PciFunction& function) {
                     return linkGeneration(files.line(function.folder + "/current_link_speed"));
                 }},
    LinkProperty{10,
                 [](const RootedFiles& files, const PciFunction& function) {
                     return linkWidth(files.line(function.folder + "/current_link_width"));
                 }},
    LinkProperty{
        11, [](const RootedFiles&, const PciFunction& function) { return function.facts.mostGeneration; }},
    LinkProperty{12,
                 [](const RootedFiles&, const PciFunction& function) { return function.facts.mostWidth; }},
};

class PciDevice : public Device {
  public:
    PciDevice(const RootedFiles& files, const PciFunction& function) : files_(files), function_(function) {}

    Result<std::wstring> id(std::uint32_t room) override {
        std::wstring id = utf8ToWide(function_.facts.id);
        if (id.size() >= room) return Result<std::wstring>::failed(kInsufficientBuffer);
        return {std::move(id)};
    }

    Result<std::uint32_t> property(const DevicePropertyKey& key, std::span<std::byte> data) override {
        using Answer = Result<std::uint32_t>;
        for (const LinkProperty& row : kLinkProperties) {
            if (key.set != kPciDeviceKeys || key.id != row.id) continue;
            const auto value = row.read(files_, function_);
            if (!value) return Answer::failed(kFileNotFound);
            if (data.size() < sizeof *value) return Answer::failed(kInsufficientBuffer);
            std::memcpy(data.data(), &*value, sizeof *value);
            return {static_cast<std::uint32_t>(sizeof *value)};
        }
        return Answer::failed(kFileNotFound);
    }

  private:
    const RootedFiles& files_;
    PciFunction function_;
};

class PciDevices : public Devices {
  public:
    PciDevices(const RootedFiles& files, std::vector<PciFunction> functions)
        : files_(files), functions_(std::move(functions)) {}

    Result<std::unique_ptr<Device>> at(std::uint32_t index) override {
        if (index >= functions_.size()) return Result<std::unique_ptr<Device>>::failed(kNoMoreItems);
        return {std::make_unique<PciDevice>(files_, functions_[index])};
    }

  private:
    const RootedFiles& files_;
    std::vector<PciFunction> functions_;
};

} // namespace

LinuxDeviceTree::LinuxDeviceTree(const RootedFiles& files, DiskInventory& disks)
    : files_(files), pciFunctions_(disks.pciFunctions()), supplies_(files, std::string(kPowerSupplies)) {}

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

Result<std::unique_ptr<Devices>> LinuxDeviceTree::devicesOf(const Guid& setupClass) {
    std::vector<PciFunction> functions;
    if (setupClass == kScsiAdapterClass)
        for (std::string& folder : pciFunctions(files_, kFirstStorageClass, kLastStorageClass)) {
            auto facts = pciFunctions_.of(folder);
            functions.push_back({std::move(folder), std::move(facts)});
        }
    return {std::make_unique<PciDevices>(files_, std::move(functions))};
}

Result<std::unique_ptr<Devices>> LinuxDeviceTree::devicesWith(const Guid& setupClass, std::wstring_view id) {
    std::vector<PciFunction> functions;
    if (setupClass != kScsiAdapterClass) return {std::make_unique<PciDevices>(files_, std::move(functions))};
    auto [folder, facts] = pciFunctions_.at(wideToUtf8(id));
    const std::uint32_t code = facts.code >> 8;
    if (code >= kFirstStorageClass && code <= kLastStorageClass)
        functions.push_back({std::move(folder), std::move(facts)});
    return {std::make_unique<PciDevices>(files_, std::move(functions))};
}

std::uint32_t LinuxDeviceFiles::driveType(std::wstring_view root) {
    return volumeType(disks_, root);
}

ErrorCode LinuxDeviceFiles::defineDosDevice(std::wstring_view, std::wstring_view) {
    return kInvalidFunction;
}

Result<std::unique_ptr<DeviceFile>> LinuxDeviceFiles::open(std::wstring_view path, const DeviceOpening&) {
    using Answer = Result<std::unique_ptr<DeviceFile>>;
    std::string folder = wideToUtf8(path);
    if (!folder.starts_with(kPowerSupplies)) {
        auto volume = openVolume(disks_, path);
        return volume.error == kFileNotFound ? openDrive(disks_, path) : std::move(volume);
    }
    const auto isBattery = isBatterySupply(files_, folder);
    if (!isBattery.ok()) return Answer::failed(isBattery.error);
    if (!isBattery.value) return Answer::failed(kFileNotFound);
    return {std::make_unique<PowerSupplyFile>(files_, std::move(folder))};
}

} // namespace orv::platform
