#include "platform/linux/drives/DriveIds.h"

#include "platform/linux/drives/DiskFacts.h"

#include <algorithm>
#include <cstdio>

namespace orv::platform {

namespace {

/// A text as a part of an id: upper case, no more than `most` characters, and '_' for what an id cannot hold.
std::string idPart(const std::string& text, std::size_t most) {
    std::string part = firstLine(text.substr(0, most));
    for (char& letter : part) {
        const bool lower = letter >= 'a' && letter <= 'z';
        const bool kept = (letter >= 'A' && letter <= 'Z') || (letter >= '0' && letter <= '9') ||
                          letter == '-' || letter == '.' || letter == '+';
        letter = lower ? static_cast<char>(letter - 'a' + 'A') : kept ? letter : '_';
    }
    return part;
}

std::string padded(std::string text, std::size_t width) {
    text.resize(std::max(width, text.size()), '_');
    return text;
}

std::string formatted(const char* format, auto... values) {
    char text[64];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

/// Port, then channel, target and unit: "5&00000080&0&000000". A disk without an address has its number.
std::string instanceOf(const DiskFacts& facts, std::uint32_t number) {
    if (!facts.place) return formatted("5&FFFFFFFF&0&%06X", number);
    const ScsiPlace& place = *facts.place;
    const auto wide = [](std::uint64_t part) { return static_cast<unsigned long long>(part); };
    const bool bytes = place.channel < 256 && place.target < 256 && place.lun < 256;
    return formatted("5&%08llX&0&", wide(place.port)) +
           formatted(bytes ? "%02llX%02llX%02llX" : "%llX.%llX.%llX", wide(place.channel), wide(place.target),
                     wide(place.lun));
}

/// The serial number of a USB device, or its place on the bus where it has none.
std::string usbInstance(const RootedFiles& files, const DiskFacts& facts) {
    constexpr std::size_t most = 64;
    const std::string serial = idPart(files.line(facts.usbDevice + "/serial"), most);
    return serial.empty() ? "6&" + idPart(facts.usbDevice.substr(facts.usbDevice.rfind('/') + 1), most)
                          : serial;
}

std::string pnpId(const RootedFiles& files, const DiskFacts& facts, std::uint32_t number) {
    constexpr std::size_t vendorChars = 8; // as many as an inquiry has
    constexpr std::size_t productChars = 16;
    constexpr std::size_t revisionChars = 4;
    constexpr std::size_t ideModelChars = 40; // as many as an identify block has
    constexpr std::size_t ideRevisionChars = 8;
    if (facts.bus == kBusAta)
        return R"(IDE\DISK)" + padded(idPart(facts.model, ideModelChars), ideModelChars) +
               padded(idPart(facts.firmware, ideRevisionChars), ideRevisionChars) + "\\" +
               instanceOf(facts, number);
    const std::string vendor = facts.vendor == "ATA" ? std::string() : idPart(facts.vendor, vendorChars);
    const std::string names = "DISK&VEN_" + vendor + "&PROD_" + idPart(facts.model, productChars);
    if (facts.bus == kBusUsb && !facts.usbAttachedScsi)
        return R"(USBSTOR\)" + names + "&REV_" + idPart(facts.firmware, revisionChars) + "\\" +
               usbInstance(files, facts) + "&" + std::to_string(facts.place ? facts.place->lun : 0);
    return R"(SCSI\)" + names + "\\" + instanceOf(facts, number);
}

std::string modelOf(const DiskFacts& facts) {
    std::string name = facts.model;
    const bool tellsVendor = facts.name.starts_with("sd") && facts.vendor != "ATA" && !facts.vendor.empty();
    if (tellsVendor) name = name.empty() ? facts.vendor : facts.vendor + " " + name;
    if (name.empty()) return name;
    switch (facts.bus) {
    case kBusAta:
        return name + " ATA Device";
    case kBus1394:
        return name + " IEEE 1394 SBP2 Device";
    case kBusUsb:
        return name + (facts.usbAttachedScsi ? " SCSI Disk Device" : " USB Device");
    case kBusScsi:
    case kBusIscsi:
    case kBusSas:
        return name + " SCSI Disk Device";
    default:
        return name;
    }
}

std::optional<Drive> named(DiskInventory& inventory, const NumberedDisk& disk, bool firmwareCounts) {
    auto facts = inventory.facts(disk, firmwareCounts);
    if (!facts) return std::nullopt;
    Drive drive{disk.number, std::move(*facts), {}, {}};
    drive.id = pnpId(inventory.files(), drive.facts, disk.number);
    drive.model = modelOf(drive.facts);
    return drive;
}

} // namespace

std::optional<Drive> driveOf(DiskInventory& inventory, std::uint32_t number) {
    const std::string name = inventory.nameOf(number);
    if (name.empty()) return std::nullopt;
    auto drive = named(inventory, {number, name}, false);
    if (!drive || drive->facts.bus != kBusUsb) return drive; // its place on the machine stands in its id
    for (Drive& other : drivesOf(inventory))
        if (other.number == number) return std::move(other);
    return std::nullopt;
}

std::vector<Drive> drivesOf(DiskInventory& inventory) {
    std::vector<Drive> drives;
    for (const NumberedDisk& disk : inventory.disks()) {
        auto drive = named(inventory, disk, true);
        if (!drive) continue;
        // Cheap USB devices share one serial number.
        const bool taken =
            std::ranges::any_of(drives, [&](const Drive& other) { return other.id == drive->id; });
        if (taken) drive->id += "&" + idPart(disk.name, disk.name.size());
        drives.push_back(std::move(*drive));
    }
    return drives;
}

std::string usbDeviceId(const RootedFiles& files, const DiskFacts& facts) {
    return formatted(R"(USB\VID_%04X&PID_%04X\)", unsigned{facts.usbVendorId}, unsigned{facts.usbProductId}) +
           usbInstance(files, facts);
}

} // namespace orv::platform
