#include "platform/machine/MachineDevices.h"

#include "platform/machine/drives/MachineDriveAnswers.h"
#include "platform/servers/DevicePaths.h"
#include "platform/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstring>

namespace orv::platform {

namespace {

constexpr std::wstring_view kBatteryPath = L"battery";

class RecordedInterfaces : public DeviceInterfaces {
  public:
    RecordedInterfaces(Requests& requests, PathInterfaces list)
        : requests_(requests), list_(std::move(list)) {}

    Result<SP_DEVICE_INTERFACE_DATA> at(std::uint32_t index) override {
        if (const ErrorCode error = requests_.enter("deviceInterface", [&] { return std::to_string(index); }))
            return Result<SP_DEVICE_INTERFACE_DATA>::failed(error);
        return list_.at(index);
    }
    Result<std::uint32_t> detailSize(const SP_DEVICE_INTERFACE_DATA& data) override {
        if (const ErrorCode error = requests_.enter("deviceInterfaceDetailSize"))
            return Result<std::uint32_t>::failed(error);
        return list_.detailSize(data);
    }
    Result<std::wstring> detail(const SP_DEVICE_INTERFACE_DATA& data, std::uint32_t size) override {
        if (const ErrorCode error =
                requests_.enter("deviceInterfaceDetail", [&] { return std::to_string(size); }))
            return Result<std::wstring>::failed(error);
        return list_.detail(data, size);
    }

  private:
    Requests& requests_;
    PathInterfaces list_;
};

/// How the record tells a control code: "DEVICE CODE out N in HEX".
std::string controlDetail(std::string_view device, std::uint32_t code, std::span<const std::byte> in,
                          std::size_t out) {
    std::string text = fmt::format("{} {:#x} out {} in", device, code, out);
    for (const std::byte byte : in)
        text += fmt::format(" {:02x}", std::to_integer<unsigned>(byte));
    return text;
}

std::string openDetail(const std::string& path, const DeviceOpening& opening) {
    const DeviceOpening usual;
    std::string text = path;
    if (!opening.write) text += " for reading";
    if (!opening.shareRead || !opening.shareWrite)
        text += opening.shareRead    ? " sharing read"
                : opening.shareWrite ? " sharing write"
                                     : " sharing nothing";
    if (opening.attributes != usual.attributes) text += fmt::format(" attributes {:#x}", opening.attributes);
    return text;
}

/// The number that a path ends in after `prefix`, and before `suffix`; case does not count.
std::optional<std::uint32_t> numberIn(std::wstring_view path, std::wstring_view prefix,
                                      std::wstring_view suffix = L"") {
    if (path.size() <= prefix.size() + suffix.size() || !sameName(path.substr(0, prefix.size()), prefix) ||
        !path.ends_with(suffix))
        return std::nullopt;
    path.remove_prefix(prefix.size());
    path.remove_suffix(suffix.size());
    const std::string digits = wideToUtf8(path);
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
    return number;
}

class BatteryFile : public DeviceFile {
  public:
    BatteryFile(const MachineBatteries& batteries, std::size_t number, Requests& requests)
        : batteries_(batteries), number_(number), requests_(requests) {}

    Result<std::uint32_t> control(std::uint32_t code, std::span<const std::byte> in,
                                  std::span<std::byte> out) override {
        using Answer = Result<std::uint32_t>;
        const auto detail = [&] {
            return controlDetail(fmt::format("battery{}", number_), code, in, out.size());
        };
        if (const ErrorCode error = requests_.enter("deviceControl", detail)) return Answer::failed(error);
        const BatteryFacts* facts = batteries_.facts(number_);
        return facts ? answerBattery(*facts, code, in, out) : Answer::failed(kFileNotFound);
    }
    Result<std::uint32_t> read(std::uint64_t, std::span<std::byte>) override {
        return Result<std::uint32_t>::failed(kInvalidFunction);
    }

  private:
    const MachineBatteries& batteries_;
    std::size_t number_;
    Requests& requests_;
};

/// A drive or a port, under the path by which it was opened.
class RecordedFile : public DeviceFile {
  public:
    RecordedFile(std::string path, Requests& requests) : path_(std::move(path)), requests_(requests) {}

    Result<std::uint32_t> control(std::uint32_t code, std::span<const std::byte> in,
                                  std::span<std::byte> out) override {
        const auto detail = [&] { return controlDetail(path_, code, in, out.size()); };
        if (const ErrorCode error = requests_.enter("deviceControl", detail))
            return Result<std::uint32_t>::failed(error);
        return answer(code, in, out);
    }
    Result<std::uint32_t> read(std::uint64_t offset, std::span<std::byte> into) override {
        const auto detail = [&] { return fmt::format("{} {} {}", path_, offset, into.size()); };
        if (const ErrorCode error = requests_.enter("deviceRead", detail))
            return Result<std::uint32_t>::failed(error);
        return readInto(into);
    }

  private:
    virtual Result<std::uint32_t> answer(std::uint32_t code, std::span<const std::byte> in,
                                         std::span<std::byte> out) = 0;
    virtual Result<std::uint32_t> readInto(std::span<std::byte>) {
        return Result<std::uint32_t>::failed(kInvalidFunction);
    }

    std::string path_;
    Requests& requests_;
};

class DriveFile : public RecordedFile {
  public:
    DriveFile(std::string path, MachineDrive& drive, Requests& requests)
        : RecordedFile(std::move(path), requests), drive_(drive) {}

  private:
    Result<std::uint32_t> answer(std::uint32_t code, std::span<const std::byte> in,
                                 std::span<std::byte> out) override {
        return answerDrive(drive_, code, in, out);
    }
    Result<std::uint32_t> readInto(std::span<std::byte> into) override { return readDrive(drive_, into); }

    MachineDrive& drive_;
};

class PortFile : public RecordedFile {
  public:
    PortFile(std::string path, std::vector<MachineDrive*> drives, MachineRaidPort* raid, Requests& requests)
        : RecordedFile(std::move(path), requests), drives_(std::move(drives)), raid_(raid) {}

  private:
    Result<std::uint32_t> answer(std::uint32_t code, std::span<const std::byte> in,
                                 std::span<std::byte> out) override {
        if (raid_)
            if (const auto answer = raid_->answer(code, in, out)) return *answer;
        return answerPort(drives_, code, in, out);
    }

    std::vector<MachineDrive*> drives_;
    MachineRaidPort* raid_; // null: no RAID driver
};

class Controller : public Device {
  public:
    Controller(const DriveController& controller, Requests& requests)
        : controller_(controller), requests_(requests) {}

    Result<std::wstring> id(std::uint32_t room) override {
        if (const ErrorCode error = requests_.enter("deviceId")) return Result<std::wstring>::failed(error);
        if (controller_.id.size() >= room) return Result<std::wstring>::failed(kInsufficientBuffer);
        return {controller_.id};
    }
    Result<std::uint32_t> property(const DevicePropertyKey& key, std::span<std::byte> data) override {
        using Answer = Result<std::uint32_t>;
        if (const ErrorCode error = requests_.enter("deviceProperty", [&] { return std::to_string(key.id); }))
            return Answer::failed(error);
        const auto place = std::ranges::find(kLinkProperties, key.id);
        if (!(key.set == kPciDeviceProperties) || place == std::end(kLinkProperties) || !controller_.link)
            return Answer::failed(kElementNotFound);
        const auto known = (*controller_.link)[place - std::begin(kLinkProperties)];
        if (!known) return Answer::failed(kElementNotFound);
        const std::uint32_t value = *known;
        if (data.size() < sizeof value) return Answer::failed(kInsufficientBuffer);
        std::memcpy(data.data(), &value, sizeof value);
        return {static_cast<std::uint32_t>(sizeof value)};
    }

  private:
    /// Properties of a PCI device, and those of its link in the order of DriveLink.
    static constexpr Guid kPciDeviceProperties = {
        0x3AB22E31, 0x8264, 0x4B4E, {0x9A, 0xF5, 0xA8, 0xD2, 0xD8, 0xE3, 0x3E, 0x62}};
    static constexpr std::uint32_t kLinkProperties[] = {11, 12, 9, 10};

    const DriveController& controller_;
    Requests& requests_;
};

class VolumeFile : public RecordedFile {
  public:
    VolumeFile(std::string path, const MachineVolume& volume, Requests& requests)
        : RecordedFile(std::move(path), requests), volume_(volume) {}

  private:
    Result<std::uint32_t> answer(std::uint32_t code, std::span<const std::byte>,
                                 std::span<std::byte> out) override {
        return answerVolume(volume_, code, out);
    }

    const MachineVolume& volume_;
};

class Controllers : public Devices {
  public:
    Controllers(std::vector<const DriveController*> controllers, Requests& requests)
        : controllers_(std::move(controllers)), requests_(requests) {}

    Result<std::unique_ptr<Device>> at(std::uint32_t index) override {
        using Answer = Result<std::unique_ptr<Device>>;
        if (const ErrorCode error = requests_.enter("device", [&] { return std::to_string(index); }))
            return Answer::failed(error);
        if (index >= controllers_.size()) return Answer::failed(kNoMoreItems);
        return {std::make_unique<Controller>(*controllers_[index], requests_)};
    }

  private:
    std::vector<const DriveController*> controllers_;
    Requests& requests_;
};

} // namespace

Result<std::unique_ptr<DeviceInterfaces>> MachineDeviceTree::interfacesOf(const Guid& deviceClass) {
    if (const ErrorCode error = requests_.enter("deviceInterfaces"))
        return Result<std::unique_ptr<DeviceInterfaces>>::failed(error);
    std::vector<std::wstring> paths;
    if (deviceClass == kBatteryClass)
        for (const std::size_t number : batteries_.present())
            paths.push_back(std::wstring(kBatteryPath) + std::to_wstring(number));
    return {std::make_unique<RecordedInterfaces>(requests_, PathInterfaces(deviceClass, std::move(paths)))};
}

Result<std::unique_ptr<Devices>> MachineDeviceTree::devicesOf(const Guid& setupClass) {
    if (const ErrorCode error = requests_.enter("devices"))
        return Result<std::unique_ptr<Devices>>::failed(error);
    std::vector<const DriveController*> found;
    if (setupClass == kScsiAdapterClass)
        for (const DriveController& controller : drives_.controllers())
            if (controller.kind.value_or(ControllerKind::scsi) == ControllerKind::scsi)
                found.push_back(&controller);
    return {std::make_unique<Controllers>(std::move(found), requests_)};
}

std::uint32_t MachineDeviceFiles::driveType(std::wstring_view root) {
    constexpr std::uint32_t unknown = 0;
    if (requests_.enter("driveType", [&] { return wideToUtf8(root); })) return unknown;
    const MachineVolume* volume = volumes_.byRoot(root);
    return volume ? volume->type : kNoRootFolder;
}

ErrorCode MachineDeviceFiles::defineDosDevice(std::wstring_view name, std::wstring_view target) {
    const auto detail = [&] { return wideToUtf8(name) + " " + wideToUtf8(target); };
    if (const ErrorCode error = requests_.enter("defineDosDevice", detail)) return error;
    defined_.emplace_back(name, target);
    return kSuccess;
}

std::vector<MachineDrive*> MachineDeviceFiles::portOf(std::wstring_view path) const {
    if (const auto port = numberIn(path, LR"(\\.\Scsi)", L":")) return drives_.ofPort(*port);
    for (auto entry = defined_.rbegin(); entry != defined_.rend(); ++entry) // the latest counts
        if (sameName(path, LR"(\\.\)" + entry->first)) return drives_.ofPort(entry->second);
    return {};
}

MachineRaidPort* MachineDeviceFiles::raidOf(std::wstring_view path) const {
    const auto port = numberIn(path, LR"(\\.\Scsi)", L":");
    return port ? raid_.ofPort(*port) : nullptr;
}

Result<std::unique_ptr<DeviceFile>> MachineDeviceFiles::open(std::wstring_view path,
                                                             const DeviceOpening& opening) {
    using Answer = Result<std::unique_ptr<DeviceFile>>;
    const std::string name = wideToUtf8(path);
    if (const ErrorCode planned = requests_.enter("openDevice", [&] { return openDetail(name, opening); }))
        return Answer::failed(planned);
    if (const auto battery = numberIn(path, kBatteryPath); battery && batteries_.facts(*battery))
        return {std::make_unique<BatteryFile>(batteries_, *battery, requests_)};
    if (const auto number = numberIn(path, LR"(\\.\PhysicalDrive)")) {
        MachineDrive* drive = drives_.byNumber(*number);
        if (!drive || !drive->present()) return Answer::failed(kFileNotFound);
        if (const ErrorCode error = drive->facts().openError) return Answer::failed(error);
        return {std::make_unique<DriveFile>(name, *drive, requests_)};
    }
    if (const MachineVolume* volume = volumes_.byDevice(path)) {
        if (volume->openError != kSuccess) return Answer::failed(volume->openError);
        return {std::make_unique<VolumeFile>(name, *volume, requests_)};
    }
    MachineRaidPort* raid = raidOf(path);
    if (auto drives = portOf(path); raid || !drives.empty())
        return {std::make_unique<PortFile>(name, std::move(drives), raid, requests_)};
    return Answer::failed(kFileNotFound);
}

} // namespace orv::platform
