#include "platform/linux/drives/DriveManagement.h"

#include "platform/linux/drives/DiskFacts.h"
#include "platform/linux/drives/DriveIds.h"
#include "platform/linux/files/PciFunctions.h"
#include "platform/text.h"

#include <algorithm>
#include <array>
#include <limits>

namespace orv::platform {

namespace {

using Rows = std::vector<ManagementColumns>;

enum class Kind { other, ide, scsi, usb };

struct Controller {
    Kind kind;
    std::string id;
    std::string pciFolder; ///< empty for a USB device in a controller's place
};

struct ClassKind {
    std::uint32_t code;
    Kind kind;
};

/// To which of the three classes a PCI class belongs.
constexpr std::array kClassKinds = {
    ClassKind{0x0100, Kind::scsi}, ClassKind{0x0101, Kind::ide}, ClassKind{0x0104, Kind::scsi},
    ClassKind{0x0105, Kind::ide},  ClassKind{0x0106, Kind::ide}, ClassKind{0x0107, Kind::scsi},
    ClassKind{0x0108, Kind::scsi}, ClassKind{0x0C03, Kind::usb},
};

constexpr char kUasName[] = "USB Attached SCSI (UAS) Mass Storage Device";
constexpr char kUsbStorageName[] = "USB Mass Storage Device";

ManagementValue textOrNull(const std::string& text) {
    return text.empty() ? null() : bstr(utf8ToWide(text));
}

ManagementValue numberOrNull(std::optional<std::uint64_t> number) {
    constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max());
    return number && *number <= largest ? i4(static_cast<std::int32_t>(*number)) : null();
}

ManagementColumns deviceRow(const std::string& id, const std::string& name) {
    return {{L"DeviceID", textOrNull(id)}, {L"PNPDeviceID", textOrNull(id)}, {L"Name", textOrNull(name)}};
}

Controller pciController(DiskInventory& inventory, const std::string& folder) {
    const PciFunctionFacts::Facts facts = inventory.pciFunctions().of(folder);
    const auto* const row = std::ranges::find(kClassKinds, facts.code >> 8, &ClassKind::code);
    return {row == kClassKinds.end() ? Kind::other : row->kind, facts.id, folder};
}

/// A disk by UAS hangs on its USB device, which is a SCSI controller then; any other on its PCI function.
Controller controllerOf(DiskInventory& inventory, const Drive& drive) {
    if (drive.facts.usbAttachedScsi) return {Kind::scsi, usbDeviceId(inventory.files(), drive.facts), {}};
    return pciController(inventory, drive.facts.pciController);
}

ManagementColumns controllerRow(const RootedFiles& files, const Controller& controller) {
    return deviceRow(controller.id,
                     controller.pciFolder.empty() ? kUasName : pciName(files, controller.pciFolder));
}

/// PCI functions by their addresses, and the USB devices after them.
Rows controllerRows(DiskInventory& inventory, Kind kind) {
    const RootedFiles& files = inventory.files();
    const bool usb = kind == Kind::usb;
    Rows rows;
    for (const std::string& folder : pciFunctions(files, usb ? kUsbControllerClass : kFirstStorageClass,
                                                  usb ? kUsbControllerClass : kLastStorageClass)) {
        const Controller controller = pciController(inventory, folder);
        if (controller.kind == kind) rows.push_back(controllerRow(files, controller));
    }
    if (kind != Kind::scsi) return rows;
    std::vector<std::string> known;
    for (const Drive& drive : drivesOf(inventory)) {
        const Controller controller = controllerOf(inventory, drive);
        if (!drive.facts.usbAttachedScsi || std::ranges::count(known, controller.id) > 0) continue;
        known.push_back(controller.id); // a device may have several units
        rows.push_back(controllerRow(files, controller));
    }
    return rows;
}

std::wstring deviceIdOf(std::uint32_t number) {
    return LR"(\\.\PHYSICALDRIVE)" + std::to_wstring(number);
}

std::string mediaType(const DiskFacts& facts) {
    if (facts.removable) return "Removable Media";
    return facts.bus == kBusUsb || facts.bus == kBus1394 ? "External hard disk media"
                                                         : "Fixed hard disk media";
}

std::string interfaceType(const DiskFacts& facts) {
    if (facts.bus == kBusAta || facts.bus == kBusSata) return "IDE";
    if (facts.bus == kBus1394) return "1394";
    return facts.bus == kBusUsb && !facts.usbAttachedScsi ? "USB" : "SCSI";
}

/// Bytes of the whole cylinders, as the geometry has them.
std::string sizeText(std::uint64_t sectors) {
    constexpr std::uint64_t cylinder = 255 * 63;
    constexpr std::uint64_t sectorBytes = 512;
    return sectors == 0 ? std::string() : std::to_string(sectors / cylinder * cylinder * sectorBytes);
}

ManagementColumns driveRow(DiskInventory& inventory, const Drive& drive) {
    const DiskFacts& facts = drive.facts;
    const auto place = [&](std::uint64_t ScsiPlace::*part) {
        return numberOrNull(facts.place ? std::optional((*facts.place).*part) : std::nullopt);
    };
    return {
        {L"DeviceID", bstr(deviceIdOf(drive.number))},
        {L"Model", textOrNull(drive.model)},
        {L"Caption", textOrNull(drive.model)},
        {L"Size", textOrNull(sizeText(inventory.sectors({drive.number, facts.name})))},
        {L"FirmwareRevision", textOrNull(facts.firmware)},
        {L"SerialNumber", textOrNull(facts.serial)},
        {L"InterfaceType", textOrNull(interfaceType(facts))},
        {L"MediaType", textOrNull(mediaType(facts))},
        {L"PNPDeviceID", textOrNull(drive.id)},
        {L"SCSIPort", place(&ScsiPlace::port)},
        {L"SCSIBus", place(&ScsiPlace::channel)},
        {L"SCSITargetId", place(&ScsiPlace::target)},
        {L"SCSILogicalUnit", place(&ScsiPlace::lun)},
    };
}

Rows driveRows(DiskInventory& inventory) {
    Rows rows;
    for (const Drive& drive : drivesOf(inventory))
        rows.push_back(driveRow(inventory, drive));
    return rows;
}

/// What a query asks.
struct Question {
    DiskInventory& disks;
    const std::wstring& id;
    std::optional<Drive>& latest;
};

Rows entityOfDrive(const Question& question) {
    const auto end = question.id.find_last_not_of(L"0123456789") + 1;
    const auto number = wholeNumber(wideToUtf8(question.id.substr(end)));
    if (!number || *number > UINT32_MAX) return {};
    const auto drive = static_cast<std::uint32_t>(*number);
    if (!sameId(deviceIdOf(drive), question.id)) return {};
    question.latest = driveOf(question.disks, drive);
    if (!question.latest) return {};
    return {deviceRow(question.latest->id, question.latest->model)};
}

/// The SCSI controller of a disk that is given by its own id.
Rows controllerOfEntity(const Question& question) {
    const auto isAsked = [&](const Drive& drive) { return sameId(utf8ToWide(drive.id), question.id); };
    std::optional<Drive> found = question.latest;
    if (!found || !isAsked(*found)) {
        found.reset();
        for (Drive& drive : drivesOf(question.disks))
            if (!found && isAsked(drive)) found = std::move(drive);
    }
    if (!found) return {};
    const Controller controller = controllerOf(question.disks, *found);
    if (controller.kind != Kind::scsi) return {};
    return {deviceRow(controller.id, {})}; // without its name, for which a large database would be read
}

/// The disks on a controller. On a USB controller each comes after its USB device, as a child after its
/// parent.
Rows devicesOn(DiskInventory& inventory, Kind kind, const std::wstring& id) {
    const RootedFiles& files = inventory.files();
    Rows rows;
    for (const Drive& drive : drivesOf(inventory)) {
        const bool usb = kind == Kind::usb;
        const Controller controller =
            usb ? pciController(inventory, drive.facts.pciController) : controllerOf(inventory, drive);
        if (controller.kind != kind || !sameId(utf8ToWide(controller.id), id)) continue;
        if (usb)
            rows.push_back(deviceRow(usbDeviceId(files, drive.facts),
                                     drive.facts.usbAttachedScsi ? kUasName : kUsbStorageName));
        rows.push_back(deviceRow(drive.id, drive.model));
    }
    return rows;
}

/// A query for rows or, with a condition, for associators.
struct QueryRow {
    std::wstring_view className;
    std::wstring_view condition; ///< its class
    Rows (*answer)(const Question& question);
};

template <Kind kind>
Rows controllersOfKind(const Question& question) {
    return controllerRows(question.disks, kind);
}

template <Kind kind>
Rows devicesOfKind(const Question& question) {
    return devicesOn(question.disks, kind, question.id);
}

constexpr std::array kQueries = {
    QueryRow{L"Win32_DiskDrive", L"", [](const Question& question) { return driveRows(question.disks); }},
    QueryRow{L"Win32_IDEController", L"", controllersOfKind<Kind::ide>},
    QueryRow{L"Win32_SCSIController", L"", controllersOfKind<Kind::scsi>},
    QueryRow{L"Win32_USBController", L"", controllersOfKind<Kind::usb>},
    QueryRow{L"Win32_PnPSignedDriver", L"", [](const Question&) { return Rows(); }},
    QueryRow{L"Win32_DiskDrive", L"Win32_PnPEntity", entityOfDrive},
    QueryRow{L"Win32_PnPEntity", L"Win32_SCSIControllerDevice", controllerOfEntity},
    QueryRow{L"Win32_IDEController", L"Win32_IDEControllerDevice", devicesOfKind<Kind::ide>},
    QueryRow{L"Win32_SCSIController", L"Win32_SCSIControllerDevice", devicesOfKind<Kind::scsi>},
    QueryRow{L"Win32_USBController", L"Win32_USBControllerDevice", devicesOfKind<Kind::usb>},
};

} // namespace

std::optional<Rows> answerDriveQuery(DiskInventory& inventory, const ManagementQuery& query,
                                     std::optional<Drive>& latest) {
    for (const QueryRow& row : kQueries) {
        if (query.associators == row.condition.empty()) continue;
        if (!sameName(row.className, query.className) || !sameName(row.condition, query.filterClass))
            continue;
        Rows rows = row.answer({inventory, query.id, latest});
        return query.associators ? rows : selected(query, std::move(rows));
    }
    return std::nullopt;
}

} // namespace orv::platform
