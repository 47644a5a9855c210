#include "disk_engine/CAtaSmart.h"
#include "disk_engine/DebugFormat.h"
#include "disk_engine/WideText.h"
#include "disk_engine/search/SearchStages.h"

#include <algorithm>
#include <cwchar>

namespace orv {

namespace {

constexpr std::size_t kMostDrivers = 512;
constexpr std::size_t kMostIdeControllers = 512;
constexpr std::size_t kMostScsiControllers = 256;
constexpr std::size_t kMostDevices = 256; // of a controller

/// Device and its name, as both stand in a row.
struct Named {
    std::wstring id;
    std::wstring name;
};

Named namedOf(platform::ManagementRow& row) {
    return {columnText(row, L"DeviceID"), columnText(row, L"Name")};
}

std::vector<Named> namedRows(platform::ManagementServices& services, const std::wstring& query,
                             std::size_t limit, bool& ok) {
    std::vector<Named> rows;
    ok = eachRow(services, query, limit, [&](platform::ManagementRow& row) { rows.push_back(namedOf(row)); });
    return rows;
}

/// The devices on a controller of a class, in the order in which they are told.
std::vector<Named> devicesOn(platform::ManagementServices& services, const std::wstring& controllerClass,
                             std::wstring controllerId, std::size_t limit, bool& ok) {
    Replace(controllerId, L"\\", L"\\\\"); // it stands in quotes in the query
    return namedRows(services,
                     L"ASSOCIATORS OF {" + controllerClass + L".DeviceID=\"" + controllerId +
                         L"\"} WHERE AssocClass = " + controllerClass + L"Device",
                     limit, ok);
}

void noteMaker(CAtaSmart& engine, const std::wstring& controllerName) {
    if (Begins(controllerName, L"NVIDIA")) engine.IsNvidiaController = 1;
    if (Begins(controllerName, L"Marvell")) engine.IsMarvellController = 1;
}

void addMapLine(CAtaSmart& engine, const std::wstring& line) {
    engine.ControllerMap += line + L"\r\n";
}

/// A controller's line, once a name.
void addController(CAtaSmart& engine, std::vector<std::wstring>& names, const std::wstring& name,
                   const wchar_t* mark) {
    names.push_back(name);
    const std::wstring line = L" + " + name + mark;
    if (!Contains(engine.ControllerMap, line)) addMapLine(engine, line);
}

// ---- SCSI

/// Whose drives are not probed, for it hangs or gives wrong data.
constexpr const wchar_t* kBlackControllers[] = {L"VIA VT6410", L"ITE IT8212"};

/// Controllers that are sold under another name than their chip's.
struct SiliconImageName {
    const wchar_t* head;
    std::int32_t model;
};
constexpr SiliconImageName kSiliconImageNames[] = {
    {L"BUFFALO IFC-PCI2ES", 3112},
    {L"BUFFALO IFC-PCIE2SA", 3132},
};

/// Model number of a Silicon Image controller; empty for another one.
std::optional<std::int32_t> siliconImageModel(const std::wstring& name) {
    const std::wstring head = L"Silicon Image SiI ";
    if (Begins(name, head)) return ToInteger(name.substr(head.size()));
    for (const SiliconImageName& row : kSiliconImageNames)
        if (Begins(name, row.head)) return row.model;
    return std::nullopt;
}

bool readScsiController(CAtaSmart& engine, platform::ManagementServices& services, const Named& controller) {
    const std::wstring& name = controller.name;
    addController(engine, engine.ScsiController, name, L" [SCSI]");
    const bool isUsbAttached = Contains(name, L"USB") || Contains(name, L"UAS");
    const bool isBlack =
        !engine.AdvancedDiskSearch &&
        std::ranges::any_of(kBlackControllers, [&](const wchar_t* head) { return Begins(name, head); });
    noteMaker(engine, name);
    if (Begins(name, L"DVDFab Virtual Drive")) return true;
    const auto siliconImage = siliconImageModel(name);
    bool ok = false;
    for (const Named& device :
         devicesOn(services, L"Win32_SCSIController", controller.id, kMostDevices, ok)) {
        addMapLine(engine, L"   - " + device.name);
        if (isUsbAttached) engine.UASPController.push_back(device.id);
        if (isBlack) engine.BlackScsiController.push_back(device.id);
        if (siliconImage) {
            engine.SiliconImageController.push_back(device.id);
            engine.SiliconImageType.push_back(*siliconImage);
        }
    }
    return ok;
}

// ---- USB

/// What follows `head` in a part of a device id, a hexadecimal number.
bool takeId(std::wstring part, const wchar_t* head, std::uint32_t& id) {
    if (Replace(part, head, L"") == 0) return false;
    id = static_cast<std::uint32_t>(std::wcstoul(part.c_str(), nullptr, 16));
    return true;
}

/// The ids stand in the USB device's id, which is the parent of the storage device.
UsbDeviceEntry usbEntry(const std::wstring& name, const std::wstring& parentId) {
    UsbDeviceEntry entry{name};
    int position = 0;
    while (position >= 0) {
        const std::wstring part = Tokenize(parentId, L"\\&", position);
        if (!takeId(part, L"VID_", entry.VendorId)) takeId(part, L"PID_", entry.ProductId);
    }
    return entry;
}

} // namespace

void readAmdRaidDriverVersion(platform::ManagementServices& services, int& version) {
    eachRow(services, L"select DeviceName, DriverVersion from Win32_PnPSignedDriver", kMostDrivers,
            [&](platform::ManagementRow& row) {
                if (!Contains(columnText(row, L"DeviceName"), L"AMD-RAID Config")) return;
                const std::wstring text = columnText(row, L"DriverVersion");
                std::wstring field;
                int numbers[4];
                for (int i = 0; i < 4; ++i) {
                    ExtractField(field, text, i, L'.');
                    numbers[i] = ToInteger(field);
                }
                version = numbers[0] * 10 + numbers[1];
                DebugFormat(L"driverVersion={}.{}.{}.{}", numbers[0], numbers[1], numbers[2], numbers[3]);
                DebugFormat(L"AmdRaidDriverVersion={}", version);
            });
}

bool readIdeControllers(CAtaSmart& engine, platform::ManagementServices& services) {
    bool ok = false;
    for (const Named& controller :
         namedRows(services, L"select Name, DeviceID from Win32_IDEController", kMostIdeControllers, ok)) {
        const bool isChannel = Begins(controller.id, L"PCIIDE\\IDECHANNEL");
        const std::wstring channel = isChannel ? L" (" + Right(controller.id, 1) + L")" : L"";
        addController(engine, engine.IdeController, controller.name + channel, L" [ATA]");
        bool answered = false;
        for (const Named& device :
             devicesOn(services, L"Win32_IDEController", controller.id, kMostDevices, answered)) {
            noteMaker(engine, controller.name);
            addMapLine(engine, L"   - " + device.name);
        }
        if (!answered) return false;
    }
    if (ok) DebugPrint(L"OK:Win32_IDEController");
    return ok;
}

bool readScsiControllers(CAtaSmart& engine, platform::ManagementServices& services) {
    bool ok = false;
    for (const Named& controller :
         namedRows(services, L"select Name, DeviceID from Win32_SCSIController", kMostScsiControllers, ok))
        if (!readScsiController(engine, services, controller)) return false;
    if (!ok) return false;
    DebugPrint(L"OK:Win32_SCSIController");
    DebugPrint(L"--ControllerMap--");
    DebugPrint(engine.ControllerMap);
    return true;
}

bool readUsbDevices(CAtaSmart& engine, platform::ManagementServices& services) {
    bool ok = false;
    for (const Named& controller :
         namedRows(services, L"select Name, DeviceID from Win32_USBController", kAnyNumberOfRows, ok)) {
        std::wstring parentId;
        bool answered = false;
        for (const Named& device :
             devicesOn(services, L"Win32_USBController", controller.id, kAnyNumberOfRows, answered)) {
            if (Contains(device.id, L"USBSTOR")) engine.usbDevices.push_back(usbEntry(device.name, parentId));
            parentId = device.id;
        }
        if (!answered) return false;
    }
    if (!ok) return false;
    DebugPrint(L"OK:Win32_USBController");
    for (const UsbDeviceEntry& entry : engine.usbDevices)
        DebugFormat(L"VID={:04X}h, PID={:04X}h", entry.VendorId, entry.ProductId);
    return true;
}

} // namespace orv
