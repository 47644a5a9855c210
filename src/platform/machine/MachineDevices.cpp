#include "platform/machine/MachineDevices.h"

#include "platform/servers/DevicePaths.h"
#include "platform/text.h"

#include <fmt/format.h>

#include <charconv>

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

class BatteryFile : public DeviceFile {
  public:
    BatteryFile(const MachineBatteries& batteries, std::size_t number, Requests& requests)
        : batteries_(batteries), number_(number), requests_(requests) {}

    Result<std::uint32_t> control(std::uint32_t code, std::span<const std::byte> in,
                                  std::span<std::byte> out) override {
        using Answer = Result<std::uint32_t>;
        const auto detail = [&] {
            std::string text = fmt::format("battery{} {:#x} out {} in", number_, code, out.size());
            for (const std::byte byte : in)
                text += fmt::format(" {:02x}", std::to_integer<unsigned>(byte));
            return text;
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

Result<std::unique_ptr<Devices>> MachineDeviceTree::devicesOf(const Guid&) {
    return Result<std::unique_ptr<Devices>>::failed(kInvalidFunction);
}

ErrorCode MachineDeviceFiles::defineDosDevice(std::wstring_view, std::wstring_view) {
    return kInvalidFunction;
}

Result<std::unique_ptr<DeviceFile>> MachineDeviceFiles::open(std::wstring_view path, const DeviceOpening&) {
    using Answer = Result<std::unique_ptr<DeviceFile>>;
    const std::string name = wideToUtf8(path);
    if (const ErrorCode planned = requests_.enter("openDevice", [&] { return name; }))
        return Answer::failed(planned);
    std::size_t number = 0;
    const std::string digits = path.starts_with(kBatteryPath) ? name.substr(kBatteryPath.size()) : "";
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    const bool named = error == std::errc() && end == digits.data() + digits.size();
    if (!named || !batteries_.facts(number)) return Answer::failed(kFileNotFound);
    return {std::make_unique<BatteryFile>(batteries_, number, requests_)};
}

} // namespace orv::platform
