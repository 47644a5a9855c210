#include "disk_engine/CAtaSmart.h"
#include "disk_engine/DebugFormat.h"
#include "disk_engine/WideText.h"
#include "disk_engine/search/SearchStages.h"
#include "log/log.h"
#include "platform/text.h"

#include <algorithm>
#include <cwchar>
#include <exception>
#include <limits>
#include <new>

namespace orv {

namespace {

constexpr std::size_t kComparedChars = 8; // of two models

/// A row of Win32_DiskDrive. A text is empty and a number -1 where the row has none.
struct DiskRow {
    std::wstring size; ///< bytes
    std::int32_t physicalDriveId = -1;
    std::wstring model;
    std::wstring firmware;
    std::int32_t scsiPort = -1;
    std::int32_t scsiTargetId = -1;
    std::int32_t scsiBus = -1;
    std::wstring mediaType; ///< lower case
    std::wstring interfaceType;
    std::wstring pnpDeviceId; ///< upper case
};

/// What the controllers say of a drive.
struct Attachment {
    bool isUasp = false;
    bool isBlack = false;
    std::int32_t siliconImageType = 0;
};

/// The number at the end of a drive's id, which has two digits at most.
std::int32_t driveNumber(const std::wstring& deviceId) {
    const int two = ToInteger(Right(deviceId, 2));
    return two >= 10 ? two : ToInteger(Right(deviceId, 1));
}

DiskRow readRow(platform::ManagementRow& row) {
    DiskRow disk;
    disk.size = columnText(row, L"Size");
    if (const std::wstring id = columnText(row, L"DeviceID"); !id.empty())
        disk.physicalDriveId = driveNumber(id);
    disk.model = columnText(row, L"Model");
    disk.firmware = columnText(row, L"FirmwareRevision");
    disk.scsiPort = columnNumber(row, L"SCSIPort");
    disk.scsiTargetId = columnNumber(row, L"SCSITargetId");
    disk.scsiBus = columnNumber(row, L"SCSIBus");
    disk.mediaType = columnText(row, L"MediaType");
    MakeLower(disk.mediaType);
    disk.interfaceType = columnText(row, L"InterfaceType");
    disk.pnpDeviceId = Upper(columnText(row, L"PNPDeviceID"));
    return disk;
}

Attachment attachmentOf(const CAtaSmart& engine, const std::wstring& pnpDeviceId) {
    Attachment found;
    if (pnpDeviceId.empty()) return found; // it would stand in every id
    const auto names = [&](const std::wstring& entry, const wchar_t* list) {
        if (!Contains(entry, pnpDeviceId)) return false;
        DebugPrint(list + pnpDeviceId);
        return true;
    };
    for (const std::wstring& entry : engine.UASPController)
        if (names(entry, L"UASPController:")) found.isUasp = true;
    for (std::size_t i = 0; i < engine.SiliconImageController.size(); ++i)
        if (names(engine.SiliconImageController[i], L"SiliconImageController:"))
            found.siliconImageType = engine.SiliconImageType[i];
    for (const std::wstring& entry : engine.BlackScsiController)
        if (names(entry, L"BlackScsiController:")) found.isBlack = true;
    return found;
}

// ---- Is it a drive to be probed, and how?

/// Sticks that are drives inside.
constexpr const wchar_t* kDrivesOfTheirOwn[] = {L"SanDisk Extreme", L"Kingston DT Ultimate"};

bool mediumIsTarget(const CAtaSmart& engine, const DiskRow& row, bool& removableTargetSeen) {
    if (engine.FlagUsbMemory || std::ranges::any_of(kDrivesOfTheirOwn, [&](const wchar_t* head) {
            return Begins(row.model, head);
        })) {
        removableTargetSeen = true;
        return true;
    }
    return !row.mediaType.empty() && !Contains(row.mediaType, L"removable");
}

struct Interface {
    std::uint32_t type = INTERFACE_TYPE_UNKNOWN;
    BOOL nvmeHint = 0;
};

Interface interfaceOf(const DiskRow& row, bool isUasp) {
    const std::wstring& model = row.model;
    if (Contains(row.interfaceType, L"1394") || ContainsAfterStart(model, L" IEEE 1394 SBP2 Device")) {
        DebugPrint(L"INTERFACE_TYPE_IEEE1394");
        return {INTERFACE_TYPE_IEEE1394};
    }
    if (Contains(row.interfaceType, L"USB") || ContainsAfterStart(model, L" USB Device") || isUasp) {
        DebugPrint(L"INTERFACE_TYPE_USB");
        return {INTERFACE_TYPE_USB, Contains(model, L"NVMe") || Contains(row.pnpDeviceId, L"NVME")};
    }
    if (Contains(model, L"NVMe") || Contains(model, L"Optane") || Contains(row.pnpDeviceId, L"NVME") ||
        Contains(row.pnpDeviceId, L"OPTANE")) {
        DebugPrint(L"INTERFACE_TYPE_NVME");
        return {INTERFACE_TYPE_NVME, 1};
    }
    return {};
}

bool isTarget(const CAtaSmart& engine, const DiskRow& row, const Interface& interface, bool mediumCounts) {
    bool target = mediumCounts || interface.type == INTERFACE_TYPE_UNKNOWN; // an internal disk always is one
    if (engine.AdvancedDiskSearch && row.mediaType.empty()) target = true;
    return target && !mayNotBeRead(row.model, row.firmware, engine.SkipHd204uiOldFirmware != 0);
}

// ---- The record against the platform's own words

/// Megabytes as the records count them; empty for a text that is no size. The platform rounds to cylinders.
std::optional<std::uint32_t> sizeInMegabytes(const std::wstring& bytes) {
    constexpr std::uint64_t rounding = 49;
    const std::uint64_t megabytes = std::wcstoull(bytes.c_str(), nullptr, 10) / 1000 / 1000;
    if (megabytes < rounding) return std::nullopt;
    constexpr std::uint64_t most = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(std::min(megabytes - rounding, most));
}

void takeSize(AtaSmartInfo& asi, const std::wstring& bytes) {
    const auto size = sizeInMegabytes(bytes);
    if (!size) return;
    asi.DiskSizeWmi = *size;
    if (asi.TotalDiskSize == 0 || (asi.TotalDiskSize >= 1000 && asi.TotalDiskSize <= 9999))
        asi.TotalDiskSize = asi.DiskSizeWmi;
}

/// What the platform's drivers put behind a model or before it.
constexpr const wchar_t* kDriverWords[] = {
    L" SCSI Disk Device",
    L" SATA Disk Device",
    L" ATA Disk Device",
    L" SCSI Device",
    L" SATA Device",
    L" ATA Device",
    L"NVMe ",
};

/// An external drive's interface gets the name of its cable. True for one.
bool nameCable(AtaSmartInfo& asi, std::wstring& model, bool isUasp) {
    const auto name = [&](const wchar_t* cable, std::uint32_t type) {
        asi.Interface = std::wstring(cable) + L" (" + asi.Interface + L")";
        asi.InterfaceType = type;
        return true;
    };
    if (isUasp) {
        asi.IsUasp = 1;
        return name(L"UASP", INTERFACE_TYPE_USB);
    }
    if (Replace(model, L" USB Device", L"") > 0 || Contains(model, L"USB"))
        return name(L"USB", INTERFACE_TYPE_USB);
    if (Replace(model, L" IEEE 1394 SBP2 Device", L"") > 0 || Contains(model, L"1394"))
        return name(L"IEEE 1394", INTERFACE_TYPE_IEEE1394);
    return false;
}

void takeEnclosure(const CAtaSmart& engine, AtaSmartInfo& asi) {
    for (const UsbDeviceEntry& entry : engine.usbDevices) {
        if (!Begins(entry.Name, asi.ModelWmi)) continue;
        asi.Enclosure = entry.Name;
        asi.UsbVendorId = entry.VendorId;
        asi.UsbProductId = entry.ProductId;
    }
}

std::wstring comparable(std::wstring model) {
    Replace(model, L" ", L"");
    return Left(model, kComparedChars);
}

/// A drive may have given its texts with their bytes swapped: the platform knows better.
void compareModels(AtaSmartInfo& asi, const std::wstring& model) {
    const std::wstring expected = comparable(model);
    if (model.empty() || expected == comparable(asi.Model)) return;
    if (expected == comparable(asi.ModelReverse))
        takeReverseTexts(asi);
    else if (asi.InterfaceType != INTERFACE_TYPE_USB)
        DebugPrint(L"DISABLED: vars.RemoveAt(index) - 2");
}

void checkModel(CAtaSmart& engine, std::size_t index, const DiskRow& row, bool isUasp) {
    AtaSmartInfo& asi = engine.vars[index];
    takeSize(asi, row.size);
    asi.ModelWmi = row.model;
    std::wstring model = row.model;
    for (const wchar_t* word : kDriverWords)
        Replace(model, word, L"");
    const bool external = nameCable(asi, model, isUasp);
    if (external) takeEnclosure(engine, asi);
    if (asi.Model.empty()) {
        DebugPrint(L"WmiModel: " + model);
        DebugPrint(L"SerialNumber: " + asi.SerialNumber);
        DebugPrint(L"vars.RemoveAt(index) - 1");
        engine.vars.erase(engine.vars.begin() + static_cast<std::ptrdiff_t>(index));
        return;
    }
    if (!external) compareModels(asi, model);
    DebugPrint(L"OK:Check Model Name");
}

// ---- A row

void searchRow(CAtaSmart& engine, const DiskRow& row, bool& removableTargetSeen) {
    const bool mediumCounts = mediumIsTarget(engine, row, removableTargetSeen);
    const Attachment attachment = attachmentOf(engine, row.pnpDeviceId);
    if (attachment.isBlack) {
        engine.noteUnread(
            {row.physicalDriveId, row.model, UnreadDrive::Reason::noAnswer, platform::kNotSupported});
        return;
    }
    DebugFormat(L"DO:GetDiskInfo pd={}, sp={}, st={}, mt={}", row.physicalDriveId, row.scsiPort,
                row.scsiTargetId, row.mediaType);
    const Interface interface = interfaceOf(row, attachment.isUasp);
    DriveSighting drive{.physicalDriveId = row.physicalDriveId,
                        .scsiPort = row.scsiPort,
                        .scsiTargetId = row.scsiTargetId,
                        .interfaceType = interface.type,
                        .scsiBus = row.scsiBus,
                        .siliconImageType = attachment.siliconImageType,
                        .isNvidiaController = engine.IsNvidiaController,
                        .isMarvellController = engine.IsMarvellController,
                        .pnpDeviceId = row.pnpDeviceId,
                        .nvmeHint = interface.nvmeHint};
    for (const UsbDeviceEntry& entry : engine.usbDevices) {
        if (entry.Name.empty() || !Begins(row.model, entry.Name)) continue;
        drive.usbVendorId = entry.VendorId;
        drive.usbProductId = entry.ProductId;
        DebugFormat(L"usbVendorId={:04X}, usbProductId={:04X}", drive.usbVendorId, drive.usbProductId);
    }
    const bool target = isTarget(engine, row, interface, mediumCounts);
    const std::size_t previousCount = engine.vars.size();
    DebugPrint(L"flagTarget && GetDiskInfo");
    if (!target) {
        engine.noteUnread({row.physicalDriveId, row.model,
                           isTieredStorage(row.model) ? UnreadDrive::Reason::tieredStorage
                                                      : UnreadDrive::Reason::removable});
        return;
    }
    if (!engine.GetDiskInfo(drive)) {
        engine.noteUnread(row.physicalDriveId, row.model);
        return;
    }
    for (std::size_t index = engine.vars.size(); index-- > previousCount;) {
        DebugFormat(L"index={}", index);
        DebugFormat(L"index={}, previousCount={}", index, previousCount);
        checkModel(engine, index, row, attachment.isUasp);
    }
}

} // namespace

bool mayNotBeRead(const std::wstring& model, const std::wstring& firmware, bool skipOldFirmware) {
    const bool isHd204ui = Begins(model, L"SAMSUNG HD155UI") || Begins(model, L"SAMSUNG HD204UI");
    return (isHd204ui && !Begins(firmware, L"1AQ10003") && skipOldFirmware) || isTieredStorage(model);
}

bool isTieredStorage(const std::wstring& model) {
    return Contains(model, L"FuzeDrive") || Contains(model, L"StoreMI");
}

void searchDiskRows(CAtaSmart& engine, platform::ManagementServices& services, bool& removableTargetSeen) {
    constexpr wchar_t query[] = L"SELECT * FROM Win32_DiskDrive";
    DebugFormat(L"DO:{}", query);
    const auto rows = services.execQuery(query);
    DebugFormat(L"OK1:{}", query);
    if (!rows.ok()) {
        endWithoutDescriptors(rows.error);
        DebugPrint(L"pEnumCOMDevs == NULL");
        log::warn(diskLogger, L"{} failed: {:#x}", query, rows.error);
        return;
    }
    try {
        while (true) {
            DebugPrint(L"while(pEnumCOMDevs ...");
            const auto row = rows.value->next(kRowMilliseconds);
            if (!row) break;
            searchRow(engine, readRow(*row), removableTargetSeen);
        }
        DebugPrint(L"uReturned != 1");
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& failure) {
        DebugPrint(L"EX:while(pEnumCOMDevs");
        log::warn(diskLogger, L"a row of {} ended the reading of the rows: {}", query,
                  platform::utf8ToWide(failure.what()));
    }
    DebugFormat(L"OK2:{}", query);
}

} // namespace orv
